// The role assignment commands.
#include "authorization/assignment_func.h"

#include "directory/library/exceptions.h"

#define NOT_YET KESH_THROW(kesh::BadDataException, 0, "not implemented")

void DisplayAssignment(const std::shared_ptr<Assignment>&, bool) { NOT_YET; }
void NewRoleAssignment(const std::string&) { NOT_YET; }
void SelectRoleAssignment(const std::string&) { NOT_YET; }
void SaveRoleAssignment() { NOT_YET; }
void DeleteRoleAssignment() { NOT_YET; }
void SetRoleAssignmentField(const std::string&, const std::string&) { NOT_YET; }
std::string GetRoleAssignmentField(const std::string&) { NOT_YET; }
void ListRoleAssignments(const Tcl::object&) { NOT_YET; }
Tcl::object GetRoleAssignments(const Tcl::object&) { NOT_YET; }
