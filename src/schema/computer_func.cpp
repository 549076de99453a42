#include "schema/computer_func.h"

#include <memory>
#include <string>

#include "zones/zone.h"

void DisplayComputer(const std::shared_ptr<ZoneComputer>&) { NotAvailableYet("DisplayComputer"); }
void ListZoneComputers() { NotAvailableYet("list_zone_computers"); }
Tcl::object GetZoneComputers() { NotAvailableYet("get_zone_computers"); }
void NewZoneComputer(const std::string&) { NotAvailableYet("new_zone_computer"); }
void SelectZoneComputer(const std::string&) { NotAvailableYet("select_zone_computer"); }
void SaveZoneComputer() { NotAvailableYet("save_zone_computer"); }
void DeleteZoneComputer(const Tcl::object&) { NotAvailableYet("delete_zone_computer"); }
std::string GetZoneComputerField(const std::string&) { NotAvailableYet("get_zone_computer_field"); }
void SetZoneComputerField(const std::string&, const std::string&) {
  NotAvailableYet("set_zone_computer_field");
}
