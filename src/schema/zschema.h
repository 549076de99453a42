// Schema adapters: how a zone's UNIX data is laid out in the directory.
//
// The same logical profile can be stored in three layouts (SchemaType): SFU (the data on
// the directory's own users and groups, msSFU30 attributes), RFC (serviceConnectionPoint
// profile objects with RFC 2307 attributes) and Dynamic (serviceConnectionPoint objects
// with keyword dictionaries). Every zone owns one adapter, chosen from what its directory
// object holds by GetSchema, and reads and writes its profiles through it.
//
// Within a layout a one-digit `version` steers the details:
//
//   version  layout        zone kind                     class
//   2        SFU           classic                       SchemaSfu
//   2        Dynamic       classic, older generation     SchemaScpDynamic
//   3        RFC           classic, older generation     SchemaScpRfc
//   4        Dynamic       classic, newer generation     SchemaScpDynamic
//   5        RFC           classic, newer generation     SchemaScpRfc
//   6        Dynamic       hierarchical                  NGSchemaScpDynamic
//   7        RFC           hierarchical                  NGSchemaScpRfc
//   8        Dynamic/RFC   computer zone                 MachineDynamic, MachineRfc
//   9        SFU           hierarchical                  SchemaSfu (isTreeZone true)
//
// Below 4: the older classic generation; below 6: classic; above 5: hierarchical or
// computer zone.
//
// Markers. Every object the system owns carries a marker in displayName: the zone
// "$KeshZoneVersion<version>" (a computer zone "$KeshComputerZoneVersion1"), profiles
// "$KeshUserVersion<n>", "$KeshGroupVersion<n>", "$KeshComputerVersion<n>" with n from
// the object version tables below.
//
// Zone properties live in the keyword dictionary of the zone's `description` (see
// schema/keywords.h); setZoneData writes the initial set for a new zone.
#ifndef ZONESMITH_SCHEMA_ZSCHEMA_H_
#define ZONESMITH_SCHEMA_ZSCHEMA_H_

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "directory/library/adobject.h"
#include "directory/library/sid.h"
#include "schema/user.h"
#include "zones/zone.h"  // SchemaType, and the profile classes named here

// Texts under the key "schema" of a zone dictionary.
extern const char* const SCHEMA_TEXT_SFU;      // "SFU_3_0"
extern const char* const SCHEMA_TEXT_RFC;      // "KVR_RFC_2307"
extern const char* const SCHEMA_TEXT_DYNAMIC;  // "Dynamic_Schema_2_0"
// Zone markers (displayName).
extern const char* const ZONE_VERSION_MARKER;           // "$KeshZoneVersion"
extern const char* const COMPUTER_ZONE_VERSION_MARKER;  // "$KeshComputerZoneVersion1"

// One row of an object version table: the marker numbers of the objects of a zone of
// that version. `reserved` is 0 in every row.
struct ObjectVersion {
  int zone;
  int user;
  int group;
  int computer;
  int reserved;
};
// Indexed by the zone's version, 0..9. Rows not listed are all 0 behind the first column.
//   Dynamic: 2, 4 -> user 2, group 2, computer 2; 6, 8 -> 4, 4, 3
//   Rfc:     3, 5 -> 3, 3, 2;                     7, 8 -> 5, 5, 3
//   Sfu:     2    -> 0, 0, 2;                     9    -> 0, 0, 3
extern const ObjectVersion gObjectVersionDynamic[10];
extern const ObjectVersion gObjectVersionRfc[10];
extern const ObjectVersion gObjectVersionSfu[10];

