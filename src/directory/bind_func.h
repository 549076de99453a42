// The `bind` command.
#ifndef ZONESMITH_DIRECTORY_BIND_FUNC_H_
#define ZONESMITH_DIRECTORY_BIND_FUNC_H_

namespace Tcl {
class object;
}

// `bind [-gc] [-write] [-machine] <[server@]domain> [<user> [<password>]]`.
void FuncBind(const Tcl::object& args);

#endif  // ZONESMITH_DIRECTORY_BIND_FUNC_H_
