// Roles in memory: their data, rights, restricted environment and the variant rules.
#include "authorization/role.h"

#include "authorization/qv.h"
#include "authorization/right.h"
#include "directory/library/exceptions.h"

#define NOT_YET KESH_THROW(kesh::BadDataException, 0, "not implemented")

std::string ParseTimebox(const std::string&) { NOT_YET; }
std::string TimeboxText(const std::string&) { NOT_YET; }

std::shared_ptr<QVRole> QVRole::Create(kesh::ADObject, std::shared_ptr<QVScope>, bool) { NOT_YET; }
QVRole::QVRole(kesh::ADObject o, std::shared_ptr<QVScope> s, bool n)
    : object(std::make_shared<kesh::ADObject>(o)), scope(std::move(s)), isNew(n) {}
QVRole::~QVRole() = default;
void QVRole::getRoleRights(std::list<std::shared_ptr<QVRight>>&) { NOT_YET; }
void QVRole::addRight(std::shared_ptr<QVRight>) { NOT_YET; }
void QVRole::setSysrights(unsigned) { NOT_YET; }
void QVRole::removeRight(std::shared_ptr<QVRight>) { NOT_YET; }
std::string QVRole::getName() const { NOT_YET; }
std::string QVRole::getDescription() const { NOT_YET; }
void QVRole::setDescription(const std::string&) { NOT_YET; }

QVClassicRole::QVClassicRole(kesh::ADObject o, std::shared_ptr<QVScope> s, bool n)
    : QVRole(o, s, n) {}
void QVClassicRole::getRoleRights(std::list<std::shared_ptr<QVRight>>&) { NOT_YET; }
void QVClassicRole::getRoleRestrictEnv(std::shared_ptr<RSEnv>&) { NOT_YET; }
void QVClassicRole::addRight(std::shared_ptr<QVRight>) { NOT_YET; }
void QVClassicRole::clearRestrictEnv() { NOT_YET; }
void QVClassicRole::setRestrictEnv(std::shared_ptr<RSEnv>) { NOT_YET; }
void QVClassicRole::setAllowLocalUser(bool) { NOT_YET; }
void QVClassicRole::setVisible(bool) { NOT_YET; }
void QVClassicRole::setSysrights(unsigned) { NOT_YET; }
void QVClassicRole::saveRoleData() { NOT_YET; }

QVNGRole::QVNGRole(kesh::ADObject o, std::shared_ptr<QVScope> s, bool n) : QVRole(o, s, n) {}
void QVNGRole::getRoleRestrictEnv(std::shared_ptr<RSEnv>&) { NOT_YET; }
void QVNGRole::clearRestrictEnv() { NOT_YET; }
void QVNGRole::setRestrictEnv(std::shared_ptr<RSEnv>) { NOT_YET; }
void QVNGRole::setAllowLocalUser(bool) { NOT_YET; }
void QVNGRole::setVisible(bool) { NOT_YET; }
void QVNGRole::saveRoleData() { NOT_YET; }
