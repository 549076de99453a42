// The role commands.
#include "authorization/role_func.h"

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "authorization/right.h"
#include "authorization/right_func.h"
#include "authorization/zone_qv.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/sam_parser.h"
#include "directory/library/strings.h"
#include "directory/session.h"
#include "script/args.h"
#include "script/context.h"
#include "zones/zone.h"

namespace {

// The names of the audit levels that set_role_field takes, with their bits under
// sam::AUDIT_LEVEL_MASK.
struct AuditLevelBits {
  const char* name;
  unsigned bits;
};
const AuditLevelBits kAuditLevels[] = {
    {"AuditIfPossible", 0},
    {"AuditNotRequested", 16},
    {"AuditRequired", 32},
};

[[noreturn]] void UnknownFieldName() {
  KESH_THROW(kesh::BadDataException, 0, "Unknown field name");
}

const char* BoolText(bool value) { return value ? "true" : "false"; }

// The rights of the current role.
std::list<std::shared_ptr<QVRight>> CurrentRoleRights() {
  std::list<std::shared_ptr<QVRight>> rights;
  GetCurrentRole()->getRoleRights(rights);
  return rights;
}

// "<name>/<zone>" of each right of the current role that is a T.
template <typename T>
Tcl::object RoleCommandsOf() {
  std::vector<std::string> names;
  for (const std::shared_ptr<QVRight>& right : CurrentRoleRights()) {
    if (std::dynamic_pointer_cast<T>(right)) {
      names.push_back(right->getName() + "/" + right->getZoneName());
    }
  }
  return StringList(names);
}

// The command right "<command>[/<zone>]" as the zone finds it.
std::shared_ptr<QVRight> FindCommandRight(IZoneSupportRoles* zone, const std::string& command) {
  return zone->findRight(std::string(COMMAND_PREFIX) + kesh::trimWhiteSpace(command));
}

}  // namespace

void DisplayRole(const std::shared_ptr<QVRole>& role) { WriteStdout(role->getName() + "\n"); }

void NewRole(const std::string& name) {
  std::shared_ptr<QVRole> role = GetCurrentZone<IZoneManageRoles>()->newRole(name);
  GetContextTab()->role = role;
}

void SelectRole(const std::string& name) {
  std::shared_ptr<QVRole> role = GetCurrentZone<IZoneManageRoles>()->getRole(name);
  GetContextTab()->role = role;
}

void SaveRole() {
  IZoneManageRoles* zone = GetCurrentZone<IZoneManageRoles>();
  std::shared_ptr<QVRole> role = GetCurrentRole();
  zone->saveRole(role);
}

void DeleteRole() {
  IZoneManageRoles* zone = GetCurrentZone<IZoneManageRoles>();
  std::shared_ptr<QVRole> role = GetCurrentRole();
  zone->deleteRole(role);
  ClearRole();
}

void ListRoles() {
  std::list<std::shared_ptr<QVRole>> roles;
  GetCurrentZone<IZoneManageRoles>()->getRoles(roles);
  for (const std::shared_ptr<QVRole>& role : roles) DisplayRole(role);
}

Tcl::object GetRoles() {
  std::list<std::shared_ptr<QVRole>> roles;
  GetCurrentZone<IZoneManageRoles>()->getRoles(roles);
  std::vector<std::string> names;
  for (const std::shared_ptr<QVRole>& role : roles) names.push_back(role->getName());
  return StringList(names);
}

void SetRoleField(const std::string& field, const std::string& value) {
  GetCurrentZone<IZoneManageRoles>();
  std::shared_ptr<QVRole> role = GetCurrentRole();
  // The first names must be written as shown; the flags of hierarchical roles in any case.
  if (field == "timebox") {
    role->timebox = ParseTimebox(value);
  } else if (field == "sysrights") {
    role->setSysrights(kesh::atoui(value));
  } else if (field == "description") {
    role->setDescription(value);
  } else if (field == "auditLevel") {
    for (const AuditLevelBits& level : kAuditLevels) {
      if (value == level.name) {
        role->setSysrights((role->sysrights & ~sam::AUDIT_LEVEL_MASK) | level.bits);
        return;
      }
    }
    KESH_THROW(kesh::BadDataException, 0, "Unknown audit level");
  } else if (field == "AlwaysPermitLogin") {
    const bool permit = CheckFieldEnabled(value, field);
    role->setSysrights(permit ? role->sysrights | sam::ALWAYS_PERMIT_LOGIN
                              : role->sysrights & ~sam::ALWAYS_PERMIT_LOGIN);
  } else if (kesh::lower(field) == "allowlocaluser") {
    role->setAllowLocalUser(CheckFieldEnabled(value, field));
  } else if (kesh::lower(field) == "visible") {
    role->setVisible(CheckFieldEnabled(value, field));
  } else {
    UnknownFieldName();
  }
}

