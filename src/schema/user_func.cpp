#include "schema/user_func.h"

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/strings.h"
#include "directory/session.h"
#include "schema/keywords.h"
#include "schema/profile_store.h"
#include "schema/zschema.h"
#include "script/args.h"
#include "script/context.h"
#include "zones/ngzone.h"
#include "zones/zone.h"

namespace {

// Markers of the profiles that the list commands search for.
const char* const ZONE_USERS_FILTER =
    "(&(objectClass=serviceConnectionPoint)(displayName=$KeshUserVersion*))";
const char* const PENDING_USERS_FILTER =
    "(&(objectClass=serviceConnectionPoint)(displayName=$KeshPendingUserVersion*))";
const char* const LOCAL_USERS_FILTER =
    "(&(objectClass=serviceConnectionPoint)(displayName=$KeshLocalUserVersion*))";

// How a field that is not set looks in a printed line.
const char* const UNSET_IN_LINE = " - ";
const char* const FIELD_SEPARATOR = ":";

[[noreturn]] void UnknownField(const std::string& field) {
  KESH_THROW(kesh::BadDataException, 0, "unknown field %s", field.c_str());
}

// Whether `field` names an extended attribute that the user field commands take.
bool IsUserExtendedField(const std::string& field) {
  return field != LOCAL_GROUP_MEMBERS && ExtendedAttributes().count(field) != 0;
}

// unixName, uid, gid, gecos, home, shell: the six fields of the lines, in their order.
std::vector<std::string> SixFields(const NssUser& user, const std::string& unset) {
  return {FieldText(user.unixName, unset), FieldText(user.uid, unset),
          FieldText(user.gid, unset),      FieldText(user.gecos, unset),
          FieldText(user.home, unset),     FieldText(user.shell, unset)};
}

// The key of a zone user in the lines and in get_zone_users.
std::string ZoneUserKey(const NssZoneUser& user, bool upn) {
  std::string key = upn ? user.upn : user.accountName;
  if (user.altIndex != 0) key += ALIAS_SEPARATOR + kesh::itoa(user.altIndex);
  return key;
}

bool IsSfuZone() { return GetCurrentZone<IZone>()->getSchemaType() == SCHEMA_TYPE_SFU; }

void RequireLocalUserZone() {
  if (!TestCurrentZone<NGZone>()) {
    KESH_THROW(kesh::BadDataException, 0, "Current zone does not support local user");
  }
}

// Home and shell take an absolute path or one that starts with a variable, without ":".
bool IsPathValueAllowed(const std::string& value) {
  return !value.empty() && (value[0] == '/' || value[0] == '%') &&
         value.find(':') == std::string::npos;
}

std::list<std::shared_ptr<NssZoneUser>> ZoneUsers(const char* filter) {
  std::list<std::shared_ptr<NssZoneUser>> users;
  GetCurrentZone<IZoneSupportNssZoneUser>()->getNssZUsers(filter, users);
  return users;
}

std::list<std::shared_ptr<NssLocalUser>> LocalUsers() {
  std::list<std::shared_ptr<NssLocalUser>> users;
  GetCurrentZone<IZoneSupportNssLocalUser>()->getNssLocalUsers(LOCAL_USERS_FILTER, users);
  return users;
}

// The one switch of the zone user lists; they take no other word.
bool ParseUpnSwitch(const Tcl::object& args) {
  std::vector<std::string> positional;
  const bool upn = GetUPNArg(args, positional, 0);
  if (!positional.empty()) throw Tcl::tcl_syntax_error();
  return upn;
}

}  // namespace

// --- Line printers -------------------------------------------------------------------------

void DisplayZUser(const std::shared_ptr<NssZoneUser>& user, bool upn, bool pending) {
  const std::string key = pending ? user->scp.dn() : ZoneUserKey(*user, upn);
  // The shell is followed by ":" in every zone; only classic zones print the state behind it,
  // hierarchical and computer zones end the line there.
  std::vector<std::string> fields = SixFields(*user, UNSET_IN_LINE);
  fields.insert(fields.begin(), key);
  std::string line = JoinFields(fields) + FIELD_SEPARATOR;
  if (!TestCurrentZone<NGZone>()) line += user->enabled ? "enabled" : "not enabled";
  WriteStdout(line + "\n");
}

