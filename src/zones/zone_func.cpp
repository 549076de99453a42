#include "zones/zone_func.h"

#include <list>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "authorization/qv.h"
#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/strings.h"
#include "directory/principal.h"
#include "directory/session.h"
#include "schema/zschema.h"
#include "script/args.h"
#include "script/context.h"
#include "zones/access_zone.h"
#include "zones/classic_zone.h"
#include "zones/ngzone.h"

namespace {

// The filter of get_zones: every zone marker "$KeshZoneVersion<n>"; computer zones carry
// "$KeshComputerZoneVersion1" and stay out.
const char* const ZONES_FILTER = "(displayname=$KeshZoneVersion*)";

// The variable text of `set_zone_field nssvar` that erases a variable, besides the empty one.
const char* const NSSVAR_ERASE = "-";

struct ZoneTypeWord {
  const char* word;
  ZoneType type;
  // Whether -ou applies; computer zones are always containers.
  bool ouAllowed;
};

const ZoneTypeWord kZoneTypeWords[] = {
    {"tree", ZONE_TYPE_TREE, true},
    {"classic", ZONE_TYPE_CLASSIC4, true},
    {"classic4", ZONE_TYPE_CLASSIC4, true},
    {"classic3", ZONE_TYPE_CLASSIC3, true},
    {"computer", ZONE_TYPE_COMPUTER, false},
    {"classic-computer", ZONE_TYPE_CLASSIC_COMPUTER, false},
};

const std::set<std::string>& ExposedZoneFields() {
  static const std::set<std::string> fields = {
      "availableshells",
      "cloudurl",
      "block.parent.zgroup",
      "defaultshell",
      "username",
      "groupname",
      "defaultgid",
      "defaulthome",
      "description",
      "gidreserved",
      "gidnext",
      "masterdc",
      "pwsync",
      "truncatename",
      "uidreserved",
      "uidnext",
      "groupmembership",
      "provisioning_user_enabled",
      "provisioning_custom_uid_attribute",
      "provisioning_group_enabled",
      "provisioning_usersource",
      "provisioning_groupsource",
      "provisioning_sourcezone",
      "provisioning_uidoption",
      "provisioning_gidoption",
      "provisioning_user_unixnameoption",
      "provisioning_user_unixnameoption_explicit",
      "provisioning_group_unixnameoption",
      "provisioning_group_unixnameoption_explicit",
      "provisioning_unixname_valid_characters",
      "provisioning_unixname_prefix",
      "provisioning_unixname_invalid_character_option",
      "provisioning_unixname_truncate_option",
      "provisioning_shell_option",
      "provisioning_shell_explicit",
      "provisioning_homedirectory_option",
      "provisioning_homedirectory_explicit",
      "provisioning_primarygid_option",
      "provisioning_primarygid_explicit",
      "provisioning_primarygroup_priority*",
      "provisioning_gecos_option",
      "provisioning_gecos_option_explicit",
      "provisioning_ignore_disabled_account",
      "provisioning_unixname_retry_dup_max",
      "provisioning_unixname_retry_dup_enabled",
      "provisioning_unixname_lower_case",
  };
  return fields;
}

// The adapter of the current zone as a SchemaBase; "Wrong zone type" for a zone without one.
SchemaBase& CurrentSchemaBase() {
  SchemaBase* schema = dynamic_cast<SchemaBase*>(GetCurrentZone<IZone>()->getSchema());
  if (schema == nullptr) ThrowWrongZoneType();
  return *schema;
}

// The SFU adapter of the current zone; "Wrong zone type" for any other layout.
SchemaSfu& CurrentSchemaSfu() {
  IZone* zone = GetCurrentZone<IZone>();
  SchemaSfu* schema = nullptr;
  if (zone->getSchemaType() == SCHEMA_TYPE_SFU)
    schema = dynamic_cast<SchemaSfu*>(zone->getSchema());
  if (schema == nullptr) ThrowWrongZoneType();
  return *schema;
}

// The adapter of the current zone when it is one of a hierarchical zone; "Wrong zone type"
// otherwise.
SchemaBase& CurrentTreeSchema() {
  SchemaBase& schema = CurrentSchemaBase();
  if (!schema.isTreeZone()) ThrowWrongZoneType();
  return schema;
}

// The adapter of the current zone for the NIS domain: computer zones have none of their own.
SchemaBase& CurrentNisSchema() {
  if (GetCurrentZone<IZone>()->getZoneType() == ZONE_TYPE_COMPUTER) ThrowWrongZoneType();
  return CurrentSchemaBase();
}

std::string ZoneTypeWordOf(ZoneType type) {
  switch (type) {
    case ZONE_TYPE_CLASSIC3:
      return "classic3";
    case ZONE_TYPE_CLASSIC4:
      return "classic4";
    case ZONE_TYPE_TREE:
      return "tree";
    case ZONE_TYPE_ACCESS:
      return "access";
    case ZONE_TYPE_CLASSIC_COMPUTER:
      return "classic-computer";
    default:
      return "computer";
  }
}

std::string SchemaWordOf(SchemaType schema) {
  switch (schema) {
    case SCHEMA_TYPE_RFC:
      return "rfc";
    case SCHEMA_TYPE_DYNAMIC:
      return "std";
    case SCHEMA_TYPE_SFU:
      return "sfu";
    default:
      return "NA";
  }
}

}  // namespace

