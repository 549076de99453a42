// The assignments of a scope, and the delegation of store rights.
#include <list>
#include <memory>

#include "authorization/assignment.h"
#include "authorization/qv.h"
#include "directory/cli_orlutils.h"
#include "directory/ldap.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/sam_parser.h"
#include "directory/library/strings.h"
#include "security/delegate.h"

namespace {

const char kRdnType[] = "cn";
const char kAssignmentPrefix[] = "CRA_";
// displayName of the all-users assignments of a hierarchical store.
const char kAllAdDisplayName[] = "allAD";
const char kAllUnixDisplayName[] = "allUnix";
// The ptype text that the search for the all-users assignments looks for in the data.
const char kAllAdDataFilter[] = "(msDS-AzApplicationData=*ptype=a*)";
const char kAllUnixDataFilter[] = "(msDS-AzApplicationData=*ptype=x*)";

bool SameForest(MyBinding& a, MyBinding& b) {
  return kesh::lower(a.getForest()) == kesh::lower(b.getForest());
}

bool IsLocalPrincipal(const std::string& principal) {
  return kesh::endsWith(principal, LOCALHOST_SUFFIX);
}

// Reads `assignment`'s object again after a write; the write itself has succeeded, so a
// failed read (any std::exception) keeps the object as written.
void Reread(MyBinding& binding, Assignment& assignment) {
  try {
    assignment.object = std::make_shared<kesh::ADObject>(
        binding.fetch(assignment.object->dn(), nullptr, AD_ALL_OBJECTS));
  } catch (const std::exception&) {
  }
}

// The object of a new assignment below `container`, with the attributes both variants
// share; its description comes from the assignment's object in memory.
kesh::ADObject NewAssignmentObject(const std::string& container, const Assignment& assignment) {
  kesh::ADObject object = kesh::LDAPBinding::createChild(
      container, kAssignmentPrefix + kesh::Guid::generate().toRealMSString(), kRdnType);
  const std::string description =
      assignment.object ? assignment.object->firstValue(AD_DESCRIPTION) : std::string();
  if (!description.empty()) object[AD_DESCRIPTION] = description;
  object[AD_OBJECT_CLASS] = AZ_CLASS_ROLE;
  object[AZ_ROLE_TASKS] = assignment.roleDn;
  return object;
}

// Whether `list` holds an assignment of the role `upperRoleDn`; with `principal` given, it
// must also be that principal's.
bool HasRole(const std::list<std::shared_ptr<Assignment>>& list, const std::string& upperRoleDn,
             const std::string* principal) {
  for (const auto& hit : list) {
    if (kesh::upper(hit->roleDn) != upperRoleDn) continue;
    if (principal && hit->principal != *principal) continue;
    return true;
  }
  return false;
}

// Step one of both checks: a saved assignment whose role is unchanged needs no check.
bool RoleUnchanged(const Assignment& assignment, const std::string& upperRoleDn) {
  return !assignment.isNew && assignment.object &&
         kesh::upper(assignment.object->firstValue(AZ_ROLE_TASKS)) == upperRoleDn;
}

[[noreturn]] void AssignmentExists() {
  KESH_THROW(kesh::BadDataException, 0, "Role assignment already exists");
}

// The filter of the assignments whose member value is `member`.
std::string MemberFilter(const std::string& member) {
  return std::string("(") + AZ_ROLE_MEMBERS + "=" + kesh::DN::escapeLDAPFilter(member) + ")";
}

// The assignments that `filter` finds one level below the role container of `scope`.
void SearchAssignments(QVScope& scope, const std::string& filter,
                       std::list<std::shared_ptr<Assignment>>& out) {
  kesh::ADObjectList found =
      scope.binding->search(filter, scope.roleContainerDn(), nullptr, kesh::SCOPE_ONE, 0);
  scope.loadAssignments(out, found, nullptr);
}

// An assignment read from `object` of `scope`, with what both variants read alike: the
// principal and the role; the variant parses the data.
std::shared_ptr<Assignment> StoredAssignment(QVScope& scope, kesh::ADObject& object) {
  auto assignment = std::make_shared<Assignment>();
  assignment->isNew = false;
  assignment->object = std::make_shared<kesh::ADObject>(object);
  assignment->principal = object.firstValue(AZ_ROLE_MEMBERS);
  assignment->roleDn = object.firstValue(AZ_ROLE_TASKS);
  assignment->scope = scope.shared_from_this();
  return assignment;
}

}  // namespace

