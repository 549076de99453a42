// The store behind the in-memory directory: entries by normalised DN, the domains and
// forests they form, indexes by GUID, SID and account name, back links, and the state of
// credential caches, settings and faults. Internal to the memory backend; tests and the
// Tcl commands use memdir.h.
//
// Every member function REQUIRES: mu is held by the caller (Directory::Lock).
#ifndef ZONESMITH_DIRECTORY_LIBRARY_MEMORY_DIRECTORY_H_
#define ZONESMITH_DIRECTORY_LIBRARY_MEMORY_DIRECTORY_H_

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "directory/library/adobject.h"
#include "directory/library/memory/filter.h"
#include "directory/library/sid.h"

namespace kesh {
namespace memdir {

using AttrStore = std::map<std::string, std::vector<std::string>, CaseInsensitiveLess>;

struct Entry {
  std::string dn;      // as stored: the RDN as written below the parent's stored DN
  std::string key;     // DN::normalize(dn)
  std::string parent;  // key of the parent; empty for a top entry
  std::string nc;      // key of the naming context head that holds the entry
  bool ncHead = false;
  uint64_t seq = 0;  // creation order
  AttrStore attrs;
  std::map<uint64_t, std::string> children;  // by seq
};

struct Domain {
  std::string dns;  // lower case
  std::string dn;   // the domain object's DN
  std::string key;
  uint32_t nextRid = 1100;
  mutable std::string defaultSd;  // made on first use
};

// What one binding sees: its domain (with the configuration and schema of its forest) or,
// for a global catalog, every naming context of its forest.
struct View {
  std::string domainKey;
  std::string forestKey;
  std::string configKey;  // of the forest's configuration and schema naming contexts
  std::string schemaKey;
  bool gc = false;
};

// Which attributes a read returns.
struct AttrRequest {
  bool all = true;
  bool none = false;
  std::vector<std::string> names;
  static AttrRequest from(const char* const* attrs);
  bool wants(const std::string& name) const;
};

struct Change {
  std::string name;
  std::vector<std::string> values;
};

// Operations of the bindings concerned time out, as against a DC that stopped answering.
struct StallPlan {
  bool on = false;
  std::string domain;  // lower case; empty: all
};

struct FaultPlan {
  long countdown = 0;  // 0: disarmed
  std::string domain;  // lower case; empty: all
  bool reconnect = false;
};

class Directory {
 public:
  static Directory& instance();
  std::unique_lock<std::recursive_mutex> lock() {
    return std::unique_lock<std::recursive_mutex>(mu);
  }

  void reset();

  // --- Domains and views ---
  const Domain* findDomain(const std::string& dnsName) const;
  // The domain whose naming context holds `key`, or null.
  const Domain* domainOfKey(const std::string& key) const;
  std::string forestKeyOf(const Domain& domain) const;
  // The view of a binding to `name`; throws LDAPException rc 81 when it is not loaded.
  View viewFor(const std::string& name, bool gc) const;
  bool inView(const View& view, const Entry& entry) const;
  // The root DSE a DC of the view's domain answers.
  AttrStore rootDse(const View& view) const;

  // --- Look-ups ---
  Entry* find(const std::string& key);
  // The key of the object that `text` names (plain DN, <GUID=...>, <SID=...>,
  // <WKGUID=guid,dn>), or empty when there is none. Throws LDAPException rc 34 when the
  // text is not a DN.
  std::string resolve(const std::string& text);
  // resolve() that must find an object in the view: rc 32 otherwise.
  Entry& resolveIn(const View& view, const std::string& text);

  // --- Reads ---
  // Keys of matching entries in tree order; at most `limit` (0: all).
  std::vector<std::string> search(const View& view, const std::string& base, int scope,
                                  const Filter& filter, size_t limit);
  bool matches(const Entry& entry, const Filter& filter);
  ADObject toObject(const Entry& entry, const AttrRequest& request, int sdFlags);
  // Every value of the attribute, back links included.
  std::vector<std::string> allValues(const Entry& entry, const std::string& name);

  // --- Writes ---
  // Stores a new entry. `relaxed` is the fixture loader: given objectGUID, objectSid and
  // times are kept, link values need not resolve, userPassword becomes a password.
  void add(const View* view, const std::string& dn, AttrStore attrs, int sdFlags, bool relaxed);
  void modify(const View& view, const std::string& key, int mode,
              const std::vector<Change>& changes, int sdFlags);
  // Gives the entry and its subtree the new DN; returns it. The keys are copied: they may
  // be the keys of entries that this moves.
  std::string relocate(const View& view, std::string key, const std::string& newRdn,
                       std::string newParentKey);
  void remove(const View& view, std::string key, bool tree);

  // --- LDIF ---
  void loadLdif(const std::string& text);
  std::string dump(const std::string& dn, bool subtree);

  // --- State of the Kerberos helpers, settings and faults ---
  std::map<std::string, std::string> passwords;  // "user@REALM" (user lower case) -> password
  std::map<std::string, std::string> ccaches;    // cache name -> principal
  std::string defaultCCache;
  std::string machineCCache;
  std::map<std::string, std::string> settings;
  std::deque<std::string> passwordAnswers;
  uint64_t kerberosRequests = 0;  // tickets asked for with a password, right or wrong

  FaultPlan fault;
  StallPlan stall;
  uint64_t epoch = 1;                          // bumped at each drop
  uint64_t globalDrop = 0;                     // epoch of the last drop of all bindings
  std::map<std::string, uint64_t> domainDrop;  // epoch of the last drop per domain
  uint64_t operations = 0;
  size_t rangeThreshold = 1500;

  static std::string PasswordKey(const std::string& principal);

 private:
  Directory() = default;

  void indexAdd(const Entry& e);
  void indexRemove(const Entry& e);
  void collectSubtree(const std::string& key, std::vector<std::string>& out) const;
  void rebuildBackLinks();
  std::string canonicalLinkValue(const std::string& value, bool relaxed);
  std::string defaultSecurityDescriptor(const Domain* domain) const;
  std::string mergeSecurityDescriptor(const std::string& stored, const std::string& given,
                                      int sdFlags) const;
  std::string categoryDn(const std::string& category, const std::string& key) const;
  std::string nextUsn();
  void storePasswords(const AttrStore& attrs, const std::string& key, const std::string& password);

  std::recursive_mutex mu;
  std::unordered_map<std::string, Entry> entries_;
  std::map<uint64_t, std::string> tops_;                    // top entries by seq
  std::map<std::string, Domain> domains_;                   // by DNS name
  std::map<std::string, AttrStore> rootDses_;               // fixture root DSE records, by NC key
  std::unordered_map<std::string, std::string> guidIndex_;  // objectGUID bytes -> key
  std::unordered_map<std::string, std::string> sidIndex_;   // objectSid bytes -> key
  // nc key + "\n" + lower-case sAMAccountName -> key
  std::unordered_map<std::string, std::string> samIndex_;
  std::unordered_map<std::string, AttrStore> backLinks_;  // target key -> back link values
  bool backLinksDirty_ = false;
  uint64_t seq_ = 0;
  uint64_t usn_ = 4000;
};

}  // namespace memdir
}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_MEMORY_DIRECTORY_H_
