// The user commands: zone users and local users of the current zone.
//
// A handler reads its words, takes the current zone and the current profile from the
// session and calls one profile operation of the zone (IZoneSupportNssZoneUser,
// IZoneSupportNssLocalUser of zones/zone.h). select_... and new_... make the profile current;
// the field commands change it in memory only; save_... writes it, delete_... removes it and
// empties the slot. A refused command leaves the profile and the directory as they were.
//
// Field texts: a field that is not set reads as FIELD_NOT_SET ("-"), and setting "-" clears
// a field. The keys of the extended attribute table (ExtendedAttributes() of
// schema/keywords.h) are fields of their own, except "member", which is unknown here.
//
// Lines of the list commands and of `show`, fields separated by ":", " - " for a field that
// is not set:
//   zone user      <key>:<unix name>:<uid>:<gid>:<gecos>:<home>:<shell>:[enabled|not enabled]
//                  key: accountName (upn with -upn), "+<altIndex>" for an alias; the state
//                  only in zones that are not hierarchical or computer zones, which end the
//                  line with the ":" behind the shell
//   pending user   <profile DN>:<unix name>:<uid>:<gid>:<gecos>:<home>:<shell>:[...]
//   local user     <unix name>:<uid>:<gid>:<gecos>:<home>:<shell>:<profileflag or "-">
#ifndef ZONESMITH_SCHEMA_USER_FUNC_H_
#define ZONESMITH_SCHEMA_USER_FUNC_H_

#include <memory>
#include <string>

#include "schema/user.h"
#include "script/cpptcl.h"

// --- Line printers, shared by the list commands and `show`.

// Writes the line of a zone user (see above) and a newline to standard output. `upn` names
// the user by upn instead of accountName; `pending` names it by the profile's DN.
// REQUIRES: a current zone (whether it is hierarchical decides the state column).
void DisplayZUser(const std::shared_ptr<NssZoneUser>& user, bool upn, bool pending);
// Writes the line of a local user and a newline to standard output.
void DisplayLocalUser(const std::shared_ptr<NssLocalUser>& user);

// --- Fields common to zone users and local users.

// The text of `field` of `user`: "uid", "gid", "home", "shell", "gecos", "uname", "dn",
// "createTime" and the extended attribute keys but "member". Anything else throws
// kesh::BadDataException "unknown field <field>". REQUIRES: a current zone ("Must set
// current zone" otherwise).
std::string GetUserField(NssUser& user, const std::string& field);
// Changes `field` of `user` in memory: "uid", "gid" (atoui), "home", "shell" (beginning
// with "/" or "%", without ":", else "value not allowed for this field"), "gecos" (only in
// hierarchical and computer zones, else "Cannot set gecos field in this zone type"), the
// extended attribute keys but "member"; "-" clears. Anything else: "unknown field <field>".
// A refused value leaves the user as it was.
void SetUserField(NssUser& user, const std::string& field, const std::string& value);

// --- Zone users.

// `list_zone_users [-upn]`, `list_pending_zone_users`: one line per profile.
void ListZoneUsers(const Tcl::object& args);
void ListPendingZoneUsers();
// `get_zone_users [-upn]`: the keys of the profiles. `get_pending_zone_users`: for each
// pending profile its DN and the six fields, ":"-separated, "-" for a field not set.
Tcl::object GetZoneUsers(const Tcl::object& args);
Tcl::object GetPendingZoneUsers();
// `new_zone_user <user>`: an unsaved profile of the directory user becomes current.
void NewZoneUser(const std::string& name);
// `select_zone_user [-unix] <name>`: the profile (by directory user, or by unix name with
// -unix) becomes current.
void SelectZoneUser(const Tcl::object& args);
// `save_zone_user`: writes the current zone user; it stays current.
void SaveZoneUser();
// `delete_zone_user`: removes the current zone user and empties the slot.
void DeleteZoneUser();
// `get_zone_user_field <field>`: "foreign", "enabled" (refused in hierarchical and computer
// zones: "For this type of user get role instead"), "addn", "modifyTime", then as
// GetUserField.
std::string GetZoneUserField(const std::string& field);
// `set_zone_user_field <field> <value>`: "enabled" (refused in hierarchical and computer
// zones: "For this type of user set role instead"), "uname", then as SetUserField.
void SetZoneUserField(const std::string& field, const std::string& value);

// --- Local users. The field commands need a hierarchical or computer zone: "Current zone
// does not support local user" otherwise.

// `list_local_users_profile`: one line per local user. `get_local_users_profile`: their
// unix names.
void ListLocalUsers();
Tcl::object GetLocalUsers();
// `new_local_user_profile <unix name>`, `select_local_user_profile <unix name>`: the
// profile becomes current.
void NewLocalUser(const std::string& name);
void SelectLocalUser(const std::string& name);
// `save_local_user_profile`, `delete_local_user_profile` (which empties the slot).
void SaveLocalUser();
void DeleteLocalUser();
// `get_local_user_profile_field <field>`: "profileflag", "modifyTime", then as GetUserField.
std::string GetLocalUserField(const std::string& field);
// `set_local_user_profile_field <field> <value>`: "profileflag" (1, 2, 3 or "-"), then as
// SetUserField; "uname" is unknown here.
void SetLocalUserField(const std::string& field, const std::string& value);

#endif  // ZONESMITH_SCHEMA_USER_FUNC_H_
