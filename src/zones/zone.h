// IZone: the root interface of every zone, and the enumerations that name zone kinds and
// storage layouts.
//
// A zone is a directory container that holds UNIX profiles, NIS maps and authorization
// data. The five kinds of zone have very different abilities, so there is no wide zone
// class: IZone is small, and each ability is a capability interface below. Commands take
// the current zone from the session as an IZone and ask it for the capability they need
// by dynamic cast; a failed cast rejects the command ("Wrong zone type").
//
// Which class has which capability ("x": the cast from IZone succeeds):
//
//   capability                              Classic ClassicMachine Tree Machine Access
//   NssZone                                    x          x          x     x
//   NGZone                                                           x     x
//   IZoneHasParent                                        x          x     x       x
//   IZoneHasChildren                           x                     x
//   IZoneHasSettableChildren                                         x
//   IZoneHasSettableParent                                           x
//   IZoneHasComputerZone                                             x
//   IZoneJoinable, IZoneSupportComputer        x                     x
//   IZoneSupportNssZoneUser/-ZoneGroup         x                     x     x
//   IZoneSupportNssLocalUser/-LocalGroup                             x     x
//   IZoneSupportNisMaps                        x                     x
//   IZoneSupportNssVars                                              x     x
//   IZoneSupportAssignment                     x          x          x     x       x
//   IZoneManageRoles, IZoneManageRights        x                     x
//   IZoneManageRS                              x
//
// Restricted environments are managed through the zone only in classic zones; computer
// and access zones keep assignments but use the roles and rights of the zone above them.
//
// Zone paths name zones to the commands:
//   <zone DN>                      a classic or hierarchical zone
//   <computer name>@<zone DN>      the computer zone of that computer in that zone
//   <zone DN>/<access zone name>   an access zone (computer role) of a hierarchical zone
// getPath() of every zone answers a path that OpenZone opens back.
#ifndef ZONESMITH_ZONES_ZONE_H_
#define ZONESMITH_ZONES_ZONE_H_

#include <initializer_list>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "directory/library/adobject.h"

class IZoneSchema;
class MyBinding;
class NssUser;
class NssZoneUser;
class NssLocalUser;
class NssGroup;
class ZoneComputer;
class NisMap;

// The kind of a zone, as stored and as `get_zone_field type` reports it.
enum ZoneType {
  ZONE_TYPE_CLASSIC3 = 0,
  ZONE_TYPE_CLASSIC4 = 1,
  ZONE_TYPE_TREE = 2,
  ZONE_TYPE_ACCESS = 3,
  ZONE_TYPE_COMPUTER = 4,
  ZONE_TYPE_CLASSIC_COMPUTER = 5,
};

// The storage layout of a zone's profiles; 0 when the zone has no layout of its own.
enum SchemaType {
  SCHEMA_TYPE_NONE = 0,
  SCHEMA_TYPE_SFU = 1,
  SCHEMA_TYPE_RFC = 2,
  SCHEMA_TYPE_DYNAMIC = 3,
};

// The root of every zone.
class IZone {
 public:
  // Deletes the zone from the directory.
  virtual void remove() = 0;
  // The zone path that OpenZone accepts back.
  virtual std::string getPath() = 0;
  // Writes pending changes of the zone object.
  virtual void saveZone() = 0;
  virtual SchemaType getSchemaType() = 0;
  // The adapter that stores the zone's data, or null for a zone without one.
  virtual IZoneSchema* getSchema() { return nullptr; }
  virtual ZoneType getZoneType() = 0;
  virtual std::string getZoneName() = 0;
  // Gives `principal` the zone right `right`.
  virtual void delegateRight(const std::string& right, std::string principal) = 0;
  virtual ~IZone() = default;
};

// A zone that lives in one domain.
class ZoneSupport : public IZone {
 public:
  // The binding of the domain in which the zone lies.
  std::shared_ptr<MyBinding> binding;
};

