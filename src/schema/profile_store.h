// The names of the stored form of profiles, shared by the files that implement the
// serviceConnectionPoint layouts (scp_users.cpp, scp_groups.cpp, scp_lookup.cpp). Not a
// public interface: nothing outside src/schema includes it.
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

// Keys of a profile's keyword dictionary that users and groups share.
constexpr char KEY_PARENT_LINK[] = "parentLink";
constexpr char KEY_GID[] = "gid";
constexpr char KEY_LOGIN[] = "login";
constexpr char KEY_PROFILE_FLAG[] = "profileflag";
constexpr char KEY_MEMBER[] = "member";

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
