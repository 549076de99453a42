// The session commands `push`, `pop` and `show`, and the way from an interpreter to its
// session.
//
// The session state itself (directory/session.h) knows no Tcl. The script layer owns one
// ScriptSession per interpreter, as associated data under kContextKey: the ContextTab and
// the wrapper of the interpreter it belongs to.
#ifndef ZONESMITH_SCRIPT_CONTEXT_H_
#define ZONESMITH_SCRIPT_CONTEXT_H_

#include <memory>

#include "directory/session.h"

namespace Tcl {
class interpreter;
class object;
}  // namespace Tcl

// The key of the session's associated data.
extern const char* const kContextKey;

// The session of one interpreter as the script layer keeps it.
class ScriptSession : public ContextTab {
 public:
  // The interpreter this state belongs to; all list and argument access uses it.
  std::shared_ptr<Tcl::interpreter> interp;
};

// The session of the interpreter whose command runs on this thread; null when there is
// none. The script layer names it as the provider of GetContextTab().
ScriptSession* SessionOfCurrentInterp();

// The interpreter of the running command's session. Throws kesh::SystemException when no
// command of a loaded interpreter runs on this thread.
Tcl::interpreter& SessionInterp();

// Handlers of `push`, `pop` and `show [topic]`.
void Push();
void Pop();
void Show(const Tcl::object& args);

#endif  // ZONESMITH_SCRIPT_CONTEXT_H_