// The adapter interface; operations in the order every adapter implements them.
class IZoneSchema {
 public:
  virtual SchemaType getSchemaType() = 0;
  virtual int version() = 0;
  virtual void loadZUser(const std::string& name, std::shared_ptr<NssZoneUser> user,
                         bool byUnixName) = 0;
  virtual void loadLocalUser(const std::string& name, std::shared_ptr<NssLocalUser> user) = 0;
  virtual void saveZUser(std::shared_ptr<NssZoneUser> user) = 0;
  virtual void saveLocalUser(std::shared_ptr<NssLocalUser> user) = 0;
  virtual void deleteUser(std::shared_ptr<NssUser>& user) = 0;
  virtual void getZoneUsers(const std::string& filter,
                            std::list<std::shared_ptr<NssZoneUser>>& out) = 0;
  virtual void getLocalUsers(const std::string& filter,
                             std::list<std::shared_ptr<NssLocalUser>>& out) = 0;
  virtual void loadGroup(const std::string& name, std::shared_ptr<NssGroup>& group,
                         bool byUnixName) = 0;
  virtual void saveGroup(std::shared_ptr<NssGroup>& group) = 0;
  virtual void deleteGroup(std::shared_ptr<NssGroup>& group) = 0;
  virtual void getGroups(const std::string& filter, std::list<std::shared_ptr<NssGroup>>& out,
                         NssGroup* (*factory)(), bool local) = 0;
  virtual void loadComputer(const std::string& name, std::shared_ptr<ZoneComputer>& computer) = 0;
  virtual void saveComputer(std::shared_ptr<ZoneComputer>& computer) = 0;
  virtual void deleteComputer(std::shared_ptr<ZoneComputer>& computer) = 0;
  virtual void getComputers(const std::string& filter,
                            std::list<std::shared_ptr<ZoneComputer>>& out) = 0;
  // The directory object that holds the UNIX name `name` (a local profile when `local`).
  virtual kesh::ADObject findUnixUser(const std::string& name, bool local) = 0;
  virtual kesh::ADObject findUnixGroup(const std::string& name, bool local) = 0;
  virtual bool isTreeZone() = 0;
  virtual bool isMachineZone() = 0;
  // Fills displayName and description of a new zone object (before it is added): the
  // marker, then a fresh dictionary (the previous description is lost) with, in this order,
  // schema, nisdomain and sfudomain (SFU only), availableshells, gidreserved, username,
  // groupname, gidnext, uidreserved, uidnext, truncatename (not in computer zones),
  // defaultgid and defaultgecos (tree and computer zones), defaultshell, defaulthome.
  virtual void setZoneData() = 0;
  virtual ~IZoneSchema() = default;
};

// State and zone-property operations common to all layouts.
class SchemaBase : public IZoneSchema {
 public:
  SchemaBase(kesh::ADObject zone, std::shared_ptr<MyBinding> binding, int version);

  int version() override { return version_; }
  void setZoneData() override;
  bool isMachineZone() override { return false; }
  void loadComputer(const std::string& name, std::shared_ptr<ZoneComputer>& computer) override;
  void saveComputer(std::shared_ptr<ZoneComputer>& computer) override;
  void deleteComputer(std::shared_ptr<ZoneComputer>& computer) override;
  void getComputers(const std::string& filter,
                    std::list<std::shared_ptr<ZoneComputer>>& out) override;

  // The marker number of zone computers of this version, from the layout's table.
  virtual int getComputerVersion() = 0;
  // displayName := "$KeshZoneVersion" + version (computer zones: their own marker).
  virtual void setDisplayName();

  // A zone property from the dictionary in description, or "". Does not read the
  // directory.
  std::string getZoneProp(const std::string& key);
  // Stores a property in the zone object in memory; an empty value removes the key.
  void setZoneProp(const std::string& key, const std::string& value);
  std::string getNisDomain() { return getZoneProp("nisdomain"); }
  void setNisDomain(const std::string& value) { setZoneProp("nisdomain", value); }

  kesh::ADObject& zone() { return zone_; }
  const std::shared_ptr<MyBinding>& binding() { return binding_; }

 protected:
  kesh::ADObject zone_;
  std::shared_ptr<MyBinding> binding_;
  int version_;
};

// What the RFC and Dynamic layouts share: profiles are serviceConnectionPoint objects in the
// zone's child containers "Users", "Groups", "LocalUsers" and "LocalGroups". The outer
// algorithms live here; the two layouts fill in the protected steps that read and write
// the fields (attributes in RFC, keywords in Dynamic).
//
// A save that fails leaves the profile in memory as it was (but for the classic gid rule,
// which rewrites gid before anything is written). After a successful save the object is
// read back by its DN, all attributes, into `scp`, and isNew is cleared.
class SchemaScp : public SchemaBase {
 public:
  using SchemaBase::SchemaBase;

