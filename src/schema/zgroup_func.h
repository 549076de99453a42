// The group commands: zone groups and local groups of the current zone.
//
// They work like the user commands (schema/user_func.h): select_... and new_... make a
// profile current, the field commands change it in memory, save_... writes it through
// IZoneSupportNssGroup::saveGroup, delete_... removes it and empties the slot. The list and
// get commands walk the groups with IZoneSupportNssGroup::getGroups and a callback.
//
// Lines of the list commands and of `show` (a field that is not set is "-"):
//   zone group     <accountName>:<unix name>:<gid>[ required]
//   pending group  <profile DN>:<unix name>:<gid>[ required]
//   local group    <unix name>:<gid>:<members>:<profileflag>
// The get commands answer accountName, "<profile DN>:<unix name>:<gid>" and the unix name.
#ifndef ZONESMITH_SCHEMA_ZGROUP_FUNC_H_
#define ZONESMITH_SCHEMA_ZGROUP_FUNC_H_

#include <memory>
#include <string>

#include "schema/user.h"
#include "script/cpptcl.h"

// --- Line printers, shared by the list commands and `show`.

// Writes the line of a zone group (of a pending group when `pending`) and a newline.
void DisplayZGroup(const std::shared_ptr<NssGroup>& group, bool pending);
// Writes the line of a local group and a newline.
void DisplayLocalGroup(const std::shared_ptr<NssGroup>& group);

// --- Fields common to zone and local groups.

// "gid", "name", "dn", "createTime", "modifyTime" (of adGroup in an SFU zone). Anything else
// throws kesh::BadDataException "Unknown field" (without the name). REQUIRES: a current zone.
std::string GetGroupField(NssGroup& group, const std::string& field);
// "gid": atoui of the value, "-" clears it. Anything else throws "Unknown field".
void SetGroupField(NssGroup& group, const std::string& field, const std::string& value);

// --- Zone groups.

// `list_zone_groups`, `list_pending_zone_groups`: one line per group.
void ListZoneGroups();
void ListPendingZoneGroups();
// `get_zone_groups`, `get_pending_zone_groups`: the result texts above.
Tcl::object GetZoneGroups();
Tcl::object GetPendingZoneGroups();
// `new_zone_group <group>`: an unsaved profile of the directory group becomes current.
void NewZoneGroup(const std::string& name);
// `select_zone_group [-unix] <name>`: the profile becomes current.
void SelectZoneGroup(const Tcl::object& args);
// `save_zone_group`; `delete_zone_group` also empties the slot.
void SaveZoneGroup();
void DeleteZoneGroup();
// `get_zone_group_field <field>`: "required" ("1" or "0"), "addn", then as GetGroupField.
std::string GetZoneGroupField(const std::string& field);
// `set_zone_group_field <field> <value>`: "required" (1/y/yes/true, 0/n/no/false), "name"
// ("-" clears), then as SetGroupField.
void SetZoneGroupField(const std::string& field, const std::string& value);

// --- Local groups. The field commands need a hierarchical or computer zone: "Current zone
// does not support local group" otherwise.

// `list_local_groups_profile`: one line per local group. `get_local_groups_profile`: their
// unix names.
void ListLocalGroups();
Tcl::object GetLocalGroups();
// `new_local_group_profile <name>`, `select_local_group_profile <name>`: the profile
// becomes current.
void NewLocalGroup(const std::string& name);
void SelectLocalGroup(const std::string& name);
// `save_local_group_profile`; `delete_local_group_profile` also empties the slot.
void SaveLocalGroup();
void DeleteLocalGroup();
// `get_local_group_profile_field <field>`: "member", "profileflag", then as GetGroupField.
std::string GetLocalGroupField(const std::string& field);
// `set_local_group_profile_field <field> <value>`: "member" ("-" clears), "profileflag"
// (1, 3 or "-"), then as SetGroupField; "name" is unknown here.
void SetLocalGroupField(const std::string& field, const std::string& value);

#endif  // ZONESMITH_SCHEMA_ZGROUP_FUNC_H_
