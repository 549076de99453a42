// The authorization mix-ins of zones: the store gate, the forwarders to the scope and the
// store, the lookup of "<name>/<zone>" up the zone's ancestors, and the text forms of
// assignments.
#include "authorization/zone_qv.h"

#include <algorithm>

#include "authorization/assignment.h"
#include "authorization/qv.h"
#include "authorization/right.h"
#include "authorization/role.h"
#include "directory/ldap.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/strings.h"
#include "directory/principal.h"
#include "zones/zone.h"

namespace {

// The checkForClassic argument of an operation that only reads, and of one that writes.
constexpr bool kReads = false;
constexpr bool kWrites = true;

// Every principal name passes while assignments are loaded.
bool UserTest(const std::string&) { return true; }

// How a role or right is read from the scope or store of one zone.
template <class Result>
using LookUp = std::shared_ptr<Result> (*)(ZoneUsesQV& zone, const std::string& name);

// Looks `text` ("<name>" or "<name>/<zone>") up for `self`: a plain name in the zone's own
// scope or store, a qualified one in the first zone of the chain from `self` upward that
// is a `Mixin` named <zone>. Lookup failures are passed over; null when nothing answered.
template <class Mixin, class Result>
std::shared_ptr<Result> FindUpward(ZoneUsesQV* self, const std::string& text,
                                   LookUp<Result> lookUp) {
  std::string name, zoneName;
  if (!SplitZoneQualified(text, name, zoneName)) {
    try {
      return lookUp(*self, text);
    } catch (const std::exception&) {
      // A plain name that the zone's own store does not know is simply not found.
      return nullptr;
    }
  }
  IZone* zone = dynamic_cast<IZone*>(self);
  std::shared_ptr<IZone> opened;  // keeps an ancestor open while it is looked at
  while (zone != nullptr) {
    Mixin* holder = dynamic_cast<Mixin*>(zone);
    if (holder != nullptr && zone->getZoneName() == zoneName) {
      try {
        return lookUp(*holder, name);
      } catch (const std::exception&) {
        // That zone does not have it: an ancestor further up may carry the same name.
      }
    }
    IZoneHasParent* child = dynamic_cast<IZoneHasParent*>(zone);
    if (child == nullptr) break;
    std::string parentPath = child->getParent(false);
    if (parentPath.empty()) break;
    opened = OpenZone(parentPath);
    zone = opened.get();
  }
  return nullptr;
}

std::shared_ptr<QVRole> RoleOfScope(ZoneUsesQV& zone, const std::string& name) {
  zone.checkForClassic(kReads);
  return zone.scope->findRole(name);
}

std::shared_ptr<QVRight> RightOfStore(ZoneUsesQV& zone, const std::string& name) {
  zone.checkForClassic(kReads);
  return zone.store->findRight(name);
}

}  // namespace

// ZoneUsesQV

bool SplitZoneQualified(const std::string& text, std::string& name, std::string& zone) {
  size_t slash = text.find('/');
  if (slash == std::string::npos) {
    name = text;
    return false;
  }
  name = text.substr(0, slash);
  std::string rest = text.substr(slash + 1);
  zone = kesh::lower(rest.substr(0, rest.find('/')));
  return true;
}

std::shared_ptr<QVRole> ZoneUsesQV::findRole(const std::string& name) {
  if (name.empty()) KESH_THROW(kesh::BadDataException, 0, "Role cannot be empty");
  checkForClassic(kReads);
  std::shared_ptr<QVRole> role = FindUpward<RoleManagement, QVRole>(this, name, RoleOfScope);
  if (!role) KESH_THROW(kesh::NotFoundException, 0, "role not found");
  return role;
}

std::shared_ptr<QVRight> ZoneUsesQV::findRight(const std::string& name) {
  if (name.empty()) KESH_THROW(kesh::BadDataException, 0, "Right name cannot be empty");
  checkForClassic(kReads);
  std::shared_ptr<QVRight> right = FindUpward<RightsManagement, QVRight>(this, name, RightOfStore);
  if (!right) KESH_THROW(kesh::NotFoundException, 0, "right not found");
  return right;
}

void ZoneUsesQV::delegateQVRight(const std::string& right, const std::string& principal) {
  checkForClassic(kWrites);
  scope->delegateRight(right, principal);
}

void ZoneUsesQV::checkForClassic(bool) {
  if (!store || !scope) KESH_THROW(kesh::BadDataException, 0, "QV not enabled for this zone");
}

// AssignmentSupport