// A zone whose data is a directory object read through a schema adapter.
class NssZone : public ZoneSupport {
 public:
  SchemaType getSchemaType() override;
  IZoneSchema* getSchema() override { return schema.get(); }
  // Gives `principal` the zone right `right` (zones/zone_rights.h has the vocabulary):
  // access control entries on the zone object or one of its containers, or a delegation on
  // the zone's scope. Throws kesh::BadDataException "Unknown right: %s" for a name outside
  // the vocabulary and "Right not supported: %s" (or a message of the right's group) for a
  // right this zone's class cannot have.
  void delegateRight(const std::string& right, std::string principal) override;

  // Gives the user of `binding` the rights of a zone's creator on the new zone object,
  // right after it is added (the DACL of the object is rewritten).
  static void delegateInitRights(kesh::ADObject zoneObject,
                                 const std::shared_ptr<MyBinding>& binding);

  kesh::ADObject object;
  std::shared_ptr<IZoneSchema> schema;
};

class IZoneHasParent {
 public:
  // The DN of the parent; what `raw` means is the class's.
  virtual std::string getParent(bool raw) = 0;
  virtual ~IZoneHasParent() = default;
};

class IZoneHasChildren {
 public:
  // Appends the direct children of the kinds selected, in that order of kinds: tree
  // children, computer zones, computer roles (access zones).
  virtual void getChildren(std::list<std::shared_ptr<IZone>>& out, bool tree, bool computerRole,
                           bool computer) = 0;
  virtual ~IZoneHasChildren() = default;
};

// A zone that may be given as a parent.
class IZoneHasSettableChildren : public virtual IZoneHasChildren {};

class IZoneHasSettableParent {
 public:
  // Changes the parent in memory (an empty path: no parent); saveZone writes it.
  virtual void setParent(const std::string& parentPath) = 0;
  virtual ~IZoneHasSettableParent() = default;
};

// A zone under which computer zones can exist.
class IZoneHasComputerZone {
 public:
  virtual ~IZoneHasComputerZone() = default;
};

class IZoneJoinable {
 public:
  virtual kesh::ADObject getComputerContainer() = 0;
  // Adds the group zone_nis_servers to the zone's Computers container.
  virtual void createNisServerGroup() = 0;
  virtual ~IZoneJoinable() = default;
};

class IZoneSupportNssZoneUser {
 public:
  virtual std::shared_ptr<NssZoneUser> getNssZUser(const std::string& name, bool byUnixName) = 0;
  virtual void saveNssZUser(std::shared_ptr<NssZoneUser> user) = 0;
  virtual std::shared_ptr<NssZoneUser> newNssZUser(const std::string& name) = 0;
  virtual void getNssZUsers(const std::string& filter,
                            std::list<std::shared_ptr<NssZoneUser>>& out) = 0;
  virtual void deleteNssZUser(std::shared_ptr<NssUser> user) = 0;
  virtual kesh::ADObject getZUserContainer() = 0;
  virtual ~IZoneSupportNssZoneUser() = default;
};

class IZoneSupportNssLocalUser {
 public:
  virtual std::shared_ptr<NssLocalUser> getNssLocalUser(const std::string& name) = 0;
  virtual void saveNssLocalUser(std::shared_ptr<NssLocalUser> user) = 0;
  virtual std::shared_ptr<NssLocalUser> newNssLocalUser(const std::string& name) = 0;
  virtual void getNssLocalUsers(const std::string& filter,
                                std::list<std::shared_ptr<NssLocalUser>>& out) = 0;
  virtual void deleteNssLocalUser(std::shared_ptr<NssUser> user) = 0;
  virtual ~IZoneSupportNssLocalUser() = default;
};

