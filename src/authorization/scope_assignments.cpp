// The assignments of a scope, and the delegation of store rights.
#include "authorization/assignment.h"
#include "authorization/qv.h"
#include "directory/library/exceptions.h"

#define NOT_YET KESH_THROW(kesh::BadDataException, 0, "not implemented")

void QVScope::loadAssignments(std::list<std::shared_ptr<Assignment>>&, kesh::ADObjectList&,
                              AssignmentTest) {
  NOT_YET;
}
std::string QVScope::getAssignmentRoleField(Assignment&) { NOT_YET; }
void QVScope::getAllAssignments(std::list<std::shared_ptr<Assignment>>&, AssignmentTest) {
  NOT_YET;
}
void QVScope::getAssignments(kesh::ADObject&, std::list<std::shared_ptr<Assignment>>&) { NOT_YET; }
std::shared_ptr<Assignment> QVScope::getAssignmentByADCN(const std::string&) { NOT_YET; }
void QVScope::updateAssignment(std::shared_ptr<Assignment>&) { NOT_YET; }
void QVScope::deleteAssignment(std::shared_ptr<Assignment>&) { NOT_YET; }
std::string QVScope::roleContainerDn() const { NOT_YET; }
void QVScope::delegateRight(const std::string&, const std::string&) { NOT_YET; }
void QVScope::checkRightDelegationSupported(const std::string&) {}

void QVClassicScope::checkAsgExists(Assignment&) { NOT_YET; }
std::string QVClassicScope::getAssignmentData(Assignment&) { NOT_YET; }
void QVClassicScope::createAssignment(std::shared_ptr<Assignment>&) { NOT_YET; }
void QVClassicScope::getAssignments(const std::string&, std::list<std::shared_ptr<Assignment>>&) {
  NOT_YET;
}
std::shared_ptr<Assignment> QVClassicScope::getAssignmentByADObject(kesh::ADObject&) { NOT_YET; }
void QVClassicScope::checkRightDelegationSupported(const std::string&) { NOT_YET; }

void QVNGScope::checkAsgExists(Assignment&) { NOT_YET; }
std::string QVNGScope::getAssignmentData(Assignment&) { NOT_YET; }
void QVNGScope::createAssignment(std::shared_ptr<Assignment>&) { NOT_YET; }
void QVNGScope::getAssignments(const std::string&, std::list<std::shared_ptr<Assignment>>&) {
  NOT_YET;
}
std::shared_ptr<Assignment> QVNGScope::getAssignmentByADObject(kesh::ADObject&) { NOT_YET; }