void DisplayLocalUser(const std::shared_ptr<NssLocalUser>& user) {
  std::vector<std::string> fields = SixFields(*user, UNSET_IN_LINE);
  fields.push_back(StateText(user->profileFlag));
  WriteStdout(JoinFields(fields) + "\n");
}

// --- Common fields -------------------------------------------------------------------------

std::string GetUserField(NssUser& user, const std::string& field) {
  CheckZone();
  if (field == "uid") return FieldText(user.uid, FIELD_NOT_SET);
  if (field == "gid") return FieldText(user.gid, FIELD_NOT_SET);
  if (field == "home") return FieldText(user.home, FIELD_NOT_SET);
  if (field == "shell") return FieldText(user.shell, FIELD_NOT_SET);
  if (field == "gecos") return FieldText(user.gecos, FIELD_NOT_SET);
  if (field == "uname") return FieldText(user.unixName, FIELD_NOT_SET);
  if (field == "dn") return user.scp.empty() ? std::string() : user.scp.dn();
  if (field == "createTime") {
    if (IsSfuZone()) return user.getADUObject().firstValue(AD_WHEN_CREATED);
    return user.scp.firstValue(AD_WHEN_CREATED);
  }
  if (IsUserExtendedField(field)) {
    auto entry = user.extended.find(field);
    return entry == user.extended.end() ? std::string(FIELD_NOT_SET) : entry->second;
  }
  UnknownField(field);
}

void SetUserField(NssUser& user, const std::string& field, const std::string& value) {
  if (field == "uid") return SetFieldText(user.uid, value);
  if (field == "gid") return SetFieldText(user.gid, value);
  if (field == "home" || field == "shell") {
    OptionalField<std::string>& target = field == "home" ? user.home : user.shell;
    if (value != FIELD_NOT_SET && !IsPathValueAllowed(value)) {
      KESH_THROW(kesh::BadDataException, 0, "value not allowed for this field");
    }
    return SetFieldText(target, value);
  }
  if (field == "gecos") {
    if (!TestCurrentZone<NGZone>()) {
      KESH_THROW(kesh::BadDataException, 0, "Cannot set gecos field in this zone type");
    }
    return SetFieldText(user.gecos, value);
  }
  if (IsUserExtendedField(field)) {
    if (value == FIELD_NOT_SET) {
      user.extended.erase(field);
    } else {
      user.extended[field] = value;
    }
    return;
  }
  UnknownField(field);
}

// --- Zone users ----------------------------------------------------------------------------

void ListZoneUsers(const Tcl::object& args) {
  const bool upn = ParseUpnSwitch(args);
  for (const auto& user : ZoneUsers(ZONE_USERS_FILTER)) DisplayZUser(user, upn, false);
}

void ListPendingZoneUsers() {
  for (const auto& user : ZoneUsers(PENDING_USERS_FILTER)) DisplayZUser(user, false, true);
}

Tcl::object GetZoneUsers(const Tcl::object& args) {
  const bool upn = ParseUpnSwitch(args);
  std::vector<std::string> keys;
  for (const auto& user : ZoneUsers(ZONE_USERS_FILTER)) keys.push_back(ZoneUserKey(*user, upn));
  return StringList(keys);
}

Tcl::object GetPendingZoneUsers() {
  std::vector<std::string> texts;
  for (const auto& user : ZoneUsers(PENDING_USERS_FILTER)) {
    std::vector<std::string> fields = SixFields(*user, FIELD_NOT_SET);
    fields.insert(fields.begin(), user->scp.dn());
    texts.push_back(JoinFields(fields));
  }
  return StringList(texts);
}

void NewZoneUser(const std::string& name) {
  IZoneSupportNssZoneUser* zone = GetCurrentZone<IZoneSupportNssZoneUser>();
  CheckSfuUserGroupName(*GetCurrentZone<IZone>(), name);
  GetContextTab()->zoneUser = zone->newNssZUser(name);
}

