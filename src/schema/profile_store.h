// The names of the stored form of profiles, shared by the files that implement them: the
// serviceConnectionPoint layouts (schema/scp_*.cpp), the zone side of profiles
// (zones/zone_users.cpp, zone_groups.cpp) and the profile commands. Not a public interface.
#ifndef ZONESMITH_SCHEMA_PROFILE_STORE_H_
#define ZONESMITH_SCHEMA_PROFILE_STORE_H_

#include <cstddef>
#include <map>
#include <string>

#include "directory/library/adobject.h"

// The zone's child containers of profiles.
constexpr char USERS_CONTAINER[] = "Users";
constexpr char LOCAL_USERS_CONTAINER[] = "LocalUsers";
constexpr char GROUPS_CONTAINER[] = "Groups";
constexpr char LOCAL_GROUPS_CONTAINER[] = "LocalGroups";
constexpr char COMPUTERS_CONTAINER[] = "Computers";

// Keys of a profile's keyword dictionary that users and groups share.
constexpr char KEY_PARENT_LINK[] = "parentLink";
constexpr char KEY_GID[] = "gid";
constexpr char KEY_LOGIN[] = "login";
constexpr char KEY_PROFILE_FLAG[] = "profileflag";
constexpr char KEY_MEMBER[] = "member";

// What separates an alias number from a user name: "alice@example.test+2".
constexpr char ALIAS_SEPARATOR = '+';
// Characters the name of a local user or group cannot hold.
constexpr char LOCAL_NAME_FORBIDDEN[] = ":/";
// The texts of a keyword that holds a flag.
constexpr char TRUE_TEXT[] = "True";
constexpr char FALSE_TEXT[] = "False";

// The RFC 2307 attribute of a gid, on users and groups alike.
constexpr char RFC_GID_NUMBER[] = "gidNumber";

// Object classes of profile objects.
constexpr char CLASS_SCP[] = "serviceConnectionPoint";
constexpr char CLASS_POSIX_ACCOUNT[] = "posixAccount";

// The longest cn of a profile: longer names get the directory object's GUID in tree zones
// and are refused for local users.
constexpr size_t MAX_PROFILE_CN = 64;

// Versions that change the stored form (see schema/zschema.h): from 4 no managedBy link,
// from 6 hierarchical and computer zones.
constexpr int FIRST_MANAGED_BY_FREE_VERSION = 4;
constexpr int FIRST_TREE_VERSION = 6;

// The keyword dictionary of a profile object.
std::map<std::string, std::string> KeywordsOf(const kesh::ADObject& scp);

#endif  // ZONESMITH_SCHEMA_PROFILE_STORE_H_
