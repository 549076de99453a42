// Lookups of profile objects below a zone's containers, of the directory principals behind
// them, and the containers themselves.
#include <ctime>
#include <string>

#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/principal.h"
#include "schema/keywords.h"
#include "schema/profile_store.h"
#include "schema/zschema.h"

namespace {

// The word whose extended DN stands for a principal known by its SID alone.
const char FAKE_DN_WORD[] = "fake";
// The key of a local profile container's description: the time of its last change.
const char LAST_UPDATE_KEY[] = "lastupdatetime";
const char NO_ZONE_ENTRY[] = "could not find zone entry";

}  // namespace

std::map<std::string, std::string> KeywordsOf(const kesh::ADObject& scp) {
  std::map<std::string, std::string> dict;
  CramDict(scp.find(AD_KEYWORDS), dict);
  return dict;
}

kesh::ADObject FirstProfileBelow(const std::shared_ptr<MyBinding>& binding, kesh::ADObject zone,
                                 const std::string& container, const std::string& filter,
                                 const char* missing) {
  kesh::ADObject base = kesh::LDAPBinding::createChild(zone, container, AD_CN);
  kesh::ADObjectList list = binding->search(filter, base.dn(), nullptr, kesh::SCOPE_SUB, 0);
  if (list.empty()) KESH_THROW(kesh::NotFoundException, 0, "%s", missing);
  return list.front();
}

kesh::ADObject FindAltScpBySid(std::shared_ptr<MyBinding> binding, kesh::ADObject zone,
                               kesh::SID sid, const std::string& container,
                               const std::string& userDN, int32_t altIndex) {
  // A main profile is told by the absence of the alias keyword, an alias by its number.
  const std::string condition = altIndex == 0
                                    ? "(!(keywords=altIndex:*))"
                                    : "(keywords=altIndex:" + std::to_string(altIndex) + ")";
  kesh::ADObject base = kesh::LDAPBinding::createChild(zone, container, AD_CN);
  kesh::ADObject found = FindLinkedBelow(binding, base.dn(), condition, sid, userDN);
  if (found.empty()) KESH_THROW(kesh::NotFoundException, 0, NO_ZONE_ENTRY);
  return found;
}

kesh::ADObject FindScpByCN(std::shared_ptr<MyBinding> binding, kesh::ADObject zone,
                           const std::string& name, const std::string& container) {
  return FirstProfileBelow(binding, zone, container, "(cn=" + name + ")", NO_ZONE_ENTRY);
}

kesh::ADObject FindScpByLoginName(std::shared_ptr<MyBinding> binding, kesh::ADObject zone,
                                  const std::string& name, const std::string& container) {
  return FirstProfileBelow(binding, zone, container,
                           "(keywords=*" + std::string(KEY_LOGIN) + ":" + name + ")",
                           NO_ZONE_ENTRY);
}

kesh::ADObject FakeSidObject(const std::string& sidText) {
  kesh::ADObject object;
  object["_SID"] = sidText;
  object[AD_DN] = kesh::DN::dnFromExtendedDN(FAKE_DN_WORD);
  return object;
}

kesh::ADObject SchemaScp::childContainer(const std::string& name) {
  return kesh::LDAPBinding::createChild(zone_, name, AD_CN);
}

kesh::ADObject SchemaScp::findScpByCN(const std::string& name, const std::string& container) {
  try {
    return FindScpByCN(binding_, zone_, name, container);
  } catch (const std::exception&) {
    // Not there, or not readable: the caller decides what an absent profile means.
    return kesh::ADObject();
  }
}

void SchemaScp::checkAndCreateContainer(const std::string& name) {
  kesh::ADObjectList found =
      binding_->search("(cn=" + name + ")", zone_.dn(), nullptr, kesh::SCOPE_SUB, 0);
  if (!found.empty()) return;
  kesh::ADObject container = childContainer(name);
  container[AD_OBJECT_CLASS] = "container";
  binding_->add(container);
}

void SchemaScp::updateContainerTimestamp(const std::string& name) {
  kesh::ADObjectList found =
      binding_->search("(cn=" + name + ")", zone_.dn(), nullptr, kesh::SCOPE_ONE, 0);
  if (found.empty()) {
    KESH_THROW(kesh::NotFoundException, 0, "could not find %s below %s", name.c_str(),
               zone_.dn().c_str());
  }
  kesh::ADObject container = found.front();
  std::map<std::string, std::string> dict;
  dict[LAST_UPDATE_KEY] = std::to_string(static_cast<long long>(time(nullptr)));
  CramAttrs(container[AD_DESCRIPTION], dict);
  binding_->update(container, MyBinding::UPDATE_REPLACE);
}

kesh::ADObject SchemaScp::findUnixName(const char* container, const std::string& name,
                                       const std::string& filter, const char* missing) {
  if (version_ >= FIRST_TREE_VERSION) {
    return FirstProfileBelow(binding_, zone_, container, filter, missing);
  }
  kesh::ADObject parent = childContainer(container);
  kesh::ADObject child = kesh::LDAPBinding::createChild(parent, name, AD_CN);
  try {
    return binding_->fetch(child.dn(), nullptr, AD_ALL_OBJECTS);
  } catch (const std::exception&) {
    // Absent or unreadable: either way no profile holds the name here.
    KESH_THROW(kesh::NotFoundException, 0, "%s", missing);
  }
}

SchemaScp::PrefetchScope::PrefetchScope(SchemaScp& schema, kesh::ADObjectList found)
    : schema_(schema) {
  std::vector<kesh::SID> sids;
  for (kesh::ADObject& scp : found) {
    if (schema.version_ < FIRST_MANAGED_BY_FREE_VERSION && !scp.firstValue(AD_MANAGED_BY).empty()) {
      continue;
    }
    try {
      const std::string link = GetCramAttr(KEY_PARENT_LINK, KeywordsOf(scp));
      if (!link.empty()) sids.push_back(kesh::SID(link));
    } catch (const kesh::BadDataException&) {
      // A link that is no SID names its profile "*<link>" when it is loaded.
    }
  }
  if (!sids.empty()) schema.prefetched_ = PrefetchPrincipalsBySid(sids);
}

kesh::ADObject SchemaScp::linkedPrincipal(kesh::ADObject& scp, const std::string& link) {
  const std::string managedBy = scp.firstValue(AD_MANAGED_BY);
  if (version_ < FIRST_MANAGED_BY_FREE_VERSION && !managedBy.empty()) {
    try {
      return GetBindingForDN(managedBy)->fetch(managedBy, nullptr, AD_ALL_OBJECTS);
    } catch (const std::exception&) {
      // The managedBy link is followed on a best-effort basis; the SID comes next.
    }
  }
  if (link.empty()) return kesh::ADObject();
  auto known = prefetched_.find(link);
  if (known != prefetched_.end()) return known->second;
  try {
    kesh::SID sid(link);
    return GetPrincipalBySid(sid);
  } catch (const std::exception&) {
    // Gone, of a domain without binding, or no SID at all: the profile is named by its link.
    return kesh::ADObject();
  }
}
