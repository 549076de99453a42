// TclSession: a real Tcl interpreter with the zonesmith package loaded, for C++ tests that
// need a session (GetContextTab, ParseArgs, the command table).
//
// The interpreter is made by Tcl itself and the package entry is called on it, as `load`
// would. The session is made the current one of the thread; a test that runs commands of
// another interpreter calls MakeCurrent() before calling session code directly.
#ifndef ZONESMITH_TESTS_UNIT_SUPPORT_TCL_SESSION_H_
#define ZONESMITH_TESTS_UNIT_SUPPORT_TCL_SESSION_H_

#include <tcl.h>

#include <initializer_list>
#include <string>

#include "script/cpptcl.h"

class TclSession {
 public:
  TclSession();
  // Deletes the interpreter, and with it the session.
  ~TclSession();
  TclSession(const TclSession&) = delete;
  TclSession& operator=(const TclSession&) = delete;

  Tcl_Interp* interp() const { return interp_; }

  // Evaluates `script` at global level; answers the Tcl code and stores the result text.
  int Eval(const std::string& script, std::string* result = nullptr);
  // Evaluates `script` and answers what it wrote to standard output, through Tcl's puts or
  // the library. `code` receives the Tcl code of the script.
  std::string EvalCapturingStdout(const std::string& script, int* code = nullptr);

  void MakeCurrent();

  // A list object of `words`, as a variadic handler receives it.
  Tcl::object Words(std::initializer_list<std::string> words);

 private:
  Tcl_Interp* interp_;
};

#endif  // ZONESMITH_TESTS_UNIT_SUPPORT_TCL_SESSION_H_
