// The right commands.
#include "authorization/right_func.h"

#include <cstdlib>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "authorization/zone_qv.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/strings.h"
#include "directory/session.h"
#include "script/args.h"
#include "script/context.h"
#include "zones/zone.h"

namespace {

constexpr int kDecimal = 10;
constexpr int kOctal = 8;
// What a restricted command saved without a runas runs as.
const char kDefaultShellRunas[] = "$";

// The paths a command may name besides an absolute one.
const char* const kPathKeywords[] = {"*", "USERPATH", "SYSTEMPATH", "SYSTEMSEARCHPATH"};

// The two kinds of command rights differ in a few fields and in their messages.
enum class CommandKind { kQV, kRestricted };

[[noreturn]] void UnknownField() { KESH_THROW(kesh::BadDataException, 0, "Unknown field"); }
[[noreturn]] void UnknownFieldName() {
  KESH_THROW(kesh::BadDataException, 0, "Unknown field name");
}
[[noreturn]] void InvalidCommandField(CommandKind kind) {
  if (kind == CommandKind::kQV) KESH_THROW(kesh::BadDataException, 0, "invalid field name");
  KESH_THROW(kesh::BadDataException, 0, "invalid field name for restricted command");
}

int ParseInt(const std::string& text, int base) {
  return static_cast<int>(std::strtol(text.c_str(), nullptr, base));
}

void CheckPath(const std::string& path) {
  if (path.empty() || path[0] == '/') return;
  for (const char* keyword : kPathKeywords) {
    if (path == keyword) return;
  }
  KESH_THROW(kesh::BadDataException, 0, "invalid path");
}

// qvsh_runas of a QV command exists only in zones above the classic ones.
void CheckShellRunas(CommandKind kind) {
  if (kind == CommandKind::kQV && GetCurrentZone<IZone>()->getZoneType() <= ZONE_TYPE_CLASSIC4) {
    KESH_THROW(kesh::BadDataException, 0, "invalid field name for QV command in classic zone ");
  }
}

void SetCommandField(Command& command, CommandKind kind, const std::string& field,
                     const std::string& value) {
  if (field == "cmd") {
    command.cmd = value;
  } else if (field == "form") {
    command.form = ParseInt(value, kDecimal);
  } else if (field == "qvdo_runas" && kind == CommandKind::kQV) {
    command.qvdo_runas = value;
  } else if (field == "qvsh_runas") {
    CheckShellRunas(kind);
    command.qvsh_runas = value;
  } else if (field == "pri") {
    command.pri = ParseInt(value, kDecimal);
  } else if (field == "umask") {
    command.umask = ParseInt(value, kOctal);
  } else if (field == "keep") {
    command.setKeepEnv(value);
  } else if (field == "del") {
    command.setDelEnv(value);
  } else if (field == "path") {
    CheckPath(value);
    command.path = value;
  } else if (field == "add") {
    command.add = value;
  } else if (field == "flags") {
    command.flags = ParseInt(value, kDecimal);
  } else if (field == "description") {
    command.setDescription(value);
  } else {
    InvalidCommandField(kind);
  }
}

std::string GetCommandField(Command& command, CommandKind kind, const std::string& field) {
  if (field == "cmd") return command.cmd;
  if (field == "form") return std::to_string(command.form);
  if (field == "qvdo_runas" && kind == CommandKind::kQV) return command.qvdo_runas;
  if (field == "qvsh_runas") {
    CheckShellRunas(kind);
    return command.qvsh_runas;
  }
  if (field == "pri") return std::to_string(command.pri);
  if (field == "umask") return kesh::uitoa(static_cast<unsigned>(command.umask), kOctal);
  if (field == "keep") return command.getKeepEnv();
  if (field == "del") return command.getDelEnv();
  if (field == "path") return command.path;
  if (field == "add") return command.add;
  if (field == "flags") return std::to_string(command.flags);
  if (field == "description") return command.getDescription();
  if (field == "name") return command.getName();
  if (field == "dn") return command.object->dn();
  if (field == "createTime") return command.getCreateTime();
  if (field == "modifyTime") return command.getModifyTime();
  InvalidCommandField(kind);
}

// " <label>(<value>)", or nothing for an empty value.
std::string Item(const char* label, const std::string& value) {
  return value.empty() ? "" : std::string(" ") + label + "(" + value + ")";
}

template <typename T>
Tcl::object NamesOf(const std::list<std::shared_ptr<T>>& rights) {
  std::vector<std::string> names;
  for (const std::shared_ptr<T>& right : rights) names.push_back(right->getName());
  return StringList(names);
}

std::shared_ptr<QVCommand> CurrentQVCommand() {
  std::shared_ptr<QVCommand> command = std::dynamic_pointer_cast<QVCommand>(GetCurrentQVCommand());
  if (!command) KESH_THROW(kesh::BadDataException, 0, "Must set current qv command");
  return command;
}

}  // namespace

