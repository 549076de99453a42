// The package entry: what loading the library into an interpreter does, and the help store.
//
// Loading builds the interpreter's session (a ContextTab, kept as associated data under
// "zonesmith" and deleted with the interpreter) and registers the command table. The library
// provides no Tcl package by itself; pkgIndex.tcl does.
#ifndef ZONESMITH_SCRIPT_ZONESMITHLIB_H_
#define ZONESMITH_SCRIPT_ZONESMITHLIB_H_

#include <tcl.h>

#include <map>
#include <string>

namespace Tcl {
class interpreter;
}
class ContextTab;

// One entry of the help store: the command's alias (may be empty) and its finished text.
struct HelpText {
  std::string alias;
  std::string text;
};

// The help store, by command name in byte order. Process-wide: an interpreter that loads the
// library again writes the same entries with the same values.
extern std::map<std::string, HelpText> gHelpTexts;

// Loads the package into `interp`: initialises the Tcl stubs (on failure nothing is created),
// builds the session and registers every command. Answers TCL_OK in every case. Loading
// into an interpreter that already has a session replaces that session.
int Zonesmith_cpptcl_Init(Tcl::interpreter& interp);

// Deletes the session `data` of `interp`: the cache, the saved frames, then the current
// frame. A null `data` is ignored.
void CleanContextTab(ClientData data, Tcl_Interp* interp);

// Enters a command into the help store and registers its usage line (for the name and the
// alias) with the binding layer. The help text is: name, "(alias)" when there is one, a
// blank, the usage, and a newline and the help body when there is one.
void AddCommand(std::string name, std::string alias, std::string usage, std::string help);

// Handler of `help`: writes the text of every command whose name or alias matches the glob
// `pattern`, each followed by a newline, in name order. Sets no result.
void FuncHelp(const std::string& pattern);

// Handler of `quit`: sets the session's quit flag, which the package itself never reads.
void Quit();

#endif  // ZONESMITH_SCRIPT_ZONESMITHLIB_H_
