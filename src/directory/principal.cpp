#include "directory/principal.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <vector>

#include "directory/cache.h"
#include "directory/ldap.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/kerberos.h"
#include "directory/library/shredder.h"
#include "directory/library/strings.h"
#include "directory/session.h"

namespace {

const char* const CATEGORY_FSP = "Foreign-Security-Principal";

// The first object that `binding` finds for `filter` below its default base.
kesh::ADObject FirstMatch(MyBinding& binding, const std::string& filter) {
  kesh::ADObjectList list = binding.search(filter, "", nullptr, kesh::SCOPE_SUB, 0);
  return list.empty() ? kesh::ADObject() : list.front();
}

// Splits name@domain at the first "@"; false without one.
bool SplitName(const std::string& name, std::string& account, std::string& domain) {
  size_t at = name.find('@');
  if (at == std::string::npos) return false;
  account = name.substr(0, at);
  domain = name.substr(at + 1);
  return true;
}

std::string SamFilter(const std::string& account, const char* suffix = "") {
  return "(sAMAccountName=" + kesh::DN::escapeLDAPFilter(account) + suffix + ")";
}

// Group and computer look-ups share one shape: the name's own domain only, one category.
kesh::ADObject GetByCategory(const std::string& name, const char* noDomainMessage,
                             const char* category, const char* wrongCategoryMessage) {
  std::string account, domain;
  if (!SplitName(name, account, domain)) {
    KESH_THROW(kesh::BadDataException, 0, "%s", noDomainMessage);
  }
  std::shared_ptr<MyBinding> binding = GetBinding(domain);
  kesh::ADObject object = FirstMatch(*binding, SamFilter(account));
  if (object.empty()) KESH_THROW(kesh::NotFoundException, 0, "could not find %s", name.c_str());
  if (object.category() != category) {
    KESH_THROW(kesh::NotFoundException, 0, wrongCategoryMessage, name.c_str());
  }
  return object;
}

std::string SamOrUnknown(kesh::ADObject& object) {
  const kesh::ADAttribute* sam = object.find("sAMAccountName");
  if (sam == nullptr || sam->empty()) return "?";
  return *sam;
}

}  // namespace

kesh::ADObject GetADUser(const std::string& name) {
  kesh::ADObject cached = GetContextTab()->cache->lookupUser(name, nullptr);
  if (!cached.empty()) return cached;

  std::string account, domain;
  if (!SplitName(name, account, domain)) {
    KESH_THROW(kesh::BadDataException, 0, "User name must include domain");
  }
  const std::string upnFilter = "(userPrincipalName=" + kesh::DN::escapeLDAPFilter(name) + ")";
  const std::string samFilter = SamFilter(account);

  std::shared_ptr<MyBinding> binding;
  try {
    binding = GetBinding(domain);
  } catch (const std::exception&) {
    // No binding to the name's domain: only the global catalogs and other domains remain.
  }
  if (binding) {
    for (const std::string* filter : {&upnFilter, &samFilter}) {
      kesh::ADObject object = FirstMatch(*binding, *filter);
      if (object.empty()) continue;
      std::string category = object.category();
      if (category == "Person" || category == "Computer") return object;
      // A first hit of another kind ends the domain search only for this filter.
    }
  }

  std::vector<std::shared_ptr<MyBinding>> bindings;
  GetGCBindings(bindings);
  kesh::ADObject object = ScanBindings(bindings, upnFilter, "Person");
  if (!object.empty()) return object;
  bindings.clear();
  GetBindings(bindings);
  object = ScanBindings(bindings, upnFilter, "Person");
  if (!object.empty()) return object;
  KESH_THROW(kesh::NotFoundException, 0, "could not find %s", name.c_str());
}

kesh::ADObject GetADGroup(const std::string& name) {
  return GetByCategory(name, "Group name must include domain", "Group", "%s is not a group");
}

kesh::ADObject GetADComputer(const std::string& name) {
  return GetByCategory(name, "Computer name must include domain", "Computer",
                       "%s is not a computer");
}