// --- QVScope ---------------------------------------------------------------------------

std::string QVScope::roleContainerDn() const {
  return AzContainerDn(*scopeObject, AZ_ROLE_CONTAINER_PREFIX);
}

void QVScope::loadAssignments(std::list<std::shared_ptr<Assignment>>& out,
                              kesh::ADObjectList& objects, AssignmentTest) {
  // The test is part of the interface; no loader filters by it.
  for (kesh::ADObject& object : objects) out.push_back(getAssignmentByADObject(object));
}

std::string QVScope::getAssignmentRoleField(Assignment& assignment) {
  std::shared_ptr<MyBinding> principalBinding = GetBindingForDN(assignment.principal);
  if (SameForest(*binding, *principalBinding)) return assignment.principal;
  // A principal of another forest is stored by SID; the directory resolves it.
  kesh::ADObject principal = GetADObjectByDN(assignment.principal);
  return "<SID=" + principal.sid().toMSString() + ">";
}

void QVScope::getAllAssignments(std::list<std::shared_ptr<Assignment>>& out, AssignmentTest test) {
  kesh::ADObject container(roleContainerDn());
  kesh::ADObjectList objects = binding->children(container, nullptr);
  loadAssignments(out, objects, test);
}

void QVScope::getAssignments(kesh::ADObject& principal,
                             std::list<std::shared_ptr<Assignment>>& out) {
  std::shared_ptr<MyBinding> principalBinding = GetBindingForDN(principal.dn());
  std::string member = principal.dn();
  if (!SameForest(*binding, *principalBinding)) {
    member = "cn=" + principal.sid().toMSString() + ",cn=ForeignSecurityPrincipals," +
             kesh::DN::dnFromDomain(binding->binding->domainName());
  }
  getAssignments(member, out);
}

std::shared_ptr<Assignment> QVScope::getAssignmentByADCN(const std::string& cn) {
  kesh::ADObjectList found =
      binding->search(std::string("(") + AD_CN + "=" + kesh::DN::escapeLDAPFilter(cn) + ")",
                      roleContainerDn(), nullptr, kesh::SCOPE_SUB, 0);
  if (found.empty()) KESH_THROW(kesh::NotFoundException, 0, "could not find assignment entry");
  return getAssignmentByADObject(found.front());
}

void QVScope::updateAssignment(std::shared_ptr<Assignment>& assignment) {
  if (assignment->isNew) {
    KESH_THROW(kesh::BadDataException, 0, "Can not update new role assignment");
  }
  checkAsgExists(*assignment);
  kesh::ADObject& object = *assignment->object;
  object[AZ_ROLE_TASKS] = assignment->roleDn;
  object[AZ_APP_DATA] = getAssignmentData(*assignment);
  binding->update(object, MyBinding::UPDATE_REPLACE);
  store->asgUpdated();
  Reread(*binding, *assignment);
}

void QVScope::deleteAssignment(std::shared_ptr<Assignment>& assignment) {
  binding->remove(*assignment->object, false);
  store->asgUpdated();
}

void QVScope::checkRightDelegationSupported(const std::string&) {}

