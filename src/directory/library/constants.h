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

// --- Keyword names of zone data --------------------------------------------------------
// The attribute that holds an object's category ("Person", "Group", ...): the first RDN
// value of objectCategory, set by the bindings on every object they read.
extern const char* const KESH_OBJECT_CATEGORY;  // "_objectCategory"
// The attributes that hold the UNIX name of a user or group profile of the early
// versions, whose common name is that name.
extern const char* const KESH_USERNAME;   // "cn"
extern const char* const KESH_GROUPNAME;  // "cn"
// The extended attributes of a profile: *_ATTR is the key in the keyword dictionary,
// KESH_* the name of the same property on the UNIX computer (the AIX user attribute).
extern const char* const ADMIN_ATTR;          // "aix.admin"
extern const char* const KESH_ADMIN;          // "admin"
extern const char* const ADMGROUPS_ATTR;      // "aix.admgroups"
extern const char* const KESH_ADMGROUPS;      // "admgroups"
extern const char* const AUDITCLASSES_ATTR;   // "aix.auditclasses"
extern const char* const KESH_AUDITCLASSES;   // "auditclasses"
extern const char* const DAEMON_ATTR;         // "aix.daemon"
extern const char* const KESH_DAEMON;         // "daemon"
extern const char* const LOGINCHK_ATTR;       // "aix.login"
extern const char* const KESH_LOGINCHK;       // "login"
extern const char* const RLOGINCHK_ATTR;      // "aix.rlogin"
extern const char* const KESH_RLOGINCHK;      // "rlogin"
extern const char* const SUCHK_ATTR;          // "aix.su"
extern const char* const KESH_SUCHK;          // "su"
extern const char* const SUGROUPS_ATTR;       // "aix.sugroups"
extern const char* const KESH_SUGROUPS;       // "sugroups"
extern const char* const TPATH_ATTR;          // "aix.tpath"
extern const char* const KESH_TPATH;          // "tpath"
extern const char* const TTY_ATTR;            // "aix.ttys"
extern const char* const KESH_TTY;            // "ttys"
extern const char* const UMASK_ATTR;          // "aix.umask"
extern const char* const KESH_UMASK;          // "umask"
extern const char* const UFSIZE_ATTR;         // "aix.fsize"
extern const char* const KESH_UFSIZE;         // "fsize"
extern const char* const UCORE_ATTR;          // "aix.core"
extern const char* const KESH_UCORE;          // "core"
extern const char* const UCPU_ATTR;           // "aix.cpu"
extern const char* const KESH_UCPU;           // "cpu"
extern const char* const UDATA_ATTR;          // "aix.data"
extern const char* const KESH_UDATA;          // "data"
extern const char* const URSS_ATTR;           // "aix.rss"
extern const char* const KESH_URSS;           // "rss"
extern const char* const USTACK_ATTR;         // "aix.stack"
extern const char* const KESH_USTACK;         // "stack"
extern const char* const UNOFILES_ATTR;       // "aix.nofiles"
extern const char* const KESH_UNOFILES;       // "nofiles"
extern const char* const CAPABILITIES_ATTR;   // "aix.capabilities"
extern const char* const KESH_CAPABILITIES;   // "capabilities"
extern const char* const ROLES_ATTR;          // "aix.roles"
extern const char* const KESH_ROLES;          // "roles"
extern const char* const DFLT_ROLES_ATTR;     // "aix.default_roles"
extern const char* const KESH_DFLT_ROLES;     // "default_roles"
extern const char* const UFSIZE_HARD_ATTR;    // "aix.fsize_hard"
extern const char* const KESH_UFSIZE_HARD;    // "fsize_hard"
extern const char* const UCORE_HARD_ATTR;     // "aix.core_hard"
extern const char* const KESH_UCORE_HARD;     // "core_hard"
extern const char* const UCPU_HARD_ATTR;      // "aix.cpu_hard"
extern const char* const KESH_UCPU_HARD;      // "cpu_hard"
extern const char* const UDATA_HARD_ATTR;     // "aix.data_hard"
extern const char* const KESH_UDATA_HARD;     // "data_hard"
extern const char* const URSS_HARD_ATTR;      // "aix.rss_hard"
extern const char* const KESH_URSS_HARD;      // "rss_hard"
extern const char* const USTACK_HARD_ATTR;    // "aix.stack_hard"
extern const char* const KESH_USTACK_HARD;    // "stack_hard"
extern const char* const UNOFILES_HARD_ATTR;  // "aix.nofiles_hard"
extern const char* const KESH_UNOFILES_HARD;  // "nofiles_hard"
extern const char* const ULIMIT_ATTR;         // "aix.ulimit"
extern const char* const KESH_ULIMIT;         // "ulimit"
extern const char* const UTHREADS_ATTR;       // "aix.threads"
extern const char* const KESH_UTHREADS;       // "threads"
extern const char* const UNPROC_ATTR;         // "aix.nproc"
extern const char* const KESH_UNPROC;         // "nproc"
extern const char* const UTHREADS_HARD_ATTR;  // "aix.threads_hard"
extern const char* const KESH_UTHREADS_HARD;  // "threads_hard"
extern const char* const UNPROC_HARD_ATTR;    // "aix.nproc_hard"
extern const char* const KESH_UNPROC_HARD;    // "nproc_hard"
// Multi-valued keys whose property name is the key itself.
extern const char* const ZPA_PRIMARYGROUP_PRIORITY;  // "provisioning_primarygroup_priority*"
extern const char* const LOCAL_GROUP_MEMBERS;        // "member"

