// The role commands.
#include "authorization/role_func.h"

#include "directory/library/exceptions.h"

#define NOT_YET KESH_THROW(kesh::BadDataException, 0, "not implemented")

void DisplayRole(const std::shared_ptr<QVRole>&) { NOT_YET; }
void NewRole(const std::string&) { NOT_YET; }
void SelectRole(const std::string&) { NOT_YET; }
void SaveRole() { NOT_YET; }
void DeleteRole() { NOT_YET; }
void ListRoles() { NOT_YET; }
Tcl::object GetRoles() { NOT_YET; }
void SetRoleField(const std::string&, const std::string&) { NOT_YET; }
std::string GetRoleField(const std::string&) { NOT_YET; }
void ListRoleRights() { NOT_YET; }
Tcl::object GetRoleCommands() { NOT_YET; }
Tcl::object GetRoleRSCommands() { NOT_YET; }
std::string GetRoleRSEnv() { NOT_YET; }
Tcl::object GetRoleApps() { NOT_YET; }
void AddCommandToRole(const std::string&) { NOT_YET; }
void RemoveCommandFromRole(const std::string&) { NOT_YET; }
void AddPamAppToRole(const std::string&) { NOT_YET; }
void RemovePamAppFromRole(const std::string&) { NOT_YET; }
void SetRSEnvForRole(const std::string&) { NOT_YET; }
void ClearRSEnvFromRole() { NOT_YET; }
