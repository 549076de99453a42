// The NIS map commands: maps of the current zone (IZoneSupportNisMaps) and the entries of
// the current map.
//
// new_nis_map makes an unsaved map current (save_nis_map adds it); select_nis_map reads a
// map and makes it current. Entries are written at once by add_map_entry and
// delete_map_entry; a new map must be saved first. The list and get commands read the map
// again (a map deleted by someone else fails there) and show its entries by indexed key:
//   <key>:<n>: <value>[: <comment>]
#ifndef ZONESMITH_ZONES_NIS_FUNC_H_
#define ZONESMITH_ZONES_NIS_FUNC_H_

#include <string>

#include "script/cpptcl.h"

void ListNisMaps();
Tcl::object GetNisMaps();
void ListNisMap();
void ListNisMapWithComment();
Tcl::object GetNisMap();
Tcl::object GetNisMapWithComment();
void NewNisMap(const Tcl::object& args);
void DeleteNisMap();
void AddMapEntry(const std::string& key, const std::string& value);
void AddMapEntryWithComment(const std::string& key, const std::string& value,
                            const std::string& comment);
void DeleteMapEntry(const std::string& indexedKey);
void SelectNisMap(const std::string& name);
void SaveNisMap();
// "dn", "createTime", "modifyTime"; anything else kesh::BadDataException "Unknown field".
std::string GetNisMapField(const std::string& field);

#endif  // ZONESMITH_ZONES_NIS_FUNC_H_