// --- Display -------------------------------------------------------------------------------

void DisplayCmd(const std::shared_ptr<Command>& command) {
  std::string line = command->getName() + "/" + command->getZoneName() + " : " + command->cmd;
  line += " form(" + std::to_string(command->form) + ")";
  line += Item("qvdo_runas", command->qvdo_runas);
  line += Item("qvsh_runas", command->qvsh_runas);
  if (command->pri != 0) line += Item("pri", std::to_string(command->pri));
  if (command->umask != 0)
    line += Item("umask", kesh::uitoa(static_cast<unsigned>(command->umask), kOctal));
  line += Item("keep", command->keepEnv);
  line += Item("del", command->delEnv);
  line += Item("add", command->add);
  line += Item("path", command->path);
  line += " flags(" + std::to_string(command->flags) + ")";
  WriteStdout(line + " : " + command->getDescription() + "\n");
}

void DisplayPamApp(const std::shared_ptr<PamApp>& app) {
  std::string line = app->appString + " : " + app->getDescription() + "\n";
  if (GetCurrentZone<IZone>()->getZoneType() > ZONE_TYPE_CLASSIC4) {
    line = app->getName() + "/" + app->getZoneName() + " : " + line;
  }
  WriteStdout(line);
}

void DisplayRight(const std::shared_ptr<QVRight>& right) {
  if (std::shared_ptr<Command> command = std::dynamic_pointer_cast<Command>(right)) {
    DisplayCmd(command);
  } else if (std::shared_ptr<PamApp> app = std::dynamic_pointer_cast<PamApp>(right)) {
    DisplayPamApp(app);
  }
}

// --- PAM rights ----------------------------------------------------------------------------

void NewPamApp(const std::string& name) {
  std::shared_ptr<PamApp> app = GetCurrentZone<IZoneManageRights>()->newPamApp(name);
  GetContextTab()->pamApp = app;
}

void SelectPamApp(const std::string& name) {
  std::shared_ptr<PamApp> app = GetPamApp(name);
  GetContextTab()->pamApp = app;
}

void SavePamApp() {
  IZoneManageRights* zone = GetCurrentZone<IZoneManageRights>();
  std::shared_ptr<PamApp> app = GetCurrentPamApp();
  zone->savePamApp(app);
}

void DeletePamApp() {
  IZoneManageRights* zone = GetCurrentZone<IZoneManageRights>();
  std::shared_ptr<PamApp> app = GetCurrentPamApp();
  zone->deletePamApp(app);
  ClearPamApp();
}

void ListPamApps() {
  std::list<std::shared_ptr<PamApp>> apps;
  GetCurrentZone<IZoneManageRights>()->listPamApps(apps);
  for (const std::shared_ptr<PamApp>& app : apps) DisplayPamApp(app);
}

Tcl::object GetPamApps() {
  std::list<std::shared_ptr<PamApp>> apps;
  GetCurrentZone<IZoneManageRights>()->listPamApps(apps);
  return NamesOf(apps);
}

void SetPamField(const std::string& field, const std::string& value) {
  GetCurrentZone<IZoneManageRights>();
  std::shared_ptr<PamApp> app = GetCurrentPamApp();
  if (field == "description") {
    app->setDescription(value);
  } else if (field == "application") {
    app->setApp(value);
  } else {
    UnknownField();
  }
}

