// The authorization mix-ins of zones. Until roles, rights, assignments and restricted
// environments land, each operation makes the checks that need none of them (a store and
// a scope present, a name given) and then refuses through NotAvailable.
#include "authorization/zone_qv.h"

#include "authorization/qv.h"
#include "directory/library/exceptions.h"
#include "zones/zone.h"

namespace {

// The gate of every forwarder: a zone without store or scope says so first.
[[noreturn]] void NotAvailable(ZoneUsesQV& zone, const char* operation) {
  zone.checkForClassic(false);
  NotAvailableYet(operation);
}

}  // namespace

// ZoneUsesQV

std::shared_ptr<QVRole> ZoneUsesQV::findRole(const std::string& name) {
  if (name.empty()) KESH_THROW(kesh::BadDataException, 0, "Role cannot be empty");
  NotAvailable(*this, "findRole");
}

std::shared_ptr<QVRight> ZoneUsesQV::findRight(const std::string& name) {
  if (name.empty()) KESH_THROW(kesh::BadDataException, 0, "Right name cannot be empty");
  NotAvailable(*this, "findRight");
}

bool SplitZoneQualified(const std::string&, std::string&, std::string&) {
  KESH_THROW(kesh::BadDataException, 0, "not implemented");
}

void ZoneUsesQV::delegateQVRight(const std::string&, const std::string&) {
  NotAvailable(*this, "delegateQVRight");
}

void ZoneUsesQV::checkForClassic(bool) {
  if (!store || !scope) KESH_THROW(kesh::BadDataException, 0, "QV not enabled for this zone");
}

// AssignmentSupport

std::shared_ptr<Assignment> AssignmentSupport::getAssignment(const std::string&) {
  NotAvailable(*this, "getAssignment");
}
void AssignmentSupport::saveAssignment(std::shared_ptr<Assignment>&) {
  NotAvailable(*this, "saveAssignment");
}
// A new assignment needs no store until it is saved.
std::shared_ptr<Assignment> AssignmentSupport::newAssignment(const std::string&) {
  NotAvailableYet("newAssignment");
}
void AssignmentSupport::getAssignments(const std::string&,
                                       std::list<std::shared_ptr<Assignment>>&) {
  NotAvailable(*this, "getAssignments");
}
void AssignmentSupport::deleteAssignment(std::shared_ptr<Assignment>&) {
  NotAvailable(*this, "deleteAssignment");
}

// RoleManagement

std::shared_ptr<QVRole> RoleManagement::getRole(const std::string&) {
  NotAvailable(*this, "getRole");
}
void RoleManagement::saveRole(std::shared_ptr<QVRole>&) { NotAvailable(*this, "saveRole"); }
void RoleManagement::deleteRole(std::shared_ptr<QVRole>&) { NotAvailable(*this, "deleteRole"); }
void RoleManagement::getRoles(std::list<std::shared_ptr<QVRole>>&) {
  NotAvailable(*this, "getRoles");
}
std::shared_ptr<QVRole> RoleManagement::newRole(const std::string&) {
  NotAvailable(*this, "newRole");
}

// RightsManagement

void RightsManagement::listPamApps(std::list<std::shared_ptr<PamApp>>&) {
  NotAvailable(*this, "listPamApps");
}
std::shared_ptr<PamApp> RightsManagement::getPamApp(const std::string&) {
  NotAvailable(*this, "getPamApp");
}
void RightsManagement::deletePamApp(std::shared_ptr<PamApp>&) {
  NotAvailable(*this, "deletePamApp");
}
void RightsManagement::savePamApp(std::shared_ptr<PamApp>&) { NotAvailable(*this, "savePamApp"); }
std::shared_ptr<PamApp> RightsManagement::newPamApp(const std::string&) {
  NotAvailable(*this, "newPamApp");
}
void RightsManagement::listQVCommands(std::list<std::shared_ptr<QVCommand>>&) {
  NotAvailable(*this, "listQVCommands");
}
std::shared_ptr<QVCommand> RightsManagement::getQVCommand(const std::string&) {
  NotAvailable(*this, "getQVCommand");
}
void RightsManagement::deleteQVCommand(std::shared_ptr<QVCommand>&) {
  NotAvailable(*this, "deleteQVCommand");
}
void RightsManagement::saveQVCommand(std::shared_ptr<QVCommand>&) {
  NotAvailable(*this, "saveQVCommand");
}
std::shared_ptr<QVCommand> RightsManagement::newQVCommand(const std::string&) {
  NotAvailable(*this, "newQVCommand");
}

// RSManagement

void RSManagement::saveRestrictEnv(std::shared_ptr<RSEnv>&) {
  NotAvailable(*this, "saveRestrictEnv");
}
void RSManagement::deleteRestrictEnv(std::shared_ptr<RSEnv>&) {
  NotAvailable(*this, "deleteRestrictEnv");
}
void RSManagement::getRestrictEnvs(std::list<std::shared_ptr<RSEnv>>&) {
  NotAvailable(*this, "getRestrictEnvs");
}
std::shared_ptr<RSEnv> RSManagement::getRestrictEnv(const std::string&) {
  NotAvailable(*this, "getRestrictEnv");
}
std::shared_ptr<RSEnv> RSManagement::newRestrictEnv(const std::string&) {
  NotAvailable(*this, "newRestrictEnv");
}
void RSManagement::listRestrictCommands(std::list<std::shared_ptr<RestrictCommand>>&) {
  NotAvailable(*this, "listRestrictCommands");
}
std::shared_ptr<RestrictCommand> RSManagement::getRestrictCommand(const std::string&) {
  NotAvailable(*this, "getRestrictCommand");
}
std::shared_ptr<RestrictCommand> RSManagement::newRestrictCommand(const std::string&,
                                                                  std::shared_ptr<RSEnv>&) {
  NotAvailable(*this, "newRestrictCommand");
}
void RSManagement::saveRestrictCommand(std::shared_ptr<RestrictCommand>&) {
  NotAvailable(*this, "saveRestrictCommand");
}
void RSManagement::deleteRestrictCommand(std::shared_ptr<RestrictCommand>&) {
  NotAvailable(*this, "deleteRestrictCommand");
}
