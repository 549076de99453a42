#include "support/tcl_session.h"

#include <stdexcept>

extern "C" int Zonesmith_Init(Tcl_Interp* interp);

namespace {

// A channel transform that keeps what is written to stdout in ::zstest_out.
const char kCaptureProcs[] = R"(
proc ::zstest_keep {cmd channel args} {
  switch -- $cmd {
    initialize { return {initialize finalize write} }
    finalize { return }
    write { append ::zstest_out [lindex $args 0]; return "" }
  }
}
proc ::zstest_capture {script} {
  set ::zstest_out ""
  flush stdout
  chan push stdout ::zstest_keep
  set code [catch {uplevel #0 $script} result]
  flush stdout
  chan pop stdout
  return [list $code $::zstest_out]
}
)";

}  // namespace

TclSession::TclSession() {
  static bool found = false;
  if (!found) {
    Tcl_FindExecutable(nullptr);
    found = true;
  }
  interp_ = Tcl_CreateInterp();
  if (Zonesmith_Init(interp_) != TCL_OK || Tcl_Eval(interp_, kCaptureProcs) != TCL_OK) {
    throw std::runtime_error(Tcl_GetStringResult(interp_));
  }
  MakeCurrent();
}

TclSession::~TclSession() {
  Tcl_DeleteInterp(interp_);
  if (Tcl::interpreter::GetCurrentInterp() == interp_) Tcl::interpreter::SetCurrentInterp(nullptr);
}

int TclSession::Eval(const std::string& script, std::string* result) {
  int code = Tcl_EvalEx(interp_, script.data(), static_cast<int>(script.size()), TCL_EVAL_GLOBAL);
  if (result != nullptr) *result = Tcl_GetStringResult(interp_);
  return code;
}

std::string TclSession::EvalCapturingStdout(const std::string& script, int* code) {
  Tcl_Obj* command[] = {Tcl_NewStringObj("::zstest_capture", -1),
                        Tcl_NewStringObj(script.data(), static_cast<int>(script.size()))};
  for (Tcl_Obj* o : command) Tcl_IncrRefCount(o);
  int status = Tcl_EvalObjv(interp_, 2, command, TCL_EVAL_GLOBAL);
  for (Tcl_Obj* o : command) Tcl_DecrRefCount(o);
  if (status != TCL_OK) throw std::runtime_error(Tcl_GetStringResult(interp_));
  Tcl_Obj* pair = Tcl_GetObjResult(interp_);
  Tcl_Obj* element = nullptr;
  Tcl_ListObjIndex(interp_, pair, 0, &element);
  int scriptCode = 0;
  Tcl_GetIntFromObj(interp_, element, &scriptCode);
  if (code != nullptr) *code = scriptCode;
  Tcl_ListObjIndex(interp_, pair, 1, &element);
  return Tcl_GetString(element);
}

void TclSession::MakeCurrent() { Tcl::interpreter::SetCurrentInterp(interp_); }

Tcl::object TclSession::Words(std::initializer_list<std::string> words) {
  Tcl_Obj* list = Tcl_NewListObj(0, nullptr);
  for (const std::string& word : words) {
    Tcl_ListObjAppendElement(nullptr, list,
                             Tcl_NewStringObj(word.data(), static_cast<int>(word.size())));
  }
  return Tcl::object(list, true);
}