kesh::ADObject GetComputer(const std::string& name) {
  std::string account, domain;
  if (!SplitName(name, account, domain)) {
    KESH_THROW(kesh::BadDataException, 0, "Machine name must include domain");
  }
  std::shared_ptr<MyBinding> binding = GetBinding(domain);
  kesh::ADObject object = FirstMatch(*binding, SamFilter(account, "$"));
  if (object.empty()) KESH_THROW(kesh::NotFoundException, 0, "could not find %s", name.c_str());
  return object;
}

kesh::ADObject GetPrincipal(const std::string& name) {
  // Each kind is tried in turn, whatever the one before threw. Against a DC that stopped
  // answering every try waits the binding's whole timeout, so the failure then says how
  // many tries timed out and how long the look-up took in all.
  const auto start = std::chrono::steady_clock::now();
  int timedOut = 0;
  for (kesh::ADObject (*lookup)(const std::string&) : {GetADUser, GetADGroup, GetADComputer}) {
    try {
      return lookup(name);
    } catch (const LDAPException& e) {
      if (e.rc() == kesh::LDAP_RC_TIMEOUT) ++timedOut;
    } catch (const std::exception&) {
      // rule: any failure of one kind moves on to the next
    }
  }
  if (timedOut > 0) {
    const long seconds = static_cast<long>(
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start)
            .count());
    KESH_THROW(kesh::NotFoundException, 0,
               "Principal not found: %s (%d of 3 look-ups timed out, %ld s in all)", name.c_str(),
               timedOut, seconds);
  }
  KESH_THROW(kesh::NotFoundException, 0, "Principal not found: %s", name.c_str());
}

kesh::ADObject InternalGetObjectBySid(std::shared_ptr<MyBinding> binding, kesh::SID& sid) {
  const std::string escaped = sid.toEscapedString();
  const std::string filter =
      "(&(!(objectCategory=ForeignSecurityPrincipal))(|(objectSid=" + escaped +
      ")(sidHistory=" + escaped + ")))";
  return FirstMatch(*binding, filter);
}

kesh::ADObject GetPrincipalBySid(kesh::SID& sid) {
  kesh::ADObject cached = GetContextTab()->cache->lookupSid(sid, nullptr);
  if (!cached.empty() && cached.category() != CATEGORY_FSP) return cached;

  const std::string domainSid = sid.domainSID().toMSString();
  std::vector<std::shared_ptr<MyBinding>> bindings;
  GetBindings(bindings);
  for (auto& binding : bindings) {
    if (binding->getDomainSid().toMSString() != domainSid) continue;
    kesh::ADObject object = InternalGetObjectBySid(binding, sid);
    if (!object.empty()) return object;
  }
  bindings.clear();
  GetGCBindings(bindings);
  for (auto& binding : bindings) {
    kesh::ADObject object = InternalGetObjectBySid(binding, sid);
    if (!object.empty()) return object;
  }
  KESH_THROW(kesh::NotFoundException, 0, "could not find %s", sid.toMSString().c_str());
}

kesh::ADObject ScanBindings(std::vector<std::shared_ptr<MyBinding>>& bindings, std::string filter,
                            std::string category) {
  for (auto& binding : bindings) {
    kesh::ADObject object = FirstMatch(*binding, filter);
    if (!object.empty() && object.category() == category) return object;
  }
  return kesh::ADObject();
}

void GetBindings(std::vector<std::shared_ptr<MyBinding>>& bindings) {
  for (auto& entry : GetContextTab()->bindings) bindings.push_back(entry.second);
}

void GetGCBindings(std::vector<std::shared_ptr<MyBinding>>& bindings) {
  for (auto& entry : GetContextTab()->gcBindings) bindings.push_back(entry.second);
}

kesh::ADObject LookupForeignUser(kesh::ADObject& object) {
  const std::string dn = object.dn();
  if (kesh::DN::cnFromDn(kesh::DN::parent(dn)) != "ForeignSecurityPrincipals") return object;
  try {
    kesh::SID sid(kesh::upper(kesh::DN::cnFromDn(dn)));
    return GetPrincipalBySid(sid);
  } catch (const std::exception&) {
    return object;
  }
}

