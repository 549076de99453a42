#include "directory/ldap.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <exception>
#include <string>

#include "directory/cache.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/logger.h"
#include "directory/session.h"

using boost::algorithm::to_lower_copy;

namespace {

Cache& SessionCache() { return *GetContextTab()->cache; }

// Runs `first`. When it throws and the connection is gone, runs `repeat` once (after a
// reconnect when `reconnect`); an exception of the repeat reaches the caller. When the
// connection is still alive the exception was real and is rethrown as it is.
template <class First, class Repeat>
auto RunWithRepeat(kesh::ADBinding& binding, bool reconnect, First first, Repeat repeat)
    -> decltype(first()) {
  try {
    return first();
  } catch (const std::exception&) {
    if (binding.connected()) throw;
  }
  if (reconnect) binding.connect("", "", 0);
  return repeat();
}

template <class Op>
auto RunWithRepeat(kesh::ADBinding& binding, bool reconnect, Op op) -> decltype(op()) {
  return RunWithRepeat(binding, reconnect, op, op);
}

}  // namespace

MyBinding::MyBinding(std::shared_ptr<kesh::ADBinding> binding, const std::string& ccName)
    : binding(std::move(binding)), ccName(ccName) {}

kesh::ADObject MyBinding::fetch(const std::string& dn, kesh::AttrList attrs,
                                const std::string& filter) {
  std::shared_ptr<kesh::ADBinding> b = binding;
  // Every domain has a root DSE of its own; its cache key carries the domain.
  std::string suffix;
  if (dn.empty()) suffix = to_lower_copy(kesh::DN::dnFromDomain(b->domainName()));

  Cache& cache = SessionCache();
  kesh::ADObject cached = cache.lookupDN(dn, attrs, suffix);
  if (!cached.empty()) return cached;

  kesh::ADObject object = RunWithRepeat(*b, false, [&] { return b->fetch(dn, attrs, filter, 0); });
  cache.cacheObject(object, attrs, suffix);
  return object;
}

kesh::ADObjectList MyBinding::search(const std::string& filter, const std::string& base,
                                     kesh::AttrList attrs, int scope, int limit) {
  std::shared_ptr<kesh::ADBinding> b = binding;
  kesh::ADObjectList cached = SessionCache().search(filter, base, attrs);
  if (!cached.empty()) return cached;

  if (!b->connected()) b->connect("", "", 0);
  // The size limit is applied here, not by the server: a server-side limit ends a paged
  // search with an error instead of a short result.
  kesh::PagedObjectList pages = RunWithRepeat(
      *b, true, [&] { return b->search(PAGE_SIZE, filter, base, attrs, scope, 0, 0); });

  kesh::ADObjectList result;
  bool full = false;
  while (!full) {
    for (kesh::ADObject& object : pages.page()) {
      result.push_back(object);
      if (limit > 0 && static_cast<int>(result.size()) >= limit) {
        full = true;
        break;
      }
    }
    if (full || pages.lastPage()) break;
    pages.nextPage();
  }
  LoadCache(result, attrs);
  return result;
}

kesh::ADObjectList MyBinding::children(kesh::ADObject& parent, kesh::AttrList attrs) {
  return search("(objectClass=*)", parent.dn(), attrs, kesh::SCOPE_ONE, 0);
}

void MyBinding::add(kesh::ADObject& object) {
  std::shared_ptr<kesh::ADBinding> b = binding;
  SessionCache().remove(object.dn());
  RunWithRepeat(*b, false, [&] { b->add(object); });
}

void MyBinding::update(kesh::ADObject& object, int mode) {
  std::shared_ptr<kesh::ADBinding> b = binding;
  SessionCache().remove(object.dn());
  RunWithRepeat(*b, false, [&] { b->update(object, mode); });
}

void MyBinding::write(kesh::ADObject& object, bool isNew) {
  if (isNew) {
    add(object);
  } else {
    update(object, UPDATE_REPLACE);
  }
}

void MyBinding::rename(kesh::ADObject& object, const std::string& newRdn) {
  std::shared_ptr<kesh::ADBinding> b = binding;
  SessionCache().remove(object.dn());
  RunWithRepeat(*b, false, [&] { b->rename(object, newRdn); });
}

void MyBinding::move(kesh::ADObject& object, const std::string& newParent) {
  std::shared_ptr<kesh::ADBinding> b = binding;
  std::string dn = object.dn();
  SessionCache().remove(dn);
  if (to_lower_copy(kesh::DN::parent(dn)) == to_lower_copy(newParent)) return;
  RunWithRepeat(*b, false, [&] { b->move(object, newParent); });
}

void MyBinding::remove(kesh::ADObject& object, bool tree) {
  std::shared_ptr<kesh::ADBinding> b = binding;
  SessionCache().remove(object.dn());
  // The repeat after a lost connection adds the object: scripts have always seen it so.
  RunWithRepeat(
      *b, false, [&] { b->remove(object, tree); }, [&] { b->add(object); });
}