void QVScope::delegateRight(const std::string& right, const std::string& principal) {
  checkRightDelegationSupported(right);
  kesh::setSDFlag(binding->binding, false);

  // Each internal right goes to its object, which is written at once.
  auto grant = [&](kesh::ADObject& object, const char* internalRight) {
    DelegateRightBySDDL(object, internalRight, principal, SCHEMA_TYPE_NONE);
    binding->update(object, MyBinding::UPDATE_REPLACE);
  };
  auto container = [&](const char* prefix) {
    return binding->fetch(AzContainerDn(*scopeObject, prefix), nullptr, AD_ALL_OBJECTS);
  };

  kesh::ADObject& adminManager = *store->adminManager;
  kesh::ADObject& application = *scopeObject;
  if (right == "manage_roles_and_rights") {
    kesh::ADObject tasks = container(AZ_TASK_CONTAINER_PREFIX);
    grant(tasks, "manage_roles");
    kesh::ADObject operations = container(AZ_OPERATION_CONTAINER_PREFIX);
    grant(operations, "manage_rights");
    grant(adminManager, "manage_qvstore");
  } else if (right == "manage_role_assignments") {
    grant(adminManager, "manage_role_assignments");
  } else if (right == "add_computer_zone" || right == "add_computer_role") {
    grant(adminManager, "add_czone_crole_in_qvstore");
    grant(application, "add_czone_crole_in_qvapp");
  } else if (right == "delete_computer_zone" || right == "delete_computer_role") {
    grant(application, "del_czone_crole_in_qvapp");
  } else if (right == "delegate_permission_for_computer_zone") {
    grant(adminManager, "deleg_perm_czone_in_qvstore");
    grant(application, "deleg_perm_czone_in_qvapplication");
  } else {
    grant(application, right.c_str());
  }
}

// --- QVClassicScope --------------------------------------------------------------------

void QVClassicScope::checkAsgExists(Assignment& assignment) {
  const std::string role = kesh::upper(assignment.roleDn);
  if (RoleUnchanged(assignment, role)) return;
  kesh::ADObject principal = GetADObjectByDN(assignment.principal);
  std::list<std::shared_ptr<Assignment>> list;
  getAssignments(principal, list);
  if (HasRole(list, role, nullptr)) AssignmentExists();
}

std::string QVClassicScope::getAssignmentData(Assignment& assignment) {
  return sam::SamParser::WriteV1AssignmentData(assignment.from, assignment.to);
}

void QVClassicScope::createAssignment(std::shared_ptr<Assignment>& assignment) {
  if (!assignment->isNew) {
    KESH_THROW(kesh::BadDataException, 0, "Can not create old role assignment");
  }
  if (assignment->ptype != AD_USER_PTYPE && assignment->ptype != AD_GROUP_PTYPE) {
    KESH_THROW(kesh::BadDataException, 0,
               "Role in classic zone can only be assigned to aduser/adgroup.");
  }
  checkAsgExists(*assignment);
  kesh::ADObject object = NewAssignmentObject(roleContainerDn(), *assignment);
  object[AZ_ROLE_MEMBERS] = getAssignmentRoleField(*assignment);
  object[AZ_APP_DATA] = getAssignmentData(*assignment);
  assignment->object = std::make_shared<kesh::ADObject>(object);
  binding->add(object);
  store->asgUpdated();
  Reread(*binding, *assignment);
}

void QVClassicScope::getAssignments(const std::string& name,
                                    std::list<std::shared_ptr<Assignment>>& out) {
  SearchAssignments(*this, MemberFilter(name), out);
}

std::shared_ptr<Assignment> QVClassicScope::getAssignmentByADObject(kesh::ADObject& object) {
  std::shared_ptr<Assignment> assignment = StoredAssignment(*this, object);
  sam::SamParser::ParseV1AssignmentData(object.firstValue(AZ_APP_DATA), assignment->from,
                                        assignment->to);
  return assignment;
}

void QVClassicScope::checkRightDelegationSupported(const std::string& right) {
  if (right == "modify_computer_role") {
    KESH_THROW(kesh::BadDataException, 0, "Right modify_computer_role is not used in classic zone");
  }
}

// --- QVNGScope -------------------------------------------------------------------------

