#include "script/zonesmithlib.h"

#include <fnmatch.h>

#include <memory>

#include "directory/cache.h"
#include "directory/library/exceptions.h"
#include "script/args.h"
#include "script/context.h"
#include "script/cpptcl.h"
#include "script/funcs.h"

std::map<std::string, HelpText> gHelpTexts;

int Zonesmith_cpptcl_Init(Tcl::interpreter& interp) {
  Tcl_Interp* raw = interp.get();
  if (Tcl_InitStubs(raw, "8.5", 0) == nullptr) return TCL_OK;

  // A second load into the same interpreter starts a fresh session; deleting the
  // associated data runs CleanContextTab on the old one.
  if (Tcl_GetAssocData(raw, kContextKey, nullptr) != nullptr) {
    Tcl_DeleteAssocData(raw, kContextKey);
  }

  auto* tab = new ScriptSession();
  Tcl_SetAssocData(raw, kContextKey, CleanContextTab, tab);
  // The session keeps a wrapper of its own: the caller's may not outlive this call.
  tab->interp = std::make_shared<Tcl::interpreter>(raw, false);
  // Trace lines of the cache go to the interpreter's standard output, in order with the
  // script's own.
  tab->cache->setTraceSink([](const std::string& line) { WriteStdout(line + "\n"); });
  SetSessionProvider([]() -> ContextTab* { return SessionOfCurrentInterp(); });

  Tcl::SetCurrentInterp(raw);
  LoadFuncs();
  Tcl::SetCurrentInterp(nullptr);
  return TCL_OK;
}

void CleanContextTab(ClientData data, Tcl_Interp*) {
  if (data == nullptr) return;
  // ~ContextTab closes the cache, then drops the saved frames, then the current frame.
  delete static_cast<ScriptSession*>(data);
}

void AddCommand(std::string name, std::string alias, std::string usage, std::string help) {
  Tcl::interpreter& interp = SessionInterp();
  std::string text = name;
  if (!usage.empty()) interp.set_syntax(name, usage);
  if (!alias.empty()) {
    if (!usage.empty()) interp.set_syntax(alias, usage);
    text += "(" + alias + ")";
  }
  text += " " + usage;
  if (!help.empty()) text += "\n" + help;
  HelpText& entry = gHelpTexts[name];
  entry.alias = alias;
  entry.text = text;
}

void FuncHelp(const std::string& pattern) {
  for (const auto& entry : gHelpTexts) {
    if (fnmatch(pattern.c_str(), entry.first.c_str(), 0) == 0 ||
        fnmatch(pattern.c_str(), entry.second.alias.c_str(), 0) == 0) {
      WriteStdout(entry.second.text + "\n");
    }
  }
}

void Quit() { GetContextTab()->quit = true; }
