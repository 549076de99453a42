// NIS maps of a zone: NisMap and the naming of maps and entries.
//
// Below a zone Z:
//   cn=NisMaps,Z                   container (repaired on first use when missing)
//   cn=<map>,cn=NisMaps,Z          container; displayName the map marker (GetMapSchema),
//                                  description the map GUID (GetMapSchemaGuid), wbemPath
//   cn=<generated>,<map>           classStore: one entry; description the key,
//                                  adminDescription the value, wWWHomePage the comment
//                                  (only when there is one), displayName the entry marker
//                                  (GetMapEntrySchema)
//   cn=\01<GUID>,<map>             classStore: a spare, a deleted entry kept for reuse
//
// The generated cn of an entry is "<key>_<n>" with n the next number of the C library's
// rand() below 1000000000, never seeded (each process draws the same sequence), escaped for
// a DN. A deleted entry is renamed into a spare, and the next entry added to the map takes
// over a spare (renamed, its attributes overwritten) before a new object is made.
//
// A key need not be unique in the directory (other writers may repeat one), though this
// system never adds a key twice. Readers tell repeated keys apart by the indexed key:
// "<key>:<n>", n the one-based place of the entry among the entries of that key in the
// order the directory lists them.
#ifndef ZONESMITH_ZONES_NIS_MAP_H_
#define ZONESMITH_ZONES_NIS_MAP_H_

#include <string>

#include "directory/library/adobject.h"

// The zone's child container of NIS maps.
constexpr char NIS_MAPS_CONTAINER[] = "NisMaps";

// The first byte of the cn of a spare entry.
constexpr char NIS_SPARE_PREFIX = '\x01';

// One map in memory.
class NisMap {
 public:
  kesh::ADObject object;
  std::string wbemPath;
  std::string name;
  // True while the map's object does not exist in the directory (until saveMap).
  bool isNew = false;
};

// Whether `map` is an automount map: "automount", "auto_home", or a name beginning with
// "auto.".
bool IsAutomountMapName(const std::string& map);
// The map marker: AUTOMOUNT_MAP_VERSION for an automount name, else "".
std::string GetMapSchema(const std::string& map);
// The entry marker of a map of that name (*_VERSION of directory/library/constants.h), ""
// for a name of no known table.
std::string GetMapEntrySchema(const std::string& map);
// The map GUID of a map of that name (*_VERSION_GUID), GENERIC_VERSION_GUID for any other.
std::string GetMapSchemaGuid(const std::string& map);

// Splits an indexed key at its last ":" into the key and the index. Throws
// kesh::BadDataException "Bad indexed key format: no index" without ":", "Bad indexed key
// format: index is not number" when the text behind it is empty or holds other characters
// than digits.
unsigned ParseNisMapIndexedKey(const std::string& indexedKey, std::string& key);

// The cn of a new entry of `key`: "<key>_<next rand() % 1000000000>", escaped for a DN.
std::string NewMapEntryCn(const std::string& key);
// The cn of a new spare: NIS_SPARE_PREFIX followed by a new GUID's text form.
std::string NewSpareEntryCn();

#endif  // ZONESMITH_ZONES_NIS_MAP_H_
