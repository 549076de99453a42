#include "directory/library/constants.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "directory/library/guid.h"
#include "directory/library/strings.h"

namespace {

// The NIS map markers and GUIDs: readers compare them, so each must be distinct and each
// GUID must be a valid GUID text.
TEST(ConstantsTest, NisMapMarkersAndGuidsAreDistinctAndWellFormed) {
  const char* markers[] = {
      AUTOMOUNT_MAP_VERSION, AUTOMOUNT_VERSION, NETGROUP_VERSION, PROTOCOL_VERSION,
      RPC_VERSION,           HOST_VERSION,      ETHER_VERSION,    NET_VERSION,
      NETMASK_VERSION,       ALIAS_VERSION,     SERVICE_VERSION,  AUUSER_VERSION,
      PROFATTR_VERSION,      EXECATTR_VERSION,  AUTHATTR_VERSION, USERATTR_VERSION,
      BOOTPARAMS_VERSION,    PRINTER_VERSION,   PROJECT_VERSION,  AUTOMASTER_VERSION,
  };
  std::set<std::string> seen;
  for (const char* marker : markers) {
    SCOPED_TRACE(marker);
    EXPECT_TRUE(kesh::startsWith(marker, "$Kesh"));
    EXPECT_TRUE(seen.insert(marker).second);
    // Zone searches look for "$KeshZoneVersion*": no map marker may match.
    EXPECT_FALSE(kesh::startsWith(marker, "$KeshZoneVersion"));
  }
  const char* guids[] = {
      AUTOMOUNT_VERSION_GUID,  NETGROUP_VERSION_GUID, PROTOCOL_VERSION_GUID,
      RPC_VERSION_GUID,        HOST_VERSION_GUID,     ETHER_VERSION_GUID,
      NET_VERSION_GUID,        NETMASK_VERSION_GUID,  ALIAS_VERSION_GUID,
      SERVICE_VERSION_GUID,    AUUSER_VERSION_GUID,   PROFATTR_VERSION_GUID,
      EXECATTR_VERSION_GUID,   AUTHATTR_VERSION_GUID, USERATTR_VERSION_GUID,
      BOOTPARAMS_VERSION_GUID, PRINTER_VERSION_GUID,  PROJECT_VERSION_GUID,
      AUTOMASTER_VERSION_GUID, GENERIC_VERSION_GUID,
  };
  seen.clear();
  for (const char* guid : guids) {
    SCOPED_TRACE(guid);
    EXPECT_TRUE(kesh::Guid::isValidGuidStringFormat(guid));
    EXPECT_TRUE(seen.insert(kesh::lower(guid)).second);
  }
  EXPECT_EQ(kesh::Guid::fromString(AD_GUID_SYSTEM_CONTAINER).toString(), AD_GUID_SYSTEM_CONTAINER);
}

// The extended attribute table keys and properties: keys must be distinct among
// themselves (the table is a map), and so must the properties.
TEST(ConstantsTest, ExtendedAttributeNamesAreDistinct) {
  const std::pair<const char*, const char*> rows[] = {
      {ADMIN_ATTR, KESH_ADMIN},
      {ADMGROUPS_ATTR, KESH_ADMGROUPS},
      {AUDITCLASSES_ATTR, KESH_AUDITCLASSES},
      {DAEMON_ATTR, KESH_DAEMON},
      {LOGINCHK_ATTR, KESH_LOGINCHK},
      {RLOGINCHK_ATTR, KESH_RLOGINCHK},
      {SUCHK_ATTR, KESH_SUCHK},
      {SUGROUPS_ATTR, KESH_SUGROUPS},
      {TPATH_ATTR, KESH_TPATH},
      {TTY_ATTR, KESH_TTY},
      {UMASK_ATTR, KESH_UMASK},
      {UFSIZE_ATTR, KESH_UFSIZE},
      {UCORE_ATTR, KESH_UCORE},
      {UCPU_ATTR, KESH_UCPU},
      {UDATA_ATTR, KESH_UDATA},
      {URSS_ATTR, KESH_URSS},
      {USTACK_ATTR, KESH_USTACK},
      {UNOFILES_ATTR, KESH_UNOFILES},
      {CAPABILITIES_ATTR, KESH_CAPABILITIES},
      {ROLES_ATTR, KESH_ROLES},
      {DFLT_ROLES_ATTR, KESH_DFLT_ROLES},
      {UFSIZE_HARD_ATTR, KESH_UFSIZE_HARD},
      {UCORE_HARD_ATTR, KESH_UCORE_HARD},
      {UCPU_HARD_ATTR, KESH_UCPU_HARD},
      {UDATA_HARD_ATTR, KESH_UDATA_HARD},
      {URSS_HARD_ATTR, KESH_URSS_HARD},
      {USTACK_HARD_ATTR, KESH_USTACK_HARD},
      {UNOFILES_HARD_ATTR, KESH_UNOFILES_HARD},
      {ULIMIT_ATTR, KESH_ULIMIT},
      {UTHREADS_ATTR, KESH_UTHREADS},
      {UNPROC_ATTR, KESH_UNPROC},
      {UTHREADS_HARD_ATTR, KESH_UTHREADS_HARD},
      {UNPROC_HARD_ATTR, KESH_UNPROC_HARD},
      {ZPA_PRIMARYGROUP_PRIORITY, ZPA_PRIMARYGROUP_PRIORITY},
      {LOCAL_GROUP_MEMBERS, LOCAL_GROUP_MEMBERS},
  };
  std::set<std::string> keys, properties;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.first);
    EXPECT_TRUE(keys.insert(row.first).second);
    EXPECT_TRUE(properties.insert(row.second).second);
    // A key may not hold ':', which ends a key in a keyword dictionary.
    EXPECT_EQ(std::string(row.first).find(':'), std::string::npos);
  }
  // The fields that the local user commands expose.
  for (const char* key :
       {"aix.admin", "aix.admgroups", "aix.daemon", "aix.rlogin", "aix.su", "aix.sugroups",
        "aix.tpath", "aix.ttys", "aix.fsize", "aix.core", "aix.cpu", "aix.data", "aix.rss",
        "aix.stack", "aix.nofiles", "aix.umask"}) {
    EXPECT_EQ(keys.count(key), 1u) << key;
  }
}

}  // namespace
