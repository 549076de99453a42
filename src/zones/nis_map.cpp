// Naming of NIS maps and their entries.
#include "zones/nis_map.h"

#include <string>

#include "zones/zone.h"

bool IsAutomountMapName(const std::string&) { NotAvailableYet("IsAutomountMapName"); }
std::string GetMapSchema(const std::string&) { NotAvailableYet("GetMapSchema"); }
std::string GetMapEntrySchema(const std::string&) { NotAvailableYet("GetMapEntrySchema"); }
std::string GetMapSchemaGuid(const std::string&) { NotAvailableYet("GetMapSchemaGuid"); }
unsigned ParseNisMapIndexedKey(const std::string&, std::string&) {
  NotAvailableYet("ParseNisMapIndexedKey");
}
std::string NewMapEntryCn(const std::string&) { NotAvailableYet("NewMapEntryCn"); }
std::string NewSpareEntryCn() { NotAvailableYet("NewSpareEntryCn"); }
