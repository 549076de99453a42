// The role assignment commands of the current zone (IZoneSupportAssignment).
//
// new_role_assignment and select_role_assignment make the assignment current;
// set_role_assignment_field changes it in memory; save_role_assignment writes it;
// delete_role_assignment removes it and empties the slot.
//
// Listing lines: "<principal>: <role>/<zone>[ from:<time>][ to:<time>]", or "!<cn>" for an
// assignment whose principal or role is gone; the Tcl list of get_role_assignments holds
// "<principal>/<role>/<zone>" (or "!<cn>").
#ifndef ZONESMITH_AUTHORIZATION_ASSIGNMENT_FUNC_H_
#define ZONESMITH_AUTHORIZATION_ASSIGNMENT_FUNC_H_

#include <memory>
#include <string>

#include "authorization/assignment.h"
#include "script/cpptcl.h"

// Writes the line of an assignment and a newline to standard output; `upn` names users by
// their userPrincipalName.
void DisplayAssignment(const std::shared_ptr<Assignment>& assignment, bool upn);

void NewRoleAssignment(const std::string& principal);
void SelectRoleAssignment(const std::string& text);
void SaveRoleAssignment();
void DeleteRoleAssignment();
void SetRoleAssignmentField(const std::string& field, const std::string& value);
std::string GetRoleAssignmentField(const std::string& field);
// [-upn] [-visible] [-user|-group|-invalid]
void ListRoleAssignments(const Tcl::object& args);
Tcl::object GetRoleAssignments(const Tcl::object& args);

#endif  // ZONESMITH_AUTHORIZATION_ASSIGNMENT_FUNC_H_