bool IsExposedZoneField(const std::string& field) { return ExposedZoneFields().count(field) != 0; }

SchemaType GetSchemaType(const std::string& path, const std::string& word) {
  std::string computerName, zoneDn, accessZoneName;
  ParseZonePath(path, computerName, zoneDn, accessZoneName);
  const std::string domain = kesh::lower(kesh::DN::domainFromDN(zoneDn));
  // IsRfcSchemaThere answers false for any failure of its test.
  const bool rfc = IsRfcSchemaThere(domain);
  if (word.empty()) return rfc ? SCHEMA_TYPE_RFC : SCHEMA_TYPE_DYNAMIC;
  if (word == "std") return SCHEMA_TYPE_DYNAMIC;
  if (word == "rfc") {
    if (!rfc) KESH_THROW(kesh::BadDataException, 0, "RFC2307 schema not available");
    return SCHEMA_TYPE_RFC;
  }
  if (word == "sfu") return SCHEMA_TYPE_SFU;
  KESH_THROW(kesh::BadDataException, 0, "Unknown schema type");
}

void CreateZoneFunc(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches = Switches({SwitchDef("-ou")});
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);
  if (positional.size() < 2) throw Tcl::tcl_syntax_error();
  const std::string& typeWord = positional[0];
  const std::string& path = positional[1];
  const std::string schemaWord = positional.size() > 2 ? positional[2] : std::string();

  const ZoneTypeWord* kind = nullptr;
  for (const ZoneTypeWord& row : kZoneTypeWords) {
    if (typeWord == row.word) kind = &row;
  }
  if (kind == nullptr) KESH_THROW(kesh::BadDataException, 0, "Unknown zone type");
  const SchemaType schema = GetSchemaType(path, schemaWord);
  CreateZone(path, schema, kind->type, kind->ouAllowed && switches["-ou"].seen);
}

void SelectZone(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches = Switches({SwitchDef("-nc")});
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);
  if (positional.empty()) throw Tcl::tcl_syntax_error();
  const std::string path = kesh::lower(positional[0]);

  ContextTab& tab = *GetContextTab();
  std::shared_ptr<IZone> zone;
  if (switches["-nc"].seen) {
    zone = OpenZone(path);
  } else {
    auto cached = tab.zones.find(path);
    if (cached != tab.zones.end()) {
      zone = cached->second;
    } else {
      zone = OpenZone(path);
      tab.zones[path] = zone;
    }
  }
  // Only now that the zone is open: a failed open leaves the former zone current.
  ClearZone();
  tab.zone = zone;
}

void SaveZone() { GetCurrentZone()->saveZone(); }

void DeleteZone(const Tcl::object& args) {
  if (args.length(SessionInterp()) != 0) throw Tcl::tcl_syntax_error();
  std::shared_ptr<IZone> zone = GetCurrentZone();
  const std::string path = zone->getPath();
  if (!AreYouSure(path)) return;
  zone->remove();
  GetContextTab()->zones.erase(kesh::lower(path));
  ClearZone();
}

std::string GetZoneField(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches = Switches({SwitchDef("-raw")});
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);
  if (positional.size() != 1) throw Tcl::tcl_syntax_error();
  const std::string& field = positional[0];

  IZone* zone = GetCurrentZone<IZone>();
  if (dynamic_cast<ClassicMachineZone*>(zone) != nullptr && field != "parent" && field != "type" &&
      field != "schema") {
    ThrowWrongZoneType();
  }
  if (AccessZone* access = dynamic_cast<AccessZone*>(zone)) {
    if (field == "dn") return access->scope->scopeObject->dn();
    if (field == "description") return access->scope->scopeObject->firstValue(AD_DESCRIPTION);
  }
  if (field == "parent") return GetCurrentZone<IZoneHasParent>()->getParent(switches["-raw"].seen);
  if (field == "dn") return GetCurrentZone<NssZone>()->object.dn();
  if (field == "computers") return GetCurrentZone<AccessZone>()->getGroup();
  if (field == "type") return ZoneTypeWordOf(zone->getZoneType());
  if (field == "schema") return SchemaWordOf(zone->getSchemaType());
  if (field == "nisdomain") return CurrentNisSchema().getNisDomain();
  if (field == "sfudomain") return CurrentSchemaSfu().getSfuDomain();
  if (IsExposedZoneField(field)) return CurrentSchemaBase().getZoneProp(field);
  if (field == "defaultgecos") return CurrentTreeSchema().getZoneProp(field);
  if (field == "createTime") return GetCurrentZone<NssZone>()->object.firstValue(AD_WHEN_CREATED);
  if (field == "modifyTime") return GetCurrentZone<NssZone>()->object.firstValue(AD_WHEN_CHANGED);
  KESH_THROW(kesh::BadDataException, 0, "unknown field %s", field.c_str());
}