// --- NIS maps -----------------------------------------------------------------------------
// The marker (displayName) of an automount map object, and per map kind the marker of its
// entries (*_VERSION) and the GUID in the map's description (*_VERSION_GUID, Microsoft
// text form). GENERIC_VERSION_GUID is the GUID of a map of any other name.
extern const char* const AUTOMOUNT_MAP_VERSION;    // "$KeshAutomountMapVersion1"
extern const char* const AUTOMOUNT_VERSION;        // "$KeshAutomountVersion1"
extern const char* const AUTOMOUNT_VERSION_GUID;   // "45a6db55-e214-482f-a497-41472f10a097"
extern const char* const NETGROUP_VERSION;         // "$KeshNetgroupVersion1"
extern const char* const NETGROUP_VERSION_GUID;    // "656867e3-b0d5-4cee-914f-7eb0f17383f7"
extern const char* const PROTOCOL_VERSION;         // "$KeshProtocolVersion1"
extern const char* const PROTOCOL_VERSION_GUID;    // "f3d5c3cc-97b3-4d81-ba3b-0c236ba30300"
extern const char* const RPC_VERSION;              // "$KeshRpcVersion1"
extern const char* const RPC_VERSION_GUID;         // "79cc0a07-cdff-47d0-9912-817be4d56162"
extern const char* const HOST_VERSION;             // "$KeshHostVersion1"
extern const char* const HOST_VERSION_GUID;        // "b9bfcbfc-96b0-446a-bb7d-da16728707a4"
extern const char* const ETHER_VERSION;            // "$KeshEtherVersion1"
extern const char* const ETHER_VERSION_GUID;       // "020cdc9e-ba87-455c-abab-81c9c35ea069"
extern const char* const NET_VERSION;              // "$KeshNetworkVersion1"
extern const char* const NET_VERSION_GUID;         // "80c9b7f4-e9a0-4e1f-99a9-c0502fa8d974"
extern const char* const NETMASK_VERSION;          // "$KeshNetmaskVersion1"
extern const char* const NETMASK_VERSION_GUID;     // "a10c58fe-1860-43cb-a880-c2ae14b484fd"
extern const char* const ALIAS_VERSION;            // "$KeshAliasVersion1"
extern const char* const ALIAS_VERSION_GUID;       // "2a2651c8-b15a-4edd-9008-f73b9e547111"
extern const char* const SERVICE_VERSION;          // "$KeshServiceVersion1"
extern const char* const SERVICE_VERSION_GUID;     // "db32767f-8761-4238-94fc-c0e042cc5a2e"
extern const char* const AUUSER_VERSION;           // "$KeshAuditUserVersion1"
extern const char* const AUUSER_VERSION_GUID;      // "cb6b9f38-c1d1-4022-ba26-3d0d3c696d0d"
extern const char* const PROFATTR_VERSION;         // "$KeshProfAttrVersion1"
extern const char* const PROFATTR_VERSION_GUID;    // "64822072-795d-4ded-8913-da9b570adae6"
extern const char* const EXECATTR_VERSION;         // "$KeshExecAttrVersion1"
extern const char* const EXECATTR_VERSION_GUID;    // "b358e50a-c389-42e5-9cef-e9c5796df54d"
extern const char* const AUTHATTR_VERSION;         // "$KeshAuthAttrVersion1"
extern const char* const AUTHATTR_VERSION_GUID;    // "73a419b7-9446-401a-b5d6-4b139b9713bf"
extern const char* const USERATTR_VERSION;         // "$KeshUserAttrVersion1"
extern const char* const USERATTR_VERSION_GUID;    // "7f38f376-b6a7-4018-b591-04930dcc7b7c"
extern const char* const BOOTPARAMS_VERSION;       // "$KeshBootparamsVersion1"
extern const char* const BOOTPARAMS_VERSION_GUID;  // "bb3cd8e7-f6b5-4ba4-b986-101136dad2c8"
extern const char* const PRINTER_VERSION;          // "$KeshPrinterVersion1"
extern const char* const PRINTER_VERSION_GUID;     // "66745355-adcd-4820-8fc4-537d8f8b349b"
extern const char* const PROJECT_VERSION;          // "$KeshProjectVersion1"
extern const char* const PROJECT_VERSION_GUID;     // "7cbb73ab-b876-415b-a92c-49c0e50f3b0c"
extern const char* const AUTOMASTER_VERSION;       // "$KeshAutoMasterVersion1"
extern const char* const AUTOMASTER_VERSION_GUID;  // "57755112-b4dc-4013-a8f2-d48e2ad1a8b7"
extern const char* const GENERIC_VERSION_GUID;     // "1287cdb1-2401-430d-b7d7-843ed0736b14"

