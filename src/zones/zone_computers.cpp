// The zone computer profiles of a zone: the computer capability of the zone classes.
#include <list>
#include <map>
#include <memory>
#include <string>

#include "directory/library/exceptions.h"
#include "schema/computer.h"
#include "schema/zschema.h"
#include "zones/zone.h"

std::shared_ptr<ZoneComputer> NssZoneSupportComputer::getZoneComputer(const std::string&) {
  NotAvailableYet("getZoneComputer");
}
void NssZoneSupportComputer::saveZoneComputer(std::shared_ptr<ZoneComputer>&) {
  NotAvailableYet("saveZoneComputer");
}
std::shared_ptr<ZoneComputer> NssZoneSupportComputer::newZoneComputer(const std::string&) {
  NotAvailableYet("newZoneComputer");
}
void NssZoneSupportComputer::getZoneComputers(const std::string&,
                                              std::list<std::shared_ptr<ZoneComputer>>&) {
  NotAvailableYet("getZoneComputers");
}
void NssZoneSupportComputer::deleteZoneComputer(std::shared_ptr<ZoneComputer>&) {
  NotAvailableYet("deleteZoneComputer");
}
