// ADBinding over the in-memory directory.
//
// Size limits: a search with a size limit returns the first `sizeLimit` entries as its
// pages and ends normally. (A server sends those entries and then result code 4; the LDAP
// backend likewise hands the caller the entries without raising.)
#include <strings.h>

#include <chrono>
#include <memory>
#include <thread>
#include <utility>

#include "directory/library/adbinding.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/memory/directory.h"
#include "directory/library/memory/filter.h"
#include "directory/library/memory/syntax.h"

namespace kesh {
namespace memdir {
namespace {

const char kDnAttribute[] = "distinguishedName";

[[noreturn]] void ServerDown() {
  KESH_THROW(LDAPException, LDAP_RC_SERVER_DOWN, "Can't contact LDAP server");
}

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return s;
}

// The state of one binding's connection; shared with the paged results it made.
struct Connection {
  std::string domain;  // lower case
  bool gc = false;
  bool up = false;
  uint64_t epoch = 0;
  int searchTimeout = 0;  // seconds; 0 waits without limit
};

bool Alive(Directory& d, const Connection& c) {
  if (!c.up) return false;
  uint64_t dropped = d.globalDrop;
  auto it = d.domainDrop.find(c.domain);
  if (it != d.domainDrop.end() && it->second > dropped) dropped = it->second;
  return c.epoch >= dropped;
}

// Starts one directory operation: counts it, checks the connection, applies the fault
// plan. Returns what the binding sees.
View Begin(Directory& d, Connection& c) {
  ++d.operations;
  if (!Alive(d, c)) {
    if (!c.up || !d.fault.reconnect) ServerDown();
    c.epoch = d.epoch;  // reconnects by itself
  }
  if (d.stall.on && (d.stall.domain.empty() || d.stall.domain == c.domain)) {
    // A server that stopped answering: the request waits the binding's timeout (a stall
    // without one would hang the test, so it waits a second) and is abandoned.
    const int wait = c.searchTimeout > 0 ? c.searchTimeout : 1;
    std::this_thread::sleep_for(std::chrono::seconds(wait));
    KESH_THROW(LDAPException, LDAP_RC_TIMEOUT, "Timed out: no answer within %d s", wait);
  }
  View view = d.viewFor(c.domain, c.gc);
  if (d.fault.countdown > 0 && (d.fault.domain.empty() || d.fault.domain == c.domain)) {
    if (--d.fault.countdown == 0) {
      uint64_t e = ++d.epoch;
      if (d.fault.domain.empty()) {
        d.globalDrop = e;
      } else {
        d.domainDrop[d.fault.domain] = e;
      }
      ServerDown();
    }
  }
  return view;
}

class StoreSource : public AttributeSource {
 public:
  explicit StoreSource(const AttrStore& attrs) : attrs_(attrs) {}
  const std::vector<std::string>* values(const std::string& name, AttributeKind) const override {
    auto it = attrs_.find(name);
    return it == attrs_.end() ? nullptr : &it->second;
  }
  const std::string& dn() const override { return dn_; }

 private:
  const AttrStore& attrs_;
  std::string dn_;
};

ADObject RootDseObject(const AttrStore& attrs, const AttrRequest& request) {
  ADObject obj;
  for (const auto& a : attrs) {
    if (request.wants(a.first)) obj[a.first].setValues(a.second);
  }
  obj.clearChanged();
  return obj;
}

Filter ParseFilter(const std::string& text) { return Filter::parse(text); }

std::vector<std::string> CopyAttrs(AttrList attrs) {
  std::vector<std::string> out;
  if (attrs) {
    for (AttrList a = attrs; *a; ++a) out.push_back(*a);
  }
  return out;
}

class MemoryPages : public PagedObjectListImpl {
 public:
  MemoryPages(std::shared_ptr<Connection> conn, std::string base, std::vector<std::string> keys,
              int pageSize, AttrList attrs, int sdFlags, std::vector<ADObject> fixed)
      : conn_(std::move(conn)),
        base_(std::move(base)),
        keys_(std::move(keys)),
        pageSize_(pageSize > 0 ? pageSize : 100),
        all_(attrs == nullptr),
        names_(CopyAttrs(attrs)),
        sdFlags_(sdFlags),
        fixed_(std::move(fixed)) {}

