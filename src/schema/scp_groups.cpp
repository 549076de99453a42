// Group profiles in the serviceConnectionPoint layouts: zone groups and local groups.
//
// A zone group lives in the zone's child "Groups" and is linked to its directory group by the
// keyword parentLink (the group's SID) or, in the oldest zones, by managedBy. A local group
// lives in "LocalGroups" and has no directory group. The cn of a zone group is its UNIX name
// in classic zones, and from version 6 on a name made of the directory group (see
// zoneGroupName), or its GUID when that name is longer than a cn may be.
#include <list>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/strings.h"
#include "directory/principal.h"
#include "schema/keywords.h"
#include "schema/zschema.h"

namespace {

const char GROUPS_CONTAINER[] = "Groups";
const char LOCAL_GROUPS_CONTAINER[] = "LocalGroups";
// The RFC 2307 attribute of a group's gid.
const char GID_NUMBER_ATTR[] = "gidNumber";
// Keys of a group profile's keyword dictionary.
const char GID_KEY[] = "gid";
const char LOGIN_KEY[] = "login";
const char PARENT_LINK_KEY[] = "parentLink";
const char REQUIRED_KEY[] = "required";
const char PROFILE_FLAG_KEY[] = "profileflag";
const char MEMBER_KEY[] = "member";
// Markers (displayName) of group profiles.
const char GROUP_VERSION_MARKER[] = "$KeshGroupVersion";
const char LOCAL_GROUP_MARKER_RFC[] = "$KeshLocalGroupVersion2";
const char LOCAL_GROUP_MARKER_DYNAMIC[] = "$KeshLocalGroupVersion1";
// The longest cn the directory takes.
const size_t MAX_CN_LENGTH = 64;
// Zone versions: below 4 the older classic generation, from 6 hierarchical and computer.
const int FIRST_NEWER_CLASSIC_VERSION = 4;
const int FIRST_TREE_VERSION = 6;

const char* ContainerOf(bool local) { return local ? LOCAL_GROUPS_CONTAINER : GROUPS_CONTAINER; }

// Empties a map when the scope ends, also when an exception passes.
class ClearOnExit {
 public:
  explicit ClearOnExit(std::map<std::string, kesh::ADObject>& map) : map_(map) {}
  ~ClearOnExit() { map_.clear(); }
  ClearOnExit(const ClearOnExit&) = delete;
  ClearOnExit& operator=(const ClearOnExit&) = delete;

 private:
  std::map<std::string, kesh::ADObject>& map_;
};

}  // namespace

void SchemaScp::loadGroup(const std::string& name, std::shared_ptr<NssGroup>& group,
                          bool byUnixName) {
  kesh::ADObject scp;
  if (group->type == GROUP_TYPE_LOCAL) {
    scp = findScpByCN(name, LOCAL_GROUPS_CONTAINER);
  } else {
    if (name.empty()) throw std::out_of_range("empty group name");
    try {
      if (byUnixName) {
        scp = version_ >= FIRST_TREE_VERSION
                  ? FindScpByLoginName(binding_, zone_, name, GROUPS_CONTAINER)
                  : FindScpByCN(binding_, zone_, name, GROUPS_CONTAINER);
      } else if (name[0] == '*') {
        kesh::ADObject fake = FakeSidObject(name.substr(1));
        scp = FindScpBySid(binding_, zone_, kesh::SID(name.substr(1)), GROUPS_CONTAINER, fake.dn());
      } else {
        kesh::ADObject adGroup = GetADGroup(name);
        scp = FindScpBySid(binding_, zone_, adGroup.sid(), GROUPS_CONTAINER, adGroup.dn());
      }
    } catch (const std::exception&) {
      // Any failure of the lookup (no such group, no profile, a malformed SID) is a group
      // that is not in the zone.
      scp = kesh::ADObject();
    }
  }
  if (scp.empty()) KESH_THROW(kesh::NotFoundException, 0, "Group not in current zone");
  loadGroupData(scp, group);
}