std::string GetPamField(const std::string& field) {
  GetCurrentZone<IZoneManageRights>();
  std::shared_ptr<PamApp> app = GetCurrentPamApp();
  if (field == "description") return app->getDescription();
  if (field == "application") return app->appString;
  if (field == "name") return app->getName();
  if (field == "dn") return app->object->dn();
  if (field == "createTime") return app->getCreateTime();
  if (field == "modifyTime") return app->getModifyTime();
  UnknownField();
}

// --- QV commands ---------------------------------------------------------------------------

void NewQVCommand(const std::string& name) {
  std::shared_ptr<QVCommand> command = GetCurrentZone<IZoneManageRights>()->newQVCommand(name);
  GetContextTab()->qvCommand = command;
}

void SelectQVCommand(const std::string& name) {
  IZoneManageRights* zone = GetCurrentZone<IZoneManageRights>();
  std::shared_ptr<QVCommand> command = std::dynamic_pointer_cast<QVCommand>(
      zone->findRight(std::string(COMMAND_PREFIX) + kesh::trimWhiteSpace(name)));
  if (!command) KESH_THROW(kesh::NotFoundException, 0, "QV command not found");
  GetContextTab()->qvCommand = command;
}

void SaveQVCommand() {
  IZoneManageRights* zone = GetCurrentZone<IZoneManageRights>();
  std::shared_ptr<QVCommand> command = CurrentQVCommand();
  if (command->path.empty()) command->path = USERPATH;
  zone->saveQVCommand(command);
}

void DeleteQVCommand() {
  IZoneManageRights* zone = GetCurrentZone<IZoneManageRights>();
  std::shared_ptr<QVCommand> command = CurrentQVCommand();
  zone->deleteQVCommand(command);
  ClearQVCommand();
}

void ListQVCommands() {
  std::list<std::shared_ptr<QVCommand>> commands;
  GetCurrentZone<IZoneManageRights>()->listQVCommands(commands);
  for (const std::shared_ptr<QVCommand>& command : commands) DisplayCmd(command);
}

Tcl::object GetQVCommands() {
  std::list<std::shared_ptr<QVCommand>> commands;
  GetCurrentZone<IZoneManageRights>()->listQVCommands(commands);
  return NamesOf(commands);
}

void SetQVCField(const std::string& field, const std::string& value) {
  GetCurrentZone<IZoneManageRights>();
  SetCommandField(*GetCurrentQVCommand(), CommandKind::kQV, field, value);
}

std::string GetQVCField(const std::string& field) {
  GetCurrentZone<IZoneManageRights>();
  return GetCommandField(*GetCurrentQVCommand(), CommandKind::kQV, field);
}

// --- Restricted environments ---------------------------------------------------------------

void NewRSEnv(const std::string& name) {
  std::shared_ptr<RSEnv> env = GetCurrentZone<IZoneManageRS>()->newRestrictEnv(name);
  GetContextTab()->rsEnv = env;
}

void SelectRSEnv(const std::string& name) {
  std::shared_ptr<RSEnv> env = GetCurrentZone<IZoneManageRS>()->getRestrictEnv(name);
  GetContextTab()->rsEnv = env;
}

void SaveRSEnv() {
  IZoneManageRS* zone = GetCurrentZone<IZoneManageRS>();
  std::shared_ptr<RSEnv> env = GetCurrentRSEnv();
  zone->saveRestrictEnv(env);
}

void DeleteRSEnv() {
  IZoneManageRS* zone = GetCurrentZone<IZoneManageRS>();
  std::shared_ptr<RSEnv> env = GetCurrentRSEnv();
  zone->deleteRestrictEnv(env);
  ClearRSEnv();
}

namespace {
std::vector<std::string> RSEnvNames() {
  std::list<std::shared_ptr<RSEnv>> envs;
  GetCurrentZone<IZoneManageRS>()->getRestrictEnvs(envs);
  std::vector<std::string> names;
  for (const std::shared_ptr<RSEnv>& env : envs) names.push_back(env->getName());
  return names;
}
}  // namespace

void ListRSEnvs() {
  for (const std::string& name : RSEnvNames()) WriteStdout(name + "\n");
}

