// The role commands: roles of the current zone, their fields and their rights.
//
// A handler reads its words, takes the current zone as IZoneManageRoles (or IZoneManageRS
// for the restricted environment of a role) and the current role from the session, and calls
// one operation. new_role and select_role make the role current; set_role_field and the
// right commands change it in memory; save_role writes it; delete_role removes it and
// empties the slot.
//
// A role's name in listings is its cn without "role-". Rights print as right_func.h says.
#ifndef ZONESMITH_AUTHORIZATION_ROLE_FUNC_H_
#define ZONESMITH_AUTHORIZATION_ROLE_FUNC_H_

#include <memory>
#include <string>

#include "authorization/role.h"
#include "script/cpptcl.h"

// Writes the role's name and a newline to standard output (`show role`).
void DisplayRole(const std::shared_ptr<QVRole>& role);

void NewRole(const std::string& name);
void SelectRole(const std::string& name);
void SaveRole();
void DeleteRole();
void ListRoles();
Tcl::object GetRoles();
void SetRoleField(const std::string& field, const std::string& value);
std::string GetRoleField(const std::string& field);
void ListRoleRights();
Tcl::object GetRoleCommands();
Tcl::object GetRoleRSCommands();
std::string GetRoleRSEnv();
Tcl::object GetRoleApps();
void AddCommandToRole(const std::string& command);
void RemoveCommandFromRole(const std::string& command);
void AddPamAppToRole(const std::string& app);
void RemovePamAppFromRole(const std::string& app);
void SetRSEnvForRole(const std::string& env);
void ClearRSEnvFromRole();

#endif  // ZONESMITH_AUTHORIZATION_ROLE_FUNC_H_