void SetZoneField(const std::string& field, const std::string& value) {
  IZone* zone = GetCurrentZone<IZone>();
  if (dynamic_cast<ClassicMachineZone*>(zone) != nullptr) {
    KESH_THROW(kesh::BadDataException, 0,
               "Invalid zone type. Classic computer zone has no settable zone fields.");
  }
  AccessZone* access = dynamic_cast<AccessZone*>(zone);
  if (access != nullptr && field == "description") {
    // Written by the access zone's saveZone, with its group.
    (*access->scope->scopeObject)[AD_DESCRIPTION] = value;
    return;
  }
  if (field == "parent") {
    if (zone->getSchemaType() == SCHEMA_TYPE_SFU) {
      KESH_THROW(kesh::BadDataException, 0, "Do not allow to set parent field for SFU zone");
    }
    TreeZone* tree = GetCurrentZone<TreeZone>();
    if (kesh::upper(value) == kesh::upper(tree->object.dn())) {
      KESH_THROW(kesh::BadDataException, 0,
                 "Invalid parent zone. Please specify a zone other than itself.");
    }
    tree->setParent(value);
    return;
  }
  if (field == "computers") {
    GetCurrentZone<AccessZone>()->setGroup(value);
    return;
  }
  if (field == "nisdomain") {
    CurrentNisSchema().setNisDomain(value);
    return;
  }
  if (field == "sfudomain") {
    CurrentSchemaSfu().setSfuDomain(value);
    return;
  }
  if (IsExposedZoneField(field)) {
    CurrentSchemaBase().setZoneProp(field, value);
    return;
  }
  if (field == "defaultgecos") {
    CurrentTreeSchema().setZoneProp(field, value);
    return;
  }
  if (field == "nssvar") {
    IZoneSupportNssVars* vars = GetCurrentZone<IZoneSupportNssVars>();
    std::map<std::string, std::string> all;
    vars->getNssVars(all);
    const size_t equals = value.find('=');
    if (equals == std::string::npos) {
      KESH_THROW(kesh::BadDataException, 0, "Invalid var format, must be <var>=<val>");
    }
    const std::string name = value.substr(0, equals);
    const std::string text = value.substr(equals + 1);
    if (text.empty() || text == NSSVAR_ERASE) {
      all.erase(name);
    } else {
      all[name] = text;
    }
    vars->setNssVars(all);
    return;
  }
  KESH_THROW(kesh::BadDataException, 0, "unknown field %s", field.c_str());
}

Tcl::object GetZones(const std::string& domain) {
  static const char* const attrs[] = {AD_DN, nullptr};
  kesh::ADObjectList found =
      GetBinding(domain)->search(ZONES_FILTER, "", attrs, kesh::SCOPE_SUB, 0);
  std::vector<std::string> dns;
  for (kesh::ADObject& object : found) dns.push_back(object.dn());
  return StringList(dns);
}

Tcl::object GetChildZones(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches =
      Switches({SwitchDef("-tree"), SwitchDef("-crole"), SwitchDef("-computer")});
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);
  if (!positional.empty()) throw Tcl::tcl_syntax_error();
  bool tree = switches["-tree"].seen;
  bool crole = switches["-crole"].seen;
  bool computer = switches["-computer"].seen;
  if (!tree && !crole && !computer) tree = crole = computer = true;

  std::list<std::shared_ptr<IZone>> children;
  GetCurrentZone<IZoneHasChildren>()->getChildren(children, tree, crole, computer);
  std::vector<std::string> paths;
  for (const std::shared_ptr<IZone>& child : children) paths.push_back(child->getPath());
  return StringList(paths);
}

Tcl::object GetNssVars() {
  std::map<std::string, std::string> vars;
  GetCurrentZone<IZoneSupportNssVars>()->getNssVars(vars);
  std::vector<std::string> items;
  for (const auto& entry : vars) items.push_back(entry.first + "=" + entry.second);
  return StringList(items);
}

void CreateComputerRole(const std::string& path, const std::string& group) {
  kesh::ADObject adGroup = GetADGroup(group);
  if (IsDistributionGroup(adGroup)) {
    KESH_THROW(kesh::BadDataException, 0, "Error: %s is a distribution group.", group.c_str());
  }
  CreateZone(path, SCHEMA_TYPE_NONE, ZONE_TYPE_ACCESS, false);
  std::shared_ptr<IZone> zone = OpenZone(path);
  AccessZone* access = dynamic_cast<AccessZone*>(zone.get());
  access->setGroup(group);
  access->saveZone();
}

void DelegateZoneRight(const std::string& right, const std::string& principal) {
  GetCurrentZone()->delegateRight(right, principal);
}

void ManageQV(const std::string& word) {
  ClassicZone* zone = GetCurrentZone<ClassicZone>();
  if (word == "-on") {
    zone->enableQV();
  } else if (word == "-off") {
    zone->disableQV();
  } else {
    KESH_THROW(kesh::BadDataException, 0, "Wrong argument. <-on|-off>");
  }
}

int IsQVEnabled() { return GetCurrentZone<ClassicZone>()->isQVEnabled() ? 1 : 0; }
