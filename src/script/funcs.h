// The command table: every script command, its short alias, usage line, help text and
// handler, in registration order.
#ifndef ZONESMITH_SCRIPT_FUNCS_H_
#define ZONESMITH_SCRIPT_FUNCS_H_

#include <cstddef>

// Registers the whole table with the current interpreter's session: for each row the help
// entry and usage line (AddCommand), then the handler under the name and under the alias.
// `bind`, `cache` and `show` are defined under their name only; `get_zone_computers` also
// under "getzc". Rows with an empty alias define the empty-named command, so the last of
// them, `pop`, is what the empty word runs. `bind` and `set_user_password` (name and alias)
// take passwords and are defined with Tcl::secret(): their failures echo none of their words.
// REQUIRES: the interpreter is current and has a session.
void LoadFuncs();

// The number of rows of the table.
size_t CommandCount();

#endif  // ZONESMITH_SCRIPT_FUNCS_H_