// Zone groups and local groups; the first three operations work through the schema.
class IZoneSupportNssGroup {
 public:
  virtual void saveGroup(std::shared_ptr<NssGroup>& group);
  // Calls `visit` on each group (zone groups for group type 0, local groups for 1) in list
  // order until it answers true. Local groups of an SFU zone throw kesh::BadDataException
  // "SFU Zone does not support local group" before anything is read.
  virtual void getGroups(const std::string& filter, bool (*visit)(std::shared_ptr<NssGroup>&));
  virtual void deleteGroup(std::shared_ptr<NssGroup>& group);
  virtual IZoneSchema* getCurrentSchema() = 0;
  // 0 zone groups, 1 local groups.
  virtual int getGroupType() = 0;
  virtual ~IZoneSupportNssGroup() = default;
};

class IZoneSupportNssZoneGroup : public IZoneSupportNssGroup {
 public:
  int getGroupType() override { return 0; }
  virtual std::shared_ptr<NssGroup> getZGroup(const std::string& name, bool byUnixName) = 0;
  virtual std::shared_ptr<NssGroup> newZGroup(const std::string& name) = 0;
  virtual kesh::ADObject getZGroupContainer() = 0;
};

class IZoneSupportNssLocalGroup : public IZoneSupportNssGroup {
 public:
  int getGroupType() override { return 1; }
  virtual std::shared_ptr<NssGroup> getLocalGroup(const std::string& name) = 0;
  virtual std::shared_ptr<NssGroup> newLocalGroup(const std::string& name) = 0;
};

class IZoneSupportComputer {
 public:
  virtual std::shared_ptr<ZoneComputer> getZoneComputer(const std::string& name) = 0;
  virtual void saveZoneComputer(std::shared_ptr<ZoneComputer>& computer) = 0;
  virtual std::shared_ptr<ZoneComputer> newZoneComputer(const std::string& name) = 0;
  virtual void getZoneComputers(const std::string& filter,
                                std::list<std::shared_ptr<ZoneComputer>>& out) = 0;
  virtual void deleteZoneComputer(std::shared_ptr<ZoneComputer>& computer) = 0;
  virtual ~IZoneSupportComputer() = default;
};

class IZoneSupportNisMaps {
 public:
  virtual void getMaps(std::list<std::string>& out) = 0;
  virtual void getMapEntries(const std::string& map,
                             std::map<std::string, std::pair<std::string, std::string>>& out) = 0;
  virtual std::shared_ptr<NisMap> newMap(const std::string& map, bool automount) = 0;
  virtual void deleteMap(const std::string& map) = 0;
  virtual void addMapEntry(const std::string& map, const std::string& key, const std::string& value,
                           const std::string& comment) = 0;
  virtual void removeMapEntry(const std::string& map, const std::string& indexedKey) = 0;
  virtual void saveMap(std::shared_ptr<NisMap>& map) = 0;
  virtual std::shared_ptr<NisMap> getMap(const std::string& map) = 0;
  virtual kesh::ADObject getNisContainer() = 0;
  virtual ~IZoneSupportNisMaps() = default;
};

class IZoneSupportNssVars {
 public:
  // Adds the zone's NSS variables to `out` (name without "%" -> value).
  virtual void getNssVars(std::map<std::string, std::string>& out) = 0;
  // Replaces all variables of the zone in memory by `vars`; saveZone writes them.
  virtual void setNssVars(std::map<std::string, std::string>& vars) = 0;
  virtual ~IZoneSupportNssVars() = default;
};

// --- Mix-ins: the schema-backed capabilities, composed by the zone classes. Each reads
// nothing of its zone but `object`, `binding` and `schema`.

