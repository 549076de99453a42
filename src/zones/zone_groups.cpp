// The zone side of group profiles: zone groups and local groups of the schema-backed zones.
#include <list>
#include <memory>
#include <string>

#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "schema/user.h"
#include "schema/zschema.h"
#include "zones/zone.h"

void IZoneSupportNssGroup::saveGroup(std::shared_ptr<NssGroup>&) { NotAvailableYet("saveGroup"); }

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

std::shared_ptr<NssGroup> NssZoneSupportZoneUserGroup::getZGroup(const std::string&, bool) {
  NotAvailableYet("getZGroup");
}
std::shared_ptr<NssGroup> NssZoneSupportZoneUserGroup::newZGroup(const std::string&) {
  NotAvailableYet("newZGroup");
}
kesh::ADObject NssZoneSupportZoneUserGroup::getZGroupContainer() {
  return kesh::LDAPBinding::createChild(object, "Groups", AD_CN);
}

std::shared_ptr<NssGroup> NssZoneSupportLocalUserGroup::getLocalGroup(const std::string&) {
  NotAvailableYet("getLocalGroup");
}
std::shared_ptr<NssGroup> NssZoneSupportLocalUserGroup::newLocalGroup(const std::string&) {
  NotAvailableYet("newLocalGroup");
}
