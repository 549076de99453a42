#include "directory/library/memory/directory.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <ctime>
#include <random>

#include "directory/library/adbinding.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/memory/syntax.h"
#include "directory/library/security_descriptor.h"

namespace kesh {
namespace memdir {
namespace {

constexpr int kObjectClassViolation = 65;
constexpr int kNamingViolation = 64;
constexpr int kTypeOrValueExists = 20;
constexpr int kInvalidSyntax = 21;
constexpr int kNotAllowedOnRdn = 67;

const char* RcText(int rc) {
  switch (rc) {
    case LDAP_RC_NO_SUCH_ATTRIBUTE:
      return "No such attribute";
    case kTypeOrValueExists:
      return "Type or value exists";
    case kInvalidSyntax:
      return "Invalid syntax";
    case LDAP_RC_NO_SUCH_OBJECT:
      return "No such object";
    case LDAP_RC_INVALID_DN_SYNTAX:
      return "Invalid DN syntax";
    case LDAP_RC_UNWILLING_TO_PERFORM:
      return "Server is unwilling to perform";
    case kNamingViolation:
      return "Naming violation";
    case kObjectClassViolation:
      return "Object class violation";
    case LDAP_RC_NOT_ALLOWED_ON_NONLEAF:
      return "Operation not allowed on non-leaf";
    case kNotAllowedOnRdn:
      return "Operation not allowed on RDN";
    case LDAP_RC_ALREADY_EXISTS:
      return "Already exists";
    case LDAP_RC_SERVER_DOWN:
      return "Can't contact LDAP server";
    default:
      return "Other (e.g., implementation specific) error";
  }
}

// Throws the LDAPException of `rc`, its text followed by the detail, as a server's
// diagnostic follows it. The binding names the operation and its DN in front; a detail
// names what else is at fault (an attribute, a parent, a value).
[[noreturn]] void Fail(int rc, const std::string& detail = std::string()) {
  if (detail.empty()) KESH_THROW(LDAPException, rc, "%s", RcText(rc));
  KESH_THROW(LDAPException, rc, "%s: %s", RcText(rc), detail.c_str());
}

// The directory holds no empty value: an add or a write of one is refused.
void RefuseEmptyValue(const std::string& name, const std::vector<std::string>& values) {
  for (const std::string& value : values) {
    if (value.empty()) Fail(kInvalidSyntax, "attribute " + name + " has an empty value");
  }
}

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return s;
}

bool EqualNoCase(const std::string& a, const std::string& b) {
  return a.size() == b.size() && strcasecmp(a.c_str(), b.c_str()) == 0;
}

bool HasValue(const std::vector<std::string>& values, const std::string& v, bool bytes) {
  for (const std::string& x : values) {
    if (bytes ? x == v : EqualNoCase(x, v)) return true;
  }
  return false;
}

const std::vector<std::string>* Find(const AttrStore& attrs, const std::string& name) {
  auto it = attrs.find(name);
  return it == attrs.end() || it->second.empty() ? nullptr : &it->second;
}

std::string First(const AttrStore& attrs, const std::string& name) {
  const std::vector<std::string>* v = Find(attrs, name);
  return v ? v->front() : std::string();
}

bool HasClass(const AttrStore& attrs, const char* cls) {
  const std::vector<std::string>* v = Find(attrs, "objectClass");
  if (!v) return false;
  for (const std::string& c : *v) {
    if (strcasecmp(c.c_str(), cls) == 0) return true;
  }
  return false;
}

std::string GeneralizedTime() {
  time_t now = time(nullptr);
  struct tm tm;
  gmtime_r(&now, &tm);
  char buf[32];
  strftime(buf, sizeof(buf), "%Y%m%d%H%M%S.0Z", &tm);
  return buf;
}

// The attribute type and unescaped value of a DN's first RDN.
void SplitRdn(const std::string& rdn, std::string& type, std::string& value) {
  size_t eq = rdn.find('=');
  if (eq == std::string::npos) Fail(LDAP_RC_INVALID_DN_SYNTAX);
  type = rdn.substr(0, eq);
  while (!type.empty() && type.back() == ' ') type.pop_back();
  size_t start = eq + 1;
  while (start < rdn.size() && rdn[start] == ' ') ++start;
  value = DN::unescapeDNString(rdn.substr(start));
}

// The most specific class of the values, by the length of its known chain.
std::string MostSpecificClass(const std::vector<std::string>& classes) {
  std::string best;
  size_t depth = 0;
  for (const std::string& c : classes) {
    size_t d = ClassChain(c).size();
    if (d > depth && !DefaultCategory(c).empty()) {
      depth = d;
      best = c;
    }
  }
  return best;
}

// Expands objectClass to the structural chain of its most specific class, then the rest
// (auxiliary classes) in the order given.
std::vector<std::string> ExpandClasses(const std::vector<std::string>& given) {
  std::vector<std::string> out = ClassChain(MostSpecificClass(given));
  if (out.empty()) out.push_back("top");
  for (const std::string& c : given) {
    if (!HasValue(out, c, false)) out.push_back(c);
  }
  return out;
}

std::string SamAccountType(const AttrStore& attrs) {
  if (HasClass(attrs, "computer")) return "805306369";
  if (HasClass(attrs, "user")) return "805306368";
  if (HasClass(attrs, "group")) {
    long type = strtol(First(attrs, "groupType").c_str(), nullptr, 10);
    bool security = (type & 0x80000000L) != 0;
    if (type & 0x4) return security ? "536870912" : "536870913";
    return security ? "268435456" : "268435457";
  }
  return std::string();
}

// "B:32:<hex guid>:<dn>" values of wellKnownObjects.
bool SplitWellKnown(const std::string& v, std::string& guid, std::string& dn) {
  if (v.size() < 5 || v.compare(0, 5, "B:32:") != 0) return false;
  size_t colon = v.find(':', 5);
  if (colon == std::string::npos) return false;
  guid = v.substr(5, colon - 5);
  dn = v.substr(colon + 1);
  return true;
}

bool IsWellKnownAttribute(const std::string& name) {
  return EqualNoCase(name, "wellKnownObjects") || EqualNoCase(name, "otherWellKnownObjects");
}

class EntrySource : public AttributeSource {
 public:
  EntrySource(Directory& d, const Entry& e) : d_(d), e_(e) {}
  const std::vector<std::string>* values(const std::string& name,
                                         AttributeKind kind) const override {
    switch (kind) {
      case AttributeKind::DISTINGUISHED_NAME:
        dn_ = {e_.dn};
        return &dn_;
      case AttributeKind::BACK_LINK:
        scratch_ = d_.allValues(e_, name);
        return &scratch_;
      case AttributeKind::PLAIN:
        break;
    }
    return Find(e_.attrs, name);
  }
  const std::string& dn() const override { return e_.dn; }

