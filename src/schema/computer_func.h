// The zone computer commands: computer profiles of the current zone.
//
// A handler reads its words, takes the current zone (IZoneSupportComputer) and the current
// computer from the session and calls one operation. new_/select_zone_computer make the
// computer current; set_zone_computer_field changes it in memory; save_zone_computer writes
// it; delete_zone_computer removes it (with -all also the computer zone of that computer)
// and empties the slot.
//
// The line of a computer, in list_zone_computers and `show computer`:
//   <accountName>:<cn>:<cpus>:<enabled 1|0>:<agentVersion>
#ifndef ZONESMITH_SCHEMA_COMPUTER_FUNC_H_
#define ZONESMITH_SCHEMA_COMPUTER_FUNC_H_

#include <memory>
#include <string>

#include "schema/computer.h"
#include "script/cpptcl.h"

// Writes the line of `computer` and a newline to standard output.
void DisplayComputer(const std::shared_ptr<ZoneComputer>& computer);

void ListZoneComputers();
Tcl::object GetZoneComputers();
void NewZoneComputer(const std::string& name);
void SelectZoneComputer(const std::string& name);
void SaveZoneComputer();
void DeleteZoneComputer(const Tcl::object& args);
std::string GetZoneComputerField(const std::string& field);
void SetZoneComputerField(const std::string& field, const std::string& value);

#endif  // ZONESMITH_SCHEMA_COMPUTER_FUNC_H_
