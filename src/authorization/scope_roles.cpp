// The roles of a scope: creating, finding, listing, saving and deleting them.
#include <exception>

#include "authorization/qv.h"
#include "authorization/right.h"
#include "authorization/role.h"
#include "directory/ldap.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/strings.h"

namespace {

const char kRdnType[] = "cn";

}  // namespace

std::string QVScope::taskContainerDn() const {
  return AzContainerDn(*scopeObject, AZ_TASK_CONTAINER_PREFIX);
}

std::shared_ptr<QVRole> QVScope::newRole(const std::string& name) {
  const std::string trimmed = kesh::trimWhiteSpace(name);
  store->checkRoleName(trimmed);
  const std::string cn = ROLE_PREFIX + trimmed;
  kesh::ADObject object = kesh::LDAPBinding::createChild(taskContainerDn(), cn, kRdnType);
  bool exists = true;
  try {
    binding->fetch(object.dn(), QVRoleAttributes(), AD_ALL_OBJECTS);
  } catch (const LDAPException&) {
    exists = false;
  }
  if (exists) KESH_THROW(kesh::BadDataException, 0, "Role already in zone");

  object[AD_CN] = cn;
  object[AZ_TASK_IS_ROLE] = true;
  object[AD_OBJECT_CLASS] = AZ_CLASS_TASK;
  return QVRole::Create(object, shared_from_this(), true);
}

std::shared_ptr<QVRole> QVScope::findRole(const std::string& name) {
  const std::string cn = ROLE_PREFIX + kesh::trimWhiteSpace(name);
  const std::string dn = kesh::LDAPBinding::createChild(taskContainerDn(), cn, kRdnType).dn();
  return QVRole::Create(binding->fetch(dn, QVRoleAttributes(), AD_ALL_OBJECTS), shared_from_this(),
                        false);
}

void QVScope::getRoles(std::list<std::shared_ptr<QVRole>>& out) {
  kesh::ADObject container(taskContainerDn());
  for (kesh::ADObject& object : binding->children(container, QVRoleAttributes())) {
    // Restricted environments share the container; their flag is FALSE.
    const kesh::ADAttribute* flag = object.find(AZ_TASK_IS_ROLE);
    if (flag && flag->toBool()) out.push_back(QVRole::Create(object, shared_from_this(), false));
  }
}

void QVScope::saveRole(std::shared_ptr<QVRole>& role) {
  if (role->isNew && role->allowLocalUser) {
    const kesh::ADAttribute* ops = role->object->find(AZ_TASK_OPS);
    for (const std::string& dn : ops ? ops->values() : std::vector<std::string>()) {
      std::shared_ptr<QVRight> right = store->fetchRight(dn);
      if (right->getType() == RIGHT_TYPE_PAM) {
        const std::string name = right->getName();
        KESH_THROW(kesh::BadDataException, 0,
                   "Cannot add %s to current role. Current role supports local user role "
                   "assignment while %s does not",
                   name.c_str(), name.c_str());
      }
    }
  }
  role->saveRoleData();
  binding->write(*role->object, role->isNew);
  role->isNew = false;
  store->roleUpdated();
  // Best effort on purpose: the role is saved; a failed re-read keeps the copy in memory.
  // The fields (time box, flags, sysrights) stay as they are.
  try {
    role->object = std::make_shared<kesh::ADObject>(
        binding->fetch(role->object->dn(), nullptr, AD_ALL_OBJECTS));
  } catch (const std::exception&) {
  }
}

void QVScope::deleteRole(std::shared_ptr<QVRole>& role) {
  if (role->isNew) KESH_THROW(kesh::BadDataException, 0, "Role has not been created");
  binding->remove(*role->object, false);
  store->roleUpdated();
}