 private:
  Directory& d_;
  const Entry& e_;
  mutable std::vector<std::string> dn_;
  mutable std::vector<std::string> scratch_;
};

}  // namespace

// ---------------------------------------------------------------------------------------
// AttrRequest

AttrRequest AttrRequest::from(const char* const* attrs) {
  AttrRequest r;
  if (!attrs) return r;
  r.all = false;
  for (const char* const* a = attrs; *a; ++a) {
    std::string name = *a;
    if (name == "*") {
      r.all = true;
    } else if (name == "1.1") {
      r.none = true;
    } else if (!name.empty()) {
      r.names.push_back(name);
    }
  }
  if (r.all) r.none = false;
  if (!r.all && r.names.empty() && !r.none) r.all = true;  // an empty list asks for all
  return r;
}

bool AttrRequest::wants(const std::string& name) const {
  if (none) return false;
  if (all) return true;
  for (const std::string& n : names) {
    if (EqualNoCase(n, name)) return true;
  }
  return false;
}

// ---------------------------------------------------------------------------------------
// Directory: state

Directory& Directory::instance() {
  static Directory* d = new Directory();
  return *d;
}

void Directory::reset() {
  entries_.clear();
  tops_.clear();
  domains_.clear();
  rootDses_.clear();
  guidIndex_.clear();
  sidIndex_.clear();
  samIndex_.clear();
  backLinks_.clear();
  backLinksDirty_ = false;  // no links, and the empty index says so
  passwords.clear();
  ccaches.clear();
  defaultCCache.clear();
  machineCCache.clear();
  settings.clear();
  passwordAnswers.clear();
  fault = FaultPlan();
  stall = StallPlan();
  ++epoch;
  globalDrop = 0;
  domainDrop.clear();
  operations = 0;
  rangeThreshold = 1500;
}

std::string Directory::PasswordKey(const std::string& principal) {
  size_t at = principal.rfind('@');
  if (at == std::string::npos) return Lower(principal);
  std::string realm = principal.substr(at + 1);
  for (char& c : realm) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  return Lower(principal.substr(0, at)) + "@" + realm;
}

// ---------------------------------------------------------------------------------------
// Domains and views

const Domain* Directory::findDomain(const std::string& dnsName) const {
  auto it = domains_.find(Lower(dnsName));
  return it == domains_.end() ? nullptr : &it->second;
}

const Domain* Directory::domainOfKey(const std::string& key) const {
  const Domain* best = nullptr;
  for (const auto& d : domains_) {
    const std::string& k = d.second.key;
    bool under = key == k ||
                 (key.size() > k.size() && key.compare(key.size() - k.size(), k.size(), k) == 0 &&
                  key[key.size() - k.size() - 1] == ',');
    if (under && (!best || k.size() > best->key.size())) best = &d.second;
  }
  return best;
}

std::string Directory::forestKeyOf(const Domain& domain) const {
  auto r = rootDses_.find(domain.key);
  if (r != rootDses_.end()) {
    std::string root = First(r->second, "rootDomainNamingContext");
    if (!root.empty()) return DN::normalize(root);
  }
  std::string best = domain.key;
  for (const auto& d : domains_) {
    const std::string& k = d.second.key;
    if (k.size() < best.size() && domain.key.size() > k.size() &&
        domain.key.compare(domain.key.size() - k.size(), k.size(), k) == 0 &&
        domain.key[domain.key.size() - k.size() - 1] == ',') {
      best = k;
    }
  }
  return best;
}

View Directory::viewFor(const std::string& name, bool gc) const {
  const Domain* d = findDomain(name);
  if (!d) Fail(LDAP_RC_SERVER_DOWN);
  View v;
  v.domainKey = d->key;
  v.forestKey = forestKeyOf(*d);
  v.configKey = "cn=configuration," + v.forestKey;
  v.schemaKey = "cn=schema," + v.configKey;
  v.gc = gc;
  return v;
}

bool Directory::inView(const View& view, const Entry& entry) const {
  const std::string& nc = entry.nc;
  if (nc == view.domainKey) return true;
  if (nc == view.configKey || nc == view.schemaKey) return true;
  if (!view.gc) return false;
  const Domain* d = domainOfKey(nc);
  return d && d->key == nc && forestKeyOf(*d) == view.forestKey;
}

AttrStore Directory::rootDse(const View& view) const {
  // A global catalog is a DC of the forest root domain.
  const Domain* domain = domainOfKey(view.gc ? view.forestKey : view.domainKey);
  if (!domain) domain = domainOfKey(view.domainKey);
  auto forestIt = std::find_if(domains_.begin(), domains_.end(),
                               [&](const auto& d) { return d.second.key == view.forestKey; });
  std::string forestDn = forestIt != domains_.end() ? forestIt->second.dn : domain->dn;
  std::string config = "CN=Configuration," + forestDn;
  std::string host = "dc1." + domain->dns;
  AttrStore r;
  r["defaultNamingContext"] = {domain->dn};
  r["rootDomainNamingContext"] = {forestDn};
  r["configurationNamingContext"] = {config};
  r["schemaNamingContext"] = {"CN=Schema," + config};
  r["namingContexts"] = {domain->dn, config, "CN=Schema," + config};
  r["dnsHostName"] = {host};
  r["serverName"] = {"CN=DC1,CN=Servers,CN=Default-First-Site-Name,CN=Sites," + config};
  r["dsServiceName"] = {"CN=NTDS Settings,CN=DC1,CN=Servers,CN=Default-First-Site-Name,CN=Sites," +
                        config};
  std::string realm = domain->dns;
  for (char& c : realm) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  r["ldapServiceName"] = {domain->dns + ":dc1$@" + realm};
  r["domainFunctionality"] = {"4"};
  r["forestFunctionality"] = {"4"};
  r["domainControllerFunctionality"] = {"7"};
  r["isGlobalCatalogReady"] = {"TRUE"};
  r["isSynchronized"] = {"TRUE"};
  r["supportedLDAPVersion"] = {"2", "3"};
  r["supportedSASLMechanisms"] = {"GSS-SPNEGO", "GSSAPI"};
  r["supportedControl"] = {"1.2.840.113556.1.4.319", "1.2.840.113556.1.4.801",
                           "1.2.840.113556.1.4.805", "1.2.840.113556.1.4.1339",
                           "1.2.840.113556.1.4.529", "1.2.840.113556.1.4.417"};
  r["subschemaSubentry"] = {"CN=Aggregate,CN=Schema," + config};
  r["highestCommittedUSN"] = {std::to_string(usn_)};
  r["currentTime"] = {GeneralizedTime()};
  r["objectClass"] = {"top"};
  // What the fixture says for this domain wins; for a global catalog, the DC that answers is
  // one of the forest root's.
  auto given = rootDses_.find(view.gc ? view.forestKey : view.domainKey);
  if (given == rootDses_.end()) given = rootDses_.find(view.domainKey);
  if (given != rootDses_.end()) {
    for (const auto& a : given->second) r[a.first] = a.second;
  }
  return r;
}

// ---------------------------------------------------------------------------------------
// Look-ups

Entry* Directory::find(const std::string& key) {
  auto it = entries_.find(key);
  return it == entries_.end() ? nullptr : &it->second;
}

std::string Directory::resolve(const std::string& text) {
  if (!text.empty() && text[0] == '<') {
    size_t close = text.find('>');
    if (close == std::string::npos) Fail(LDAP_RC_INVALID_DN_SYNTAX);
    std::string inner = text.substr(1, close - 1);
    size_t eq = inner.find('=');
    if (eq == std::string::npos) Fail(LDAP_RC_INVALID_DN_SYNTAX);
    std::string kind = Lower(inner.substr(0, eq));
    std::string value = inner.substr(eq + 1);
    try {
      if (kind == "guid") {
        Guid g = value.size() == 32 ? Guid::fromString(value) : Guid::fromRealMSString(value);
        auto it = guidIndex_.find(g.toBytes());
        return it == guidIndex_.end() ? std::string() : it->second;
      }
      if (kind == "sid") {
        SID sid = value.size() > 2 && (value[0] == 'S' || value[0] == 's') && value[1] == '-'
                      ? SID(value)
                      : SID::fromBytes(Guid::fromHexValue(value).toBytes());
        auto it = sidIndex_.find(sid.toBytes());
        return it == sidIndex_.end() ? std::string() : it->second;
      }
    } catch (const LDAPException&) {
      throw;
    } catch (const std::exception&) {
      // A SID in hex of another length than a GUID's: decode by hand.
      if (kind == "sid") {
        std::string bytes;
        for (size_t i = 0; i + 1 < value.size(); i += 2) {
          bytes += static_cast<char>(strtol(value.substr(i, 2).c_str(), nullptr, 16));
        }
        try {
          auto it = sidIndex_.find(SID::fromBytes(bytes).toBytes());
          return it == sidIndex_.end() ? std::string() : it->second;
        } catch (const std::exception&) {
        }
      }
      Fail(LDAP_RC_INVALID_DN_SYNTAX);
    }
    if (kind == "wkguid") {
      size_t comma = value.find(',');
      if (comma == std::string::npos) Fail(LDAP_RC_INVALID_DN_SYNTAX);
      std::string guid = value.substr(0, comma);
      Entry* holder = find(resolve(value.substr(comma + 1)));
      if (!holder) return std::string();
      for (const char* attr : {"wellKnownObjects", "otherWellKnownObjects"}) {
        const std::vector<std::string>* vals = Find(holder->attrs, attr);
        if (!vals) continue;
        for (const std::string& v : *vals) {
          std::string g, dn;
          if (SplitWellKnown(v, g, dn) && EqualNoCase(g, guid)) return resolve(dn);
        }
      }
      return std::string();
    }
    Fail(LDAP_RC_INVALID_DN_SYNTAX);
  }
  if (!DN::isDN(text)) Fail(LDAP_RC_INVALID_DN_SYNTAX);
  std::string key = DN::normalize(text);
  return entries_.count(key) ? key : std::string();
}

Entry& Directory::resolveIn(const View& view, const std::string& text) {
  Entry* e = find(resolve(text));
  if (!e || !inView(view, *e)) Fail(LDAP_RC_NO_SUCH_OBJECT);
  return *e;
}

// ---------------------------------------------------------------------------------------
// Reads

bool Directory::matches(const Entry& entry, const Filter& filter) {
  return filter.matches(EntrySource(*this, entry));
}

std::vector<std::string> Directory::search(const View& view, const std::string& base, int scope,
                                           const Filter& filter, size_t limit) {
  std::vector<std::string> starts;
  bool emptyBase = base.empty();
  if (emptyBase) {
    // An empty base covers every naming context the server holds.
    for (const auto& t : tops_) starts.push_back(t.second);
    for (const auto& e : entries_) {
      if (e.second.ncHead && !e.second.parent.empty() && inView(view, e.second))
        starts.push_back(e.first);
    }
    starts.erase(
        std::remove_if(starts.begin(), starts.end(),
                       [&](const std::string& k) { return !inView(view, entries_.at(k)); }),
        starts.end());
  } else {
    starts.push_back(resolveIn(view, base).key);
  }
  std::vector<std::string> out;
  auto take = [&](const Entry& e) {
    if (inView(view, e) && matches(e, filter)) out.push_back(e.key);
    return limit == 0 || out.size() < limit;
  };
  std::set<std::string> seen;
  for (const std::string& start : starts) {
    if (emptyBase && !seen.insert(start).second) continue;
    const Entry& root = entries_.at(start);
    if (scope == SCOPE_BASE) {
      if (!take(root)) return out;
      continue;
    }
    if (scope == SCOPE_ONE) {
      for (const auto& c : root.children) {
        const Entry& child = entries_.at(c.second);
        if (!take(child)) return out;
      }
      continue;
    }
    // Subtree, in tree order; a domain binding does not cross into other naming contexts.
    std::vector<const Entry*> stack{&root};
    while (!stack.empty()) {
      const Entry* e = stack.back();
      stack.pop_back();
      if (emptyBase && e != &root && e->ncHead) continue;  // visited as its own start
      if (!take(*e)) return out;
      for (auto it = e->children.rbegin(); it != e->children.rend(); ++it) {
        const Entry& child = entries_.at(it->second);
        if (child.ncHead && !view.gc && !emptyBase) continue;
        stack.push_back(&child);
      }
    }
  }
  return out;
}

void Directory::rebuildBackLinks() {
  if (!backLinksDirty_) return;
  backLinks_.clear();
  std::vector<const Entry*> ordered;
  ordered.reserve(entries_.size());
  for (const auto& e : entries_) ordered.push_back(&e.second);
  std::sort(ordered.begin(), ordered.end(),
            [](const Entry* a, const Entry* b) { return a->seq < b->seq; });
  for (const Entry* e : ordered) {
    for (const auto& a : e->attrs) {
      std::string back = BackLinkOf(a.first);
      if (back.empty()) continue;
      for (const std::string& v : a.second) {
        backLinks_[DN::normalize(v)][back].push_back(e->dn);
      }
    }
  }
  backLinksDirty_ = false;
}

std::vector<std::string> Directory::allValues(const Entry& entry, const std::string& name) {
  if (EqualNoCase(name, "distinguishedName")) return {entry.dn};
  if (!ForwardLinkOf(name).empty()) {
    rebuildBackLinks();
    auto it = backLinks_.find(entry.key);
    if (it == backLinks_.end()) return {};
    auto v = it->second.find(name);
    return v == it->second.end() ? std::vector<std::string>() : v->second;
  }
  const std::vector<std::string>* v = Find(entry.attrs, name);
  return v ? *v : std::vector<std::string>();
}

ADObject Directory::toObject(const Entry& entry, const AttrRequest& request, int sdFlags) {
  ADObject obj(entry.dn);
  auto put = [&](const std::string& name, const std::vector<std::string>& values) {
    if (values.empty()) return;
    ADAttribute& a = obj[name];
    if (values.size() > rangeThreshold) {
      a.setValues(std::vector<std::string>(values.begin(), values.begin() + rangeThreshold));
      a.setIncomplete(true);
    } else {
      a.setValues(values);
    }
    a.setBinary(IsBinaryAttribute(name));
  };
  for (const auto& a : entry.attrs) {
    if (!request.wants(a.first)) continue;
    if (EqualNoCase(a.first, "nTSecurityDescriptor") && !a.second.empty()) {
      put(a.first, {mergeSecurityDescriptor(std::string(), a.second.front(), sdFlags)});
      continue;
    }
    put(a.first, a.second);
  }
  if (!request.none) {
    rebuildBackLinks();
    auto it = backLinks_.find(entry.key);
    if (it != backLinks_.end()) {
      for (const auto& b : it->second) {
        if (request.wants(b.first)) put(b.first, b.second);
      }
    }
  }
  std::string category = First(entry.attrs, "objectCategory");
  if (!category.empty() && request.wants("objectCategory")) {
    std::string type, value;
    SplitRdn(DN::rdn(category), type, value);
    obj["_objectCategory"].setValues({value});
  }
  obj.clearChanged();
  return obj;
}

// ---------------------------------------------------------------------------------------
// Writes

std::string Directory::nextUsn() { return std::to_string(++usn_); }

std::string Directory::categoryDn(const std::string& category, const std::string& key) const {
  const Domain* d = domainOfKey(key);
  std::string root = d ? d->dn : std::string();
  if (d) {
    std::string forest = forestKeyOf(*d);
    for (const auto& x : domains_) {
      if (x.second.key == forest) root = x.second.dn;
    }
  }
  return "CN=" + category + ",CN=Schema,CN=Configuration," + root;
}

std::string Directory::defaultSecurityDescriptor(const Domain* domain) const {
  if (domain && !domain->defaultSd.empty()) return domain->defaultSd;
  SecurityDescriptor sd(1, SE_SELF_RELATIVE | SE_DACL_PRESENT);
  SID admins(WELL_KNOWN_SID::ADMINISTRATORS);
  if (domain) {
    const Entry& head = entries_.at(domain->key);
    const std::vector<std::string>* sid = Find(head.attrs, "objectSid");
    if (sid) {
      admins = SID(SID::fromBytes(sid->front()).toMSString() + "-" +
                   std::to_string(WELL_KNOWN_RID::DOMAIN_ADMINS));
    }
  }
  sd.owner = admins;
  sd.group = admins;
  sd.hasDacl = true;
  sd.dacl.revision = 2;
  const std::pair<const char*, uint32_t> aces[] = {{nullptr, 0xF01FF},
                                                   {WELL_KNOWN_SID::LOCAL_SYSTEM, 0xF01FF},
                                                   {WELL_KNOWN_SID::AUTHENTICATED_USERS, 0x20094}};
  for (const auto& a : aces) {
    ACEntry ace;
    ace.type = ACCESS_ALLOWED_ACE_TYPE;
    ace.mask = a.second;
    ace.sid = a.first ? SID(a.first) : admins;
    sd.dacl.addACE(ace);
  }
  NetBuf buf;
  sd.serialize(buf);
  if (domain) domain->defaultSd = buf.data();
  return buf.data();
}

// With an empty `stored`, `given` is returned with only the parts `sdFlags` asks for
// (a read). Otherwise the parts of `given` that the flags name replace those of `stored`.
std::string Directory::mergeSecurityDescriptor(const std::string& stored, const std::string& given,
                                               int sdFlags) const {
  const int kAll = SD_FLAG_OWNER | SD_FLAG_GROUP | SD_FLAG_DACL | SD_FLAG_SACL;
  SecurityDescriptor in;
  auto parseGiven = [&] {
    try {
      in.parse(given);
      return true;
    } catch (const std::exception&) {
      if (stored.empty()) return false;  // not ours to judge what was stored
      Fail(kInvalidSyntax);
    }
  };
  if (stored.empty()) {
    if ((sdFlags & kAll) == kAll || (sdFlags & kAll) == 0) return given;
    // Nothing to leave out when the parts the flags do not ask for are absent: read the
    // offsets of owner, group, SACL and DACL in the header.
    if (given.size() >= 20) {
      auto offset = [&](size_t at) {
        const unsigned char* p = reinterpret_cast<const unsigned char*>(given.data()) + at;
        return static_cast<uint32_t>(p[0] | p[1] << 8 | p[2] << 16 |
                                     static_cast<uint32_t>(p[3]) << 24);
      };
      bool extra =
          (!(sdFlags & SD_FLAG_OWNER) && offset(4)) || (!(sdFlags & SD_FLAG_GROUP) && offset(8)) ||
          (!(sdFlags & SD_FLAG_SACL) && offset(12)) || (!(sdFlags & SD_FLAG_DACL) && offset(16));
      if (!extra) return given;
    }
    if (!parseGiven()) return given;
    bool drop = (!(sdFlags & SD_FLAG_OWNER) && !in.owner.isNull()) ||
                (!(sdFlags & SD_FLAG_GROUP) && !in.group.isNull()) ||
                (!(sdFlags & SD_FLAG_DACL) && in.hasDacl) ||
                (!(sdFlags & SD_FLAG_SACL) && in.hasSacl);
    if (!drop) return given;
    if (!(sdFlags & SD_FLAG_OWNER)) in.owner.setNull();
    if (!(sdFlags & SD_FLAG_GROUP)) in.group.setNull();
    if (!(sdFlags & SD_FLAG_DACL)) {
      in.hasDacl = false;
      in.dacl = ACList();
      in.control &= ~(SE_DACL_PRESENT | SE_DACL_DEFAULTED | SE_DACL_AUTO_INHERIT_REQ |
                      SE_DACL_AUTO_INHERITED | SE_DACL_PROTECTED);
    }
    if (!(sdFlags & SD_FLAG_SACL)) {
      in.hasSacl = false;
      in.sacl = ACList();
      in.control &= ~(SE_SACL_PRESENT | SE_SACL_DEFAULTED | SE_SACL_AUTO_INHERIT_REQ |
                      SE_SACL_AUTO_INHERITED | SE_SACL_PROTECTED);
    }
    NetBuf out;
    in.serialize(out);
    return out.data();
  }
  parseGiven();
  if ((sdFlags & kAll) == 0) sdFlags = kAll;
  SecurityDescriptor sd;
  sd.parse(stored);
  if (sdFlags & SD_FLAG_OWNER) sd.owner = in.owner;
  if (sdFlags & SD_FLAG_GROUP) sd.group = in.group;
  const uint16_t daclBits = SE_DACL_PRESENT | SE_DACL_DEFAULTED | SE_DACL_AUTO_INHERIT_REQ |
                            SE_DACL_AUTO_INHERITED | SE_DACL_PROTECTED;
  const uint16_t saclBits = SE_SACL_PRESENT | SE_SACL_DEFAULTED | SE_SACL_AUTO_INHERIT_REQ |
                            SE_SACL_AUTO_INHERITED | SE_SACL_PROTECTED;
  if (sdFlags & SD_FLAG_DACL) {
    sd.hasDacl = in.hasDacl;
    sd.dacl = in.dacl;
    sd.control = static_cast<uint16_t>((sd.control & ~daclBits) | (in.control & daclBits));
  }
  if (sdFlags & SD_FLAG_SACL) {
    sd.hasSacl = in.hasSacl;
    sd.sacl = in.sacl;
    sd.control = static_cast<uint16_t>((sd.control & ~saclBits) | (in.control & saclBits));
  }
  NetBuf out;
  sd.serialize(out);
  return out.data();
}

std::string Directory::canonicalLinkValue(const std::string& value, bool relaxed) {
  std::string key;
  try {
    key = resolve(value);
  } catch (const LDAPException& e) {
    if (relaxed) return value;
    Fail(e.rc(), "link value " + value);
  }
  if (key.empty()) {
    if (relaxed) return value;
    Fail(LDAP_RC_NO_SUCH_OBJECT, "link value " + value);
  }
  return entries_.at(key).dn;
}

void Directory::indexAdd(const Entry& e) {
  if (const std::vector<std::string>* g = Find(e.attrs, "objectGUID"))
    guidIndex_[g->front()] = e.key;
  if (const std::vector<std::string>* s = Find(e.attrs, "objectSid")) sidIndex_[s->front()] = e.key;
  if (const std::vector<std::string>* n = Find(e.attrs, "sAMAccountName"))
    samIndex_[e.nc + "\n" + Lower(n->front())] = e.key;
}

void Directory::indexRemove(const Entry& e) {
  if (const std::vector<std::string>* g = Find(e.attrs, "objectGUID")) guidIndex_.erase(g->front());
  if (const std::vector<std::string>* s = Find(e.attrs, "objectSid")) {
    auto it = sidIndex_.find(s->front());
    if (it != sidIndex_.end() && it->second == e.key) sidIndex_.erase(it);
  }
  if (const std::vector<std::string>* n = Find(e.attrs, "sAMAccountName")) {
    auto it = samIndex_.find(e.nc + "\n" + Lower(n->front()));
    if (it != samIndex_.end() && it->second == e.key) samIndex_.erase(it);
  }
}

void Directory::storePasswords(const AttrStore& attrs, const std::string& key,
                               const std::string& password) {
  const Domain* d = domainOfKey(key);
  if (!d) return;
  std::string sam = First(attrs, "sAMAccountName");
  if (!sam.empty()) passwords[PasswordKey(sam + "@" + d->dns)] = password;
  std::string upn = First(attrs, "userPrincipalName");
  if (!upn.empty()) passwords[PasswordKey(upn)] = password;
}

void Directory::add(const View* view, const std::string& dnText, AttrStore attrs, int sdFlags,
                    bool relaxed) {
  if (dnText.empty() || dnText[0] == '<' || !DN::isDN(dnText)) Fail(LDAP_RC_INVALID_DN_SYNTAX);
  std::string key = DN::normalize(dnText);
  if (entries_.count(key)) Fail(LDAP_RC_ALREADY_EXISTS);
  std::string parentText = DN::parent(dnText);
  std::string parentKey = parentText.empty() ? std::string() : DN::normalize(parentText);
  Entry* parent = parentKey.empty() ? nullptr : find(parentKey);
  // Only the head of a naming context may stand without a parent, and only in a fixture.
  bool head =
      HasClass(attrs, "domainDNS") || HasClass(attrs, "configuration") || HasClass(attrs, "dMD");
  // As AD: no object without its parent (and none below a parent the binding cannot see).
  if ((!parent && !(relaxed && head)) || (parent && view && !inView(*view, *parent)))
    Fail(LDAP_RC_NO_SUCH_OBJECT, "parent " + parentText + " does not exist");

  attrs.erase("distinguishedName");
  attrs.erase("_objectCategory");
  for (auto it = attrs.begin(); it != attrs.end();) {
    it = it->second.empty() ? attrs.erase(it) : std::next(it);
  }
  if (!Find(attrs, "objectClass")) Fail(kObjectClassViolation, "no objectClass");
  for (const auto& a : attrs) RefuseEmptyValue(a.first, a.second);
  if (!relaxed) {
    for (const auto& a : attrs) {
      if (IsSystemAttribute(a.first) &&
          !(EqualNoCase(a.first, "objectSid") && HasClass(attrs, "foreignSecurityPrincipal")))
        Fail(LDAP_RC_UNWILLING_TO_PERFORM, "attribute " + a.first + " is set by the directory");
    }
  }

  Entry e;
  std::string rdnType, rdnValue;
  std::string rdn = DN::rdn(dnText);
  SplitRdn(rdn, rdnType, rdnValue);
  rdnType = Lower(rdnType);  // the naming attributes' names are lower case: cn, ou, dc, ...
  // "dn" is no attribute: a dump could not write one, since LDIF names the entry with it.
  if (rdnType == "dn") Fail(kNamingViolation, "dn names no attribute");
  e.dn = parent ? rdn + "," + parent->dn : dnText;
  e.key = key;
  e.parent = parent ? parentKey : std::string();
  attrs["objectClass"] = ExpandClasses(attrs["objectClass"]);
  // An organizational unit must have its naming attribute ou, which only an OU= RDN gives.
  if (HasClass(attrs, "organizationalUnit") && rdnType != "ou" && !Find(attrs, "ou"))
    Fail(kObjectClassViolation, "mandatory attribute ou missing");
  if (const std::vector<std::string>* given = Find(attrs, rdnType)) {
    if (!EqualNoCase(given->front(), rdnValue))
      Fail(kNamingViolation, "attribute " + rdnType + " differs from the RDN");
  }
  attrs[rdnType] = {rdnValue};
  attrs["name"] = {rdnValue};
  e.ncHead = !parent || head;
  e.nc = e.ncHead ? key : parent->nc;

  std::string password = First(attrs, "userPassword");
  if (relaxed) attrs.erase("userPassword");

  // Register a new domain before generating anything that needs its SID.
  if (HasClass(attrs, "domainDNS")) {
    Domain d;
    d.dns = Lower(DN::domainFromDN(e.dn));
    d.dn = e.dn;
    d.key = key;
    // One head per DNS name: a second one would take the loaded domain's place.
    auto known = domains_.find(d.dns);
    if (known != domains_.end() && known->second.key != key)
      Fail(LDAP_RC_ALREADY_EXISTS, "domain " + d.dns);
    if (!Find(attrs, "objectSid")) {
      std::random_device rd;
      attrs["objectSid"] = {SID("S-1-5-21-" + std::to_string(rd() % 900000000 + 100000000) + "-" +
                                std::to_string(rd() % 900000000 + 100000000) + "-" +
                                std::to_string(rd() % 900000000 + 100000000))
                                .toBytes()};
    }
    domains_[d.dns] = d;
  }
  const Domain* domain = domainOfKey(key);

  if (!Find(attrs, "objectGUID")) attrs["objectGUID"] = {Guid::generate().toBytes()};
  if (attrs["objectGUID"].front().size() != 16) Fail(kInvalidSyntax, "attribute objectGUID");

  std::string cls = MostSpecificClass(attrs["objectClass"]);
  if (EqualNoCase(cls, "foreignSecurityPrincipal")) {
    if (!Find(attrs, "objectSid")) {
      try {
        attrs["objectSid"] = {SID(rdnValue).toBytes()};
      } catch (const std::exception&) {
        Fail(kNamingViolation, "the RDN of a foreign security principal is a SID");
      }
    }
  } else if (IsSecurityPrincipalClass(cls) && domain && domain->key != key) {
    Domain& dom = domains_[domain->dns];
    SID domainSid =
        SID::fromBytes(entries_.count(dom.key) ? First(entries_.at(dom.key).attrs, "objectSid")
                                               : First(attrs, "objectSid"));
    if (!Find(attrs, "objectSid")) {
      attrs["objectSid"] = {
          SID(domainSid.toMSString() + "-" + std::to_string(dom.nextRid++)).toBytes()};
    } else {
      SID given = SID::fromBytes(attrs["objectSid"].front());
      if (given.domainSID() == domainSid && given.getObjectRid() >= dom.nextRid)
        dom.nextRid = given.getObjectRid() + 1;
    }
  }
  if (const std::vector<std::string>* sid = Find(attrs, "objectSid")) {
    try {
      SID::fromBytes(sid->front());
    } catch (const std::exception&) {
      Fail(kInvalidSyntax, "attribute objectSid");
    }
    auto other = sidIndex_.find(sid->front());
    if (other != sidIndex_.end() && !relaxed)
      Fail(LDAP_RC_ALREADY_EXISTS, "objectSid of " + entries_.at(other->second).dn);
  }

  std::string now = GeneralizedTime();
  std::string usn = nextUsn();
  if (!Find(attrs, "whenCreated")) attrs["whenCreated"] = {now};
  if (!Find(attrs, "whenChanged")) attrs["whenChanged"] = {now};
  if (!Find(attrs, "uSNCreated")) attrs["uSNCreated"] = {usn};
  if (!Find(attrs, "uSNChanged")) attrs["uSNChanged"] = {usn};
  if (!Find(attrs, "instanceType")) attrs["instanceType"] = {e.ncHead ? "5" : "4"};
  if (!Find(attrs, "objectCategory")) {
    std::string category = DefaultCategory(cls);
    if (category.empty()) category = "Container";
    attrs["objectCategory"] = {categoryDn(category, key)};
  }
  if (HasClass(attrs, "group") && !Find(attrs, "groupType")) attrs["groupType"] = {"-2147483646"};
  if (HasClass(attrs, "computer") && !Find(attrs, "userAccountControl"))
    attrs["userAccountControl"] = {"4096"};
  if (HasClass(attrs, "user") && !Find(attrs, "userAccountControl"))
    attrs["userAccountControl"] = {"546"};
  std::string samType = SamAccountType(attrs);
  if (!samType.empty() && !Find(attrs, "sAMAccountType")) attrs["sAMAccountType"] = {samType};
  if (const std::vector<std::string>* sam = Find(attrs, "sAMAccountName")) {
    if (samIndex_.count(e.nc + "\n" + Lower(sam->front())))
      Fail(LDAP_RC_ALREADY_EXISTS, "sAMAccountName " + sam->front() + " is in use");
  }

  for (auto& a : attrs) {
    if (BackLinkOf(a.first).empty()) continue;
    for (std::string& v : a.second) v = canonicalLinkValue(v, relaxed);
    backLinksDirty_ = true;
  }
  if (const std::vector<std::string>* sd = Find(attrs, "nTSecurityDescriptor")) {
    if (!relaxed) {
      attrs["nTSecurityDescriptor"] = {
          mergeSecurityDescriptor(defaultSecurityDescriptor(domain), sd->front(), sdFlags)};
    }
  } else if (domain && entries_.count(domain->key)) {
    attrs["nTSecurityDescriptor"] = {defaultSecurityDescriptor(domain)};
  }
  if (relaxed && !password.empty()) storePasswords(attrs, key, password);

  e.attrs = std::move(attrs);
  e.seq = ++seq_;
  if (parent) {
    parent->children[e.seq] = key;
  } else {
    tops_[e.seq] = key;
  }
  indexAdd(e);
  entries_[key] = std::move(e);
}

void Directory::modify(const View& view, const std::string& key, int mode,
                       const std::vector<Change>& changes, int sdFlags) {
  Entry& e = entries_.at(key);
  (void)view;
  AttrStore attrs = e.attrs;
  std::string rdnType, rdnValue;
  SplitRdn(DN::rdn(e.dn), rdnType, rdnValue);
  bool links = false;
  for (const Change& c : changes) {
    if (EqualNoCase(c.name, "distinguishedName") || EqualNoCase(c.name, "_objectCategory"))
      continue;
    if (IsSystemAttribute(c.name)) Fail(LDAP_RC_UNWILLING_TO_PERFORM, "attribute " + c.name);
    if (mode != 1) RefuseEmptyValue(c.name, c.values);
    bool bytes = IsBinaryAttribute(c.name);
    std::vector<std::string> values = c.values;
    if (!BackLinkOf(c.name).empty()) {
      links = true;
      for (std::string& v : values) v = canonicalLinkValue(v, false);
    }
    if (EqualNoCase(c.name, "nTSecurityDescriptor")) {
      if (mode == 1 || values.empty()) Fail(LDAP_RC_UNWILLING_TO_PERFORM, "attribute " + c.name);
      std::string stored = First(attrs, "nTSecurityDescriptor");
      if (stored.empty()) stored = defaultSecurityDescriptor(domainOfKey(key));
      attrs["nTSecurityDescriptor"] = {mergeSecurityDescriptor(stored, values.front(), sdFlags)};
      continue;
    }
    if (EqualNoCase(c.name, rdnType) || EqualNoCase(c.name, "name")) {
      bool same =
          (mode == 2 || mode == -1) && values.size() == 1 && EqualNoCase(values[0], rdnValue);
      if (!same) Fail(kNotAllowedOnRdn, "attribute " + c.name);
      continue;
    }
    std::vector<std::string>& have = attrs[c.name];
    if (mode == 0) {
      for (const std::string& v : values) {
        if (HasValue(have, v, bytes)) Fail(kTypeOrValueExists, "attribute " + c.name);
        have.push_back(v);
      }
    } else if (mode == 1) {
      if (have.empty()) Fail(LDAP_RC_NO_SUCH_ATTRIBUTE, "attribute " + c.name);
      if (values.empty()) {
        have.clear();
      }
      for (const std::string& v : values) {
        auto it = std::find_if(have.begin(), have.end(), [&](const std::string& x) {
          return bytes ? x == v : EqualNoCase(x, v);
        });
        if (it == have.end()) Fail(LDAP_RC_NO_SUCH_ATTRIBUTE, "attribute " + c.name);
        have.erase(it);
      }
    } else {
      have.clear();
      for (const std::string& v : values) {
        if (!HasValue(have, v, bytes)) have.push_back(v);
      }
    }
    if (have.empty()) attrs.erase(c.name);
    if (EqualNoCase(c.name, "objectClass") && !Find(attrs, "objectClass"))
      Fail(kObjectClassViolation, "no objectClass");
  }
  if (const std::vector<std::string>* sam = Find(attrs, "sAMAccountName")) {
    auto it = samIndex_.find(e.nc + "\n" + Lower(sam->front()));
    if (it != samIndex_.end() && it->second != key)
      Fail(LDAP_RC_ALREADY_EXISTS, "sAMAccountName " + sam->front() + " is in use");
  }
  attrs["whenChanged"] = {GeneralizedTime()};
  attrs["uSNChanged"] = {nextUsn()};
  std::string group = SamAccountType(attrs);
  if (!group.empty()) attrs["sAMAccountType"] = {group};
  indexRemove(e);
  e.attrs = std::move(attrs);
  indexAdd(e);
  if (links) backLinksDirty_ = true;
}

void Directory::collectSubtree(const std::string& key, std::vector<std::string>& out) const {
  out.push_back(key);
  for (const auto& c : entries_.at(key).children) collectSubtree(c.second, out);
}

std::string Directory::relocate(const View& view, std::string key, const std::string& newRdn,
                                std::string newParentKey) {
  Entry& root = entries_.at(key);
  if (root.ncHead) Fail(LDAP_RC_UNWILLING_TO_PERFORM, "the head of a naming context");
  std::string rdnType, rdnValue;
  SplitRdn(newRdn, rdnType, rdnValue);
  std::string oldType, oldValue;
  SplitRdn(DN::rdn(root.dn), oldType, oldValue);
  if (!EqualNoCase(rdnType, oldType)) Fail(kNamingViolation, "the RDN type is " + oldType);
  Entry& parent = entries_.at(newParentKey);
  if (!inView(view, parent) || parent.nc != root.nc)
    Fail(LDAP_RC_UNWILLING_TO_PERFORM, "new parent " + parent.dn + " is in another naming context");
  std::string newDn = newRdn + "," + parent.dn;
  if (!DN::isDN(newDn)) Fail(LDAP_RC_INVALID_DN_SYNTAX, newDn);
  std::string newKey = DN::normalize(newDn);
  if (newKey != key && entries_.count(newKey)) Fail(LDAP_RC_ALREADY_EXISTS, newDn);
  // Not below itself.
  for (std::string p = newParentKey; !p.empty(); p = entries_.at(p).parent) {
    if (p == key) Fail(LDAP_RC_UNWILLING_TO_PERFORM, "new parent below the object");
  }

  std::vector<std::string> subtree;
  collectSubtree(key, subtree);
  const std::string oldDn = root.dn;
  std::map<std::string, std::string> moved;  // old key -> new DN
  std::vector<Entry> relocated;
  for (const std::string& k : subtree) {
    Entry e = std::move(entries_.at(k));
    indexRemove(e);
    entries_.erase(k);
    std::string dn = k == key ? newDn : e.dn.substr(0, e.dn.size() - oldDn.size()) + newDn;
    moved[k] = dn;
    e.dn = dn;
    e.key = DN::normalize(dn);
    relocated.push_back(std::move(e));
  }
  Entry& oldParent = entries_.at(relocated.front().parent);
  oldParent.children.erase(relocated.front().seq);
  for (Entry& e : relocated) {
    if (e.key == newKey) {
      e.parent = newParentKey;
      e.attrs[rdnType] = {rdnValue};
      e.attrs["name"] = {rdnValue};
      e.attrs["whenChanged"] = {GeneralizedTime()};
      e.attrs["uSNChanged"] = {nextUsn()};
    } else {
      e.parent = DN::normalize(moved.at(e.parent));
    }
    std::map<uint64_t, std::string> children;
    for (const auto& c : e.children) children[c.first] = DN::normalize(moved.at(c.second));
    e.children = std::move(children);
    indexAdd(e);
    std::string k = e.key;
    entries_[k] = std::move(e);
  }
  entries_.at(newParentKey).children[entries_.at(newKey).seq] = newKey;

  // References to the moved objects follow them.
  for (auto& x : entries_) {
    for (auto& a : x.second.attrs) {
      bool link = !BackLinkOf(a.first).empty();
      bool wellKnown = IsWellKnownAttribute(a.first);
      if (!link && !wellKnown) continue;
      for (std::string& v : a.second) {
        std::string guid, dn = v;
        if (wellKnown && !SplitWellKnown(v, guid, dn)) continue;
        auto it = moved.find(DN::normalize(dn));
        if (it == moved.end()) continue;
        v = wellKnown ? "B:32:" + guid + ":" + it->second : it->second;
      }
    }
  }
  backLinksDirty_ = true;
  return newDn;
}

void Directory::remove(const View& view, std::string key, bool tree) {
  Entry& e = entries_.at(key);
  (void)view;
  if (!e.children.empty() && !tree) Fail(LDAP_RC_NOT_ALLOWED_ON_NONLEAF);
  if (e.ncHead) Fail(LDAP_RC_UNWILLING_TO_PERFORM, "the head of a naming context");
  std::vector<std::string> subtree;
  collectSubtree(key, subtree);
  entries_.at(e.parent).children.erase(e.seq);
  std::set<std::string> gone(subtree.begin(), subtree.end());
  for (const std::string& k : subtree) {
    indexRemove(entries_.at(k));
    entries_.erase(k);
  }
  for (auto& x : entries_) {
    for (auto it = x.second.attrs.begin(); it != x.second.attrs.end();) {
      if (!BackLinkOf(it->first).empty()) {
        std::vector<std::string>& v = it->second;
        v.erase(std::remove_if(
                    v.begin(), v.end(),
                    [&](const std::string& dn) { return gone.count(DN::normalize(dn)) > 0; }),
                v.end());
        if (v.empty()) {
          it = x.second.attrs.erase(it);
          continue;
        }
      }
      ++it;
    }
  }
  backLinksDirty_ = true;
}

}  // namespace memdir
}  // namespace kesh