void QVNGScope::checkAsgExists(Assignment& assignment) {
  const std::string role = kesh::upper(assignment.roleDn);
  if (RoleUnchanged(assignment, role)) return;
  std::list<std::shared_ptr<Assignment>> list;
  const bool local = IsLocalPrincipal(assignment.principal);
  if (assignment.ptype == ALL_AD_USERS_PTYPE) {
    getAssignments(ALL_AD_USERS, list);
  } else if (assignment.ptype == ALL_LOCAL_USERS_PTYPE) {
    getAssignments(ALL_UNIX_USERS, list);
  } else if (local) {
    getAssignments(assignment.principal, list);
  } else {
    kesh::ADObject principal = GetADObjectByDN(assignment.principal);
    getAssignments(principal, list);
  }
  if (HasRole(list, role, local ? &assignment.principal : nullptr)) AssignmentExists();
}

std::string QVNGScope::getAssignmentData(Assignment& assignment) {
  return sam::SamParser::WriteV2AssignmentData(assignment.from, assignment.to, assignment.ptype);
}

void QVNGScope::createAssignment(std::shared_ptr<Assignment>& assignment) {
  if (!assignment->isNew) {
    KESH_THROW(kesh::BadDataException, 0, "Cannot create old role assignment");
  }
  checkAsgExists(*assignment);
  kesh::ADObject object = NewAssignmentObject(roleContainerDn(), *assignment);
  const std::string& ptype = assignment->ptype;
  if (ptype == ALL_AD_USERS_PTYPE) {
    object[AD_DISPLAY_NAME] = kAllAdDisplayName;
  } else if (ptype == ALL_LOCAL_USERS_PTYPE) {
    object[AD_DISPLAY_NAME] = kAllUnixDisplayName;
  } else if (ptype == LOCAL_USER_PTYPE || ptype == LOCAL_GROUP_PTYPE) {
    object[AD_DISPLAY_NAME] = assignment->principal;
  } else {
    object[AZ_ROLE_MEMBERS] = getAssignmentRoleField(*assignment);
  }
  const std::string data = getAssignmentData(*assignment);
  if (!data.empty()) object[AZ_APP_DATA] = data;
  assignment->object = std::make_shared<kesh::ADObject>(object);
  binding->add(object);
  store->asgUpdated();
  Reread(*binding, *assignment);
}

void QVNGScope::getAssignments(const std::string& name,
                               std::list<std::shared_ptr<Assignment>>& out) {
  const std::string lowered = kesh::lower(name);
  std::string filter;
  if (lowered == ALL_AD_USERS) {
    filter = kAllAdDataFilter;
  } else if (lowered == ALL_UNIX_USERS) {
    filter = kAllUnixDataFilter;
  } else if (IsLocalPrincipal(name)) {
    filter = std::string("(") + AD_DISPLAY_NAME + "=" + kesh::DN::escapeLDAPFilter(name) + ")";
  } else {
    filter = MemberFilter(name);
  }
  SearchAssignments(*this, filter, out);
}

std::shared_ptr<Assignment> QVNGScope::getAssignmentByADObject(kesh::ADObject& object) {
  std::shared_ptr<Assignment> assignment = StoredAssignment(*this, object);
  sam::SamParser::ParseV2AssignmentData(object.firstValue(AZ_APP_DATA), assignment->from,
                                        assignment->to, assignment->ptype);
  const std::string& ptype = assignment->ptype;
  if (ptype == ALL_AD_USERS_PTYPE) {
    assignment->principal = ALL_AD_USERS;
  } else if (ptype == ALL_LOCAL_USERS_PTYPE) {
    assignment->principal = ALL_UNIX_USERS;
  } else if (assignment->principal.empty() &&
             (ptype == LOCAL_GROUP_PTYPE || ptype == LOCAL_USER_PTYPE)) {
    // Left empty otherwise, which marks the entry invalid for listings.
    const std::string displayName = object.firstValue(AD_DISPLAY_NAME);
    if (IsLocalPrincipal(displayName)) assignment->principal = displayName;
  }
  return assignment;
}
