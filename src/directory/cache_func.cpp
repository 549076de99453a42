#include "directory/cache_func.h"

#include <map>
#include <string>
#include <vector>

#include "directory/cache.h"
#include "directory/session.h"
#include "script/args.h"
#include "script/cpptcl.h"

void CacheControl(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches =
      Switches({{"-memory"}, {"-file", true}, {"-keep"}, {"-trace"}});
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);
  bool memoryMode = switches["-memory"].seen;
  bool file = switches["-file"].seen;
  bool keep = switches["-keep"].seen;
  if (memoryMode && (file || keep)) throw Tcl::tcl_syntax_error("");
  if (positional.size() != 1) throw Tcl::tcl_syntax_error("");

  Cache& cache = *GetContextTab()->cache;
  const std::string& word = positional[0];
  if (word == "on") {
    if (!cache.opened) {
      if (file) {
        cache.open(switches["-file"].value, keep);
      } else {
        cache.memory = true;
        cache.opened = true;
      }
    }
    cache.enabled = true;
  } else if (word == "off") {
    cache.enabled = false;
  } else if (word == "clear") {
    cache.clear();
  }
  cache.trace = switches["-trace"].seen;
}
