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
//
// The profile operations (users, groups, local accounts, computers) are not part of this
// release of the adapters: they throw kesh::BadDataException "<operation> is not available
// yet".
#ifndef ZONESMITH_SCHEMA_ZSCHEMA_H_
#define ZONESMITH_SCHEMA_ZSCHEMA_H_

#include <list>
#include <map>
#include <memory>
#include <string>

#include "directory/library/adobject.h"
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

// What the RFC and Dynamic layouts share (serviceConnectionPoint profiles).
class SchemaScp : public SchemaBase {
 public:
  using SchemaBase::SchemaBase;
  void deleteUser(std::shared_ptr<NssUser>& user) override;
  void getZoneUsers(const std::string& filter,
                    std::list<std::shared_ptr<NssZoneUser>>& out) override;
  void getLocalUsers(const std::string& filter,
                     std::list<std::shared_ptr<NssLocalUser>>& out) override;
  void deleteGroup(std::shared_ptr<NssGroup>& group) override;
  void getGroups(const std::string& filter, std::list<std::shared_ptr<NssGroup>>& out,
                 NssGroup* (*factory)(), bool local) override;
  kesh::ADObject findUnixGroup(const std::string& name, bool local) override;
  // Each layout has its own way of loading and saving profiles; until profiles arrive,
  // these stand here for both and throw "... is not available yet".
  void loadZUser(const std::string& name, std::shared_ptr<NssZoneUser> user,
                 bool byUnixName) override;
  void loadLocalUser(const std::string& name, std::shared_ptr<NssLocalUser> user) override;
  void saveZUser(std::shared_ptr<NssZoneUser> user) override;
  void saveLocalUser(std::shared_ptr<NssLocalUser> user) override;
  void loadGroup(const std::string& name, std::shared_ptr<NssGroup>& group,
                 bool byUnixName) override;
  void saveGroup(std::shared_ptr<NssGroup>& group) override;
  kesh::ADObject findUnixUser(const std::string& name, bool local) override;
};

class SchemaScpRfc : public SchemaScp {
 public:
  using SchemaScp::SchemaScp;
  SchemaType getSchemaType() override { return SCHEMA_TYPE_RFC; }
  int getComputerVersion() override;
  bool isTreeZone() override { return false; }
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

// The SFU layout. Its profile operations are not available yet.
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
  kesh::ADObject findUnixUser(const std::string& name, bool local) override;
  kesh::ADObject findUnixGroup(const std::string& name, bool local) override;

  // The zone property "sfudomain": the domain whose users and groups the zone uses.
  std::string getSfuDomain() { return getZoneProp("sfudomain"); }
  void setSfuDomain(const std::string& value) { setZoneProp("sfudomain", value); }

  std::string nisDomain;
  bool writesRfcAttributes = true;
};

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
