// Access zones (computer roles) of hierarchical zones.
#include "zones/access_zone.h"

#include <memory>
#include <string>

#include "authorization/qv.h"
#include "directory/ldap.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/sam_parser.h"
#include "directory/principal.h"
#include "zones/ngzone.h"

const char* const AccessZone::SCOPE_MARKER = "$KeshAccessZone1";

std::shared_ptr<IZone> AccessZone::Open(std::shared_ptr<IZone> parent, const std::string& name) {
  TreeZone& tree = ParentZoneAs<TreeZone>(parent);
  std::shared_ptr<AccessZone> zone = std::make_shared<AccessZone>();
  zone->store = tree.store;
  zone->scope = tree.store->openAccessZoneScope(name, SCOPE_MARKER);
  zone->parentDn = tree.object.dn();
  zone->name = name;
  zone->group = zone->scope->getAccessZoneGroup();
  return zone;
}

std::shared_ptr<IZone> AccessZone::Create(std::shared_ptr<IZone> parent, const std::string& name) {
  TreeZone& tree = ParentZoneAs<TreeZone>(parent);
  tree.store->createAccessZoneScope(name);
  return Open(parent, name);
}

std::string AccessZone::getPath() { return parentDn + "/" + name; }

std::string AccessZone::getZoneName() { return name; }

std::string AccessZone::getParent(bool) { return parentDn; }

void AccessZone::saveZone() {
  kesh::ADObject& object = *scope->scopeObject;
  object[AZ_APP_DATA] = sam::SamParser::WriteV2ScopeData(group);
  scope->binding->update(object, MyBinding::UPDATE_REPLACE);
}

void AccessZone::remove() { store->deleteScope(name); }

std::string AccessZone::getGroup() { return group; }

void AccessZone::setGroup(const std::string& value) {
  GetADGroup(value);
  group = value;
}
