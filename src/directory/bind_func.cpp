#include "directory/bind_func.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "directory/cli_orlutils.h"
#include "script/args.h"
#include "script/cpptcl.h"

void FuncBind(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches = Switches({{"-gc"}, {"-machine"}, {"-write"}});
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);
  BindRequest request;
  request.gc = switches["-gc"].seen;
  request.machine = switches["-machine"].seen;
  request.write = switches["-write"].seen;
  if (positional.empty()) {
    // A -machine bind on a machine that is not joined is refused before the word count;
    // with a domain, BindDomain makes that check.
    if (request.machine) RequireJoinedMachine();
    throw Tcl::tcl_syntax_error("");
  }
  request.target = positional[0];
  if (positional.size() >= 2) {
    request.userGiven = true;
    request.user = positional[1];
  }
  if (positional.size() >= 3) {
    request.passwordGiven = true;
    request.password = positional[2];
  }
  for (std::string& word : positional) std::fill(word.begin(), word.end(), '\0');
  BindDomain(request);
}
