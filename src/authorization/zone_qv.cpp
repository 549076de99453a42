// The authorization mix-ins of zones. Until roles, rights, assignments and restricted
// environments land, each operation refuses through NotAvailable.
#include "authorization/zone_qv.h"

#include "authorization/qv.h"
#include "directory/library/exceptions.h"

namespace {

[[noreturn]] void NotAvailable(const char* operation) {
  KESH_THROW(kesh::BadDataException, 0, "%s is not available yet", operation);
}

}  // namespace

// ZoneUsesQV

std::shared_ptr<QVRole> ZoneUsesQV::findRole(const std::string&) { NotAvailable("findRole"); }
std::shared_ptr<QVRight> ZoneUsesQV::findRight(const std::string&) { NotAvailable("findRight"); }

void ZoneUsesQV::checkForClassic(bool) {
  if (!store || !scope) KESH_THROW(kesh::BadDataException, 0, "QV not enabled for this zone");
}

// AssignmentSupport

std::shared_ptr<Assignment> AssignmentSupport::getAssignment(const std::string&) {
  NotAvailable("getAssignment");
}
void AssignmentSupport::saveAssignment(std::shared_ptr<Assignment>&) {
  NotAvailable("saveAssignment");
}
std::shared_ptr<Assignment> AssignmentSupport::newAssignment(const std::string&) {
  NotAvailable("newAssignment");
}
void AssignmentSupport::getAssignments(const std::string&, std::list<std::shared_ptr<Assignment>>&) {
  NotAvailable("getAssignments");
}
void AssignmentSupport::deleteAssignment(std::shared_ptr<Assignment>&) {
  NotAvailable("deleteAssignment");
}

// RoleManagement

std::shared_ptr<QVRole> RoleManagement::getRole(const std::string&) { NotAvailable("getRole"); }
void RoleManagement::saveRole(std::shared_ptr<QVRole>&) { NotAvailable("saveRole"); }
void RoleManagement::deleteRole(std::shared_ptr<QVRole>&) { NotAvailable("deleteRole"); }
void RoleManagement::getRoles(std::list<std::shared_ptr<QVRole>>&) { NotAvailable("getRoles"); }
std::shared_ptr<QVRole> RoleManagement::newRole(const std::string&) { NotAvailable("newRole"); }

// RightsManagement

void RightsManagement::listPamApps(std::list<std::shared_ptr<PamApp>>&) {
  NotAvailable("listPamApps");
}
std::shared_ptr<PamApp> RightsManagement::getPamApp(const std::string&) {
  NotAvailable("getPamApp");
}
void RightsManagement::deletePamApp(std::shared_ptr<PamApp>&) { NotAvailable("deletePamApp"); }
void RightsManagement::savePamApp(std::shared_ptr<PamApp>&) { NotAvailable("savePamApp"); }
std::shared_ptr<PamApp> RightsManagement::newPamApp(const std::string&) {
  NotAvailable("newPamApp");
}
void RightsManagement::listQVCommands(std::list<std::shared_ptr<QVCommand>>&) {
  NotAvailable("listQVCommands");
}
std::shared_ptr<QVCommand> RightsManagement::getQVCommand(const std::string&) {
  NotAvailable("getQVCommand");
}
void RightsManagement::deleteQVCommand(std::shared_ptr<QVCommand>&) {
  NotAvailable("deleteQVCommand");
}
void RightsManagement::saveQVCommand(std::shared_ptr<QVCommand>&) {
  NotAvailable("saveQVCommand");
}
std::shared_ptr<QVCommand> RightsManagement::newQVCommand(const std::string&) {
  NotAvailable("newQVCommand");
}

// RSManagement

void RSManagement::saveRestrictEnv(std::shared_ptr<RSEnv>&) { NotAvailable("saveRestrictEnv"); }
void RSManagement::deleteRestrictEnv(std::shared_ptr<RSEnv>&) {
  NotAvailable("deleteRestrictEnv");
}
void RSManagement::getRestrictEnvs(std::list<std::shared_ptr<RSEnv>>&) {
  NotAvailable("getRestrictEnvs");
}
std::shared_ptr<RSEnv> RSManagement::getRestrictEnv(const std::string&) {
  NotAvailable("getRestrictEnv");
}
std::shared_ptr<RSEnv> RSManagement::newRestrictEnv(const std::string&) {
  NotAvailable("newRestrictEnv");
}
void RSManagement::listRestrictCommands(std::list<std::shared_ptr<RestrictCommand>>&) {
  NotAvailable("listRestrictCommands");
}
std::shared_ptr<RestrictCommand> RSManagement::getRestrictCommand(const std::string&) {
  NotAvailable("getRestrictCommand");
}
std::shared_ptr<RestrictCommand> RSManagement::newRestrictCommand(const std::string&,
                                                                  std::shared_ptr<RSEnv>&) {
  NotAvailable("newRestrictCommand");
}
void RSManagement::saveRestrictCommand(std::shared_ptr<RestrictCommand>&) {
  NotAvailable("saveRestrictCommand");
}
void RSManagement::deleteRestrictCommand(std::shared_ptr<RestrictCommand>&) {
  NotAvailable("deleteRestrictCommand");
}