std::shared_ptr<Assignment> AssignmentSupport::getAssignment(const std::string& name) {
  checkForClassic(kReads);
  std::string principal, roleName, sid, cn;
  ParseAssignment(name, principal, roleName, sid, cn);
  if (!cn.empty()) return scope->getAssignmentByADCN(cn);
  if (roleName.empty()) KESH_THROW(kesh::NotFoundException, 0, "Assignment not found");

  std::shared_ptr<QVRole> role = findRole(roleName);
  const std::string roleDn = kesh::upper(role->object->dn());
  const std::string lowered = kesh::lower(principal);
  const bool local = kesh::endsWith(principal, LOCALHOST_SUFFIX);

  std::list<std::shared_ptr<Assignment>> candidates;
  if (!sid.empty()) {
    std::string domain = scope->binding->binding->domainName();
    scope->getAssignments(
        "cn=" + sid + ",cn=ForeignSecurityPrincipals," + kesh::DN::dnFromDomain(domain),
        candidates);
  } else if (lowered == ALL_AD_USERS || lowered == ALL_UNIX_USERS) {
    scope->getAssignments(lowered, candidates);
  } else if (local) {
    scope->getAssignments(principal, candidates);
  } else {
    kesh::ADObject object = GetPrincipal(principal);
    scope->getAssignments(object, candidates);
  }
  for (std::shared_ptr<Assignment>& candidate : candidates) {
    if (kesh::upper(candidate->roleDn) != roleDn) continue;
    if (local && candidate->principal != principal) continue;
    return candidate;
  }
  KESH_THROW(kesh::NotFoundException, 0, "User role not found");
}

void AssignmentSupport::saveAssignment(std::shared_ptr<Assignment>& assignment) {
  checkForClassic(kWrites);
  if (assignment->roleDn.empty()) KESH_THROW(kesh::BadDataException, 0, "must set user role");
  assignment->scope = scope;
  if (assignment->isNew) {
    scope->createAssignment(assignment);
  } else {
    scope->updateAssignment(assignment);
  }
  assignment->isNew = false;
}

std::shared_ptr<Assignment> AssignmentSupport::newAssignment(const std::string& name) {
  auto assignment = std::make_shared<Assignment>();
  assignment->isNew = true;
  assignment->object = std::make_shared<kesh::ADObject>();
  assignment->from = 0;
  assignment->to = 0;

  const std::string lowered = kesh::lower(name);
  if (lowered == ALL_AD_USERS) {
    assignment->principal = ALL_AD_USERS;
    assignment->ptype = ALL_AD_USERS_PTYPE;
  } else if (lowered == ALL_UNIX_USERS) {
    assignment->principal = ALL_UNIX_USERS;
    assignment->ptype = ALL_LOCAL_USERS_PTYPE;
  } else if (kesh::endsWith(name, LOCALHOST_SUFFIX)) {
    assignment->principal = name;
    assignment->ptype = LOCAL_USER_PTYPE;
    if (name[0] == LOCAL_GROUP_PTYPE[0]) {
      assignment->ptype = LOCAL_GROUP_PTYPE;
    } else if (name[0] == LOCAL_USER_PTYPE[0]) {
      // "#<uid>@localhost" names the local user by number.
      std::string uid = name.substr(1, name.find('@') - 1);
      if (!std::all_of(uid.begin(), uid.end(), kesh::IsDigitChar)) {
        KESH_THROW(kesh::BadDataException, 0, "Error:invalid uid number in local upn: %s",
                   name.c_str());
      }
    }
  } else {
    kesh::ADObject object = GetPrincipal(name);
    assignment->principal = object.dn();
    if (object.category() == AD_GROUP_CATEGORY) {
      if (IsDistributionGroup(object)) {
        KESH_THROW(kesh::BadDataException, 0, "Error: %s is a distribution group.", name.c_str());
      }
      assignment->ptype = AD_GROUP_PTYPE;
    } else {
      assignment->ptype = AD_USER_PTYPE;
    }
  }
  return assignment;
}

void AssignmentSupport::getAssignments(const std::string&,
                                       std::list<std::shared_ptr<Assignment>>& out) {
  checkForClassic(kReads);
  scope->getAllAssignments(out, UserTest);
}

void AssignmentSupport::deleteAssignment(std::shared_ptr<Assignment>& assignment) {
  checkForClassic(kWrites);
  if (!assignment || !assignment->object || assignment->object->dn().empty()) {
    KESH_THROW(kesh::BadDataException, 0, "User role is not selected");
  }
  scope->deleteAssignment(assignment);
}

