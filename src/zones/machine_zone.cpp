// Computer zones of hierarchical zones.
#include "zones/machine_zone.h"

#include <cstdio>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "authorization/qv.h"
#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/strings.h"
#include "schema/computer.h"
#include "schema/keywords.h"
#include "schema/profile_store.h"
#include "schema/zschema.h"

const char* const MachineZone::SCOPE_MARKER = "$KeshComputerZone1";

namespace {

// The schema version of every computer zone object.
constexpr int MACHINE_ZONE_VERSION = 8;

const char kComputerZoneSuffix[] = ":zone";
const char kContainerClass[] = "container";
const char kNoProfileWarning[] =
    "Warning: Zone computer does not exist. The parentLink of computer zone will be empty.\n";

// cn=Computers,<zone>: where the computers' profiles and computer zones live.
kesh::ADObject ComputerContainer(TreeZone& tree) {
  return kesh::LDAPBinding::createChild(tree.object, COMPUTERS_CONTAINER, AD_CN);
}

// The zone object cn=<computer>:zone,cn=Computers,<zone>, built in memory.
kesh::ADObject MachineZoneObject(TreeZone& tree, const std::string& computer) {
  kesh::ADObject container = ComputerContainer(tree);
  return kesh::LDAPBinding::createChild(container, computer + kComputerZoneSuffix, "cn");
}

// Copies the parent link of the computer's profile, when it has one, into the dictionary of
// the new zone object. A computer without a profile leaves the link empty, with a warning.
void CopyParentLink(TreeZone& tree, const std::string& computer, kesh::ADObject& zoneObject) {
  std::string link;
  try {
    link = ComputerProfileLink(*tree.binding, tree.object, computer);
  } catch (const LDAPException&) {
    std::fputs(kNoProfileWarning, stderr);
    return;
  }
  if (!link.empty()) SetCramAttr(zoneObject, AD_DESCRIPTION, KEY_PARENT_LINK, link);
}

}  // namespace

std::shared_ptr<IZone> MachineZone::Open(std::shared_ptr<IZone> parent, const std::string& name) {
  const std::string computer = kesh::lower(name);
  TreeZone& tree = ParentZoneAs<TreeZone>(parent);
  std::shared_ptr<MachineZone> zone = std::make_shared<MachineZone>();
  CommonOpen(zone.get(), tree.binding, true, MachineZoneObject(tree, computer).dn());
  zone->name = computer;
  zone->scope = tree.store->openAccessZoneScope(computer, SCOPE_MARKER);
  zone->store = tree.store;
  zone->parent = tree.object;
  return zone;
}

std::shared_ptr<IZone> MachineZone::Create(std::shared_ptr<IZone> parent, const std::string& name,
                                           SchemaType schema) {
  const std::string computer = kesh::lower(name);
  TreeZone& tree = ParentZoneAs<TreeZone>(parent);
  kesh::ADObject object = MachineZoneObject(tree, computer);
  object[AD_OBJECT_CLASS] = kContainerClass;

  std::shared_ptr<SchemaBase> adapter;
  switch (schema) {
    case SCHEMA_TYPE_DYNAMIC:
      adapter = std::make_shared<MachineDynamic>(object, tree.binding, MACHINE_ZONE_VERSION);
      break;
    case SCHEMA_TYPE_RFC:
      adapter = std::make_shared<MachineRfc>(object, tree.binding, MACHINE_ZONE_VERSION);
      break;
    default:
      KESH_THROW(kesh::BadDataException, 0, "Unsupported schema type");
  }
  adapter->setZoneData();
  CopyParentLink(tree, computer, object);
  tree.binding->add(object);

  AddZoneContainers(
      *tree.binding, object,
      {GROUPS_CONTAINER, USERS_CONTAINER, LOCAL_GROUPS_CONTAINER, LOCAL_USERS_CONTAINER});

  tree.store->createMachineScope(computer);
  return Open(parent, computer);
}

std::string MachineZone::getPath() { return name + "@" + parent.dn(); }

std::string MachineZone::getZoneName() { return object.firstValue(AD_CN); }

std::string MachineZone::getParent(bool) { return parent.dn(); }

void MachineZone::saveZone() { binding->update(object, MyBinding::UPDATE_REPLACE); }

void MachineZone::remove() {
  binding->remove(object, true);
  store->deleteScope(name);
}