std::string GetRoleField(const std::string& field) {
  GetCurrentZone<IZoneManageRoles>();
  std::shared_ptr<QVRole> role = GetCurrentRole();
  const std::string name = kesh::lower(field);
  if (name == "timebox") return TimeboxText(role->timebox);
  if (name == "sysrights") return std::to_string(role->sysrights);
  if (name == "description") return role->getDescription();
  if (name == "auditlevel") {
    return sam::AuditLevelToString(sam::GetAuditLevelFromSysRights(role->sysrights));
  }
  if (name == "alwayspermitlogin") return BoolText(sam::IsAlwaysPermitLogin(role->sysrights));
  if (name == "allowlocaluser") return BoolText(role->allowLocalUser);
  if (name == "visible") return BoolText(role->visible);
  if (name == "dn") return role->object->dn();
  if (name == "createtime") return role->object->firstValue(AD_WHEN_CREATED);
  if (name == "modifytime") return role->object->firstValue(AD_WHEN_CHANGED);
  UnknownFieldName();
}

void ListRoleRights() {
  GetCurrentZone<IZoneManageRoles>();
  for (const std::shared_ptr<QVRight>& right : CurrentRoleRights()) DisplayRight(right);
}

Tcl::object GetRoleCommands() {
  GetCurrentZone<IZoneManageRoles>();
  return RoleCommandsOf<QVCommand>();
}

Tcl::object GetRoleRSCommands() {
  GetCurrentZone<IZoneManageRS>();
  return RoleCommandsOf<RestrictCommand>();
}

std::string GetRoleRSEnv() {
  GetCurrentZone<IZoneManageRS>();
  std::shared_ptr<RSEnv> env;
  GetCurrentRole()->getRoleRestrictEnv(env);
  if (!env) return "";
  return env->getName();
}

Tcl::object GetRoleApps() {
  IZone* zone = GetCurrentZone<IZone>();
  GetCurrentZone<IZoneManageRoles>();
  // Rights of a hierarchical zone may come from an ancestor: they are named with their zone.
  const bool qualified = zone->getZoneType() > ZONE_TYPE_CLASSIC4;
  std::vector<std::string> names;
  for (const std::shared_ptr<QVRight>& right : CurrentRoleRights()) {
    if (!std::dynamic_pointer_cast<PamApp>(right)) continue;
    names.push_back(qualified ? right->getName() + "/" + right->getZoneName() : right->getName());
  }
  return StringList(names);
}

void AddCommandToRole(const std::string& command) {
  IZoneManageRoles* zone = GetCurrentZone<IZoneManageRoles>();
  std::shared_ptr<QVRole> role = GetCurrentRole();
  role->addRight(FindCommandRight(zone, command));
}

void RemoveCommandFromRole(const std::string& command) {
  IZoneManageRoles* zone = GetCurrentZone<IZoneManageRoles>();
  std::shared_ptr<QVRole> role = GetCurrentRole();
  role->removeRight(FindCommandRight(zone, command));
}

void AddPamAppToRole(const std::string& app) {
  GetCurrentZone<IZoneManageRoles>();
  std::shared_ptr<QVRole> role = GetCurrentRole();
  role->addRight(GetPamApp(app));
}

void RemovePamAppFromRole(const std::string& app) {
  GetCurrentZone<IZoneManageRoles>();
  std::shared_ptr<QVRole> role = GetCurrentRole();
  role->removeRight(GetPamApp(app));
}

void SetRSEnvForRole(const std::string& env) {
  IZoneManageRS* zone = GetCurrentZone<IZoneManageRS>();
  std::shared_ptr<QVRole> role = GetCurrentRole();
  role->setRestrictEnv(zone->getRestrictEnv(env));
}

void ClearRSEnvFromRole() {
  GetCurrentZone<IZoneManageRoles>();
  GetCurrentRole()->clearRestrictEnv();
}
