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
#include "schema/profile_store.h"
#include "schema/zschema.h"

namespace {

// Keys of a group profile's keyword dictionary.
const char REQUIRED_KEY[] = "required";
// Markers (displayName) of group profiles.
const char GROUP_VERSION_MARKER[] = "$KeshGroupVersion";
const char LOCAL_GROUP_MARKER_RFC[] = "$KeshLocalGroupVersion2";
const char LOCAL_GROUP_MARKER_DYNAMIC[] = "$KeshLocalGroupVersion1";

const char* ContainerOf(bool local) { return local ? LOCAL_GROUPS_CONTAINER : GROUPS_CONTAINER; }

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
        // A caller that resolved the directory group already hands it in.
        kesh::ADObject adGroup = group->adGroup.empty() ? GetADGroup(name) : group->adGroup;
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
  std::string name = version_ >= FIRST_TREE_VERSION ? GetCramAttr(KEY_LOGIN, group->keywords)
                                                    : scp.firstValue(AD_CN);
  if (!name.empty()) group->unixName.set(name);

  const std::string link = GetCramAttr(KEY_PARENT_LINK, group->keywords);
  kesh::ADObject adGroup = linkedPrincipal(scp, link);
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
  std::string name = GetCramAttr(KEY_LOGIN, group->keywords);
  if (name.empty()) name = scp.firstValue(AD_CN);
  group->unixName.set(name);
  const std::string flag = GetCramAttr(KEY_PROFILE_FLAG, group->keywords);
  if (!flag.empty()) {
    group->profileFlag.isSet = true;
    group->profileFlag.value.setUnchecked(flag);
  }
  const std::string members = GetCramAttr(KEY_MEMBER, group->keywords);
  if (!members.empty()) group->members.set(members);
}

kesh::ADObject SchemaScp::findUnixGroup(const std::string& name, bool local) {
  return findUnixName(ContainerOf(local), name,
                      std::string("(keywords=") + KEY_LOGIN + ":" + name + ")", "group not found");
}

void SchemaScp::getGroups(const std::string& filter, std::list<std::shared_ptr<NssGroup>>& out,
                          NssGroup* (*factory)(), bool local) {
  kesh::ADObjectList found = binding_->search(filter, childContainer(ContainerOf(local)).dn(),
                                              nullptr, kesh::SCOPE_ONE, 0);
  // Local groups link to no directory group.
  PrefetchScope prefetch(*this, local ? kesh::ADObjectList() : found);
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
    dict[KEY_LOGIN] = group->unixName.value;
  }
  CramAttrs(target[AD_KEYWORDS], dict);
  binding_->write(target, group->isNew);
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
    if (cn.size() > MAX_PROFILE_CN && isTreeZone()) cn = group->adGroup.guid().toRealMSString();
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
  dict[KEY_PARENT_LINK] = group->adGroup.sid().toMSString();
  dict[REQUIRED_KEY] = group->required ? TRUE_TEXT : FALSE_TEXT;
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
  if (group->profileFlag.isSet) dict[KEY_PROFILE_FLAG] = group->profileFlag.value.get();
  if (group->members.isSet) dict[KEY_MEMBER] = group->members.value;
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
  const std::string text = scp.firstValue(RFC_GID_NUMBER);
  if (!text.empty()) group->gid.set(kesh::atoui(text));
}

void SchemaScpRfc::saveGroupGid(std::shared_ptr<NssGroup>& group, kesh::ADObject& target,
                                std::map<std::string, std::string>& /*dict*/) {
  if (group->gid.isSet) {
    target[RFC_GID_NUMBER] = static_cast<unsigned>(group->gid.value);
  } else {
    target[RFC_GID_NUMBER].reset();
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
  const std::string text = GetCramAttr(KEY_GID, group->keywords);
  if (!text.empty()) group->gid.set(kesh::atoui(text));
}

void SchemaScpDynamic::saveGroupGid(std::shared_ptr<NssGroup>& group, kesh::ADObject& /*target*/,
                                    std::map<std::string, std::string>& dict) {
  if (group->gid.isSet) dict[KEY_GID] = std::to_string(group->gid.value);
}

std::string SchemaScpDynamic::zoneGroupName(std::shared_ptr<NssGroup>& group) {
  return group->adGroup.firstValue(AD_CN) + "@" +
         kesh::lower(kesh::DN::domainFromDN(group->adGroup.dn()));
}