class NssZoneSupportZoneUserGroup : public virtual NssZone,
                                    public IZoneSupportNssZoneUser,
                                    public IZoneSupportNssZoneGroup {
 public:
  std::shared_ptr<NssZoneUser> getNssZUser(const std::string& name, bool byUnixName) override;
  void saveNssZUser(std::shared_ptr<NssZoneUser> user) override;
  std::shared_ptr<NssZoneUser> newNssZUser(const std::string& name) override;
  void getNssZUsers(const std::string& filter,
                    std::list<std::shared_ptr<NssZoneUser>>& out) override;
  void deleteNssZUser(std::shared_ptr<NssUser> user) override;
  // The child cn=Users of the zone object, built without a directory access.
  kesh::ADObject getZUserContainer() override;
  IZoneSchema* getCurrentSchema() override { return schema.get(); }
  std::shared_ptr<NssGroup> getZGroup(const std::string& name, bool byUnixName) override;
  std::shared_ptr<NssGroup> newZGroup(const std::string& name) override;
  // The child cn=Groups of the zone object, built without a directory access.
  kesh::ADObject getZGroupContainer() override;
};

class NssZoneSupportLocalUserGroup : public virtual NssZone,
                                     public IZoneSupportNssLocalUser,
                                     public IZoneSupportNssLocalGroup {
 public:
  std::shared_ptr<NssLocalUser> getNssLocalUser(const std::string& name) override;
  void saveNssLocalUser(std::shared_ptr<NssLocalUser> user) override;
  std::shared_ptr<NssLocalUser> newNssLocalUser(const std::string& name) override;
  void getNssLocalUsers(const std::string& filter,
                        std::list<std::shared_ptr<NssLocalUser>>& out) override;
  void deleteNssLocalUser(std::shared_ptr<NssUser> user) override;
  IZoneSchema* getCurrentSchema() override { return schema.get(); }
  std::shared_ptr<NssGroup> getLocalGroup(const std::string& name) override;
  std::shared_ptr<NssGroup> newLocalGroup(const std::string& name) override;
};

// Zone computer profiles (schema/computer.h). getZoneComputer takes
// "<sAMAccountName>@<domain>" or "*<SID>"; newZoneComputer refuses a computer that has a
// profile in the zone (kesh::BadDataException "Computer already in zone").
class NssZoneSupportComputer : public virtual NssZone,
                               public IZoneSupportComputer,
                               public IZoneJoinable {
 public:
  std::shared_ptr<ZoneComputer> getZoneComputer(const std::string& name) override;
  void saveZoneComputer(std::shared_ptr<ZoneComputer>& computer) override;
  std::shared_ptr<ZoneComputer> newZoneComputer(const std::string& name) override;
  void getZoneComputers(const std::string& filter,
                        std::list<std::shared_ptr<ZoneComputer>>& out) override;
  void deleteZoneComputer(std::shared_ptr<ZoneComputer>& computer) override;
  // The child cn=Computers of the zone object, read from the directory.
  kesh::ADObject getComputerContainer() override;
  // Refuses a zone below the domain's System container (kesh::BadDataException "A computer
  // in a zone under the default system container cannot act as a NIS server."), then adds
  // cn=zone_nis_servers to the Computers container: objectClass group, displayName
  // "zone_nis_servers", sAMAccountName a new GUID in Microsoft text form.
  void createNisServerGroup() override;
};

// NIS maps (zones/nis_map.h). Messages: "NisMap already in zone" (newMap), "Map entry
// already exists" (addMapEntry), the indexed key's (ParseNisMapIndexedKey),
// kesh::NotFoundException "entry not found" and kesh::BadDataException "key index out of
// bound" (removeMapEntry). newMap writes nothing: saveMap adds the map. Entries are written
// at once.
class NssZoneSupportNisMaps : public virtual NssZone, public IZoneSupportNisMaps {
 public:
  void getMaps(std::list<std::string>& out) override;
  void getMapEntries(const std::string& map,
                     std::map<std::string, std::pair<std::string, std::string>>& out) override;
  std::shared_ptr<NisMap> newMap(const std::string& map, bool automount) override;
  void deleteMap(const std::string& map) override;
  void addMapEntry(const std::string& map, const std::string& key, const std::string& value,
                   const std::string& comment) override;
  void removeMapEntry(const std::string& map, const std::string& indexedKey) override;
  void saveMap(std::shared_ptr<NisMap>& map) override;
  std::shared_ptr<NisMap> getMap(const std::string& map) override;
  // The child cn=NisMaps of the zone, read from the directory; added when missing, which
  // getMaps and newMap rely on.
  kesh::ADObject getNisContainer() override;

