// The zone side of group profiles: zone groups and local groups of the schema-backed zones.
#include <list>
#include <memory>
#include <string>

#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/strings.h"
#include "directory/principal.h"
#include "schema/profile_store.h"
#include "schema/user.h"
#include "schema/zschema.h"
#include "zones/zone.h"

namespace {

// The attribute of a directory group whose top bit marks a security group.

}  // namespace

void IZoneSupportNssGroup::saveGroup(std::shared_ptr<NssGroup>& group) {
  IZoneSchema* schema = getCurrentSchema();
  const bool sfu = schema->getSchemaType() == SCHEMA_TYPE_SFU;
  if (!sfu) {
    const int count = (group->gid.isSet ? 1 : 0) + (group->unixName.isSet ? 1 : 0);
    if (schema->version() >= FIRST_TREE_VERSION && count == 0) {
      KESH_THROW(kesh::BadDataException, 0, "At least one group profile field required");
    }
    if (schema->version() < FIRST_TREE_VERSION && count != 2) {
      KESH_THROW(kesh::BadDataException, 0, "Some group profile fields are missing");
    }
  }
  if (group->unixName.isSet && !sfu) {
    bool taken = false;
    try {
      kesh::ADObject holder =
          schema->findUnixGroup(group->unixName.value, getGroupType() == GROUP_TYPE_LOCAL);
      taken = group->isNew || kesh::upper(holder.dn()) != kesh::upper(group->scp.dn());
    } catch (const kesh::NotFoundException&) {
      taken = false;  // no profile holds the name
    }
    if (taken) KESH_THROW(kesh::BadDataException, 0, "Duplicate Unix name");
  }
  schema->saveGroup(group);
}

void IZoneSupportNssGroup::getGroups(const std::string& filter,
                                     bool (*visit)(std::shared_ptr<NssGroup>&)) {
  bool local = getGroupType() == GROUP_TYPE_LOCAL;
  if (local && getCurrentSchema()->getSchemaType() == SCHEMA_TYPE_SFU) {
    KESH_THROW(kesh::BadDataException, 0, "SFU Zone does not support local group");
  }
  std::list<std::shared_ptr<NssGroup>> groups;
  getCurrentSchema()->getGroups(filter, groups, local ? MakeLocalGroup : MakeZGroup, local);
  for (std::shared_ptr<NssGroup>& group : groups) {
    if (visit(group)) break;
  }
}

void IZoneSupportNssGroup::deleteGroup(std::shared_ptr<NssGroup>& group) {
  getCurrentSchema()->deleteGroup(group);
}

std::shared_ptr<NssGroup> NssZoneSupportZoneUserGroup::getZGroup(const std::string& name,
                                                                 bool byUnixName) {
  std::shared_ptr<NssGroup> group(MakeZGroup());
  schema->loadGroup(name, group, byUnixName);
  return group;
}

std::shared_ptr<NssGroup> NssZoneSupportZoneUserGroup::newZGroup(const std::string& name) {
  // The directory group is resolved once, for the test of an existing profile and for the
  // new one; a name that does not resolve fails below with the lookup's own message.
  kesh::ADObject adGroup;
  bool exists = false;
  try {
    std::shared_ptr<NssGroup> probe(MakeZGroup());
    if (!name.empty() && name[0] != '*') probe->adGroup = adGroup = GetADGroup(name);
    schema->loadGroup(name, probe, false);
    exists = true;
  } catch (const std::exception&) {
    // Not found, or not resolvable: the name is free as far as this zone goes.
  }
  if (exists) KESH_THROW(kesh::BadDataException, 0, "Group already exists");
  std::shared_ptr<NssGroup> group(MakeZGroup());
  if (adGroup.empty()) adGroup = GetADGroup(name);
  if (IsDistributionGroup(adGroup)) {
    KESH_THROW(kesh::BadDataException, 0,
               "Error: %s is a distribution group.  Only security groups can be added to the zone",
               name.c_str());
  }
  group->adGroup = adGroup;
  group->accountName = GetGroupName(adGroup);
  group->isNew = true;
  return group;
}

kesh::ADObject NssZoneSupportZoneUserGroup::getZGroupContainer() {
  return kesh::LDAPBinding::createChild(object, GROUPS_CONTAINER, AD_CN);
}

std::shared_ptr<NssGroup> NssZoneSupportLocalUserGroup::getLocalGroup(const std::string& name) {
  std::shared_ptr<NssGroup> group(MakeLocalGroup());
  schema->loadGroup(name, group, false);
  return group;
}

std::shared_ptr<NssGroup> NssZoneSupportLocalUserGroup::newLocalGroup(const std::string& name) {
  if (name.find_first_of(LOCAL_NAME_FORBIDDEN) != std::string::npos) {
    KESH_THROW(kesh::BadDataException, 0, "value not allowed");
  }
  if (schema->getSchemaType() == SCHEMA_TYPE_SFU) {
    KESH_THROW(kesh::BadDataException, 0, "SFU Zone does not support local group");
  }
  bool exists = false;
  try {
    getLocalGroup(name);
    exists = true;
  } catch (const std::exception&) {
    // Any failure of the lookup means the name is free.
  }
  if (exists) KESH_THROW(kesh::BadDataException, 0, "Group already exists");
  std::shared_ptr<NssGroup> group(MakeLocalGroup());
  group->unixName.set(name);
  group->isNew = true;
  return group;
}
