#include "script/args.h"

#include <tcl.h>

#include <cctype>
#include <cstdio>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "authorization/right.h"
#include "authorization/zone_qv.h"
#include "directory/library/exceptions.h"
#include "directory/library/strings.h"
#include "directory/session.h"
#include "script/context.h"
#include "script/cpptcl.h"
#include "zones/ngzone.h"

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

std::shared_ptr<PamApp> GetPamApp(const std::string& name) {
  if (name.empty()) KESH_THROW(kesh::BadDataException, 0, "Pam app name cannot be empty");
  IZoneManageRights* rights = GetCurrentZone<IZoneManageRights>();
  try {
    std::shared_ptr<PamApp> app = std::dynamic_pointer_cast<PamApp>(
        rights->findRight(std::string(PAM_PREFIX) + kesh::trimWhiteSpace(name)));
    if (app) return app;
  } catch (const kesh::NotFoundException&) {
    // Not stored under that cn: a classic right is looked up by its application below.
  }
  if (TestCurrentZone<NGZone>()) KESH_THROW(kesh::NotFoundException, 0, "Pam app not found");

  // A classic PAM right's cn is a GUID: find it by its application among the zone's rights.
  const size_t slash = name.find('/');
  const std::string application = name.substr(0, slash);
  if (slash != std::string::npos) {
    const std::string zone = name.substr(slash + 1, name.find('/', slash + 1) - slash - 1);
    if (kesh::lower(zone) != GetCurrentZone<IZone>()->getZoneName()) {
      KESH_THROW(kesh::BadDataException, 2, "zone name does not match with current zone");
    }
  }
  std::list<std::shared_ptr<PamApp>> apps;
  rights->listPamApps(apps);
  for (const std::shared_ptr<PamApp>& app : apps) {
    if (app->getName() == application) return app;
  }
  KESH_THROW(kesh::NotFoundException, 0, "Pam app not found");
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
