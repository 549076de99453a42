#include "schema/zgroup_func.h"

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/strings.h"
#include "directory/session.h"
#include "schema/zschema.h"
#include "script/args.h"
#include "script/context.h"
#include "zones/ngzone.h"
#include "zones/zone.h"

namespace {

const char* const ZONE_GROUPS_FILTER =
    "(&(objectClass=serviceConnectionPoint)(displayName=$KeshGroupVersion*))";
const char* const PENDING_GROUPS_FILTER =
    "(&(objectClass=serviceConnectionPoint)(displayName=$KeshPendingGroupVersion*))";
const char* const LOCAL_GROUPS_FILTER =
    "(&(objectClass=serviceConnectionPoint)(displayName=$KeshLocalGroupVersion*))";

const char* const REQUIRED_MARK = " required";

// The texts that the get commands' callbacks collect, made the Tcl result at the end of the
// walk. Only one walk runs at a time: a command empties it before and after.
std::vector<std::string> gGroupList;

[[noreturn]] void UnknownField() { KESH_THROW(kesh::BadDataException, 0, "Unknown field"); }

// The profile's DN, unix name and gid: the start of a pending group's line and its result.
std::string PendingText(const NssGroup& group) {
  return JoinFields({group.scp.dn(), FieldText(group.unixName), FieldText(group.gid)});
}

bool IsSfuZone() { return GetCurrentZone<IZone>()->getSchemaType() == SCHEMA_TYPE_SFU; }

void RequireLocalGroupZone() {
  if (!TestCurrentZone<NGZone>()) {
    KESH_THROW(kesh::BadDataException, 0, "Current zone does not support local group");
  }
}

// The callbacks of the walks. Each answers false, so that the walk runs to the end.
bool PrintZGroup(std::shared_ptr<NssGroup>& group) {
  DisplayZGroup(group, false);
  return false;
}
bool PrintPendingGroup(std::shared_ptr<NssGroup>& group) {
  DisplayZGroup(group, true);
  return false;
}
bool PrintLocalGroup(std::shared_ptr<NssGroup>& group) {
  DisplayLocalGroup(group);
  return false;
}
bool CollectZGroup(std::shared_ptr<NssGroup>& group) {
  gGroupList.push_back(group->accountName);
  return false;
}
bool CollectPendingGroup(std::shared_ptr<NssGroup>& group) {
  gGroupList.push_back(PendingText(*group));
  return false;
}
bool CollectLocalGroup(std::shared_ptr<NssGroup>& group) {
  gGroupList.push_back(FieldText(group->unixName));
  return false;
}

// Runs a collecting walk and answers what it gathered as a Tcl list.
Tcl::object Collect(IZoneSupportNssGroup* zone, const char* filter,
                    bool (*collect)(std::shared_ptr<NssGroup>&)) {
  gGroupList.clear();
  try {
    zone->getGroups(filter, collect);
  } catch (...) {
    // Not swallowed: the list is only emptied before the error goes on.
    gGroupList.clear();
    throw;
  }
  Tcl::object result = StringList(gGroupList);
  gGroupList.clear();
  return result;
}

}  // namespace

// --- Line printers -------------------------------------------------------------------------

void DisplayZGroup(const std::shared_ptr<NssGroup>& group, bool pending) {
  std::string line =
      pending ? PendingText(*group)
              : JoinFields({group->accountName, FieldText(group->unixName), FieldText(group->gid)});
  if (group->required) line += REQUIRED_MARK;
  WriteStdout(line + "\n");
}

void DisplayLocalGroup(const std::shared_ptr<NssGroup>& group) {
  WriteStdout(JoinFields({FieldText(group->unixName), FieldText(group->gid),
                          FieldText(group->members), StateText(group->profileFlag)}) +
              "\n");
}

// --- Common fields -------------------------------------------------------------------------

std::string GetGroupField(NssGroup& group, const std::string& field) {
  CheckZone();
  if (field == "gid") return FieldText(group.gid);
  if (field == "name") return FieldText(group.unixName);
  if (field == "dn") return group.scp.empty() ? std::string() : group.scp.dn();
  if (field == "createTime" || field == "modifyTime") {
    const char* attribute = field == "createTime" ? AD_WHEN_CREATED : AD_WHEN_CHANGED;
    return (IsSfuZone() ? group.adGroup : group.scp).firstValue(attribute);
  }
  UnknownField();
}

void SetGroupField(NssGroup& group, const std::string& field, const std::string& value) {
  if (field != "gid") UnknownField();
  SetFieldText(group.gid, value);
}

// --- Zone groups ---------------------------------------------------------------------------

