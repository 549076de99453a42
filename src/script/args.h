// How commands read their words, and the small helpers that command handlers share.
//
// A variadic command receives all words after its name as one list object. A handler
// describes its switches as a map of SwitchDef keyed by the switch text, calls ParseArgs,
// then reads `seen` and `value` by key and works on the positional words.
#ifndef ZONESMITH_SCRIPT_ARGS_H_
#define ZONESMITH_SCRIPT_ARGS_H_

#include <cstddef>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Tcl {
class object;
}
class PamApp;

// One switch of a command.
struct SwitchDef {
  SwitchDef() = default;
  // A switch `name`, taking a value when `hasValue`: SwitchDef("-limit", true).
  SwitchDef(std::string name, bool hasValue = false) : name(std::move(name)), hasValue(hasValue) {}

  // The switch with its dash, for example "-gc".
  std::string name;
  // The switch takes the next word as its value.
  bool hasValue = false;
  // Filled by ParseArgs.
  std::string value;
  bool seen = false;
};

// A switch map from a list of definitions: Switches({{"-gc"}, {"-limit", true}}).
std::map<std::string, SwitchDef> Switches(std::initializer_list<SwitchDef> defs);

// Reads the words of `args`: switches (which must stand before the first positional word,
// unless "--" ends the switches) into `switches`, every other word appended to `positional`.
// A lone "-" is a positional word; a repeated switch overwrites its value; the word after a
// value switch is its value even when it begins with "-". Throws the empty
// Tcl::tcl_syntax_error, so that the caller sees the command's usage, for an unknown switch,
// a switch after a positional word, or a value switch without its value.
void ParseArgs(std::map<std::string, SwitchDef>& switches, const Tcl::object& args,
               std::vector<std::string>& positional);

// Parses `args` with the one switch "-upn" into `positional` and answers whether it was
// given. With `required` >= 0, fewer positional words is a syntax error.
bool GetUPNArg(const Tcl::object& args, std::vector<std::string>& positional, int required);

// A Tcl list of the texts, in order.
Tcl::object StringList(const std::vector<std::string>& items);

// The number of words in `args`. Throws kesh::BadDataException "Not enough arguments" when
// there are fewer than `required`.
size_t CheckArgs(const Tcl::object& args, size_t required);

// The word at `index` of `args`; empty past the end.
std::string GetArgString(const Tcl::object& args, size_t index);

// The session's `interactive` flag. Nothing in the package sets it.
bool IsInteractive();

// Asks "Are you sure you want to remove <what>? " and answers whether the reply starts with
// y or Y. Without the interactive flag it answers true at once and writes nothing.
bool AreYouSure(const std::string& what);

// The value of an on/off field: "1", "y", "yes", "true" answer true, "0", "n", "no", "false"
// answer false, in any case. Anything else throws kesh::BadDataException naming `field`.
bool CheckFieldEnabled(const std::string& value, const std::string& field);

// The PAM right `name` ("<app>" or "<app>/<zone>") of the current zone, which must manage
// rights ("Wrong zone type"). A hierarchical zone looks up the cn "pam-" + the trimmed name,
// in the named zone or an ancestor; a classic zone also takes the right whose application is
// <app>, and <zone> (any case) must then name the current zone (kesh::BadDataException with
// result code 2 "zone name does not match with current zone"). Throws kesh::BadDataException
// "Pam app name cannot be empty" and kesh::NotFoundException "Pam app not found".
std::shared_ptr<PamApp> GetPamApp(const std::string& name);

// Writes the number of elements of `args`, then each element, one a line, to standard output.
void TestV(const std::string& first, const Tcl::object& args);

// Writes `text` to the interpreter's standard output and flushes it, so that it keeps its
// place among the script's own output.
void WriteStdout(const std::string& text);

#endif  // ZONESMITH_SCRIPT_ARGS_H_
