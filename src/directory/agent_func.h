// The commands that ask the agent of the machine's domain join (kesh::LocalRpcSession,
// kesh::GetSetting): facts about the joined machine and its users' group membership.
#ifndef ZONESMITH_DIRECTORY_AGENT_FUNC_H_
#define ZONESMITH_DIRECTORY_AGENT_FUNC_H_

#include <string>

#include "script/cpptcl.h"

// get_adinfo domain|zone|host
std::string Adinfo(const std::string& what);
// joined_user_in_group <user upn> <group upn>: 1 or 0.
int IsUserInGroup(const std::string& user, const std::string& group);
// joined_get_user_membership <user upn>: the names of the user's groups.
Tcl::object UserGroups(const std::string& user);
// joined_name_to_principal [-upn] <unix name>
std::string UnixNameToPrincipal(const Tcl::object& args);

#endif  // ZONESMITH_DIRECTORY_AGENT_FUNC_H_
