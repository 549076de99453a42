#include "script/context.h"

#include <tcl.h>

#include "directory/cache.h"
#include "directory/ldap.h"
#include "script/args.h"
#include "script/cpptcl.h"
#include "zones/zone.h"

const char* const kContextKey = "zonesmith";

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

void Push() { GetContextTab()->Push(); }

void Pop() { GetContextTab()->Pop(); }

// --- show ----------------------------------------------------------------------------------

namespace {

void ShowBind(ContextTab& tab) {
  WriteStdout("Bindings:\n");
  for (const auto& entry : tab.bindings) {
    WriteStdout("\t" + entry.first + ": " + entry.second->server() + "\n");
  }
  for (const auto& entry : tab.gcBindings) {
    WriteStdout("\t" + entry.first + "(gc): " + entry.second->server() + "\n");
  }
}

void ShowZone(ContextTab& tab) {
  if (!tab.zone) return;
  WriteStdout("Current zone:\n\t" + tab.zone->getZoneName() + "\n");
}

void ShowObject(ContextTab& tab) {
  if (tab.object.empty()) return;
  WriteStdout("Current AD object:\n\t" + tab.object.dn() + "\n");
}

struct ShowSection {
  const char* topic;
  // Prints the section; null while the class of its slot has not landed, in which case the
  // slot is always empty and the section prints nothing.
  void (*print)(ContextTab& tab);
};

// In the order `show all` prints them.
const ShowSection kShowSections[] = {
    {"bind", ShowBind},
    {"zone", ShowZone},
    {"user", nullptr},        // "Current nss zone user:\n\t" + DisplayZUser(user, false, false)
    {"localuser", nullptr},   // "Current local user:\n\t" + DisplayLocalUser(user)
    {"assignment", nullptr},  // "Current assignment:\n\t" + DisplayAssignment(assignment, false)
    {"object", ShowObject},
    {"group", nullptr},       // "Current zone group:\n\t" + DisplayZGroup(group, false)
    {"localgroup", nullptr},  // "Current local group:\n\t" + DisplayLocalGroup(group)
    {"pamright", nullptr},    // "Current pam app:\n\t" + DisplayPamApp(app)
    {"qvcommand", nullptr},   // "Current qv command:\n\t" + DisplayCmd(command)
    {"rscommand", nullptr},   // "Current rs command:\n\t" + DisplayCmd(command)
    {"nismap", nullptr},      // "Current NIS map:\n\t" + the map's name + "\n"
    {"role", nullptr},        // "Current role:\n\t" + DisplayRole(role)
    {"computer", nullptr},    // "Current zone computer:\n\t" + DisplayComputer(computer)
    {"rse", nullptr},         // "Current rs environment:\n\t" + cnFromDn(dn) less 3 chars + "\n"
};

}  // namespace

void Show(const Tcl::object& args) {
  ContextTab* tab = GetContextTab();
  std::string topic = "all";
  if (CheckArgs(args, 0) > 0) topic = GetArgString(args, 0);
  for (const ShowSection& section : kShowSections) {
    if (section.print != nullptr && (topic == "all" || topic == section.topic)) {
      section.print(*tab);
    }
  }
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