// --- Authorization store (Microsoft's msDS-Az* attribute and class names) ------------------
extern const char* const AZ_APP_DATA;                     // "msDS-AzApplicationData"
extern const char* const AZ_APP_NAME;                     // "msDS-AzApplicationName"
extern const char* const AZ_APP_VERSION;                  // "msDS-AzApplicationVersion"
extern const char* const AZ_MAJOR_VERSION;                // "msDS-AzMajorVersion"
extern const char* const AZ_MINOR_VERSION;                // "msDS-AzMinorVersion"
extern const char* const AZ_SCOPE_NAME;                   // "msDS-AzScopeName"
extern const char* const AZ_TASK_IS_ROLE;                 // "msDS-AzTaskIsRoleDefinition"
extern const char* const AZ_TASK_OPS;                     // "msDS-OperationsForAzTask"
extern const char* const AZ_TASK_TASKS;                   // "msDS-TasksForAzTask"
extern const char* const AZ_OPERATION_ID;                 // "msDS-AzOperationID"
extern const char* const AZ_ROLE_MEMBERS;                 // "msDS-MembersForAzRole"
extern const char* const AZ_ROLE_TASKS;                   // "msDS-TasksForAzRole"
extern const char* const AZ_ROLE_OPS;                     // "msDS-OperationsForAzRole"
extern const char* const AZ_BIZ_RULE;                     // "msDS-AzBizRule"
extern const char* const AZ_BIZ_RULE_LANGUAGE;            // "msDS-AzBizRuleLanguage"
extern const char* const AZ_LAST_IMPORTED_BIZ_RULE_PATH;  // "msDS-AzLastImportedBizRulePath"
extern const char* const AZ_GENERIC_DATA;                 // "msDS-AzGenericData"
extern const char* const AZ_OBJECT_GUID;                  // "msDS-AzObjectGuid"
extern const char* const AZ_CLASS_ADMIN_MANAGER;          // "msDS-AzAdminManager"
extern const char* const AZ_CLASS_APPLICATION;            // "msDS-AzApplication"
extern const char* const AZ_CLASS_SCOPE;                  // "msDS-AzScope"
extern const char* const AZ_CLASS_ROLE;                   // "msDS-AzRole"
extern const char* const AZ_CLASS_TASK;                   // "msDS-AzTask"
extern const char* const AZ_CLASS_OPERATION;              // "msDS-AzOperation"

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
