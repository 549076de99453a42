// The roles of a scope: creating, finding, listing, saving and deleting them.
#include "authorization/qv.h"
#include "authorization/role.h"
#include "directory/library/exceptions.h"

#define NOT_YET KESH_THROW(kesh::BadDataException, 0, "not implemented")

std::shared_ptr<QVRole> QVScope::newRole(const std::string&) { NOT_YET; }
std::shared_ptr<QVRole> QVScope::findRole(const std::string&) { NOT_YET; }
void QVScope::getRoles(std::list<std::shared_ptr<QVRole>>&) { NOT_YET; }
void QVScope::saveRole(std::shared_ptr<QVRole>&) { NOT_YET; }
void QVScope::deleteRole(std::shared_ptr<QVRole>&) { NOT_YET; }
std::string QVScope::taskContainerDn() const { NOT_YET; }
