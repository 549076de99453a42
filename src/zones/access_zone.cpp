// Access zones (computer roles) of hierarchical zones.
#include "zones/access_zone.h"

#include <memory>
#include <string>

#include "directory/library/exceptions.h"

const char* const AccessZone::SCOPE_MARKER = "$KeshAccessZone1";

std::shared_ptr<IZone> AccessZone::Open(std::shared_ptr<IZone>, const std::string&) {
  NotAvailableYet("AccessZone::Open");
}
std::shared_ptr<IZone> AccessZone::Create(std::shared_ptr<IZone>, const std::string&) {
  NotAvailableYet("AccessZone::Create");
}
std::string AccessZone::getPath() { NotAvailableYet("getPath"); }
std::string AccessZone::getZoneName() { NotAvailableYet("getZoneName"); }
std::string AccessZone::getParent(bool) { NotAvailableYet("getParent"); }
void AccessZone::saveZone() { NotAvailableYet("saveZone"); }
void AccessZone::remove() { NotAvailableYet("remove"); }
std::string AccessZone::getGroup() { NotAvailableYet("getGroup"); }
void AccessZone::setGroup(const std::string&) { NotAvailableYet("setGroup"); }