  bool fetchPage(ADObjectList& page) override {
    return NamedOperation("search", base_, [&] { return fetch(page); });
  }

 private:
  bool fetch(ADObjectList& page) {
    Directory& d = Directory::instance();
    auto lock = d.lock();
    if (!first_) Begin(d, *conn_);
    first_ = false;
    page = ADObjectList();
    for (ADObject& o : fixed_) page.push_back(o);
    fixed_.clear();
    std::vector<const char*> ptrs;
    for (const std::string& n : names_) ptrs.push_back(n.c_str());
    ptrs.push_back(nullptr);
    AttrRequest request = AttrRequest::from(all_ ? nullptr : ptrs.data());
    size_t n = 0;
    while (pos_ < keys_.size() && n < static_cast<size_t>(pageSize_)) {
      const Entry* e = d.find(keys_[pos_++]);
      if (!e) continue;  // deleted since the search began
      page.push_back(d.toObject(*e, request, sdFlags_));
      ++n;
    }
    return pos_ >= keys_.size();
  }

  std::shared_ptr<Connection> conn_;
  const std::string base_;
  std::vector<std::string> keys_;
  size_t pos_ = 0;
  const int pageSize_;
  const bool all_;
  const std::vector<std::string> names_;
  const int sdFlags_;
  std::vector<ADObject> fixed_;
  bool first_ = true;
};

class MemoryBinding : public ADBinding {
 public:
  MemoryBinding(const std::string& domain, const std::string& ccache, bool gc,
                const std::string& server, const std::string& site)
      : domain_(domain),
        ccache_(ccache),
        server_(server),
        site_(site),
        conn_(std::make_shared<Connection>()) {
    conn_->domain = Lower(domain);
    conn_->gc = gc;
  }

  bool connected() override {
    Directory& d = Directory::instance();
    auto lock = d.lock();
    return Alive(d, *conn_);
  }

  PagedObjectList search(int pageSize, const std::string& filter, const std::string& base,
                         AttrList attrs, int scope, int sizeLimit, int) override {
    std::shared_ptr<MemoryPages> pages = operate("search", base, [&](Directory& d, View& view) {
      Filter f = ParseFilter(filter);
      if (scope < SCOPE_BASE || scope > SCOPE_SUB) {
        KESH_THROW(LDAPException, 2, "Protocol error");
      }
      std::vector<std::string> keys;
      std::vector<ADObject> fixed;
      std::string from = base;
      if (base.empty() && scope == SCOPE_BASE) {
        AttrStore dse = d.rootDse(view);
        if (f.matches(StoreSource(dse)))
          fixed.push_back(RootDseObject(dse, AttrRequest::from(attrs)));
      } else {
        // As on a domain controller's domain port, a one-level or subtree search from the
        // empty DN of a domain binding means its domain; a global catalog's covers the forest.
        if (from.empty() && !conn_->gc) {
          AttrStore dse = d.rootDse(view);
          if (!dse["defaultNamingContext"].empty()) from = dse["defaultNamingContext"].front();
        }
        keys = d.search(view, from, scope, f, sizeLimit > 0 ? static_cast<size_t>(sizeLimit) : 0);
      }
      return std::make_shared<MemoryPages>(conn_, from, std::move(keys), pageSize, attrs, sdFlags,
                                           std::move(fixed));
    });
    // The pages name their own failures.
    return PagedObjectList(pages);
  }

  void setConnectTimeout(int seconds, int) override { connectTimeout_ = seconds; }
  void setSearchTimeout(int seconds, int) override {
    Directory& d = Directory::instance();
    auto lock = d.lock();
    conn_->searchTimeout = seconds;
  }