void SelectZoneUser(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches = Switches({SwitchDef("-unix")});
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);
  if (positional.size() != 1) throw Tcl::tcl_syntax_error();
  IZoneSupportNssZoneUser* zone = GetCurrentZone<IZoneSupportNssZoneUser>();
  CheckSfuUserGroupName(*GetCurrentZone<IZone>(), positional[0]);
  GetContextTab()->zoneUser = zone->getNssZUser(positional[0], switches["-unix"].seen);
}

void SaveZoneUser() {
  std::shared_ptr<NssZoneUser> user = GetCurrentNssZUser();
  GetCurrentZone<IZoneSupportNssZoneUser>()->saveNssZUser(user);
}

void DeleteZoneUser() {
  std::shared_ptr<NssZoneUser> user = GetCurrentNssZUser();
  GetCurrentZone<IZoneSupportNssZoneUser>()->deleteNssZUser(user);
  ClearNssZUser();
}

std::string GetZoneUserField(const std::string& field) {
  std::shared_ptr<NssZoneUser> user = GetCurrentNssZUser();
  if (field == "foreign") return user->foreign ? user->storedUpn : std::string();
  if (field == "enabled") {
    if (TestCurrentZone<NGZone>()) {
      KESH_THROW(kesh::BadDataException, 0, "For this type of user get role instead");
    }
    return user->enabled ? "1" : "0";
  }
  if (field == "addn") return user->adUser.dn();
  if (field == "modifyTime") {
    if (IsSfuZone()) return user->adUser.firstValue(AD_WHEN_CHANGED);
    return user->scp.firstValue(AD_WHEN_CHANGED);
  }
  return GetUserField(*user, field);
}

void SetZoneUserField(const std::string& field, const std::string& value) {
  std::shared_ptr<NssZoneUser> user = GetCurrentNssZUser();
  if (field == "enabled") {
    if (TestCurrentZone<NGZone>()) {
      KESH_THROW(kesh::BadDataException, 0, "For this type of user set role instead");
    }
    user->enabled = CheckFieldEnabled(value, field);
    return;
  }
  if (field == "uname") return SetFieldText(user->unixName, value);
  SetUserField(*user, field, value);
}

// --- Local users ---------------------------------------------------------------------------

void ListLocalUsers() {
  for (const auto& user : LocalUsers()) DisplayLocalUser(user);
}

Tcl::object GetLocalUsers() {
  std::vector<std::string> names;
  for (const auto& user : LocalUsers()) names.push_back(user->unixName.value);
  return StringList(names);
}

void NewLocalUser(const std::string& name) {
  IZoneSupportNssLocalUser* zone = GetCurrentZone<IZoneSupportNssLocalUser>();
  GetContextTab()->localUser = zone->newNssLocalUser(name);
}

void SelectLocalUser(const std::string& name) {
  IZoneSupportNssLocalUser* zone = GetCurrentZone<IZoneSupportNssLocalUser>();
  GetContextTab()->localUser = zone->getNssLocalUser(name);
}

void SaveLocalUser() {
  std::shared_ptr<NssLocalUser> user = GetCurrentNssLocalUser();
  GetCurrentZone<IZoneSupportNssLocalUser>()->saveNssLocalUser(user);
}

void DeleteLocalUser() {
  std::shared_ptr<NssLocalUser> user = GetCurrentNssLocalUser();
  GetCurrentZone<IZoneSupportNssLocalUser>()->deleteNssLocalUser(user);
  ClearNssLocalUser();
}

std::string GetLocalUserField(const std::string& field) {
  RequireLocalUserZone();
  std::shared_ptr<NssLocalUser> user = GetCurrentNssLocalUser();
  if (field == "profileflag") return StateText(user->profileFlag);
  if (field == "modifyTime") return user->scp.firstValue(AD_WHEN_CHANGED);
  return GetUserField(*user, field);
}

void SetLocalUserField(const std::string& field, const std::string& value) {
  RequireLocalUserZone();
  std::shared_ptr<NssLocalUser> user = GetCurrentNssLocalUser();
  if (field == "profileflag") return SetStateText(user->profileFlag, value);
  SetUserField(*user, field, value);
}