  // --- Users (schema/scp_users.cpp) ---
  // Finds the profile of `name` (a directory user name as GetADUser takes it, "*<sid>", or
  // with `byUnixName` a login name; each with an optional "+N" alias suffix) and loads it
  // into `user`. A directory user already in user->adUser is taken as the one a directory
  // name names, without a second lookup. Throws kesh::NotFoundException "NssUser not in
  // current zone".
  void loadZUser(const std::string& name, std::shared_ptr<NssZoneUser> user,
                 bool byUnixName) override;
  // Throws kesh::NotFoundException "LocalUser not in current zone".
  void loadLocalUser(const std::string& name, std::shared_ptr<NssLocalUser> user) override;
  void saveZUser(std::shared_ptr<NssZoneUser> user) override;
  void saveLocalUser(std::shared_ptr<NssLocalUser> user) override;
  // Throws kesh::BadDataException "Zone user has not been created" for a new profile. A
  // local user also touches the time stamp of "LocalUsers".
  void deleteUser(std::shared_ptr<NssUser>& user) override;
  // One-level search below "Users" with `filter`; every result is loaded (an exception ends
  // the call). The directory users behind the profiles are resolved in batches.
  void getZoneUsers(const std::string& filter,
                    std::list<std::shared_ptr<NssZoneUser>>& out) override;
  void getLocalUsers(const std::string& filter,
                     std::list<std::shared_ptr<NssLocalUser>>& out) override;
  // The object holding login name `name` in "LocalUsers" (`local`) or "Users". Throws
  // kesh::NotFoundException "user not found".
  kesh::ADObject findUnixUser(const std::string& name, bool local) override;

  // --- Groups (schema/scp_groups.cpp) ---
  // Finds the profile of `name` (a directory group name, "*<sid>", or with `byUnixName` a
  // unix name) and loads it into `group`. A directory group already in group->adGroup is
  // taken as the one a directory name names, without a second lookup. Throws
  // kesh::NotFoundException "Group not in current zone".
  void loadGroup(const std::string& name, std::shared_ptr<NssGroup>& group,
                 bool byUnixName) override;
  void saveGroup(std::shared_ptr<NssGroup>& group) override;
  // Throws kesh::BadDataException "Group has not been created" for a new profile.
  void deleteGroup(std::shared_ptr<NssGroup>& group) override;
  void getGroups(const std::string& filter, std::list<std::shared_ptr<NssGroup>>& out,
                 NssGroup* (*factory)(), bool local) override;
  // Throws kesh::NotFoundException "group not found".
  kesh::ADObject findUnixGroup(const std::string& name, bool local) override;

  // --- Containers (schema/scp_lookup.cpp) ---
  // The child `name` of the zone object, built without a directory access.
  kesh::ADObject childContainer(const std::string& name);
  // Searches the zone's subtree for "(cn=<name>)" and adds a child container of that name
  // (objectClass container) when there is none.
  void checkAndCreateContainer(const std::string& name);
  // Replaces the description of the child `name` (found by a one-level search below the
  // zone for "(cn=<name>)") by the one key "lastupdatetime" with the present time in
  // seconds since the epoch, and updates it.
  void updateContainerTimestamp(const std::string& name);
  // FindScpByCN below the child `container`; an empty object when there is none or the
  // search fails.
  kesh::ADObject findScpByCN(const std::string& name, const std::string& container);

 protected:
  // The row of the layout's object version table for this zone's version.
  virtual const ObjectVersion& objectVersion() = 0;
  // Object classes of a profile object in this layout.
  virtual std::vector<std::string> profileClasses() = 0;

