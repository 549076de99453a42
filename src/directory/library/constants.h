// The exported constants of the directory library: directory attribute names, the keyword
// names of zone data, the markers of NIS maps and the authorization store's attribute
// names, plus the few constants of the system's own headers.
//
// Text constants are `const char* const` so that they are usable during static
// initialisation of other files.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_CONSTANTS_H_
#define ZONESMITH_DIRECTORY_LIBRARY_CONSTANTS_H_

// --- Directory attribute names (Microsoft's lDAPDisplayName) ------------------------------
extern const char* const AD_CN;                   // "cn"
extern const char* const AD_DN;                   // "distinguishedName"
extern const char* const AD_DISTINGUISHED_NAME;   // "distinguishedName"
extern const char* const AD_NAME;                 // "name"
extern const char* const AD_DISPLAY_NAME;         // "displayName"
extern const char* const AD_DESCRIPTION;          // "description"
extern const char* const AD_OBJECT_CLASS;         // "objectClass"
extern const char* const AD_OBJECT_CATEGORY;      // "objectCategory"
extern const char* const AD_OBJECT_SID;           // "objectSid"
extern const char* const AD_OBJECT_GUID;          // "objectGUID"
extern const char* const AD_NT_SECDESC;           // "nTSecurityDescriptor"
extern const char* const AD_GROUP_MEMBERS;        // "member"
extern const char* const AD_DNS_NAME;             // "dNSHostName"
extern const char* const AD_WHEN_CREATED;         // "whenCreated"
extern const char* const AD_WHEN_CHANGED;         // "whenChanged"
extern const char* const AD_USN_CREATED;          // "uSNCreated"
extern const char* const AD_USN_CHANGED;          // "uSNChanged"
extern const char* const AD_WBEM_PATH;            // "wbemPath"
extern const char* const AD_SAM_ACCOUNT_NAME;     // "sAMAccountName"
extern const char* const AD_USER_PRINCIPAL_NAME;  // "userPrincipalName"
extern const char* const AD_MEMBER_OF;            // "memberOf"
extern const char* const AD_MANAGED_BY;           // "managedBy"
extern const char* const AD_KEYWORDS;             // "keywords"
// The category of a group object as KESH_OBJECT_CATEGORY reports it: "Group".
extern const char* const AD_GROUP_CATEGORY;
// The search filter that matches every object: "(objectClass=*)".
extern const char* const AD_ALL_OBJECTS;
// The well-known GUID of the System container, for "<WKGUID=...,DC=...>":
// "AB1D30F3768811D1ADED00C04FD8D5CD".
extern const char* const AD_GUID_SYSTEM_CONTAINER;

// --- Keyword names of zone data ----------------------------------------------------------
// The attribute that holds an object's category ("Person", "Group", ...): the first RDN
// value of objectCategory, set by the bindings on every object they read.
extern const char* const KESH_OBJECT_CATEGORY;  // "_objectCategory"

// --- Markers of the library ----------------------------------------------------------------
extern const char* const EMPTY_STRING;           // ""
extern const char* const KESH_CACHE_COOKIE;      // "keshCacheCookie"
extern const char* const KESH_LAST_PAGE;         // "LastPage"
extern const char* const KESH_PAGE_INTERRUPTED;  // "PagingInterrupted"
extern const char* const FIELD_NOT_SET;          // "-"

namespace kesh {

extern const char* const TRUE_STR;                  // "TRUE"
extern const char* const FALSE_STR;                 // "FALSE"
extern const char* const KESH_DICTIONARY_VECTOR;    // "KESH_DICTIONARY_VECTOR"
extern const char* const KESH_DICTIONARY_CHECKSUM;  // "KESH_DICTIONARY_CHECKSUM"
extern const char* const UNMAPPED_ATTR_PREFIX;      // "UNMAPPED_ATTR_PREFIX"

// Cache option flags.
constexpr int COPS_NOCACHE = 0;
constexpr int COPS_WONLY = 2;
constexpr int COPS_RONLY = 5;
constexpr int COPS_DEFAULTS = 7;
constexpr int COPS_REFRESH_RONLY = 13;
constexpr int COPS_REFRESH = 15;
constexpr int COPS_NOXREAD = 19;
constexpr int COPS_CACHE_ONLY = 83;
constexpr int COPS_EXPIRE_REFRESH = 271;
constexpr int COPS_CLIENT_DEFAULTS = 1031;
constexpr int COPS_CLIENT_REFRESH = 1039;

}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_CONSTANTS_H_
