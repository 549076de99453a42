// Context and ContextTab: the session state of one interpreter, without Tcl.
//
// Commands work on "current" objects: a script selects a zone, then a user in it, changes a
// field, saves. A Context is one frame of that state. The ContextTab is the current frame
// together with a stack of saved frames (push/pop) and the object cache, which lies outside
// the frames. The script layer owns one ContextTab per interpreter; everything below the
// command handlers reaches it through GetContextTab(), which answers the session installed
// for the calling thread (SessionScope), or else the one the script layer's provider names
// (the session of the interpreter whose command runs). A C++ test installs a ContextTab of
// its own with SessionScope and needs no interpreter.
//
// Every slot is a shared pointer, so a copied frame shares the objects and does not clone
// them: a change made to a selected object after push is still there after pop, while a
// binding or zone entered into a map after push disappears at pop.
#ifndef ZONESMITH_DIRECTORY_SESSION_H_
#define ZONESMITH_DIRECTORY_SESSION_H_

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>

#include "directory/library/adobject.h"
#include "directory/library/exceptions.h"

class Cache;
class MyBinding;
class IZone;
class NssZoneUser;
class NssLocalUser;
class NssGroup;
class Assignment;
class QVRole;
class RSEnv;
class PamApp;
class Command;
class RestrictCommand;
class NisMap;
class ZoneComputer;

// One frame of session state. Copying copies every field; maps are copied as maps, the
// objects behind the pointers are shared.
class Context {
 public:
  Context();

  // Set by `quit`; nothing in the package reads it.
  bool quit = false;
  int32_t reserved = 0;
  // LDAP timeout in seconds, applied to new bindings.
  int32_t ldapTimeout = 300;
  // Whether AreYouSure asks; nothing sets it.
  bool interactive = false;
  std::string prompt = ">";
  // Bindings by lower-case domain name, and to global catalogs by lower-case forest name.
  std::map<std::string, std::shared_ptr<MyBinding>> bindings;
  std::map<std::string, std::shared_ptr<MyBinding>> gcBindings;

  std::shared_ptr<IZone> zone;
  std::shared_ptr<NssZoneUser> zoneUser;
  std::shared_ptr<NssLocalUser> localUser;
  std::shared_ptr<Assignment> assignment;
  // The current generic directory object; never null, an empty object stands for none.
  kesh::ADObject object;
  // The current object was made by `new_object` and is not yet in the directory.
  bool objectIsNew = false;
  std::shared_ptr<NssGroup> zoneGroup;
  std::shared_ptr<NssGroup> localGroup;
  std::shared_ptr<QVRole> role;
  std::shared_ptr<RSEnv> rsEnv;
  std::shared_ptr<PamApp> pamApp;
  std::shared_ptr<Command> qvCommand;
  std::shared_ptr<RestrictCommand> restrictCommand;
  std::shared_ptr<NisMap> nisMap;
  std::shared_ptr<ZoneComputer> zoneComputer;
  // Zones already opened, by lower-case zone path, so that select_zone need not re-read them.
  std::map<std::string, std::shared_ptr<IZone>> zones;
  bool flags[5] = {false, false, false, false, false};
  bool verbose = false;

  // Sets `verbose`: true exactly when `value` is "on".
  void SetVerbose(const std::string& value);
};

// The session of one interpreter: the current frame, the saved frames and the cache.
// Owned by the interpreter (deleted by CleanContextTab); not copyable.
class ContextTab : public Context {
 public:
  ContextTab();
  virtual ~ContextTab();
  ContextTab(const ContextTab&) = delete;
  ContextTab& operator=(const ContextTab&) = delete;

  // Appends a copy of the current frame to the stack; the current frame stays as it is.
  void Push();
  // Makes the last saved frame current and removes it from the stack. Throws
  // kesh::BadDataException "Context stack is empty" (changing nothing) when there is none.
  void Pop();

  // The saved frames, oldest first.
  std::deque<Context> stack;
  // The object cache; push and pop leave it alone.
  std::unique_ptr<Cache> cache;
};

// The session of the calling thread: the one installed by the innermost SessionScope, else
// the one the provider answers. Throws kesh::SystemException when there is none.
ContextTab* GetContextTab();