  // Users, layout steps:
  // The profile with login name `name` below "Users": RFC "(uid=<name>)", Dynamic below 6
  // "(name=<name>)", from 6 "(keywords=*login:<name>)"; the name is not escaped. Throws
  // kesh::NotFoundException "could not find zone entry".
  virtual kesh::ADObject FindUserScpByUnixName(std::shared_ptr<MyBinding> binding,
                                               kesh::ADObject zone, const std::string& name) = 0;
  // Makes `scp` the profile's object and reads the fields of the layout, then the texts of
  // the extended attribute keys in `dict`.
  virtual void loadUserData(kesh::ADObject& scp, std::shared_ptr<NssUser> user,
                            std::map<std::string, std::string>& dict) = 0;
  // Writes the fields into `target` and `dict`, writes `dict` into keywords, adds or updates
  // `target`, reads it back into user->scp.
  virtual void saveUser(std::shared_ptr<NssUser> user, std::map<std::string, std::string>& dict,
                        kesh::ADObject& target) = 0;
  // gecos of a profile from version 6: attribute gecos in RFC, keyword "gecos" in Dynamic.
  virtual OptionalField<std::string> storedGecos(kesh::ADObject& scp,
                                                 std::map<std::string, std::string>& dict) = 0;

  // Users, common steps:
  void loadZUserData(kesh::ADObject& scp, std::shared_ptr<NssZoneUser> user);
  void loadLocalUserData(kesh::ADObject& scp, std::shared_ptr<NssLocalUser> user);
  // Resolves the directory user of a loaded profile (managedBy below version 4, else the SID
  // in parentLink); an unresolved one is named "*<sid>" or "*<unknown user>".
  void findParentUser(std::shared_ptr<NssZoneUser>& user, kesh::ADObject& scp);
  // The profile object of (the alias `altIndex` of) the directory user `name`, of "*<sid>",
  // or with `byUnixName` of a login name; empty when there is none. `userObject` is filled
  // with the directory user when it was empty. An empty name throws std::out_of_range.
  kesh::ADObject findZUserScp(kesh::ADObject& userObject, const std::string& name, int32_t altIndex,
                              bool byUnixName);

  // Groups, layout steps:
  // The gid: RFC attribute gidNumber, Dynamic keyword "gid" (read with atoui; an empty text
  // leaves it unset).
  virtual void loadGroupGid(kesh::ADObject& scp, std::shared_ptr<NssGroup>& group) = 0;
  // RFC: gidNumber gets the gid, or is cleared; Dynamic: keyword "gid" when set.
  virtual void saveGroupGid(std::shared_ptr<NssGroup>& group, kesh::ADObject& target,
                            std::map<std::string, std::string>& dict) = 0;
  // The cn of a zone group from version 6 (before the 64-character rule): RFC the
  // lower-cased sAMAccountName ("?" without one), Dynamic the directory group's cn as it
  // stands; then "@" and the domain, lower-cased.
  virtual std::string zoneGroupName(std::shared_ptr<NssGroup>& group) = 0;
  // RFC below version 6 refuses a zone group without both gid and name.
  virtual void checkZGroupFields(std::shared_ptr<NssGroup>& /*group*/) {}

  // Groups, common steps:
  void loadGroupData(kesh::ADObject& scp, std::shared_ptr<NssGroup>& group);
  void commonZGroupLoad(kesh::ADObject& scp, std::shared_ptr<NssGroup>& group);
  void commonLocalGroupLoad(kesh::ADObject& scp, std::shared_ptr<NssGroup>& group);
  // The target object of a group's save, with the entries of `dict` filled in.
  kesh::ADObject saveZGroup(std::shared_ptr<NssGroup>& group,
                            std::map<std::string, std::string>& dict);
  kesh::ADObject saveLocalGroup(std::shared_ptr<NssGroup>& group,
                                std::map<std::string, std::string>& dict);

  // The directory principal behind a profile object: below version 4 the object of its
  // managedBy link, else (or when that cannot be read) the one of the SID text `link`, from
  // the listing's batch or GetPrincipalBySid. Empty when neither resolves; never throws.
  kesh::ADObject linkedPrincipal(kesh::ADObject& scp, const std::string& link);
  // Who holds the unix name `name` in the child `container`: below version 6 the child
  // named `name` (a classic profile's cn is its name), from 6 the first object below it for
  // `filter`. Throws kesh::NotFoundException `missing` when there is none or the fetch fails.
  kesh::ADObject findUnixName(const char* container, const std::string& name,
                              const std::string& filter, const char* missing);

