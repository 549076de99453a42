// Computer zones of hierarchical zones.
#include "zones/machine_zone.h"

#include <memory>
#include <string>

#include "directory/library/exceptions.h"

const char* const MachineZone::SCOPE_MARKER = "$KeshComputerZone1";

std::shared_ptr<IZone> MachineZone::Open(std::shared_ptr<IZone>, const std::string&) {
  NotAvailableYet("MachineZone::Open");
}
std::shared_ptr<IZone> MachineZone::Create(std::shared_ptr<IZone>, const std::string&, SchemaType) {
  NotAvailableYet("MachineZone::Create");
}
std::string MachineZone::getPath() { NotAvailableYet("getPath"); }
std::string MachineZone::getZoneName() { NotAvailableYet("getZoneName"); }
std::string MachineZone::getParent(bool) { NotAvailableYet("getParent"); }
void MachineZone::saveZone() { NotAvailableYet("saveZone"); }
void MachineZone::remove() { NotAvailableYet("remove"); }
