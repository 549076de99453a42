#include "directory/library/ldap/ldap_binding.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/ldap/ldap_error.h"
#include "directory/library/thread_data.h"

namespace kesh {
namespace ldapbackend {

namespace {

const char* const kDnAttribute = "distinguishedName";
const char* const kCategoryAttribute = "_objectCategory";
const char* const kTreeDeleteOid = "1.2.840.113556.1.4.805";
// Values asked for per request of a ranged read: AD's default MaxValRange.
const long kRangeWindow = 1500;

bool IsInternalAttribute(const std::string& name) {
  return strcasecmp(name.c_str(), kDnAttribute) == 0 ||
         strcasecmp(name.c_str(), kCategoryAttribute) == 0;
}

std::unique_ptr<std::vector<std::string>> CopyAttrs(AttrList attrs) {
  if (attrs == nullptr) return nullptr;
  auto list = std::make_unique<std::vector<std::string>>();
  for (AttrList a = attrs; *a != nullptr; ++a) list->push_back(*a);
  return list;
}

// The DN of the object, which every operation on a stored object needs.
std::string RequireDn(const ADObject& object, const char* operation) {
  object.isValid();
  std::string dn = object.dn();
  if (dn.empty()) {
    KESH_THROW(LDAPException, LDAP_RC_INVALID_DN_SYNTAX, "%s: the object has no DN", operation);
  }
  return dn;
}

// Sends a write with `send` and waits for its answer (LdapSession::request); throws when
// it failed.
void Write(LdapSession& s, const std::function<int(LDAP*, int*)>& send, const char* file,
           int line) {
  std::string diagnostic;
  int rc = s.request(send, &diagnostic);
  if (rc != LDAP_SUCCESS) s.fail(file, line, rc, diagnostic);
}

// The LDAPMod array of an add or update: owns the value pointers it hands to libldap.
class ModList {
 public:
  void add(int op, const std::string& name, const std::vector<std::string>& values) {
    auto mod = std::make_unique<LDAPMod>();
    memset(mod.get(), 0, sizeof(LDAPMod));
    mod->mod_op = op | LDAP_MOD_BVALUES;
    names_.push_back(std::make_unique<std::string>(name));
    mod->mod_type = &(*names_.back())[0];
    auto vals = std::make_unique<std::vector<berval*>>();
    for (const std::string& v : values) {
      auto bv = std::make_unique<berval>();
      bv->bv_len = v.size();
      bv->bv_val = const_cast<char*>(v.data());
      vals->push_back(bv.get());
      bervals_.push_back(std::move(bv));
    }
    vals->push_back(nullptr);
    mod->mod_bvalues = vals->data();
    valueLists_.push_back(std::move(vals));
    pointers_.push_back(mod.get());
    mods_.push_back(std::move(mod));
  }
  bool empty() const { return mods_.empty(); }
  bool touches(const char* name) const {
    for (const auto& n : names_) {
      if (strcasecmp(n->c_str(), name) == 0) return true;
    }
    return false;
  }
  LDAPMod** get() {
    array_ = pointers_;
    array_.push_back(nullptr);
    return array_.data();
  }

 private:
  std::vector<std::unique_ptr<LDAPMod>> mods_;
  std::vector<std::unique_ptr<std::string>> names_;
  std::vector<std::unique_ptr<berval>> bervals_;
  std::vector<std::unique_ptr<std::vector<berval*>>> valueLists_;
  std::vector<LDAPMod*> pointers_;
  std::vector<LDAPMod*> array_;
};

// The cursor of a paged search: a page per request, with the paged results control.
class LdapPagedSearch : public PagedObjectListImpl {
 public:
  LdapPagedSearch(std::shared_ptr<LdapSession> session, int pageSize, const std::string& filter,
                  const std::string& base, AttrList attrs, int scope, int sizeLimit, int sdFlags)
      : sdControl_(sdFlags),
        session_(std::move(session)),
        pageSize_(pageSize > 0 ? pageSize : 100),
        filter_(filter.empty() ? "(objectClass=*)" : filter),
        base_(base),
        attrs_(CopyAttrs(attrs)),
        scope_(scope),
        sizeLimit_(sizeLimit) {}

  ~LdapPagedSearch() override {
    if (cookie_.bv_val != nullptr) ber_memfree(cookie_.bv_val);
  }

  bool fetchPage(ADObjectList& page) override {
    return NamedOperation("search", base_, [&] { return fetchNamedOperation(page); });
  }