std::string GetUserName(kesh::ADObject object, bool preferUpn) {
  object = LookupForeignUser(object);
  const std::string dn = object.dn();
  if (object.category() == CATEGORY_FSP) return "*" + kesh::DN::cnFromDn(dn);
  if (preferUpn) {
    const kesh::ADAttribute* upn = object.find("userPrincipalName");
    if (upn != nullptr && !std::string(*upn).empty()) return *upn;
  }
  return SamOrUnknown(object) + "@" + kesh::lower(kesh::DN::domainFromDN(dn));
}

std::string GetGroupName(kesh::ADObject object) {
  return SamOrUnknown(object) + "@" + kesh::lower(kesh::DN::domainFromDN(object.dn()));
}

bool IsGroup(const std::string& dn) {
  try {
    return GetADObjectByDN(dn).category() == "Group";
  } catch (const std::exception&) {
    return false;
  }
}

bool IsDistributionGroup(const kesh::ADObject& group) {
  const kesh::ADAttribute* groupType = group.find("groupType");
  return groupType == nullptr || groupType->toInt() >= 0;
}

void ChangeUserPassword(const std::string& user, const std::string& password, std::string ccName) {
  kesh::KerberosContext context;
  std::string account, domain;
  if (!SplitName(user, account, domain)) {
    KESH_THROW(kesh::BadDataException, 0, "User name must include domain");
  }
  const std::string target = account + "@" + kesh::upper(domain);
  GetBinding(domain);
  Shredder newPassword(password);
  std::string error;
  if (kesh::setPasswordUsingCCache(context, ccName, target, newPassword, error) != 0) {
    KESH_THROW(kesh::BadDataException, 0, "Cannot change password");
  }
}

namespace {

// Whether the object `dn` may be the managedBy of an object below `baseDn`. A DN of another
// domain than the base's cannot be asked (links across domains keep no back link there);
// no DN at all (the stand-in of a principal known by its SID alone) manages nothing.
bool MayManageBelow(const std::shared_ptr<MyBinding>& binding, const std::string& dn,
                    const std::string& baseDn) {
  if (!kesh::DN::isDN(dn)) return false;
  if (kesh::lower(kesh::DN::domainFromDN(dn)) != kesh::lower(kesh::DN::domainFromDN(baseDn))) {
    return true;
  }
  static const char* const kManagedObjects[] = {"managedObjects", nullptr};
  try {
    kesh::ADObjectList found =
        binding->search("(objectClass=*)", dn, kManagedObjects, kesh::SCOPE_BASE, 0);
    if (found.empty()) return false;
    const kesh::ADAttribute* managed = found.front().find("managedObjects");
    if (managed == nullptr) return false;
    const std::string suffix = "," + kesh::lower(baseDn);
    for (const std::string& value : managed->values()) {
      const std::string lower = kesh::lower(value);
      if (lower.size() > suffix.size() &&
          lower.compare(lower.size() - suffix.size(), suffix.size(), suffix) == 0) {
        return true;
      }
    }
    return false;
  } catch (const std::exception&) {
    // Cannot tell: the full search decides.
    return true;
  }
}

}  // namespace

kesh::ADObject FindLinkedBelow(const std::shared_ptr<MyBinding>& binding, const std::string& baseDn,
                               const std::string& condition, kesh::SID sid, const std::string& dn) {
  auto where = [&condition](const std::string& filter) {
    return condition.empty() ? filter : "(&" + condition + filter + ")";
  };
  const std::string link = "(keywords=parentLink:" + sid.toMSString() + ")";
  kesh::ADObjectList list = binding->search(where(link), baseDn, nullptr, kesh::SCOPE_SUB, 0);
  if (!list.empty()) return list.front();
  const std::string manager = kesh::DN::unescapeDNString(dn);
  if (!MayManageBelow(binding, manager, baseDn)) return kesh::ADObject();
  const std::string filter =
      where("(|" + link + "(managedBy=" + kesh::DN::escapeLDAPFilter(manager) + "))");
  list = binding->search(filter, baseDn, nullptr, kesh::SCOPE_SUB, 0);
  return list.empty() ? kesh::ADObject() : list.front();
}