void SchemaScp::loadGroupData(kesh::ADObject& scp, std::shared_ptr<NssGroup>& group) {
  if (group->type == GROUP_TYPE_LOCAL) {
    commonLocalGroupLoad(scp, group);
  } else {
    commonZGroupLoad(scp, group);
  }
  loadGroupGid(scp, group);
}

void SchemaScp::commonZGroupLoad(kesh::ADObject& scp, std::shared_ptr<NssGroup>& group) {
  group->scp = scp;
  CramDict(scp.find(AD_KEYWORDS), group->keywords);
  group->required = kesh::lower(GetCramAttr(REQUIRED_KEY, group->keywords)) == "true";
  std::string name = version_ >= FIRST_TREE_VERSION ? GetCramAttr(LOGIN_KEY, group->keywords)
                                                    : scp.firstValue(AD_CN);
  if (!name.empty()) group->unixName.set(name);

  kesh::ADObject adGroup;
  const std::string managedBy = scp.firstValue(AD_MANAGED_BY);
  if (version_ < FIRST_NEWER_CLASSIC_VERSION && !managedBy.empty()) {
    try {
      adGroup = GetBindingForDN(managedBy)->fetch(managedBy, nullptr, AD_ALL_OBJECTS);
    } catch (const std::exception&) {
      // A link that cannot be followed leaves the group to its parentLink.
      adGroup = kesh::ADObject();
    }
  }
  const std::string link = GetCramAttr(PARENT_LINK_KEY, group->keywords);
  if (adGroup.empty()) {
    auto known = prefetched_.find(link);
    if (known != prefetched_.end()) {
      adGroup = known->second;
    } else {
      try {
        kesh::SID sid(link);
        adGroup = GetPrincipalBySid(sid);
      } catch (const std::exception&) {
        // Unresolvable (gone, of a domain without binding, or no SID at all): the profile
        // is named by its link.
        adGroup = kesh::ADObject();
      }
    }
  }
  if (adGroup.empty()) {
    group->accountName = "*" + link;
    return;
  }
  group->adGroup = adGroup;
  const kesh::ADAttribute* sam = adGroup.find(AD_SAM_ACCOUNT_NAME);
  std::string accountName = sam != nullptr ? std::string(*sam) : adGroup.firstValue(AD_CN);
  group->accountName = accountName.empty()
                           ? "*" + link
                           : accountName + "@" + kesh::lower(kesh::DN::domainFromDN(adGroup.dn()));
}

void SchemaScp::commonLocalGroupLoad(kesh::ADObject& scp, std::shared_ptr<NssGroup>& group) {
  group->scp = scp;
  CramDict(scp.find(AD_KEYWORDS), group->keywords);
  std::string name = GetCramAttr(LOGIN_KEY, group->keywords);
  if (name.empty()) name = scp.firstValue(AD_CN);
  group->unixName.set(name);
  const std::string flag = GetCramAttr(PROFILE_FLAG_KEY, group->keywords);
  if (!flag.empty()) {
    group->profileFlag.isSet = true;
    group->profileFlag.value.setUnchecked(flag);
  }
  const std::string members = GetCramAttr(MEMBER_KEY, group->keywords);
  if (!members.empty()) group->members.set(members);
}

kesh::ADObject SchemaScp::findUnixGroup(const std::string& name, bool local) {
  kesh::ADObject container = childContainer(ContainerOf(local));
  if (version_ < FIRST_TREE_VERSION) {
    const std::string dn = kesh::LDAPBinding::createChild(container, name, AD_CN).dn();
    try {
      return binding_->fetch(dn, nullptr, AD_ALL_OBJECTS);
    } catch (const std::exception&) {
      // Absent or unreadable: either way no group holds the name here.
      KESH_THROW(kesh::NotFoundException, 0, "group not found");
    }
  }
  kesh::ADObjectList found =
      binding_->search(std::string("(keywords=") + LOGIN_KEY + ":" + name + ")", container.dn(),
                       nullptr, kesh::SCOPE_SUB, 0);
  if (found.empty()) KESH_THROW(kesh::NotFoundException, 0, "group not found");
  return found.front();
}

