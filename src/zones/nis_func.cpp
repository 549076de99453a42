#include "zones/nis_func.h"

#include <string>

#include "zones/zone.h"

void ListNisMaps() { NotAvailableYet("list_nis_maps"); }
Tcl::object GetNisMaps() { NotAvailableYet("get_nis_maps"); }
void ListNisMap() { NotAvailableYet("list_nis_map"); }
void ListNisMapWithComment() { NotAvailableYet("list_nis_map_with_comment"); }
Tcl::object GetNisMap() { NotAvailableYet("get_nis_map"); }
Tcl::object GetNisMapWithComment() { NotAvailableYet("get_nis_map_with_comment"); }
void NewNisMap(const Tcl::object&) { NotAvailableYet("new_nis_map"); }
void DeleteNisMap() { NotAvailableYet("delete_nis_map"); }
void AddMapEntry(const std::string&, const std::string&) { NotAvailableYet("add_map_entry"); }
void AddMapEntryWithComment(const std::string&, const std::string&, const std::string&) {
  NotAvailableYet("add_map_entry_with_comment");
}
void DeleteMapEntry(const std::string&) { NotAvailableYet("delete_map_entry"); }
void SelectNisMap(const std::string&) { NotAvailableYet("select_nis_map"); }
void SaveNisMap() { NotAvailableYet("save_nis_map"); }
std::string GetNisMapField(const std::string&) { NotAvailableYet("get_nis_map_field"); }
