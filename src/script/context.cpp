#include "script/context.h"

#include <tcl.h>

#include "authorization/assignment_func.h"
#include "authorization/right.h"
#include "authorization/right_func.h"
#include "authorization/role_func.h"
#include "directory/ldap.h"
#include "directory/library/dn.h"
#include "schema/computer_func.h"
#include "schema/user.h"
#include "schema/user_func.h"
#include "schema/zgroup_func.h"
#include "script/args.h"
#include "script/cpptcl.h"
#include "zones/nis_map.h"
#include "zones/zone.h"

const char* const kContextKey = "zonesmith";

ScriptSession* SessionOfCurrentInterp() {
  Tcl_Interp* interp = Tcl::interpreter::GetCurrentInterp();
  if (interp == nullptr) return nullptr;
  return static_cast<ScriptSession*>(Tcl_GetAssocData(interp, kContextKey, nullptr));
}

Tcl::interpreter& SessionInterp() {
  if (Tcl::interpreter::GetCurrentInterp() == nullptr) {
    KESH_THROW(kesh::SystemException, 0, "No current interpreter");
  }
  ScriptSession* session = SessionOfCurrentInterp();
  if (session == nullptr) KESH_THROW(kesh::SystemException, 0, "No session in this interpreter");
  return *session->interp;
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

void ShowAssignment(ContextTab& tab) {
  if (!tab.assignment) return;
  WriteStdout("Current assignment:\n\t");
  DisplayAssignment(tab.assignment, false);
}

void ShowObject(ContextTab& tab) {
  if (tab.object.empty()) return;
  WriteStdout("Current AD object:\n\t" + tab.object.dn() + "\n");
}

void ShowZoneUser(ContextTab& tab) {
  if (!tab.zoneUser) return;
  WriteStdout("Current nss zone user:\n\t");
  DisplayZUser(tab.zoneUser, false, false);
}

void ShowLocalUser(ContextTab& tab) {
  if (!tab.localUser) return;
  WriteStdout("Current local user:\n\t");
  DisplayLocalUser(tab.localUser);
}

void ShowZoneGroup(ContextTab& tab) {
  if (!tab.zoneGroup) return;
  WriteStdout("Current zone group:\n\t");
  DisplayZGroup(tab.zoneGroup, false);
}

void ShowLocalGroup(ContextTab& tab) {
  if (!tab.localGroup) return;
  WriteStdout("Current local group:\n\t");
  DisplayLocalGroup(tab.localGroup);
}

void ShowPamApp(ContextTab& tab) {
  if (!tab.pamApp) return;
  WriteStdout("Current pam app:\n\t");
  DisplayPamApp(tab.pamApp);
}

void ShowQVCommand(ContextTab& tab) {
  if (!tab.qvCommand) return;
  WriteStdout("Current qv command:\n\t");
  DisplayCmd(tab.qvCommand);
}

void ShowRSCommand(ContextTab& tab) {
  if (!tab.restrictCommand) return;
  WriteStdout("Current rs command:\n\t");
  DisplayCmd(tab.restrictCommand);
}

void ShowRole(ContextTab& tab) {
  if (!tab.role) return;
  WriteStdout("Current role:\n\t");
  DisplayRole(tab.role);
}

void ShowNisMap(ContextTab& tab) {
  if (!tab.nisMap) return;
  WriteStdout("Current NIS map:\n\t" + tab.nisMap->name + "\n");
}

void ShowComputer(ContextTab& tab) {
  if (!tab.zoneComputer) return;
  WriteStdout("Current zone computer:\n\t");
  DisplayComputer(tab.zoneComputer);
}

void ShowRSEnv(ContextTab& tab) {
  if (!tab.rsEnv) return;
  WriteStdout("Current rs environment:\n\t" + tab.rsEnv->getName() + "\n");
}

struct ShowSection {
  const char* topic;
  // Prints the section; nothing for an empty slot.
  void (*print)(ContextTab& tab);
};

// In the order `show all` prints them.
const ShowSection kShowSections[] = {
    {"bind", ShowBind},
    {"zone", ShowZone},
    {"user", ShowZoneUser},
    {"localuser", ShowLocalUser},
    {"assignment", ShowAssignment},
    {"object", ShowObject},
    {"group", ShowZoneGroup},
    {"localgroup", ShowLocalGroup},
    {"pamright", ShowPamApp},
    {"qvcommand", ShowQVCommand},
    {"rscommand", ShowRSCommand},
    {"nismap", ShowNisMap},
    {"role", ShowRole},
    {"computer", ShowComputer},
    {"rse", ShowRSEnv},
};

}  // namespace

void Show(const Tcl::object& args) {
  ContextTab* tab = GetContextTab();
  std::string topic = "all";
  if (CheckArgs(args, 0) > 0) topic = GetArgString(args, 0);
  for (const ShowSection& section : kShowSections) {
    if (topic == "all" || topic == section.topic) {
      section.print(*tab);
    }
  }
}