void SchemaScp::getGroups(const std::string& filter, std::list<std::shared_ptr<NssGroup>>& out,
                          NssGroup* (*factory)(), bool local) {
  kesh::ADObjectList found = binding_->search(filter, childContainer(ContainerOf(local)).dn(),
                                              nullptr, kesh::SCOPE_ONE, 0);
  ClearOnExit clear(prefetched_);
  if (!local && found.size() > 1) {
    // The directory groups behind the profiles, resolved in a few searches instead of one
    // per profile; commonZGroupLoad asks GetPrincipalBySid only for what this misses.
    std::vector<kesh::SID> sids;
    for (size_t i = 0; i < found.size(); ++i) {
      std::map<std::string, std::string> dict;
      CramDict(found[i].find(AD_KEYWORDS), dict);
      const std::string link = GetCramAttr(PARENT_LINK_KEY, dict);
      try {
        sids.push_back(kesh::SID(link));
      } catch (const kesh::BadDataException&) {
        // No SID in the link: the load names such a profile by its link text.
      }
    }
    if (!sids.empty()) prefetched_ = PrefetchPrincipalsBySid(sids);
  }
  for (size_t i = 0; i < found.size(); ++i) {
    std::shared_ptr<NssGroup> group(factory());
    loadGroupData(found[i], group);
    out.push_back(group);
  }
}

void SchemaScp::saveGroup(std::shared_ptr<NssGroup>& group) {
  std::map<std::string, std::string> dict;
  kesh::ADObject target;
  if (group->type == GROUP_TYPE_LOCAL) {
    target = saveLocalGroup(group, dict);
    target[AD_OBJECT_CLASS].reset();
    for (const std::string& objectClass : profileClasses()) {
      target[AD_OBJECT_CLASS].addVal(objectClass);
    }
    target[AD_DISPLAY_NAME] =
        getSchemaType() == SCHEMA_TYPE_RFC ? LOCAL_GROUP_MARKER_RFC : LOCAL_GROUP_MARKER_DYNAMIC;
  } else {
    target = saveZGroup(group, dict);
  }
  saveGroupGid(group, target, dict);
  if (version_ >= FIRST_TREE_VERSION && group->unixName.isSet) {
    dict[LOGIN_KEY] = group->unixName.value;
  }
  CramAttrs(target[AD_KEYWORDS], dict);
  if (group->isNew) {
    binding_->add(target);
  } else {
    binding_->update(target, MyBinding::UPDATE_REPLACE);
  }
  group->isNew = false;
  group->scp = binding_->fetch(target.dn(), nullptr, AD_ALL_OBJECTS);
}

kesh::ADObject SchemaScp::saveZGroup(std::shared_ptr<NssGroup>& group,
                                     std::map<std::string, std::string>& dict) {
  checkZGroupFields(group);
  kesh::ADObject container = childContainer(GROUPS_CONTAINER);
  kesh::ADObject target;
  if (version_ >= FIRST_TREE_VERSION) {
    std::string cn = zoneGroupName(group);
    if (cn.size() > MAX_CN_LENGTH && isTreeZone()) cn = group->adGroup.guid().toRealMSString();
    target = kesh::LDAPBinding::createChild(container, cn, AD_CN);
  } else {
    if (!group->isNew) {
      kesh::ADObject present;
      try {
        present = FindScpBySid(binding_, zone_, group->adGroup.sid(), GROUPS_CONTAINER,
                               group->adGroup.dn());
      } catch (const kesh::NotFoundException&) {
        KESH_THROW(kesh::BadDataException, 0, "Scp has been deleted");
      }
      if (present.firstValue(KESH_GROUPNAME) != group->unixName.value) {
        binding_->rename(present,
                         std::string("CN=") + kesh::DN::escapeRDNValue(group->unixName.value));
      }
    }
    target = kesh::LDAPBinding::createChild(container, group->unixName.value, AD_CN);
  }
  if (group->isNew) {
    for (const std::string& objectClass : profileClasses()) {
      target[AD_OBJECT_CLASS].addVal(objectClass);
    }
    target[AD_DISPLAY_NAME] = GROUP_VERSION_MARKER + std::to_string(objectVersion().group);
  }
  dict[PARENT_LINK_KEY] = group->adGroup.sid().toMSString();
  dict[REQUIRED_KEY] = group->required ? "True" : "False";
  return target;
}

