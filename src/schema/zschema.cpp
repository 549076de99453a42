// Schema adapters: choosing the adapter of a zone, the version tables, and the zone
// properties kept in the zone's description dictionary.
#include "schema/zschema.h"

#include <string>

#include "directory/ldap.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "schema/keywords.h"

const char* const SCHEMA_TEXT_SFU = "SFU_3_0";
const char* const SCHEMA_TEXT_RFC = "KVR_RFC_2307";
const char* const SCHEMA_TEXT_DYNAMIC = "Dynamic_Schema_2_0";
const char* const ZONE_VERSION_MARKER = "$KeshZoneVersion";
const char* const COMPUTER_ZONE_VERSION_MARKER = "$KeshComputerZoneVersion1";

//                                           zone user group computer reserved
const ObjectVersion gObjectVersionDynamic[10] = {
    {0, 0, 0, 0, 0}, {1, 0, 0, 0, 0}, {2, 2, 2, 2, 0}, {3, 0, 0, 0, 0}, {4, 2, 2, 2, 0},
    {5, 0, 0, 0, 0}, {6, 4, 4, 3, 0}, {7, 0, 0, 0, 0}, {8, 4, 4, 3, 0}, {9, 0, 0, 0, 0},
};
const ObjectVersion gObjectVersionRfc[10] = {
    {0, 0, 0, 0, 0}, {1, 0, 0, 0, 0}, {2, 0, 0, 0, 0}, {3, 3, 3, 2, 0}, {4, 0, 0, 0, 0},
    {5, 3, 3, 2, 0}, {6, 0, 0, 0, 0}, {7, 5, 5, 3, 0}, {8, 5, 5, 3, 0}, {9, 0, 0, 0, 0},
};
const ObjectVersion gObjectVersionSfu[10] = {
    {0, 0, 0, 0, 0}, {1, 0, 0, 0, 0}, {2, 0, 0, 2, 0}, {3, 0, 0, 0, 0}, {4, 0, 0, 0, 0},
    {5, 0, 0, 0, 0}, {6, 0, 0, 0, 0}, {7, 0, 0, 0, 0}, {8, 0, 0, 0, 0}, {9, 0, 0, 3, 0},
};

namespace {

// The version of a computer zone, which its own marker stands for.
const int COMPUTER_ZONE_VERSION = 8;
// Where the version digit stands in "$KeshZoneVersion<digit>".
const size_t VERSION_DIGIT_POSITION = 16;
// The lowest forest functional level that holds the RFC 2307 classes.
const int RFC_SCHEMA_FOREST_LEVEL = 2;
const char RFC_SCHEMA_OBJECT_PREFIX[] = "cn=posixaccount,cn=schema,cn=configuration,";

// The computer column of `table` for a zone of `version`; 0 for a version outside it
// (an SFU zone accepts any character as its digit).
int ComputerColumn(const ObjectVersion (&table)[10], int version) {
  if (version < 0 || version >= 10) return 0;
  return table[version].computer;
}

// The zone's displayName and description, which every zone object has. Throws
// kesh::BadDataException (the caller turns it into "... is not a zone") otherwise.
const kesh::ADAttribute& ZoneAttribute(const kesh::ADObject& zone, const char* name) {
  const kesh::ADAttribute* attr = zone.find(name);
  if (attr == nullptr || attr->empty()) {
    KESH_THROW(kesh::BadDataException, 0, "zone object without %s", name);
  }
  return *attr;
}

}  // namespace

// --- SchemaBase ----------------------------------------------------------------------------

SchemaBase::SchemaBase(kesh::ADObject zone, std::shared_ptr<MyBinding> binding, int version)
    : zone_(zone), binding_(std::move(binding)), version_(version) {}

void SchemaBase::setDisplayName() {
  zone_[AD_DISPLAY_NAME] = std::string(ZONE_VERSION_MARKER) + std::to_string(version_);
}

void SchemaBase::setZoneData() {
  setDisplayName();
  const bool tree = isTreeZone();
  const SchemaType type = getSchemaType();
  std::map<std::string, std::string> dict;
  switch (type) {
    case SCHEMA_TYPE_SFU:
      dict["schema"] = SCHEMA_TEXT_SFU;
      break;
    case SCHEMA_TYPE_RFC:
      dict["schema"] = SCHEMA_TEXT_RFC;
      break;
    default:
      dict["schema"] = SCHEMA_TEXT_DYNAMIC;
      break;
  }
  if (type == SCHEMA_TYPE_SFU) {
    const std::string dn = zone_.dn();
    dict["nisdomain"] = kesh::DN::cnFromDn(dn);
    dict["sfudomain"] = kesh::DN::domainFromDN(dn);
  }
  dict["availableshells"] = "/bin/bash:/bin/csh:/bin/ksh:/bin/sh:/bin/tcsh";
  dict["gidreserved"] = "0-99";
  dict["username"] = "${u:samAccountName}";
  dict["groupname"] = "${g:samAccountName}";
  dict["gidnext"] = "10000";
  dict["uidreserved"] = "0-99";
  dict["uidnext"] = "10000";
  if (!isMachineZone()) dict["truncatename"] = "False";
  if (tree) {
    dict["defaultgid"] = "-1";
    dict["defaultgecos"] = "%{u:description}";
  }
  dict["defaultshell"] = tree ? "%{shell}" : "/bin/bash";
  dict["defaulthome"] = tree ? "%{home}/%{user}" : "/home/${user}";
  CramAttrs(zone_[AD_DESCRIPTION], dict);
}

