// The NIS maps of a zone and their entries.
#include <list>
#include <map>
#include <memory>
#include <string>

#include "directory/ldap.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "zones/nis_map.h"
#include "zones/zone.h"

void NssZoneSupportNisMaps::getMaps(std::list<std::string>&) { NotAvailableYet("getMaps"); }
void NssZoneSupportNisMaps::getMapEntries(
    const std::string&, std::map<std::string, std::pair<std::string, std::string>>&) {
  NotAvailableYet("getMapEntries");
}
std::shared_ptr<NisMap> NssZoneSupportNisMaps::newMap(const std::string&, bool) {
  NotAvailableYet("newMap");
}
void NssZoneSupportNisMaps::deleteMap(const std::string&) { NotAvailableYet("deleteMap"); }
void NssZoneSupportNisMaps::addMapEntry(const std::string&, const std::string&, const std::string&,
                                        const std::string&) {
  NotAvailableYet("addMapEntry");
}
void NssZoneSupportNisMaps::removeMapEntry(const std::string&, const std::string&) {
  NotAvailableYet("removeMapEntry");
}
void NssZoneSupportNisMaps::saveMap(std::shared_ptr<NisMap>&) { NotAvailableYet("saveMap"); }
std::shared_ptr<NisMap> NssZoneSupportNisMaps::getMap(const std::string&) {
  NotAvailableYet("getMap");
}

kesh::ADObject NssZoneSupportNisMaps::getNisContainer() {
  kesh::ADObject container = kesh::LDAPBinding::createChild(object, "NisMaps", "cn");
  std::string dn = container.dn();
  try {
    return binding->fetch(dn, nullptr, AD_ALL_OBJECTS);
  } catch (const LDAPException&) {
    // A zone whose NIS container went missing gets it back on first use.
  }
  container[AD_OBJECT_CLASS] = "container";
  binding->add(container);
  return binding->fetch(dn, nullptr, AD_ALL_OBJECTS);
}

kesh::ADObjectList NssZoneSupportNisMaps::findMapEntry(const std::string&, const std::string&) {
  NotAvailableYet("findMapEntry");
}
kesh::ADObject NssZoneSupportNisMaps::findSpareMapEntry(const std::string&) {
  NotAvailableYet("findSpareMapEntry");
}
kesh::ADObject NssZoneSupportNisMaps::getMapObject(const std::string&) {
  NotAvailableYet("getMapObject");
}