 private:
  bool fetchNamedOperation(ADObjectList& page) {
    page.clear();
    if (done_) return true;
    LdapSession& s = *session_;
    LDAP* ld = s.handle();

    LDAPControl* pageControl = nullptr;
    int rc =
        ldap_create_page_control(ld, static_cast<ber_int_t>(pageSize_), &cookie_, 0, &pageControl);
    if (rc != LDAP_SUCCESS) s.fail(__FILE__, __LINE__, rc, "paged results control");
    LDAPControl* controls[3] = {pageControl, sdControl_.get(), nullptr};

    int limit = 0;
    if (sizeLimit_ > 0) limit = sizeLimit_ - returned_;
    LDAPMessage* result = nullptr;
    LDAPControl** responseControls = nullptr;
    std::string diagnostic;
    rc = s.search(base_, scope_, filter_, attrs_.get(), controls, limit, &result, &responseControls,
                  &diagnostic);
    ldap_control_free(pageControl);

    if (rc != LDAP_SUCCESS && rc != LDAP_SIZELIMIT_EXCEEDED) {
      if (result) ldap_msgfree(result);
      if (responseControls) ldap_controls_free(responseControls);
      done_ = true;
      s.fail(__FILE__, __LINE__, rc, diagnostic);
    }
    for (LDAPMessage* e = ldap_first_entry(ld, result); e != nullptr; e = ldap_next_entry(ld, e)) {
      // Not every server applies a size limit to a paged search; it holds all the same.
      if (sizeLimit_ > 0 && returned_ + static_cast<int>(page.size()) >= sizeLimit_) break;
      page.push_back(EntryToObject(ld, e));
    }
    returned_ += static_cast<int>(page.size());
    if (result) ldap_msgfree(result);

    if (cookie_.bv_val != nullptr) {
      ber_memfree(cookie_.bv_val);
      cookie_.bv_val = nullptr;
      cookie_.bv_len = 0;
    }
    LDAPControl* response = ldap_control_find(LDAP_CONTROL_PAGEDRESULTS, responseControls, nullptr);
    if (response != nullptr) {
      ber_int_t estimate = 0;
      ldap_parse_pageresponse_control(ld, response, &estimate, &cookie_);
    }
    if (responseControls) ldap_controls_free(responseControls);

    // The size limit ends the search like its last page: the objects up to the limit are
    // the result.
    if (rc == LDAP_SIZELIMIT_EXCEEDED || cookie_.bv_len == 0 ||
        (sizeLimit_ > 0 && returned_ >= sizeLimit_)) {
      done_ = true;
    }
    return done_;
  }

