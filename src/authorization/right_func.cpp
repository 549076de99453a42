// The right commands.
#include "authorization/right_func.h"

#include "directory/library/exceptions.h"

#define NOT_YET KESH_THROW(kesh::BadDataException, 0, "not implemented")

void DisplayCmd(const std::shared_ptr<Command>&) { NOT_YET; }
void DisplayPamApp(const std::shared_ptr<PamApp>&) { NOT_YET; }
void DisplayRight(const std::shared_ptr<QVRight>&) { NOT_YET; }
void NewPamApp(const std::string&) { NOT_YET; }
void SelectPamApp(const std::string&) { NOT_YET; }
void SavePamApp() { NOT_YET; }
void DeletePamApp() { NOT_YET; }
void ListPamApps() { NOT_YET; }
Tcl::object GetPamApps() { NOT_YET; }
void SetPamField(const std::string&, const std::string&) { NOT_YET; }
std::string GetPamField(const std::string&) { NOT_YET; }
void NewQVCommand(const std::string&) { NOT_YET; }
void SelectQVCommand(const std::string&) { NOT_YET; }
void SaveQVCommand() { NOT_YET; }
void DeleteQVCommand() { NOT_YET; }
void ListQVCommands() { NOT_YET; }
Tcl::object GetQVCommands() { NOT_YET; }
void SetQVCField(const std::string&, const std::string&) { NOT_YET; }
std::string GetQVCField(const std::string&) { NOT_YET; }
void NewRSEnv(const std::string&) { NOT_YET; }
void SelectRSEnv(const std::string&) { NOT_YET; }
void SaveRSEnv() { NOT_YET; }
void DeleteRSEnv() { NOT_YET; }
void ListRSEnvs() { NOT_YET; }
Tcl::object GetRSEnvs() { NOT_YET; }
Tcl::object GetRSECmds() { NOT_YET; }
void SetRSEField(const std::string&, const std::string&) { NOT_YET; }
std::string GetRSEField(const std::string&) { NOT_YET; }
void NewRSCommand(const std::string&) { NOT_YET; }
void SelectRSCommand(const std::string&) { NOT_YET; }
void SaveRSCommand() { NOT_YET; }
void DeleteRSCommand() { NOT_YET; }
void ListRSCommands() { NOT_YET; }
Tcl::object GetRSCommands() { NOT_YET; }
void SetRSCField(const std::string&, const std::string&) { NOT_YET; }
std::string GetRSCField(const std::string&) { NOT_YET; }