  // The entries of `map` with description `key` (escaped for the filter), spares excluded:
  // one one-level search of the map.
  kesh::ADObjectList findMapEntry(const std::string& map, const std::string& key);
  // The first spare entry of `map`, or an invalid object.
  kesh::ADObject findSpareMapEntry(const std::string& map);

 protected:
  // The map's object in memory (cn=<map> below the NIS container), carrying its DN; built
  // without a directory access. A map exists only in an existing container, so an operation
  // on a map of a zone whose container went missing fails on the map.
  kesh::ADObject getMapObject(const std::string& map);
};

// Throws kesh::BadDataException "Wrong zone type".
[[noreturn]] void ThrowWrongZoneType();

// `parent` as a T, the class of zone a sub-zone needs above it; "Wrong zone type" for a zone
// of any other class.
template <class T>
T& ParentZoneAs(const std::shared_ptr<IZone>& parent) {
  T* zone = dynamic_cast<T*>(parent.get());
  if (zone == nullptr) ThrowWrongZoneType();
  return *zone;
}

// Adds the children `cns` of the new zone object `zone`, a container each, in this order.
void AddZoneContainers(MyBinding& binding, kesh::ADObject& zone,
                       std::initializer_list<const char*> cns);

// --- Zone paths, opening and creation.

// Splits a zone path into its parts, assigning only the parts it has:
//   - an "@" at or before the first "=" (no "=": at infinity) makes the text before it the
//     computer name and the text after it the zone DN ("/" plays no part then);
//   - else a "/" makes the text before it the zone DN and the text after it the access
//     zone name (a "/" inside a DN cuts the path there);
//   - else the whole path is the zone DN.
// Throws kesh::BadDataException "Bad zone name format" when the zone DN is no DN
// (kesh::DN::isDN) or when both a computer name and an access zone name are present.
void ParseZonePath(const std::string& path, std::string& computerName, std::string& zoneDn,
                   std::string& accessZoneName);

// Opens the zone named by `path`. The kind is told by the version of the object at the
// zone DN (GetSchema): 2-5 classic, 6, 7, 9 hierarchical (then the computer zone or access
// zone below it when the path names one), anything else kesh::BadDataException
// "Unsupported zone type". A classic zone with an access zone name throws "Bad zone name
// format (az not supported)". Directory failures of the fetch pass through.
std::shared_ptr<IZone> OpenZone(const std::string& path);

// Creates the zone named by `path` of kind `type` in layout `schema`, as an organizational
// unit when `organizationalUnit`. Messages, in the order tested: "Bad zone name format",
// "Machine zone name must be FQDN", "Invalid zone type", "Machine zone can not be SFU
// zone", "Zone type not supported in win2k domain" (hierarchical, computer and access
// zones need domain functional level 2). No rollback: a failure leaves what was written.
void CreateZone(const std::string& path, SchemaType schema, ZoneType type, bool organizationalUnit);

// Appends the subtree below `zone` (tree children, computer zones, access zones) in
// depth-first preorder, without `zone`. Does nothing for a zone that is not a TreeZone.
void GetAllChildren(std::list<std::shared_ptr<IZone>>& out, std::shared_ptr<IZone> zone);

// Splits an alias suffix off a user name: "user1+2" -> {2, "user1"}; no separator -> {0,
// name}. Throws kesh::BadDataException "Invalid alias suffix" for a separator at the end or
// a suffix that reads as 0 (strtol rules: "x" and "0" both do).
std::pair<int, std::string> ParseUpn(const std::string& name, char separator);

#endif  // ZONESMITH_ZONES_ZONE_H_