  SdFlagsControl sdControl_;  // the flags of the binding when the search began
  const std::shared_ptr<LdapSession> session_;
  const int pageSize_;
  const std::string filter_;
  const std::string base_;
  const std::unique_ptr<std::vector<std::string>> attrs_;
  const int scope_;
  const int sizeLimit_;
  struct berval cookie_ = {0, nullptr};
  int returned_ = 0;
  bool done_ = false;
};

}  // namespace

// `locator` is not kept: MIT Kerberos finds the KDCs through its configuration and DNS.
LdapADBinding::LdapADBinding(const std::string& domain, const std::string& ccacheName, bool gc,
                             const std::string& server, const std::string& site, Locator)
    : domain_(domain), ccacheName_(ccacheName), gc_(gc), server_(server), site_(site) {}

LdapADBinding::~LdapADBinding() = default;

bool LdapADBinding::connected() { return session_ != nullptr && session_->alive(); }

// Takes effect at the next connect.
void LdapADBinding::setConnectTimeout(int seconds, int) { connectTimeout_ = seconds; }
// Applies to the present connection as well: bindings are given their timeouts after the
// first connect.
void LdapADBinding::setSearchTimeout(int seconds, int) {
  searchTimeout_ = seconds;
  if (session_ != nullptr) session_->setSearchTimeout(seconds);
}

std::string LdapADBinding::server() {
  return session_ != nullptr ? session_->dnsHostName() : std::string();
}
std::string LdapADBinding::domainName() { return domain_; }
std::string LdapADBinding::ccacheName() { return ccacheName_; }

SessionOptions LdapADBinding::sessionOptions() const {
  SessionOptions options;
  options.ccacheName = ccacheName_;
  options.connectTimeout = connectTimeout_;
  options.searchTimeout = searchTimeout_;
  options.passwordCallback = passwordCallback;
  options.passwordCallbackData = passwordCallbackData;
  return options;
}

std::vector<ServiceTarget> LdapADBinding::targetsFor(const std::string& server) const {
  if (server.empty()) return LocateDomainControllers(domain_, gc_);
  ServiceTarget target;
  target.host = server;
  target.port = gc_ ? 3268 : 389;
  size_t colon = server.rfind(':');
  if (colon != std::string::npos && server.find(':') == colon) {
    target.host = server.substr(0, colon);
    target.port = atoi(server.c_str() + colon + 1);
  }
  return {target};
}

std::shared_ptr<LdapSession> LdapADBinding::open(const std::vector<ServiceTarget>& targets) {
  SessionOptions options = sessionOptions();
  // The next server is tried only when one cannot be reached; a refused bind is final.
  for (size_t i = 0; i < targets.size(); ++i) {
    try {
      return std::make_shared<LdapSession>(targets[i], options);
    } catch (const LDAPException& e) {
      if (!IsConnectionLost(e.rc()) || i + 1 == targets.size()) throw;
    }
  }
  KESH_THROW(LDAPException, LDAP_RC_SERVER_DOWN, "no domain controller found for %s",
             domain_.c_str());
}

void LdapADBinding::connect(const std::string& server, const std::string& site, int) {
  (void)site;
  if (!server.empty()) {
    currentServer_ = server;
  } else if (currentServer_.empty()) {
    currentServer_ = server_;
  }
  session_.reset();
  session_ = open(targetsFor(currentServer_));
  if (wantWritable_ || ThreadData::get().writable) connectToWritable();
}

LdapSession& LdapADBinding::session() {
  // A lost connection is made again by the next operation, so that its repeat succeeds.
  if (session_ == nullptr || !session_->alive()) connect(std::string(), std::string(), 0);
  return *session_;
}

void LdapADBinding::prepareWrite() { wantWritable_ = true; }

void LdapADBinding::connectToWritable() {
  LdapSession& s = session();
  // A read-only domain controller says so on its directory service object.
  auto isReadOnly = [](LdapSession& candidate) {
    const ADAttribute* service = candidate.rootDSE().find("dsServiceName");
    if (service == nullptr || service->empty()) return false;
    try {
      LDAPMessage* result = nullptr;
      std::vector<std::string> attrs = {"msDS-isRODC"};
      int rc = candidate.search(service->values().front(), LDAP_SCOPE_BASE, "(objectClass=*)",
                                &attrs, nullptr, 0, &result, nullptr, nullptr);
      bool readOnly = false;
      if (rc == LDAP_SUCCESS && result != nullptr) {
        LDAPMessage* e = ldap_first_entry(candidate.handle(), result);
        if (e != nullptr) readOnly = EntryToObject(candidate.handle(), e)["msDS-isRODC"].toBool();
      }
      if (result) ldap_msgfree(result);
      return readOnly;
    } catch (const LDAPException&) {
      return false;
    }
  };
  if (!isReadOnly(s)) return;
  for (const ServiceTarget& target : LocateDomainControllers(domain_, gc_)) {
    if (strcasecmp(target.host.c_str(), s.target().host.c_str()) == 0) continue;
    try {
      auto candidate = std::make_shared<LdapSession>(target, sessionOptions());
      if (!isReadOnly(*candidate)) {
        session_ = candidate;
        currentServer_ = target.host;
        return;
      }
    } catch (const LDAPException&) {
    }
  }
  KESH_THROW(LDAPException, LDAP_RC_UNWILLING_TO_PERFORM,
             "no writable domain controller found for %s", domain_.c_str());
}

ADObject LdapADBinding::fetch(const std::string& dn, AttrList attrs, const std::string& filter,
                              int) {
  return NamedOperation("search", dn, [&] {
    LdapSession& s = session();
    // The root DSE, read fresh: it answers questions about the server, not the domain. It
    // carries no descriptor, so it goes without the flags control.
    SdFlagsControl sdControl(sdFlags);
    LDAPControl* controls[2] = {dn.empty() ? nullptr : sdControl.get(), nullptr};
    auto list = CopyAttrs(attrs);
    LDAPMessage* result = nullptr;
    std::string diagnostic;
    int rc = s.search(dn, LDAP_SCOPE_BASE, filter.empty() ? "(objectClass=*)" : filter, list.get(),
                      controls, 0, &result, nullptr, &diagnostic);
    LDAPMessage* entry = rc == LDAP_SUCCESS ? ldap_first_entry(s.handle(), result) : nullptr;
    if (entry == nullptr) {
      if (result) ldap_msgfree(result);
      if (rc == LDAP_SUCCESS) {
        // The object exists but does not match the filter: to the caller it is not there.
        KESH_THROW(LDAPException, LDAP_RC_NO_SUCH_OBJECT, "%s: no match for %s",
                   ldap_err2string(LDAP_NO_SUCH_OBJECT), filter.c_str());
      }
      s.fail(__FILE__, __LINE__, rc, diagnostic);
    }
    ADObject object = EntryToObject(s.handle(), entry);
    ldap_msgfree(result);
    return object;
  });
}

PagedObjectList LdapADBinding::search(int pageSize, const std::string& filter,
                                      const std::string& base, AttrList attrs, int scope,
                                      int sizeLimit, int) {
  std::string from = NamedOperation("search", base, [&] {
    LdapSession& s = session();
    // A domain controller refuses a one-level or subtree search from the empty DN on its
    // domain port; such a search means the binding's domain. A global catalog takes the
    // empty base as the whole forest.
    if (!base.empty() || scope == SCOPE_BASE || gc_) return base;
    const ADAttribute* nc = s.rootDSE().find("defaultNamingContext");
    return nc && !nc->empty() ? nc->values().front() : DN::dnFromDomain(domain_);
  });
  // The cursor names its own failures, the first page's among them.
  auto cursor = std::make_shared<LdapPagedSearch>(session_, pageSize, filter, from, attrs, scope,
                                                  sizeLimit, sdFlags);
  return PagedObjectList(cursor);
}

void LdapADBinding::add(ADObject& object) {
  std::string dn = RequireDn(object, "add");
  NamedOperation("add", dn, [&] {
    LdapSession& s = session();
    ModList mods;
    for (auto& entry : object.attributes()) {
      if (IsInternalAttribute(entry.first) || entry.second.empty()) continue;
      mods.add(LDAP_MOD_ADD, entry.first, entry.second.values());
    }
    SdFlagsControl sdControl(sdFlags);
    LDAPControl* controls[2] = {nullptr, nullptr};
    if (mods.touches("nTSecurityDescriptor")) controls[0] = sdControl.get();
    Write(
        s,
        [&](LDAP* ld, int* msgid) {
          return ldap_add_ext(ld, dn.c_str(), mods.get(), controls, nullptr, msgid);
        },
        __FILE__, __LINE__);
  });
  object.clearChanged();
}

void LdapADBinding::update(ADObject& object, int mode) {
  std::string dn = RequireDn(object, "modify");
  ModList mods;
  for (auto& entry : object.attributes()) {
    const ADAttribute& a = entry.second;
    if (!a.changed() || IsInternalAttribute(entry.first)) continue;
    switch (mode) {
      case 0:
        if (!a.empty()) mods.add(LDAP_MOD_ADD, entry.first, a.values());
        break;
      case 1:
        if (!a.empty()) mods.add(LDAP_MOD_DELETE, entry.first, a.values());
        break;
      default:
        // Replace; without values the attribute is deleted (and its absence is no error).
        mods.add(LDAP_MOD_REPLACE, entry.first, a.values());
        break;
    }
  }
  if (!mods.empty()) {
    NamedOperation("modify", dn, [&] {
      LdapSession& s = session();
      SdFlagsControl sdControl(sdFlags);
      LDAPControl* controls[2] = {nullptr, nullptr};
      if (mods.touches("nTSecurityDescriptor")) controls[0] = sdControl.get();
      Write(
          s,
          [&](LDAP* ld, int* msgid) {
            return ldap_modify_ext(ld, dn.c_str(), mods.get(), controls, nullptr, msgid);
          },
          __FILE__, __LINE__);
    });
  }
  object.clearChanged();
}

void LdapADBinding::renameTo(ADObject& object, const std::string& newRdn,
                             const std::string& newParent, const char* operation) {
  std::string dn = RequireDn(object, operation);
  NamedOperation(operation, dn, [&] {
    LdapSession& s = session();
    Write(
        s,
        [&](LDAP* ld, int* msgid) {
          return ldap_rename(ld, dn.c_str(), newRdn.c_str(),
                             newParent.empty() ? nullptr : newParent.c_str(), 1, nullptr, nullptr,
                             msgid);
        },
        __FILE__, __LINE__);
  });
  std::string parent = newParent.empty() ? LDAPBinding::parent(dn) : newParent;
  std::string newDn = parent.empty() ? newRdn : newRdn + "," + parent;
  ADAttribute& a = object[kDnAttribute];
  a.setValues({newDn});
  a.setChanged(false);
}

void LdapADBinding::rename(ADObject& object, const std::string& newRdn) {
  renameTo(object, newRdn, std::string(), "rename");
}

void LdapADBinding::move(ADObject& object, const std::string& newParent) {
  std::string dn = RequireDn(object, "move");
  renameTo(object, LDAPBinding::RDN(dn), newParent, "move");
}

void LdapADBinding::remove(ADObject& object, bool tree) {
  std::string dn = RequireDn(object, "delete");
  NamedOperation("delete", dn, [&] {
    LdapSession& s = session();
    LDAPControl treeDelete;
    memset(&treeDelete, 0, sizeof(treeDelete));
    treeDelete.ldctl_oid = const_cast<char*>(kTreeDeleteOid);
    treeDelete.ldctl_iscritical = 1;
    LDAPControl* controls[2] = {tree ? &treeDelete : nullptr, nullptr};
    Write(
        s,
        [&](LDAP* ld, int* msgid) {
          return ldap_delete_ext(ld, dn.c_str(), controls, nullptr, msgid);
        },
        __FILE__, __LINE__);
  });
}

void LdapADBinding::getAttributeValues(ADObject& object, const std::string& name, int) {
  std::string dn = RequireDn(object, "search");
  std::vector<std::string> values =
      NamedOperation("search", dn, [&] { return rangedValues(dn, name); });
  ADAttribute& a = object[name];
  a.setValues(std::move(values));
  a.setBinary(IsBinaryAttribute(name));
  a.setIncomplete(false);
  a.setChanged(false);
}

std::vector<std::string> LdapADBinding::rangedValues(const std::string& dn,
                                                     const std::string& name) {
  LdapSession& s = session();
  SdFlagsControl sdControl(sdFlags);
  LDAPControl* controls[2] = {sdControl.get(), nullptr};
  std::vector<std::string> values;
  long start = 0;
  for (;;) {
    // Explicit windows: AD cuts every answer at its MaxValRange anyway, Samba answers a
    // window as asked; the name of the answer tells where the next one starts.
    std::vector<std::string> attrs = {name + ";range=" + std::to_string(start) + "-" +
                                      std::to_string(start + kRangeWindow - 1)};
    LDAPMessage* result = nullptr;
    std::string diagnostic;
    int rc = s.search(dn, LDAP_SCOPE_BASE, "(objectClass=*)", &attrs, controls, 0, &result, nullptr,
                      &diagnostic);
    LDAPMessage* entry = rc == LDAP_SUCCESS ? ldap_first_entry(s.handle(), result) : nullptr;
    if (entry == nullptr) {
      if (result) ldap_msgfree(result);
      s.fail(__FILE__, __LINE__, rc == LDAP_SUCCESS ? LDAP_NO_SUCH_OBJECT : rc, diagnostic);
    }
    // The answer names the range it holds: "member;range=1500-2999", the last "...-*".
    bool more = false;
    BerElement* ber = nullptr;
    for (char* attr = ldap_first_attribute(s.handle(), entry, &ber); attr != nullptr;
         attr = ldap_next_attribute(s.handle(), entry, ber)) {
      std::string full(attr);
      ldap_memfree(attr);
      size_t semi = full.find(';');
      if (strncasecmp(full.c_str(), name.c_str(), name.size()) != 0 ||
          (semi != std::string::npos && semi != name.size()) ||
          (semi == std::string::npos && full.size() != name.size())) {
        continue;
      }
      struct berval** vals = ldap_get_values_len(s.handle(), entry, full.c_str());
      if (vals != nullptr) {
        for (int i = 0; vals[i] != nullptr; ++i)
          values.emplace_back(vals[i]->bv_val, vals[i]->bv_len);
        ldap_value_free_len(vals);
      }
      size_t dash = full.rfind('-');
      if (semi != std::string::npos && dash != std::string::npos && dash > semi &&
          full.compare(dash + 1, std::string::npos, "*") != 0) {
        start = atol(full.c_str() + dash + 1) + 1;
        more = true;
      }
    }
    if (ber != nullptr) ber_free(ber, 0);
    ldap_msgfree(result);
    if (!more) break;
  }
  return values;
}

int LdapADBinding::rootNumber(const char* name) {
  const ADAttribute* a = session().rootDSE().find(name);
  return a != nullptr ? a->toInt() : 0;
}

int LdapADBinding::domainLevel() { return rootNumber("domainFunctionality"); }
int LdapADBinding::forestLevel() { return rootNumber("forestFunctionality"); }

}  // namespace ldapbackend

std::shared_ptr<ADBinding> NewADBinding(const std::string& domain, const std::string& ccacheName,
                                        bool gc, const std::string& server, const std::string& site,
                                        Locator locator) {
  return std::make_shared<ldapbackend::LdapADBinding>(domain, ccacheName, gc, server, site,
                                                      locator);
}

}  // namespace kesh
