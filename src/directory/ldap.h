// MyBinding: the session's handle on one domain (or on the global catalog of a forest).
//
// All directory traffic of the commands passes through a MyBinding. It wraps one
// kesh::ADBinding and adds the interpreter's object cache in front of reads, one automatic
// repeat after a lost connection, paged searches, and the lazily read root facts of the
// domain (forest name and domain SID).
//
// The repeat rule: every directory operation runs once; when it throws and the connection
// is still alive the exception is rethrown unchanged. When the connection is gone the
// operation runs once more and whatever that throws reaches the caller. search and
// getAttributeValues reconnect before the repeat; the others repeat as they are. The
// repeat of remove calls the binding's add with the same object, not remove: that is the
// behaviour scripts have always seen and it is kept on purpose.
//
// Writes (add, update, rename, move, remove) drop the object's cache entries before they
// touch the directory, even when the write then fails.
//
// MyBinding objects are shared (std::shared_ptr) between the session's binding maps and
// the zones that use them; a second `bind` to the same domain exchanges `binding` and
// `ccName` in place, so every holder sees the new connection. Not copyable.
#ifndef ZONESMITH_DIRECTORY_LDAP_H_
#define ZONESMITH_DIRECTORY_LDAP_H_

#include <memory>
#include <string>

#include "directory/library/adbinding.h"
#include "directory/library/adobject.h"
#include "directory/library/sid.h"

class MyBinding {
 public:
  // Objects a paged search asks for per page.
  static constexpr int PAGE_SIZE = 100;

  MyBinding(std::shared_ptr<kesh::ADBinding> binding, const std::string& ccName);
  MyBinding(const MyBinding&) = delete;
  MyBinding& operator=(const MyBinding&) = delete;

  // Reads one object; an empty `dn` reads the root DSE of the server. A cached copy with
  // the same attribute list is answered without a directory call; a fetched object enters
  // the cache. Throws LDAPException (rc 32 when there is no such object).
  kesh::ADObject fetch(const std::string& dn, kesh::AttrList attrs, const std::string& filter);
  // A paged search (scope 0 base, 1 one level, 2 subtree); `limit` 0 is no limit, else
  // the search stops as soon as `limit` objects are collected. All objects of the result
  // enter the cache.
  kesh::ADObjectList search(const std::string& filter, const std::string& base,
                            kesh::AttrList attrs, int scope, int limit);
  // The direct children of `parent`.
  kesh::ADObjectList children(kesh::ADObject& parent, kesh::AttrList attrs);

  void add(kesh::ADObject& object);
  // Modes of update.
  static constexpr int UPDATE_ADD = 0;      // add the values of the changed attributes
  static constexpr int UPDATE_DELETE = 1;   // delete them
  static constexpr int UPDATE_REPLACE = 2;  // replace the changed attributes (also -1)
  // `mode`: 0 add values, 1 delete values, 2 (or -1) replace the changed attributes.
  void update(kesh::ADObject& object, int mode);
  // Adds `object` when `isNew`, else replaces its changed attributes (UPDATE_REPLACE).
  void write(kesh::ADObject& object, bool isNew);
  void rename(kesh::ADObject& object, const std::string& newRdn);
  // A move to the object's present parent (compared without regard to case) does not
  // reach the directory.
  void move(kesh::ADObject& object, const std::string& newParent);
  // Deletes the object, with its subtree when `tree`.
  void remove(kesh::ADObject& object, bool tree);
  // Fills `object[name]` with all values of a ranged attribute.
  void getAttributeValues(kesh::ADObject& object, const std::string& name);

  // Reads the root DSE and the domain object and records the forest and the domain SID.
  // Throws kesh::BadDataException "Can't get root object from DC" when the root DSE is
  // empty.
  void getRoot();
  // The domain's SID; reads the root facts first when they are not known yet.
  kesh::SID getDomainSid();
  // The DNS name of the forest; reads the root facts first when they are not known yet.
  std::string getForest();

  // The name of the server the connection is made to, as the directory reports it.
  std::string server();

  // The connection; exchanged by a later `bind` to the same domain.
  std::shared_ptr<kesh::ADBinding> binding;
  // DNS name of the forest, empty until getRoot() ran.
  std::string forest;
  // SID of the domain, null until getRoot() ran.
  kesh::SID domainSid;
  // The credential cache the connection uses.
  std::string ccName;
  // For a bind with a password: the object whose address names its MEMORY cache, kept so
  // that the name stays unique while the binding lives. Null otherwise.
  std::shared_ptr<char> memoryTag;
};

using MyBindingPtr = std::shared_ptr<MyBinding>;

// The binding of `domain` (any case). Throws kesh::NotFoundException
// "No binding for domain <domain>" with the name as asked for.
std::shared_ptr<MyBinding> GetBinding(const std::string& domain);
// The global catalog binding of the forest `name`, or of the forest of the domain `name`;
// with an empty name the first global catalog binding. Throws kesh::NotFoundException
// "No binding for GC in forest <name>" ("No binding for GC" for an empty name).
std::shared_ptr<MyBinding> GetGCBinding(const std::string& name);
// The binding of the domain that `dn` lies in. Throws kesh::NotFoundException "No binding
// for domain <domain>", or "No binding for '<dn>': it names no domain (DC=...)" for a DN
// without DC components.
std::shared_ptr<MyBinding> GetBindingForDN(const std::string& dn);
// Reads the object `dn` through the binding of its domain.
kesh::ADObject GetADObjectByDN(const std::string& dn);
// The complete attribute `name` of `object`, reading the remaining values of a ranged or
// absent attribute from the directory. Never throws for a directory failure: the failure
// is logged and the attribute is left empty.
kesh::ADAttribute& GetAttributeValues(kesh::ADObject& object, const std::string& name);
// Deletes every descendant of `object`, depth first; the object itself stays.
void DeleteTree(std::shared_ptr<MyBinding> binding, kesh::ADObject object);
// Enters every object of `list` into the cache under the attribute list `attrs`.
void LoadCache(kesh::ADObjectList list, kesh::AttrList attrs);

// `set_ldap_timeout <seconds>`: the LDAP timeout of bindings made from now on; 0 waits
// without limit. Throws kesh::BadDataException, changing nothing, for a negative number.
void SetTimeout(int seconds);
// `get_bind_info <domain> forest|server|sid|domain_level|forest_level`.
std::string BindInfo(std::string domain, const std::string& field);

#endif  // ZONESMITH_DIRECTORY_LDAP_H_