  std::string server() override { return connectedServer_; }

  ADObject fetch(const std::string& dn, AttrList attrs, const std::string& filter, int) override {
    return operate("search", dn, [&](Directory& d, View& view) {
      Filter f = ParseFilter(filter);
      AttrRequest request = AttrRequest::from(attrs);
      if (dn.empty()) {
        AttrStore dse = d.rootDse(view);
        if (!f.matches(StoreSource(dse))) NoMatch(filter);
        return RootDseObject(dse, request);
      }
      Entry& e = d.resolveIn(view, dn);
      if (!d.matches(e, f)) NoMatch(filter);
      return d.toObject(e, request, sdFlags);
    });
  }

  void add(ADObject& object) override {
    operate("add", object.dn(), [&](Directory& d, View& view) {
      AttrStore attrs;
      for (const auto& a : object.attributes()) {
        if (a.second.empty() || IsInternal(a.first)) continue;
        attrs[a.first] = a.second.values();
      }
      d.add(&view, object.dn(), std::move(attrs), sdFlags, false);
    });
    object.clearChanged();
  }

  void rename(ADObject& object, const std::string& newRdn) override {
    operate("rename", object.dn(), [&](Directory& d, View& view) {
      Entry& e = d.resolveIn(view, object.dn());
      if (newRdn.find('=') == std::string::npos) {
        KESH_THROW(LDAPException, LDAP_RC_INVALID_DN_SYNTAX, "Invalid DN syntax: new RDN %s",
                   newRdn.c_str());
      }
      std::string parent = e.parent;
      std::string newDn = d.relocate(view, e.key, newRdn, parent);
      Follow(object, d, newDn);
    });
  }

  void update(ADObject& object, int mode) override {
    operate("modify", object.dn(), [&](Directory& d, View& view) {
      Entry& e = d.resolveIn(view, object.dn());
      std::vector<Change> changes;
      for (const auto& a : object.attributes()) {
        if (!a.second.changed() || IsInternal(a.first)) continue;
        // Adding or deleting no values is no change (deleting a whole attribute is a
        // replace without values).
        if ((mode == 0 || mode == 1) && a.second.empty()) continue;
        changes.push_back(Change{a.first, a.second.values()});
      }
      if (!changes.empty()) d.modify(view, e.key, mode, changes, sdFlags);
    });
    object.clearChanged();
  }

  void remove(ADObject& object, bool tree) override {
    operate("delete", object.dn(), [&](Directory& d, View& view) {
      Entry& e = d.resolveIn(view, object.dn());
      d.remove(view, e.key, tree);
    });
  }

  std::string domainName() override { return domain_; }
  std::string ccacheName() override { return ccache_; }

  void connect(const std::string& server, const std::string& site, int) override {
    Directory& d = Directory::instance();
    auto lock = d.lock();
    conn_->up = false;
    View view = d.viewFor(conn_->domain, conn_->gc);
    AttrStore dse = d.rootDse(view);
    std::string host = dse["dnsHostName"].empty() ? std::string() : dse["dnsHostName"].front();
    std::string wanted = server.empty() ? server_ : server;
    if (!wanted.empty() && strcasecmp(wanted.c_str(), host.c_str()) != 0 &&
        strcasecmp(wanted.c_str(), domain_.c_str()) != 0) {
      ServerDown();
    }
    auto cache = d.ccaches.find(ccache_);
    if (cache == d.ccaches.end() || cache->second.empty()) {
      KESH_THROW(LDAPException, 82, "Local error: no Kerberos credentials in cache '%s'",
                 ccache_.c_str());
    }
    if (!site.empty()) site_ = site;
    connectedServer_ = host;
    conn_->up = true;
    conn_->epoch = d.epoch;
  }

  void prepareWrite() override {}