Tcl::object GetRSEnvs() { return StringList(RSEnvNames()); }

Tcl::object GetRSECmds() {
  GetCurrentZone<IZoneManageRS>();
  std::list<std::shared_ptr<QVRight>> rights;
  GetCurrentRSEnv()->getRestrictEnvCmds(rights);
  std::vector<std::string> names;
  for (const std::shared_ptr<QVRight>& right : rights) {
    if (std::dynamic_pointer_cast<RestrictCommand>(right)) {
      names.push_back(right->getName() + "/" + right->getZoneName());
    }
  }
  return StringList(names);
}

void SetRSEField(const std::string& field, const std::string& value) {
  GetCurrentZone<IZoneManageRS>();
  std::shared_ptr<RSEnv> env = GetCurrentRSEnv();
  if (field != "description") UnknownFieldName();
  // The directory takes no empty value: an empty text clears the attribute at the save.
  if (value.empty()) {
    (*env->object)[AD_DESCRIPTION].reset();
  } else {
    (*env->object)[AD_DESCRIPTION] = value;
  }
}

std::string GetRSEField(const std::string& field) {
  GetCurrentZone<IZoneManageRS>();
  std::shared_ptr<RSEnv> env = GetCurrentRSEnv();
  if (field == "description") return env->object->firstValue(AD_DESCRIPTION);
  if (field == "dn") return env->object->dn();
  if (field == "createTime") return env->object->firstValue(AD_WHEN_CREATED);
  if (field == "modifyTime") return env->object->firstValue(AD_WHEN_CHANGED);
  UnknownFieldName();
}

// --- Restricted commands -------------------------------------------------------------------

void NewRSCommand(const std::string& name) {
  IZoneManageRS* zone = GetCurrentZone<IZoneManageRS>();
  std::shared_ptr<RSEnv> env = GetCurrentRSEnv();
  std::shared_ptr<RestrictCommand> command = zone->newRestrictCommand(name, env);
  GetContextTab()->restrictCommand = command;
}

void SelectRSCommand(const std::string& name) {
  RSManagement* zone = GetCurrentZone<RSManagement>();
  std::shared_ptr<RestrictCommand> command = std::dynamic_pointer_cast<RestrictCommand>(
      zone->findRight(std::string(RESTRICTED_PREFIX) + kesh::trimWhiteSpace(name)));
  if (!command) KESH_THROW(kesh::NotFoundException, 0, "Restrict command not found");
  GetContextTab()->restrictCommand = command;
}

void SaveRSCommand() {
  IZoneManageRS* zone = GetCurrentZone<IZoneManageRS>();
  std::shared_ptr<RestrictCommand> command = GetCurrentRestrictCommand();
  if (command->path.empty()) command->path = USERPATH;
  if (command->qvsh_runas.empty()) command->qvsh_runas = kDefaultShellRunas;
  zone->saveRestrictCommand(command);
}

void DeleteRSCommand() {
  IZoneManageRS* zone = GetCurrentZone<IZoneManageRS>();
  std::shared_ptr<RestrictCommand> command = GetCurrentRestrictCommand();
  zone->deleteRestrictCommand(command);
  ClearRestrictCommand();
}

void ListRSCommands() {
  std::list<std::shared_ptr<RestrictCommand>> commands;
  GetCurrentZone<IZoneManageRS>()->listRestrictCommands(commands);
  for (const std::shared_ptr<RestrictCommand>& command : commands) DisplayCmd(command);
}

Tcl::object GetRSCommands() {
  std::list<std::shared_ptr<RestrictCommand>> commands;
  GetCurrentZone<IZoneManageRS>()->listRestrictCommands(commands);
  return NamesOf(commands);
}

void SetRSCField(const std::string& field, const std::string& value) {
  GetCurrentZone<IZoneManageRS>();
  SetCommandField(*GetCurrentRestrictCommand(), CommandKind::kRestricted, field, value);
}

std::string GetRSCField(const std::string& field) {
  GetCurrentZone<IZoneManageRS>();
  return GetCommandField(*GetCurrentRestrictCommand(), CommandKind::kRestricted, field);
}