  // The directory principals behind the profiles of a running listing, by SID text; the
  // loads look here before they ask GetPrincipalBySid.
  std::map<std::string, kesh::ADObject> prefetched_;
  // Fills prefetched_ for the time of a listing with the principals that the profiles in
  // `found` link to (keyword parentLink), in a few batched searches, and empties it when it
  // goes, also when an exception passes. Profiles that resolve through managedBy first
  // (below version 4) and links that are no SID are left to the per-profile lookup.
  class PrefetchScope {
   public:
    PrefetchScope(SchemaScp& schema, kesh::ADObjectList found);
    ~PrefetchScope() { schema_.prefetched_.clear(); }
    PrefetchScope(const PrefetchScope&) = delete;
    PrefetchScope& operator=(const PrefetchScope&) = delete;

   private:
    SchemaScp& schema_;
  };
};

class SchemaScpRfc : public SchemaScp {
 public:
  using SchemaScp::SchemaScp;
  SchemaType getSchemaType() override { return SCHEMA_TYPE_RFC; }
  int getComputerVersion() override;
  bool isTreeZone() override { return false; }

 protected:
  const ObjectVersion& objectVersion() override;
  std::vector<std::string> profileClasses() override;
  kesh::ADObject FindUserScpByUnixName(std::shared_ptr<MyBinding> binding, kesh::ADObject zone,
                                       const std::string& name) override;
  void loadUserData(kesh::ADObject& scp, std::shared_ptr<NssUser> user,
                    std::map<std::string, std::string>& dict) override;
  void saveUser(std::shared_ptr<NssUser> user, std::map<std::string, std::string>& dict,
                kesh::ADObject& target) override;
  OptionalField<std::string> storedGecos(kesh::ADObject& scp,
                                         std::map<std::string, std::string>& dict) override;
  void loadGroupGid(kesh::ADObject& scp, std::shared_ptr<NssGroup>& group) override;
  void saveGroupGid(std::shared_ptr<NssGroup>& group, kesh::ADObject& target,
                    std::map<std::string, std::string>& dict) override;
  std::string zoneGroupName(std::shared_ptr<NssGroup>& group) override;
  void checkZGroupFields(std::shared_ptr<NssGroup>& group) override;
};

class NGSchemaScpRfc : public SchemaScpRfc {
 public:
  using SchemaScpRfc::SchemaScpRfc;
  bool isTreeZone() override { return true; }
};

class MachineRfc : public SchemaScpRfc {
 public:
  using SchemaScpRfc::SchemaScpRfc;
  bool isTreeZone() override { return true; }
  bool isMachineZone() override { return true; }
  void setDisplayName() override;  // "$KeshComputerZoneVersion1"
};

class SchemaScpDynamic : public SchemaScp {
 public:
  using SchemaScp::SchemaScp;
  SchemaType getSchemaType() override { return SCHEMA_TYPE_DYNAMIC; }
  int getComputerVersion() override;
  bool isTreeZone() override { return false; }

 protected:
  const ObjectVersion& objectVersion() override;
  std::vector<std::string> profileClasses() override;
  kesh::ADObject FindUserScpByUnixName(std::shared_ptr<MyBinding> binding, kesh::ADObject zone,
                                       const std::string& name) override;
  void loadUserData(kesh::ADObject& scp, std::shared_ptr<NssUser> user,
                    std::map<std::string, std::string>& dict) override;
  void saveUser(std::shared_ptr<NssUser> user, std::map<std::string, std::string>& dict,
                kesh::ADObject& target) override;
  OptionalField<std::string> storedGecos(kesh::ADObject& scp,
                                         std::map<std::string, std::string>& dict) override;
  void loadGroupGid(kesh::ADObject& scp, std::shared_ptr<NssGroup>& group) override;
  void saveGroupGid(std::shared_ptr<NssGroup>& group, kesh::ADObject& target,
                    std::map<std::string, std::string>& dict) override;
  std::string zoneGroupName(std::shared_ptr<NssGroup>& group) override;
};

class NGSchemaScpDynamic : public SchemaScpDynamic {
 public:
  using SchemaScpDynamic::SchemaScpDynamic;
  bool isTreeZone() override { return true; }
};