void MyBinding::getAttributeValues(kesh::ADObject& object, const std::string& name) {
  std::shared_ptr<kesh::ADBinding> b = binding;
  RunWithRepeat(*b, true, [&] { b->getAttributeValues(object, name, 0); });
}

void MyBinding::getRoot() {
  kesh::ADObject root = fetch("", nullptr, AD_ALL_OBJECTS);
  if (root.empty()) KESH_THROW(kesh::BadDataException, 0, "Can't get root object from DC");
  forest = kesh::DN::domainFromDN(root["rootDomainNamingContext"]);
  kesh::ADObject domain =
      fetch(kesh::DN::dnFromDomain(binding->domainName()), nullptr, AD_ALL_OBJECTS);
  domainSid = domain.sid();
}

kesh::SID MyBinding::getDomainSid() {
  if (forest.empty()) getRoot();
  return domainSid;
}

std::string MyBinding::getForest() {
  if (forest.empty()) getRoot();
  return forest;
}

std::string MyBinding::server() { return binding->server(); }

std::shared_ptr<MyBinding> GetBinding(const std::string& domain) {
  ContextTab& tab = *GetContextTab();
  auto it = tab.bindings.find(to_lower_copy(domain));
  if (it == tab.bindings.end()) {
    KESH_THROW(kesh::NotFoundException, 0, "No binding for domain %s", domain.c_str());
  }
  return it->second;
}

std::shared_ptr<MyBinding> GetGCBinding(const std::string& name) {
  ContextTab& tab = *GetContextTab();
  if (name.empty()) {
    if (!tab.gcBindings.empty()) return tab.gcBindings.begin()->second;
  } else {
    auto it = tab.gcBindings.find(to_lower_copy(name));
    if (it != tab.gcBindings.end()) return it->second;
    // A domain name: the global catalog of its forest.
    std::string forest = GetBinding(name)->getForest();
    it = tab.gcBindings.find(to_lower_copy(forest));
    if (it != tab.gcBindings.end()) return it->second;
  }
  if (name.empty()) KESH_THROW(kesh::NotFoundException, 0, "No binding for GC");
  KESH_THROW(kesh::NotFoundException, 0, "No binding for GC in forest %s", name.c_str());
}

std::shared_ptr<MyBinding> GetBindingForDN(const std::string& dn) {
  const std::string domain = kesh::DN::domainFromDN(dn);
  // "No binding for domain " with nothing after it would not say what was wrong.
  if (domain.empty()) {
    KESH_THROW(kesh::NotFoundException, 0, "No binding for '%s': it names no domain (DC=...)",
               dn.c_str());
  }
  return GetBinding(domain);
}

kesh::ADObject GetADObjectByDN(const std::string& dn) {
  return GetBindingForDN(dn)->fetch(dn, nullptr, AD_ALL_OBJECTS);
}

kesh::ADAttribute& GetAttributeValues(kesh::ADObject& object, const std::string& name) {
  kesh::ADAttribute& attribute = object[name];
  if (!attribute.empty() && !attribute.incomplete()) return attribute;
  // Reading the values is no change of the object: a later save must not write back
  // (or, after a failed read, delete) an attribute only because it was read here.
  bool changed = attribute.changed();
  attribute.reset();
  try {
    GetBindingForDN(object.dn())->getAttributeValues(object, name);
  } catch (const std::exception&) {
    kesh::Logger::GetThreadPrivateLogger("cli.zonesmith")
        ->log(kesh::Logger::DEBUG, __FILE__, __LINE__, __func__,
              "Failed to get attribute values of adobject(%s), field(%s)", object.dn().c_str(),
              name.c_str());
  }
  attribute.setChanged(changed);
  return attribute;
}

void DeleteTree(std::shared_ptr<MyBinding> binding, kesh::ADObject object) {
  kesh::ADObjectList children = binding->children(object, nullptr);
  for (kesh::ADObject& child : children) {
    DeleteTree(binding, child);
    binding->remove(child, false);
  }
}

void LoadCache(kesh::ADObjectList list, kesh::AttrList attrs) {
  SessionCache().cacheList(list, attrs);
}

void SetTimeout(int seconds) {
  // A negative number would reach the connection as "wait without limit" unsaid.
  if (seconds < 0) {
    KESH_THROW(kesh::BadDataException, 0,
               "LDAP timeout must be a number of seconds, or 0 for no limit: %d", seconds);
  }
  GetContextTab()->ldapTimeout = seconds;
}

std::string BindInfo(std::string domain, const std::string& field) {
  std::shared_ptr<MyBinding> binding = GetBinding(domain);
  if (field == "forest") return binding->getForest();
  if (field == "server") return binding->server();
  if (field == "sid") return binding->getDomainSid().toMSString();
  if (field == "domain_level") return std::to_string(binding->binding->domainLevel());
  if (field == "forest_level") return std::to_string(binding->binding->forestLevel());
  KESH_THROW(kesh::BadDataException, 0, "Uknown binding field");
}