kesh::ADObject FindScpBySid(std::shared_ptr<MyBinding> binding, kesh::ADObject zone, kesh::SID sid,
                            const std::string& container, const std::string& dn) {
  kesh::ADObject base = kesh::LDAPBinding::createChild(zone, container, "cn");
  kesh::ADObject found = FindLinkedBelow(binding, base.dn(), "", sid, dn);
  if (found.empty()) KESH_THROW(kesh::NotFoundException, 0, "could not find zone entry");
  return found;
}

std::vector<kesh::SID> GetUserSids(const kesh::ADObject& user) {
  std::vector<kesh::SID> sids;
  kesh::SID own = user.sid();
  if (!own.isNull()) sids.push_back(own);
  const kesh::ADAttribute* history = user.find("sIDHistory");
  if (history == nullptr) return sids;
  for (const std::string& bytes : history->values()) {
    try {
      sids.push_back(kesh::SID::fromBytes(bytes));
    } catch (const kesh::BadDataException&) {
      // A damaged history value names nobody; the user's other SIDs still count.
    }
  }
  return sids;
}

std::map<std::string, kesh::ADObject> PrefetchPrincipalsBySid(const std::vector<kesh::SID>& sids) {
  std::map<std::string, kesh::ADObject> found;
  std::vector<std::shared_ptr<MyBinding>> bindings;
  GetBindings(bindings);
  for (auto& binding : bindings) {
    const kesh::SID domain = binding->getDomainSid();
    std::vector<const kesh::SID*> mine;
    for (const kesh::SID& sid : sids) {
      if (sid.domainSID() == domain && found.count(sid.toMSString()) == 0) mine.push_back(&sid);
    }
    for (size_t start = 0; start < mine.size(); start += MyBinding::PAGE_SIZE) {
      std::string filter = "(&(!(objectCategory=ForeignSecurityPrincipal))(|";
      const size_t end = std::min(mine.size(), start + MyBinding::PAGE_SIZE);
      for (size_t i = start; i < end; ++i) {
        filter += "(objectSid=" + mine[i]->toEscapedString() + ")";
      }
      filter += "))";
      for (kesh::ADObject& object : binding->search(filter, "", nullptr, kesh::SCOPE_SUB, 0)) {
        const kesh::SID sid = object.sid();
        if (!sid.isNull() && object.category() != CATEGORY_FSP) found[sid.toMSString()] = object;
      }
    }
  }
  return found;
}

// DNs per search of PrefetchObjectsByDn. A paged search of an alternative of DNs costs the
// directory more than linearly in their number (a Samba DC: 100 DNs take about 9 times as
// long as 25), so the batches are small.
constexpr size_t kDnBatch = 25;

std::map<std::string, kesh::ADObject> PrefetchObjectsByDn(const std::vector<std::string>& dns,
                                                          const char* const* attrs) {
  // The DNs of each bound domain; a DN without binding is left to GetADObjectByDN.
  std::map<MyBinding*, std::pair<std::shared_ptr<MyBinding>, std::vector<std::string>>> byBinding;
  for (const std::string& dn : dns) {
    try {
      std::shared_ptr<MyBinding> binding = GetBindingForDN(dn);
      auto& entry = byBinding[binding.get()];
      entry.first = binding;
      entry.second.push_back(dn);
    } catch (const kesh::NotFoundException&) {
    }
  }
  std::map<std::string, kesh::ADObject> found;
  for (auto& domain : byBinding) {
    std::shared_ptr<MyBinding>& binding = domain.second.first;
    std::vector<std::string>& mine = domain.second.second;
    for (size_t start = 0; start < mine.size(); start += kDnBatch) {
      std::string filter = "(|";
      const size_t end = std::min(mine.size(), start + kDnBatch);
      for (size_t i = start; i < end; ++i) {
        filter += "(distinguishedName=" + kesh::DN::escapeLDAPFilter(mine[i]) + ")";
      }
      filter += ")";
      try {
        for (kesh::ADObject& object : binding->search(filter, "", attrs, kesh::SCOPE_SUB, 0)) {
          found[kesh::lower(object.dn())] = object;
        }
      } catch (const LDAPException&) {
        // The batch is read object by object by the caller, which reports each failure.
      }
    }
  }
  return found;
}