std::string SchemaBase::getZoneProp(const std::string& key) {
  std::map<std::string, std::string> dict;
  CramDict(zone_.find(AD_DESCRIPTION), dict);
  return GetCramAttr(key, dict);
}

void SchemaBase::setZoneProp(const std::string& key, const std::string& value) {
  SetCramAttr(zone_, AD_DESCRIPTION, key, value);
}

// --- SchemaScp and its layouts ---------------------------------------------------------------

int SchemaScpRfc::getComputerVersion() { return ComputerColumn(gObjectVersionRfc, version_); }
int SchemaScpDynamic::getComputerVersion() {
  return ComputerColumn(gObjectVersionDynamic, version_);
}

const ObjectVersion& SchemaScpRfc::objectVersion() { return gObjectVersionRfc[version_]; }
const ObjectVersion& SchemaScpDynamic::objectVersion() { return gObjectVersionDynamic[version_]; }

void MachineRfc::setDisplayName() { zone_[AD_DISPLAY_NAME] = COMPUTER_ZONE_VERSION_MARKER; }
void MachineDynamic::setDisplayName() { zone_[AD_DISPLAY_NAME] = COMPUTER_ZONE_VERSION_MARKER; }

// --- SchemaSfu -------------------------------------------------------------------------------

SchemaSfu::SchemaSfu(kesh::ADObject zone, std::shared_ptr<MyBinding> binding, int version)
    : SchemaBase(zone, std::move(binding), version) {
  nisDomain = getZoneProp("nisdomain");
}

int SchemaSfu::getComputerVersion() { return ComputerColumn(gObjectVersionSfu, version_); }

// --- Choosing the adapter ------------------------------------------------------------------

std::shared_ptr<SchemaBase> GetSchema(kesh::ADObject zone) {
  const std::string dn = zone.dn();
  int version = 0;
  std::string schema;
  try {
    const std::string marker = ZoneAttribute(zone, AD_DISPLAY_NAME);
    if (marker == COMPUTER_ZONE_VERSION_MARKER) {
      version = COMPUTER_ZONE_VERSION;
    } else {
      // at() throws std::out_of_range for a marker too short to hold the digit.
      version = marker.at(VERSION_DIGIT_POSITION) - '0';
    }
    std::map<std::string, std::string> dict;
    CramDict(&ZoneAttribute(zone, AD_DESCRIPTION), dict);
    schema = GetCramAttr("schema", dict);
  } catch (const std::exception&) {
    // Whatever fails while the marker and the dictionary are read means the object is no
    // zone: every such failure gives the one message.
    KESH_THROW(kesh::BadDataException, 0, "%s is not a zone", dn.c_str());
  }

  enum class Kind { NONE, DYNAMIC, NG_DYNAMIC, MACHINE_DYNAMIC, RFC, NG_RFC, MACHINE_RFC, SFU };
  Kind kind = Kind::NONE;
  if (schema == SCHEMA_TEXT_DYNAMIC) {
    if (version == 8) kind = Kind::MACHINE_DYNAMIC;
    if (version == 6) kind = Kind::NG_DYNAMIC;
    if (version == 2 || version == 4) kind = Kind::DYNAMIC;
  } else if (schema == SCHEMA_TEXT_RFC) {
    if (version == 8) kind = Kind::MACHINE_RFC;
    if (version == 7) kind = Kind::NG_RFC;
    if (version == 3 || version == 5) kind = Kind::RFC;
  } else if (schema == SCHEMA_TEXT_SFU) {
    kind = Kind::SFU;
  }
  if (kind == Kind::NONE) KESH_THROW(kesh::BadDataException, 0, "Unsupported schema type");

  std::shared_ptr<MyBinding> binding = GetBindingForDN(dn);
  switch (kind) {
    case Kind::DYNAMIC:
      return std::make_shared<SchemaScpDynamic>(zone, binding, version);
    case Kind::NG_DYNAMIC:
      return std::make_shared<NGSchemaScpDynamic>(zone, binding, version);
    case Kind::MACHINE_DYNAMIC:
      return std::make_shared<MachineDynamic>(zone, binding, version);
    case Kind::RFC:
      return std::make_shared<SchemaScpRfc>(zone, binding, version);
    case Kind::NG_RFC:
      return std::make_shared<NGSchemaScpRfc>(zone, binding, version);
    case Kind::MACHINE_RFC:
      return std::make_shared<MachineRfc>(zone, binding, version);
    default:
      return std::make_shared<SchemaSfu>(zone, binding, version);
  }
}

bool IsRfcSchemaThere(const std::string& domain) {
  try {
    std::shared_ptr<MyBinding> binding = GetBinding(domain);
    const std::string forest = binding->getForest();
    binding->fetch(RFC_SCHEMA_OBJECT_PREFIX + kesh::DN::dnFromDomain(forest), nullptr,
                   AD_ALL_OBJECTS);
    return binding->binding->forestLevel() >= RFC_SCHEMA_FOREST_LEVEL;
  } catch (const std::exception&) {
    // A question, not an operation: any failure (no binding, no schema object, a lost
    // connection) answers that the layout cannot be used.
    return false;
  }
}
