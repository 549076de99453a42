// The right commands: PAM rights, privileged (QV) commands, restricted environments and
// restricted commands of the current zone.
//
// PAM rights and QV commands take the zone as IZoneManageRights; restricted environments
// and commands as IZoneManageRS, which only classic zones are ("Wrong zone type"
// elsewhere). select_... and new_... make the right current; set_..._field changes it in
// memory; save_... writes it; delete_... removes it and empties the slot.
//
// Lines of the list commands and of `show`:
//   command     <name>/<zone> : <cmd> form(<n>)[ qvdo_runas(..)][ qvsh_runas(..)][ pri(..)]
//               [ umask(<octal>)][ keep(..)][ del(..)][ add(..)][ path(..)] flags(<n>) :
//               <description>
//   PAM right   classic zones: <application> : <description>
//               other zones:   <name>/<zone> : <application> : <description>
#ifndef ZONESMITH_AUTHORIZATION_RIGHT_FUNC_H_
#define ZONESMITH_AUTHORIZATION_RIGHT_FUNC_H_

#include <memory>
#include <string>

#include "authorization/right.h"
#include "script/cpptcl.h"

// Line printers, shared by the list commands and `show`. REQUIRES: a current zone for
// DisplayPamApp (its type decides the form).
void DisplayCmd(const std::shared_ptr<Command>& command);
void DisplayPamApp(const std::shared_ptr<PamApp>& app);
// A command, PAM right or restricted command, by its class.
void DisplayRight(const std::shared_ptr<QVRight>& right);

// PAM rights.
void NewPamApp(const std::string& name);
void SelectPamApp(const std::string& name);
void SavePamApp();
void DeletePamApp();
void ListPamApps();
Tcl::object GetPamApps();
void SetPamField(const std::string& field, const std::string& value);
std::string GetPamField(const std::string& field);

// QV commands.
void NewQVCommand(const std::string& name);
void SelectQVCommand(const std::string& name);
void SaveQVCommand();
void DeleteQVCommand();
void ListQVCommands();
Tcl::object GetQVCommands();
void SetQVCField(const std::string& field, const std::string& value);
std::string GetQVCField(const std::string& field);

// Restricted environments.
void NewRSEnv(const std::string& name);
void SelectRSEnv(const std::string& name);
void SaveRSEnv();
void DeleteRSEnv();
void ListRSEnvs();
Tcl::object GetRSEnvs();
Tcl::object GetRSECmds();
void SetRSEField(const std::string& field, const std::string& value);
std::string GetRSEField(const std::string& field);

// Restricted commands.
void NewRSCommand(const std::string& name);
void SelectRSCommand(const std::string& name);
void SaveRSCommand();
void DeleteRSCommand();
void ListRSCommands();
Tcl::object GetRSCommands();
void SetRSCField(const std::string& field, const std::string& value);
std::string GetRSCField(const std::string& field);

#endif  // ZONESMITH_AUTHORIZATION_RIGHT_FUNC_H_