  void getAttributeValues(ADObject& object, const std::string& name, int) override {
    std::string attr = DN::unescapeDNString(name);
    std::vector<std::string> values = operate("search", object.dn(), [&](Directory& d, View& view) {
      Entry& e = d.resolveIn(view, object.dn());
      std::vector<std::string> all = d.allValues(e, attr);
      if (strcasecmp(attr.c_str(), "nTSecurityDescriptor") == 0 && !all.empty()) {
        const char* one[] = {"nTSecurityDescriptor", nullptr};
        ADObject sd = d.toObject(e, AttrRequest::from(one), sdFlags);
        all = sd["nTSecurityDescriptor"].values();
      }
      return all;
    });
    ADAttribute& a = object[attr];
    a.setValues(values);
    a.setIncomplete(false);
    a.setBinary(IsBinaryAttribute(attr));
  }

  void move(ADObject& object, const std::string& newParent) override {
    operate("move", object.dn(), [&](Directory& d, View& view) {
      Entry& e = d.resolveIn(view, object.dn());
      std::string key = e.key;
      std::string rdn = DN::rdn(e.dn);
      // As AD answers a move below a parent that does not exist.
      Entry* parent = d.find(d.resolve(newParent));
      if (parent == nullptr || !d.inView(view, *parent)) {
        KESH_THROW(LDAPException, LDAP_RC_NO_SUCH_OBJECT, "No such object: new parent %s",
                   newParent.c_str());
      }
      std::string newDn = d.relocate(view, key, rdn, parent->key);
      Follow(object, d, newDn);
    });
  }

  int domainLevel() override { return Level("domainFunctionality"); }
  int forestLevel() override { return Level("forestFunctionality"); }
  void connectToWritable() override {}

 private:
  // Runs the operation `name` on `dn`: under the directory's lock, counted and checked by
  // Begin (connection, faults), its failures named after the operation and the DN.
  template <class F>
  auto operate(const char* name, const std::string& dn, F&& body)
      -> decltype(body(std::declval<Directory&>(), std::declval<View&>())) {
    return NamedOperation(name, dn, [&] {
      Directory& d = Directory::instance();
      auto lock = d.lock();
      View view = Begin(d, *conn_);
      return body(d, view);
    });
  }

  static bool IsInternal(const std::string& name) {
    return strcasecmp(name.c_str(), kDnAttribute) == 0 ||
           strcasecmp(name.c_str(), "_objectCategory") == 0;
  }

  // The object exists but does not match the filter of a read: to the caller it is not there.
  [[noreturn]] static void NoMatch(const std::string& filter) {
    KESH_THROW(LDAPException, LDAP_RC_NO_SUCH_OBJECT, "No such object: no match for %s",
               filter.c_str());
  }

  // The object's DN and naming attributes follow a rename or move.
  static void Follow(ADObject& object, Directory& d, const std::string& newDn) {
    object[kDnAttribute].setValues({newDn});
    Entry* e = d.find(DN::normalize(newDn));
    if (!e) return;
    std::string rdn = DN::rdn(newDn);
    std::string type = rdn.substr(0, rdn.find('='));
    for (const std::string& name : {type, std::string("name")}) {
      if (object.find(name) && e->attrs.count(name)) object[name].setValues(e->attrs.at(name));
    }
  }

  int Level(const char* name) {
    Directory& d = Directory::instance();
    auto lock = d.lock();
    AttrStore dse = d.rootDse(d.viewFor(conn_->domain, conn_->gc));
    return dse[name].empty() ? 0 : atoi(dse[name].front().c_str());
  }

  const std::string domain_;
  const std::string ccache_;
  const std::string server_;
  std::string site_;
  std::string connectedServer_;
  int connectTimeout_ = 0;
  std::shared_ptr<Connection> conn_;  // holds the search timeout too
};

}  // namespace
}  // namespace memdir

std::shared_ptr<ADBinding> NewADBinding(const std::string& domain, const std::string& ccacheName,
                                        bool gc, const std::string& server, const std::string& site,
                                        Locator) {
  return std::make_shared<memdir::MemoryBinding>(domain, ccacheName, gc, server, site);
}

}  // namespace kesh
