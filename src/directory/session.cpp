#include "directory/session.h"

#include "directory/cache.h"
#include "zones/zone.h"

namespace {

// The session installed on this thread by SessionScope, if any.
thread_local ContextTab* installedSession = nullptr;
// The script layer's way to the session of the running command's interpreter.
SessionProvider sessionProvider = nullptr;

}  // namespace

ContextTab* GetContextTab() {
  ContextTab* tab = installedSession;
  if (tab == nullptr && sessionProvider != nullptr) tab = sessionProvider();
  if (tab == nullptr) KESH_THROW(kesh::SystemException, 0, "No session on this thread");
  return tab;
}

SessionScope::SessionScope(ContextTab* tab) : previous_(installedSession) {
  installedSession = tab;
}

SessionScope::~SessionScope() { installedSession = previous_; }

void SetSessionProvider(SessionProvider provider) { sessionProvider = provider; }

Context::Context() = default;

void Context::SetVerbose(const std::string& value) { verbose = value == "on"; }

ContextTab::ContextTab() : cache(new Cache()) {}

ContextTab::~ContextTab() {
  // The cache closes its database first, then the saved frames go, then this frame.
  cache.reset();
  stack.clear();
}

void ContextTab::Push() { stack.push_back(static_cast<const Context&>(*this)); }

void ContextTab::Pop() {
  if (stack.empty()) KESH_THROW(kesh::BadDataException, 0, "Context stack is empty");
  static_cast<Context&>(*this) = stack.back();
  stack.pop_back();
}

// --- accessors -----------------------------------------------------------------------------

namespace {

template <typename T>
std::shared_ptr<T> Require(const std::shared_ptr<T>& slot, const char* message) {
  if (!slot) KESH_THROW(kesh::BadDataException, 0, "%s", message);
  return slot;
}

}  // namespace

std::shared_ptr<IZone> GetCurrentZone() {
  return Require(GetContextTab()->zone, "Must set current zone");
}
void CheckZone() { Require(GetContextTab()->zone, "Must set current zone"); }
std::shared_ptr<NssZoneUser> GetCurrentNssZUser() {
  return Require(GetContextTab()->zoneUser, "Must set current zone user");
}
void CheckNssUser() { Require(GetContextTab()->zoneUser, "Must set current zone user"); }
std::shared_ptr<NssLocalUser> GetCurrentNssLocalUser() {
  return Require(GetContextTab()->localUser, "Must set current local user");
}
std::shared_ptr<Assignment> GetCurrentAssignment() {
  return Require(GetContextTab()->assignment, "Must set current user role");
}
void CheckAssignment() { Require(GetContextTab()->assignment, "Must set current user role"); }
std::shared_ptr<NssGroup> GetCurrentZGroup() {
  return Require(GetContextTab()->zoneGroup, "Must set current zone group");
}
std::shared_ptr<NssGroup> GetCurrentLocalGroup() {
  return Require(GetContextTab()->localGroup, "Must set current local group");
}
std::shared_ptr<QVRole> GetCurrentRole() {
  return Require(GetContextTab()->role, "Must set current role");
}
void CheckCurrentRole() { Require(GetContextTab()->role, "Must set current role"); }
std::shared_ptr<RSEnv> GetCurrentRSEnv() {
  return Require(GetContextTab()->rsEnv, "Must set current restricted environment");
}
void CheckCurrentRSEnv() {
  Require(GetContextTab()->rsEnv, "Must set current restricted environment");
}
std::shared_ptr<PamApp> GetCurrentPamApp() {
  return Require(GetContextTab()->pamApp, "Must set current pam app");
}
std::shared_ptr<Command> GetCurrentQVCommand() {
  return Require(GetContextTab()->qvCommand, "Must set current qv command");
}
std::shared_ptr<RestrictCommand> GetCurrentRestrictCommand() {
  return Require(GetContextTab()->restrictCommand, "Must set current restrict command");
}
std::shared_ptr<NisMap> GetCurrentNisMap() {
  return Require(GetContextTab()->nisMap, "Must set current map");
}
std::shared_ptr<ZoneComputer> GetCurrentZoneComputer() {
  return Require(GetContextTab()->zoneComputer, "Must set current computer");
}
void CheckCurrentZoneComputer() {
  Require(GetContextTab()->zoneComputer, "Must set current computer");
}
void CheckObject() {
  if (GetContextTab()->object.empty()) {
    KESH_THROW(kesh::BadDataException, 0, "Must set current object");
  }
}

// --- clearing ------------------------------------------------------------------------------

void ClearNssZUser() { GetContextTab()->zoneUser.reset(); }
void ClearNssLocalUser() { GetContextTab()->localUser.reset(); }
void ClearAssignment() { GetContextTab()->assignment.reset(); }
void ClearZGroup() { GetContextTab()->zoneGroup.reset(); }
void ClearLocalGroup() { GetContextTab()->localGroup.reset(); }
void ClearZoneComputer() { GetContextTab()->zoneComputer.reset(); }
void ClearRole() { GetContextTab()->role.reset(); }
void ClearQVCommand() { GetContextTab()->qvCommand.reset(); }
void ClearRSEnv() { GetContextTab()->rsEnv.reset(); }
void ClearRestrictCommand() { GetContextTab()->restrictCommand.reset(); }
void ClearPamApp() { GetContextTab()->pamApp.reset(); }
void ClearNisMap() { GetContextTab()->nisMap.reset(); }

void ClearZone() {
  ClearNssZUser();
  ClearNssLocalUser();
  ClearAssignment();
  ClearZGroup();
  ClearLocalGroup();
  ClearZoneComputer();
  ClearRole();
  ClearQVCommand();
  ClearRSEnv();
  ClearRestrictCommand();
  ClearPamApp();
  ClearNisMap();
  GetContextTab()->zone.reset();
}