class MachineDynamic : public SchemaScpDynamic {
 public:
  using SchemaScpDynamic::SchemaScpDynamic;
  bool isTreeZone() override { return true; }
  bool isMachineZone() override { return true; }
  void setDisplayName() override;  // "$KeshComputerZoneVersion1"
};

// The SFU layout: no profile objects; the directory's own users and groups carry the UNIX
// data, and a user or group belongs to the zone when its msSFU30NisDomain equals the zone's
// "nisdomain". Fields and their attributes, first choice / second choice:
//   uid       msSFU30UidNumber      uidNumber
//   gid       msSFU30GidNumber      gidNumber
//   unixName  msSFU30Name           uid
//   shell     msSFU30LoginShell     loginShell
//   home      msSFU30HomeDirectory  unixHomeDirectory
//   gecos     msSFU30Gecos          gecos (below version 6: description)
// A load reads all fields from the first choice when any of them is there, else from the
// second; a save writes the second-choice names. Writes go to the binding of "sfudomain".
// There are no local users or groups, and no aliases.
class SchemaSfu : public SchemaBase {
 public:
  // Reads "nisdomain" from the zone's dictionary into nisDomain.
  SchemaSfu(kesh::ADObject zone, std::shared_ptr<MyBinding> binding, int version);

  SchemaType getSchemaType() override { return SCHEMA_TYPE_SFU; }
  int getComputerVersion() override;
  // True exactly for version 9.
  bool isTreeZone() override { return version_ == 9; }
  void loadZUser(const std::string& name, std::shared_ptr<NssZoneUser> user,
                 bool byUnixName) override;
  void loadLocalUser(const std::string& name, std::shared_ptr<NssLocalUser> user) override;
  void saveZUser(std::shared_ptr<NssZoneUser> user) override;
  void saveLocalUser(std::shared_ptr<NssLocalUser> user) override;
  void deleteUser(std::shared_ptr<NssUser>& user) override;
  void getZoneUsers(const std::string& filter,
                    std::list<std::shared_ptr<NssZoneUser>>& out) override;
  void getLocalUsers(const std::string& filter,
                     std::list<std::shared_ptr<NssLocalUser>>& out) override;
  void loadGroup(const std::string& name, std::shared_ptr<NssGroup>& group,
                 bool byUnixName) override;
  void saveGroup(std::shared_ptr<NssGroup>& group) override;
  void deleteGroup(std::shared_ptr<NssGroup>& group) override;
  void getGroups(const std::string& filter, std::list<std::shared_ptr<NssGroup>>& out,
                 NssGroup* (*factory)(), bool local) override;
  // The user of this NIS domain whose attribute uid is `name`. Throws
  // kesh::BadDataException "SFU Zone does not support local user" with `local`,
  // kesh::NotFoundException "user not found" when there is none.
  kesh::ADObject findUnixUser(const std::string& name, bool local) override;
  // The group of this NIS domain whose cn is `name`; the same with "local group" and
  // "group not found".
  kesh::ADObject findUnixGroup(const std::string& name, bool local) override;

  // Run by the user and group commands before a name is used; reads no directory. Throws
  // kesh::BadDataException "User/Group name must include domain" without "@", "User/Group
  // is not from SfuDomain" when the text after the first "@" is not getSfuDomain()
  // (compared without regard to case).
  void checkUserGroupName(const std::string& name);

  // The zone property "sfudomain": the domain whose users and groups the zone uses.
  std::string getSfuDomain() { return getZoneProp("sfudomain"); }
  void setSfuDomain(const std::string& value) { setZoneProp("sfudomain", value); }

  // Makes `object` the user's adUser and scp and reads the fields (see above). When the
  // object holds no first-choice attribute, writesRfcAttributes records whether it holds any
  // second-choice one; with none it throws kesh::BadDataException "Zone user has incomplete
  // attributes: <dn>".
  void loadZUserData(kesh::ADObject& object, std::shared_ptr<NssZoneUser> user);
  // Makes `object` the group's adGroup and scp: gid from msSFU30GidNumber or gidNumber,
  // unixName from cn.
  void loadGroupData(kesh::ADObject& object, std::shared_ptr<NssGroup>& group);