kesh::ADObject SchemaScp::saveLocalGroup(std::shared_ptr<NssGroup>& group,
                                         std::map<std::string, std::string>& dict) {
  if (group->isNew) checkAndCreateContainer(LOCAL_GROUPS_CONTAINER);
  kesh::ADObject present = findScpByCN(group->unixName.value, LOCAL_GROUPS_CONTAINER);
  if (!group->isNew && present.empty()) {
    KESH_THROW(kesh::BadDataException, 0, "Scp has been deleted");
  }
  const std::string cn = group->isNew ? group->unixName.value : present.firstValue(AD_CN);
  kesh::ADObject container = childContainer(LOCAL_GROUPS_CONTAINER);
  kesh::ADObject target = kesh::LDAPBinding::createChild(container, cn, AD_CN);
  if (group->profileFlag.isSet) dict[PROFILE_FLAG_KEY] = group->profileFlag.value.get();
  if (group->members.isSet) dict[MEMBER_KEY] = group->members.value;
  updateContainerTimestamp(LOCAL_GROUPS_CONTAINER);
  return target;
}

void SchemaScp::deleteGroup(std::shared_ptr<NssGroup>& group) {
  if (group->isNew) KESH_THROW(kesh::BadDataException, 0, "Group has not been created");
  if (!group->scp.empty()) binding_->remove(group->scp, false);
  if (group->type == GROUP_TYPE_LOCAL) updateContainerTimestamp(LOCAL_GROUPS_CONTAINER);
}

// --- RFC layout ---

void SchemaScpRfc::loadGroupGid(kesh::ADObject& scp, std::shared_ptr<NssGroup>& group) {
  const std::string text = scp.firstValue(GID_NUMBER_ATTR);
  if (!text.empty()) group->gid.set(kesh::atoui(text));
}

void SchemaScpRfc::saveGroupGid(std::shared_ptr<NssGroup>& group, kesh::ADObject& target,
                                std::map<std::string, std::string>& /*dict*/) {
  if (group->gid.isSet) {
    target[GID_NUMBER_ATTR] = static_cast<unsigned>(group->gid.value);
  } else {
    target[GID_NUMBER_ATTR].reset();
  }
}

std::string SchemaScpRfc::zoneGroupName(std::shared_ptr<NssGroup>& group) {
  const kesh::ADAttribute* sam = group->adGroup.find(AD_SAM_ACCOUNT_NAME);
  return (sam != nullptr ? kesh::lower(*sam) : std::string("?")) + "@" +
         kesh::lower(kesh::DN::domainFromDN(group->adGroup.dn()));
}

void SchemaScpRfc::checkZGroupFields(std::shared_ptr<NssGroup>& group) {
  if (version_ < FIRST_TREE_VERSION && !(group->gid.isSet && group->unixName.isSet)) {
    KESH_THROW(kesh::BadDataException, 0, "Some group profile fields are missing");
  }
}

// --- Dynamic layout ---

void SchemaScpDynamic::loadGroupGid(kesh::ADObject& /*scp*/, std::shared_ptr<NssGroup>& group) {
  const std::string text = GetCramAttr(GID_KEY, group->keywords);
  if (!text.empty()) group->gid.set(kesh::atoui(text));
}

void SchemaScpDynamic::saveGroupGid(std::shared_ptr<NssGroup>& group, kesh::ADObject& /*target*/,
                                    std::map<std::string, std::string>& dict) {
  if (group->gid.isSet) dict[GID_KEY] = std::to_string(group->gid.value);
}

std::string SchemaScpDynamic::zoneGroupName(std::shared_ptr<NssGroup>& group) {
  return group->adGroup.firstValue(AD_CN) + "@" +
         kesh::lower(kesh::DN::domainFromDN(group->adGroup.dn()));
}
