// Classic zones and classic computer zones.
#include "zones/classic_zone.h"

#include <list>
#include <memory>
#include <string>

#include "directory/library/exceptions.h"

std::shared_ptr<IZone> ClassicZone::Open(std::shared_ptr<MyBinding>&, const std::string&) {
  NotAvailableYet("ClassicZone::Open");
}
void ClassicZone::OpenZone(std::shared_ptr<MyBinding>&, const std::string&, ClassicZone*) {
  NotAvailableYet("ClassicZone::OpenZone");
}
std::shared_ptr<IZone> ClassicZone::Create(std::shared_ptr<MyBinding>&, const std::string&,
                                           SchemaType, int, bool) {
  NotAvailableYet("ClassicZone::Create");
}
void ClassicZone::enableQV() { NotAvailableYet("enableQV"); }
void ClassicZone::disableQV() { NotAvailableYet("disableQV"); }
bool ClassicZone::isQVEnabled() { NotAvailableYet("isQVEnabled"); }
void ClassicZone::getChildren(std::list<std::shared_ptr<IZone>>&, bool, bool, bool) {
  NotAvailableYet("getChildren");
}
void ClassicZone::remove() { NotAvailableYet("remove"); }
void ClassicZone::saveZone() { NotAvailableYet("saveZone"); }
std::string ClassicZone::getPath() { NotAvailableYet("getPath"); }
std::string ClassicZone::getZoneName() { NotAvailableYet("getZoneName"); }
ZoneType ClassicZone::getZoneType() { NotAvailableYet("getZoneType"); }

std::shared_ptr<IZone> ClassicMachineZone::Open(std::shared_ptr<MyBinding>&, const std::string&,
                                                const std::string&) {
  NotAvailableYet("ClassicMachineZone::Open");
}
std::shared_ptr<IZone> ClassicMachineZone::Create(std::shared_ptr<IZone>, const std::string&) {
  NotAvailableYet("ClassicMachineZone::Create");
}
std::string ClassicMachineZone::getParent(bool) { NotAvailableYet("getParent"); }
std::string ClassicMachineZone::getPath() { NotAvailableYet("getPath"); }
std::string ClassicMachineZone::getZoneName() { NotAvailableYet("getZoneName"); }
void ClassicMachineZone::remove() { NotAvailableYet("remove"); }