void ListZoneGroups() {
  GetCurrentZone<IZoneSupportNssZoneGroup>()->getGroups(ZONE_GROUPS_FILTER, PrintZGroup);
}

void ListPendingZoneGroups() {
  GetCurrentZone<IZoneSupportNssZoneGroup>()->getGroups(PENDING_GROUPS_FILTER, PrintPendingGroup);
}

Tcl::object GetZoneGroups() {
  return Collect(GetCurrentZone<IZoneSupportNssZoneGroup>(), ZONE_GROUPS_FILTER, CollectZGroup);
}

Tcl::object GetPendingZoneGroups() {
  return Collect(GetCurrentZone<IZoneSupportNssZoneGroup>(), PENDING_GROUPS_FILTER,
                 CollectPendingGroup);
}

void NewZoneGroup(const std::string& name) {
  IZoneSupportNssZoneGroup* zone = GetCurrentZone<IZoneSupportNssZoneGroup>();
  GetContextTab()->zoneGroup = zone->newZGroup(name);
}

void SelectZoneGroup(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches = Switches({SwitchDef("-unix")});
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);
  if (positional.size() != 1) throw Tcl::tcl_syntax_error();
  IZoneSupportNssZoneGroup* zone = GetCurrentZone<IZoneSupportNssZoneGroup>();
  CheckSfuUserGroupName(*GetCurrentZone<IZone>(), positional[0]);
  GetContextTab()->zoneGroup = zone->getZGroup(positional[0], switches["-unix"].seen);
}

void SaveZoneGroup() {
  std::shared_ptr<NssGroup> group = GetCurrentZGroup();
  GetCurrentZone<IZoneSupportNssZoneGroup>()->saveGroup(group);
}

void DeleteZoneGroup() {
  std::shared_ptr<NssGroup> group = GetCurrentZGroup();
  GetCurrentZone<IZoneSupportNssZoneGroup>()->deleteGroup(group);
  ClearZGroup();
}

std::string GetZoneGroupField(const std::string& field) {
  std::shared_ptr<NssGroup> group = GetCurrentZGroup();
  if (field == "required") return group->required ? "1" : "0";
  if (field == "addn") return group->adGroup.dn();
  return GetGroupField(*group, field);
}

void SetZoneGroupField(const std::string& field, const std::string& value) {
  std::shared_ptr<NssGroup> group = GetCurrentZGroup();
  if (field == "required") {
    group->required = CheckFieldEnabled(value, field);
    return;
  }
  if (field == "name") return SetFieldText(group->unixName, value);
  SetGroupField(*group, field, value);
}

// --- Local groups --------------------------------------------------------------------------

void ListLocalGroups() {
  GetCurrentZone<IZoneSupportNssLocalGroup>()->getGroups(LOCAL_GROUPS_FILTER, PrintLocalGroup);
}

Tcl::object GetLocalGroups() {
  return Collect(GetCurrentZone<IZoneSupportNssLocalGroup>(), LOCAL_GROUPS_FILTER,
                 CollectLocalGroup);
}

void NewLocalGroup(const std::string& name) {
  IZoneSupportNssLocalGroup* zone = GetCurrentZone<IZoneSupportNssLocalGroup>();
  GetContextTab()->localGroup = zone->newLocalGroup(name);
}

void SelectLocalGroup(const std::string& name) {
  IZoneSupportNssLocalGroup* zone = GetCurrentZone<IZoneSupportNssLocalGroup>();
  GetContextTab()->localGroup = zone->getLocalGroup(name);
}

void SaveLocalGroup() {
  std::shared_ptr<NssGroup> group = GetCurrentLocalGroup();
  GetCurrentZone<IZoneSupportNssLocalGroup>()->saveGroup(group);
}

void DeleteLocalGroup() {
  std::shared_ptr<NssGroup> group = GetCurrentLocalGroup();
  GetCurrentZone<IZoneSupportNssLocalGroup>()->deleteGroup(group);
  ClearLocalGroup();
}

std::string GetLocalGroupField(const std::string& field) {
  RequireLocalGroupZone();
  std::shared_ptr<NssGroup> group = GetCurrentLocalGroup();
  if (field == "member") return FieldText(group->members);
  if (field == "profileflag") return StateText(group->profileFlag);
  return GetGroupField(*group, field);
}

void SetLocalGroupField(const std::string& field, const std::string& value) {
  RequireLocalGroupZone();
  std::shared_ptr<NssGroup> group = GetCurrentLocalGroup();
  if (field == "member") return SetFieldText(group->members, value);
  if (field == "profileflag") return SetStateText(group->profileFlag, value);
  SetGroupField(*group, field, value);
}
