#include "script/args.h"

#include <tcl.h>

#include <cctype>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "directory/library/exceptions.h"
#include "script/context.h"
#include "script/cpptcl.h"

namespace {

bool IsSwitchLike(const std::string& word) { return word.size() > 1 && word[0] == '-'; }

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace

std::map<std::string, SwitchDef> Switches(std::initializer_list<SwitchDef> defs) {
  std::map<std::string, SwitchDef> switches;
  for (const SwitchDef& def : defs) switches[def.name] = def;
  return switches;
}

void ParseArgs(std::map<std::string, SwitchDef>& switches, const Tcl::object& args,
               std::vector<std::string>& positional) {
  Tcl::interpreter& interp = SessionInterp();
  const size_t count = args.length(interp);
  bool afterDashes = false;
  bool positionalSeen = false;
  for (size_t i = 0; i < count; ++i) {
    std::string word = args.at(interp, i).get<std::string>(interp);
    if (afterDashes) {
      positional.push_back(word);
    } else if (word == "--") {
      afterDashes = true;
    } else if (positionalSeen) {
      if (IsSwitchLike(word)) throw Tcl::tcl_syntax_error();
      positional.push_back(word);
    } else if (auto it = switches.find(word); it != switches.end()) {
      it->second.seen = true;
      if (it->second.hasValue) {
        if (i + 1 == count) throw Tcl::tcl_syntax_error();
        it->second.value = args.at(interp, ++i).get<std::string>(interp);
      }
    } else if (IsSwitchLike(word)) {
      throw Tcl::tcl_syntax_error();
    } else {
      positional.push_back(word);
      positionalSeen = true;
    }
  }
}

size_t CheckArgs(const Tcl::object& args, size_t required) {
  size_t count = args.length(SessionInterp());
  if (count < required) KESH_THROW(kesh::BadDataException, 0, "Not enough arguments");
  return count;
}

std::string GetArgString(const Tcl::object& args, size_t index) {
  Tcl::interpreter& interp = SessionInterp();
  return args.at(interp, index).get<std::string>(interp);
}

bool IsInteractive() { return GetContextTab()->interactive; }

bool AreYouSure(const std::string& what) {
  if (!IsInteractive()) return true;
  WriteStdout("Are you sure you want to remove " + what + "? ");
  std::string line;
  Tcl_Channel in = Tcl_GetStdChannel(TCL_STDIN);
  if (in != nullptr) {
    Tcl_Obj* text = Tcl_NewObj();
    Tcl_IncrRefCount(text);
    if (Tcl_GetsObj(in, text) >= 0) line = Tcl_GetString(text);
    Tcl_DecrRefCount(text);
  }
  return !line.empty() && (line[0] == 'y' || line[0] == 'Y');
}

bool CheckFieldEnabled(const std::string& value, const std::string& field) {
  const std::string word = Lower(value);
  if (word == "1" || word == "y" || word == "yes" || word == "true") return true;
  if (word == "0" || word == "n" || word == "no" || word == "false") return false;
  KESH_THROW(kesh::BadDataException, 0,
             "Invalid value for field \"%s\". Please use 1/y/yes/true to enable, and "
             "0/n/no/false to disable. Case is insensitive.",
             field.c_str());
}

void TestV(const std::string&, const Tcl::object& args) {
  Tcl::interpreter& interp = SessionInterp();
  const size_t count = args.length(interp);
  WriteStdout(std::to_string(count) + "\n");
  for (size_t i = 0; i < count; ++i) {
    WriteStdout(args.at(interp, i).get<std::string>(interp) + "\n");
  }
}

void WriteStdout(const std::string& text) {
  Tcl_Channel out = Tcl_GetStdChannel(TCL_STDOUT);
  if (out == nullptr) {
    fwrite(text.data(), 1, text.size(), stdout);
    fflush(stdout);
    return;
  }
  Tcl_WriteChars(out, text.data(), static_cast<int>(text.size()));
  Tcl_Flush(out);
}

bool GetUPNArg(const Tcl::object& args, std::vector<std::string>& positional, int required) {
  std::map<std::string, SwitchDef> switches = Switches({SwitchDef("-upn")});
  ParseArgs(switches, args, positional);
  if (required >= 0 && positional.size() < static_cast<size_t>(required)) {
    throw Tcl::tcl_syntax_error();
  }
  return switches["-upn"].seen;
}

Tcl::object StringList(const std::vector<std::string>& items) {
  Tcl::interpreter& interp = SessionInterp();
  Tcl::object result;
  for (const std::string& item : items) result.append(interp, Tcl::object(item));
  return result;
}