  std::string nisDomain;
  // Whether saves write the second-choice attributes; true until a load finds a user
  // without any first-choice attribute, then whether it found a second-choice one.
  bool writesRfcAttributes = true;
};

// The name check of the user and group commands: in a zone of the SFU layout,
// SchemaSfu::checkUserGroupName of `name` (no directory read); no check in other zones.
void CheckSfuUserGroupName(IZone& zone, const std::string& name);

// --- Profile lookups and checks shared by the layouts ---

// The profile of `sid` below the child `container` of `zone`: with `altIndex` 0 the main
// profile (no keyword altIndex), else the alias with that number; linked by keywords
// "parentLink:<sid>" or by managedBy `userDN`. Throws kesh::NotFoundException "could not
// find zone entry". (schema/scp_lookup.cpp)
kesh::ADObject FindAltScpBySid(std::shared_ptr<MyBinding> binding, kesh::ADObject zone,
                               kesh::SID sid, const std::string& container,
                               const std::string& userDN, int32_t altIndex);
// The first object below the child `container` of `zone` (subtree) with cn `name`, or with
// keywords "*login:<name>" (FindScpByLoginName). The name is not escaped. Throw
// kesh::NotFoundException "could not find zone entry". (schema/scp_lookup.cpp)
kesh::ADObject FindScpByCN(std::shared_ptr<MyBinding> binding, kesh::ADObject zone,
                           const std::string& name, const std::string& container);
// The first object below the child `container` of `zone` (subtree) for `filter`. Throws
// kesh::NotFoundException `missing`.
kesh::ADObject FirstProfileBelow(const std::shared_ptr<MyBinding>& binding, kesh::ADObject zone,
                                 const std::string& container, const std::string& filter,
                                 const char* missing);
kesh::ADObject FindScpByLoginName(std::shared_ptr<MyBinding> binding, kesh::ADObject zone,
                                  const std::string& name, const std::string& container);
// What a "*<sid>" name stands for: an object with the synthetic attribute "_SID" holding
// `sidText` and the DN that dnFromExtendedDN makes of "fake". (schema/scp_lookup.cpp)
kesh::ADObject FakeSidObject(const std::string& sidText);

// The checks run before every save of a user profile (zone and local users), by the
// schema's version: all of uid, gid, unixName, shell, home in classic zones ("Some user
// profile fields are missing"), at least one of them or gecos above ("At least one user
// profile field needed"); a unix name held by another profile ("Duplicate Unix name"); for
// zone users a name with "@" ("unix name should not include '@' ") and a name that is the
// sAMAccountName of another directory user of the same domain ("Duplicate uname with AD
// user name in the same domain"). All kesh::BadDataException; nothing is written.
// (schema/scp_users.cpp)
void checkNssUser(std::shared_ptr<NssUser> user, IZoneSchema* schema);

// The adapter for an existing zone object, chosen by its displayName marker and the
// "schema" key of its dictionary:
//   - displayName "$KeshComputerZoneVersion1" is version 8; otherwise the version is the
//     character at position 16 (right behind "$KeshZoneVersion") minus '0', whatever the
//     text before it and whatever follows (two digits read as the first);
//   - "Dynamic_Schema_2_0": 8 MachineDynamic, 6 NGSchemaScpDynamic, 2 and 4
//     SchemaScpDynamic; "KVR_RFC_2307": 8 MachineRfc, 7 NGSchemaScpRfc, 3 and 5
//     SchemaScpRfc; "SFU_3_0": SchemaSfu with any version, unchecked;
//   - any other pair: kesh::BadDataException "Unsupported schema type".
// A zone object without displayName or description, or with a displayName shorter than 17
// characters, throws kesh::BadDataException "<dn> is not a zone". The adapter's binding is
// GetBindingForDN of the zone's DN.
std::shared_ptr<SchemaBase> GetSchema(kesh::ADObject zone);

// Whether the forest of `domain` can hold the RFC layout: the schema object
// cn=posixaccount,cn=schema,cn=configuration,<forest root DN> can be read and the forest
// functional level is 2 or more. Any failure answers false.
bool IsRfcSchemaThere(const std::string& domain);

#endif  // ZONESMITH_SCHEMA_ZSCHEMA_H_