// Installs `tab` as the calling thread's session for the scope's lifetime, then restores
// the session installed before. The tab is not owned.
class SessionScope {
 public:
  explicit SessionScope(ContextTab* tab);
  ~SessionScope();
  SessionScope(const SessionScope&) = delete;
  SessionScope& operator=(const SessionScope&) = delete;

 private:
  ContextTab* const previous_;
};

// Where GetContextTab() looks when no session is installed on the thread: the script layer
// names a function that finds the session of the running command's interpreter (null for
// none). Set once, at load; process-wide.
using SessionProvider = ContextTab* (*)();
void SetSessionProvider(SessionProvider provider);

// Accessors of the current objects. Each throws kesh::BadDataException with result code 0
// and its message when the slot is empty; GetCurrent... returns a copy of the pointer,
// Check... only tests.
std::shared_ptr<IZone> GetCurrentZone();                 // "Must set current zone"
void CheckZone();                                        // "Must set current zone"
std::shared_ptr<NssZoneUser> GetCurrentNssZUser();       // "Must set current zone user"
void CheckNssUser();                                     // "Must set current zone user"
std::shared_ptr<NssLocalUser> GetCurrentNssLocalUser();  // "Must set current local user"
std::shared_ptr<Assignment> GetCurrentAssignment();      // "Must set current user role"
void CheckAssignment();                                  // "Must set current user role"
std::shared_ptr<NssGroup> GetCurrentZGroup();            // "Must set current zone group"
std::shared_ptr<NssGroup> GetCurrentLocalGroup();        // "Must set current local group"
std::shared_ptr<QVRole> GetCurrentRole();                // "Must set current role"
void CheckCurrentRole();                                 // "Must set current role"
std::shared_ptr<RSEnv> GetCurrentRSEnv();        // "Must set current restricted environment"
void CheckCurrentRSEnv();                        // "Must set current restricted environment"
std::shared_ptr<PamApp> GetCurrentPamApp();      // "Must set current pam app"
std::shared_ptr<Command> GetCurrentQVCommand();  // "Must set current qv command"
std::shared_ptr<RestrictCommand>
GetCurrentRestrictCommand();                             // "Must set current restrict command"
std::shared_ptr<NisMap> GetCurrentNisMap();              // "Must set current map"
std::shared_ptr<ZoneComputer> GetCurrentZoneComputer();  // "Must set current computer"
void CheckCurrentZoneComputer();                         // "Must set current computer"
// The current object must hold data: "Must set current object".
void CheckObject();

// The current zone as a T (a capability interface or zone class), without taking a
// reference. Throws kesh::BadDataException "Must set current zone" when there is no zone and
// "Wrong zone type" when the zone is not a T.
// REQUIRES: IZone and T are complete where this is instantiated.
template <typename T>
T* GetCurrentZone() {
  IZone* zone = GetContextTab()->zone.get();
  if (zone == nullptr) KESH_THROW(kesh::BadDataException, 0, "Must set current zone");
  T* result = dynamic_cast<T*>(zone);
  if (result == nullptr) KESH_THROW(kesh::BadDataException, 0, "Wrong zone type");
  return result;
}

// Whether the current zone is a T. Throws "Must set current zone" when there is no zone
// rather than answering false.
template <typename T>
bool TestCurrentZone() {
  IZone* zone = GetContextTab()->zone.get();
  if (zone == nullptr) KESH_THROW(kesh::BadDataException, 0, "Must set current zone");
  return dynamic_cast<T*>(zone) != nullptr;
}

// Each resets one slot to null.
void ClearNssZUser();
void ClearNssLocalUser();
void ClearAssignment();
void ClearZGroup();
void ClearLocalGroup();
void ClearZoneComputer();
void ClearRole();
void ClearQVCommand();
void ClearRSEnv();
void ClearRestrictCommand();
void ClearPamApp();
void ClearNisMap();
// Clears the zone's dependants, then the zone: zone user, local user, assignment, zone group,
// local group, zone computer, role, qv command, restricted environment, restricted command,
// PAM application, NIS map, zone. Leaves object, bindings, gcBindings and zones alone.
void ClearZone();

#endif  // ZONESMITH_DIRECTORY_SESSION_H_
