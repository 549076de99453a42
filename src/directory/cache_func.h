// The `cache` command: turns the session's object cache on and off.
#ifndef ZONESMITH_DIRECTORY_CACHE_FUNC_H_
#define ZONESMITH_DIRECTORY_CACHE_FUNC_H_

namespace Tcl {
class object;
}

// Handler of `cache [-memory] [-file <name>] [-keep] [-trace] on|off|clear`. A refused
// command (bad words, a file that is not a cache database) leaves the cache as it was.
void CacheControl(const Tcl::object& args);

#endif  // ZONESMITH_DIRECTORY_CACHE_FUNC_H_
