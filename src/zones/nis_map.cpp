// Naming of NIS maps and their entries.
#include "zones/nis_map.h"

#include <climits>
#include <cstdlib>
#include <ctime>
#include <map>
#include <string>

#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"

namespace {

using NameTable = std::map<std::string, std::string>;

// Characters of an entry cn written as hex pairs, and those written behind a backslash.
constexpr char kCnHexChars[] = " \r\n";
constexpr char kCnEscapedChars[] = ",+\"\\<>;=#";
// The random part of an entry cn lies below this.
constexpr int kCnNumberRange = 1000000000;

struct MapTables {
  NameTable entrySchema;
  NameTable mapGuid;
};

// The tables of the named maps, built at the first call. Automount names are answered
// before the tables are asked.
const MapTables& Tables() {
  static const MapTables tables = [] {
    const struct {
      const char* name;
      const char* entrySchema;
      const char* guid;
    } rows[] = {
        {"netgroup", NETGROUP_VERSION, NETGROUP_VERSION_GUID},
        {"protocols", PROTOCOL_VERSION, PROTOCOL_VERSION_GUID},
        {"rpc", RPC_VERSION, RPC_VERSION_GUID},
        {"hosts", HOST_VERSION, HOST_VERSION_GUID},
        {"ethers", ETHER_VERSION, ETHER_VERSION_GUID},
        {"networks", NET_VERSION, NET_VERSION_GUID},
        {"netmasks", NETMASK_VERSION, NETMASK_VERSION_GUID},
        {"aliases", ALIAS_VERSION, ALIAS_VERSION_GUID},
        {"services", SERVICE_VERSION, SERVICE_VERSION_GUID},
        {"audit_user", AUUSER_VERSION, AUUSER_VERSION_GUID},
        {"prof_attr", PROFATTR_VERSION, PROFATTR_VERSION_GUID},
        {"exec_attr", EXECATTR_VERSION, EXECATTR_VERSION_GUID},
        {"auth_attr", AUTHATTR_VERSION, AUTHATTR_VERSION_GUID},
        {"user_attr", USERATTR_VERSION, USERATTR_VERSION_GUID},
        {"bootparams", BOOTPARAMS_VERSION, BOOTPARAMS_VERSION_GUID},
        {"printers", PRINTER_VERSION, PRINTER_VERSION_GUID},
        {"project", PROJECT_VERSION, PROJECT_VERSION_GUID},
        {"auto_master", AUTOMASTER_VERSION, AUTOMASTER_VERSION_GUID},
    };
    MapTables t;
    for (const auto& row : rows) {
      t.entrySchema[row.name] = row.entrySchema;
      t.mapGuid[row.name] = row.guid;
    }
    return t;
  }();
  return tables;
}

std::string Lookup(const NameTable& table, const std::string& name, const char* otherwise) {
  auto it = table.find(name);
  return it == table.end() ? otherwise : it->second;
}

// The next random number of an entry cn. The seed stays zero, so srand is never called and
// every process draws the C library's default sequence.
int NextCnNumber() {
  static unsigned seed = 0;
  if (seed != 0) srand(static_cast<unsigned>(time(nullptr)));
  return rand() % kCnNumberRange;
}

}  // namespace

bool IsAutomountMapName(const std::string& map) {
  return map == "automount" || map == "auto_home" || map.compare(0, 5, "auto.") == 0;
}

std::string GetMapSchema(const std::string& map) {
  return IsAutomountMapName(map) ? AUTOMOUNT_MAP_VERSION : "";
}

std::string GetMapEntrySchema(const std::string& map) {
  if (IsAutomountMapName(map)) return AUTOMOUNT_VERSION;
  return Lookup(Tables().entrySchema, map, "");
}

std::string GetMapSchemaGuid(const std::string& map) {
  if (IsAutomountMapName(map)) return AUTOMOUNT_VERSION_GUID;
  return Lookup(Tables().mapGuid, map, GENERIC_VERSION_GUID);
}

unsigned ParseNisMapIndexedKey(const std::string& indexedKey, std::string& key) {
  const size_t colon = indexedKey.rfind(':');
  if (colon == std::string::npos)
    KESH_THROW(kesh::BadDataException, 0, "Bad indexed key format: no index");
  const std::string digits = indexedKey.substr(colon + 1);
  if (digits.empty() || digits.find_first_not_of("1234567890") != std::string::npos)
    KESH_THROW(kesh::BadDataException, 0, "Bad indexed key format: index is not number");
  key = indexedKey.substr(0, colon);
  // An index beyond the range of unsigned stays at its largest value: out of bound for any
  // map.
  unsigned long long index = 0;
  for (char c : digits) {
    index = index * 10 + static_cast<unsigned>(c - '0');
    if (index > UINT_MAX) return UINT_MAX;
  }
  return static_cast<unsigned>(index);
}

std::string NewMapEntryCn(const std::string& key) {
  return kesh::DN::escape(key + "_" + std::to_string(NextCnNumber()), kCnHexChars, kCnEscapedChars,
                          false);
}

std::string NewSpareEntryCn() { return NIS_SPARE_PREFIX + kesh::Guid::generate().toString(); }