// RoleManagement

std::shared_ptr<QVRole> RoleManagement::getRole(const std::string& name) {
  checkForClassic(kReads);
  return scope->findRole(name);
}
void RoleManagement::saveRole(std::shared_ptr<QVRole>& role) {
  checkForClassic(kWrites);
  scope->saveRole(role);
}
void RoleManagement::deleteRole(std::shared_ptr<QVRole>& role) {
  checkForClassic(kWrites);
  scope->deleteRole(role);
}
void RoleManagement::getRoles(std::list<std::shared_ptr<QVRole>>& out) {
  checkForClassic(kReads);
  scope->getRoles(out);
}
std::shared_ptr<QVRole> RoleManagement::newRole(const std::string& name) {
  checkForClassic(kWrites);
  return scope->newRole(name);
}

// RightsManagement

void RightsManagement::listPamApps(std::list<std::shared_ptr<PamApp>>& out) {
  checkForClassic(kReads);
  store->listPamApps(out);
}
std::shared_ptr<PamApp> RightsManagement::getPamApp(const std::string& name) {
  checkForClassic(kReads);
  return store->getPamApp(name);
}
void RightsManagement::deletePamApp(std::shared_ptr<PamApp>& app) {
  checkForClassic(kWrites);
  store->deletePamApp(app);
}
void RightsManagement::savePamApp(std::shared_ptr<PamApp>& app) {
  checkForClassic(kWrites);
  store->savePamApp(app);
}
std::shared_ptr<PamApp> RightsManagement::newPamApp(const std::string& name) {
  checkForClassic(kWrites);
  return store->newPamApp(name);
}
void RightsManagement::listQVCommands(std::list<std::shared_ptr<QVCommand>>& out) {
  checkForClassic(kReads);
  store->listQVCommands(out);
}
std::shared_ptr<QVCommand> RightsManagement::getQVCommand(const std::string& name) {
  checkForClassic(kReads);
  return store->getQVCommand(name);
}
void RightsManagement::deleteQVCommand(std::shared_ptr<QVCommand>& command) {
  checkForClassic(kWrites);
  store->deleteQVCommand(command);
}
void RightsManagement::saveQVCommand(std::shared_ptr<QVCommand>& command) {
  checkForClassic(kWrites);
  store->saveQVCommand(command);
}
std::shared_ptr<QVCommand> RightsManagement::newQVCommand(const std::string& name) {
  checkForClassic(kWrites);
  return store->newQVCommand(name);
}

// RSManagement: every operation, reads included, passes the gate as a write.

void RSManagement::saveRestrictEnv(std::shared_ptr<RSEnv>& env) {
  checkForClassic(kWrites);
  store->saveRestrictEnv(env);
}
void RSManagement::deleteRestrictEnv(std::shared_ptr<RSEnv>& env) {
  checkForClassic(kWrites);
  store->deleteRestrictEnv(env);
}
void RSManagement::getRestrictEnvs(std::list<std::shared_ptr<RSEnv>>& out) {
  checkForClassic(kWrites);
  store->getRestrictEnvs(out);
}
std::shared_ptr<RSEnv> RSManagement::getRestrictEnv(const std::string& name) {
  checkForClassic(kWrites);
  return store->getRestrictEnv(name);
}
std::shared_ptr<RSEnv> RSManagement::newRestrictEnv(const std::string& name) {
  checkForClassic(kWrites);
  return store->newRestrictEnv(name);
}
void RSManagement::listRestrictCommands(std::list<std::shared_ptr<RestrictCommand>>& out) {
  checkForClassic(kWrites);
  store->listRestrictCommands(out);
}
std::shared_ptr<RestrictCommand> RSManagement::getRestrictCommand(const std::string& name) {
  checkForClassic(kWrites);
  return store->getRestrictCommand(name);
}
std::shared_ptr<RestrictCommand> RSManagement::newRestrictCommand(const std::string& name,
                                                                  std::shared_ptr<RSEnv>& env) {
  checkForClassic(kWrites);
  return store->newRestrictCommand(name, env);
}
void RSManagement::saveRestrictCommand(std::shared_ptr<RestrictCommand>& command) {
  checkForClassic(kWrites);
  store->saveRestrictCommand(command);
}
void RSManagement::deleteRestrictCommand(std::shared_ptr<RestrictCommand>& command) {
  checkForClassic(kWrites);
  store->deleteRestrictCommand(command);
}
