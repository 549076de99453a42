#include "directory/library/constants.h"

const char* const AD_CN = "cn";
const char* const AD_DN = "distinguishedName";
const char* const AD_DISTINGUISHED_NAME = "distinguishedName";
const char* const AD_NAME = "name";
const char* const AD_DISPLAY_NAME = "displayName";
const char* const AD_DESCRIPTION = "description";
const char* const AD_OBJECT_CLASS = "objectClass";
const char* const AD_OBJECT_CATEGORY = "objectCategory";
const char* const AD_OBJECT_SID = "objectSid";
const char* const AD_OBJECT_GUID = "objectGUID";
const char* const AD_NT_SECDESC = "nTSecurityDescriptor";
const char* const AD_GROUP_MEMBERS = "member";
const char* const AD_DNS_NAME = "dNSHostName";
const char* const AD_WHEN_CREATED = "whenCreated";
const char* const AD_WHEN_CHANGED = "whenChanged";
const char* const AD_USN_CREATED = "uSNCreated";
const char* const AD_USN_CHANGED = "uSNChanged";
const char* const AD_WBEM_PATH = "wbemPath";
const char* const AD_SAM_ACCOUNT_NAME = "sAMAccountName";
const char* const AD_USER_PRINCIPAL_NAME = "userPrincipalName";
const char* const AD_MEMBER_OF = "memberOf";
const char* const AD_MANAGED_BY = "managedBy";
const char* const AD_KEYWORDS = "keywords";
const char* const AD_GROUP_CATEGORY = "Group";
const char* const AD_ALL_OBJECTS = "(objectClass=*)";
const char* const AD_GUID_SYSTEM_CONTAINER = "AB1D30F3768811D1ADED00C04FD8D5CD";

const char* const KESH_OBJECT_CATEGORY = "_objectCategory";

const char* const EMPTY_STRING = "";
const char* const KESH_CACHE_COOKIE = "keshCacheCookie";
const char* const KESH_LAST_PAGE = "LastPage";
const char* const KESH_PAGE_INTERRUPTED = "PagingInterrupted";
const char* const FIELD_NOT_SET = "-";

namespace kesh {

const char* const TRUE_STR = "TRUE";
const char* const FALSE_STR = "FALSE";
const char* const KESH_DICTIONARY_VECTOR = "KESH_DICTIONARY_VECTOR";
const char* const KESH_DICTIONARY_CHECKSUM = "KESH_DICTIONARY_CHECKSUM";
const char* const UNMAPPED_ATTR_PREFIX = "UNMAPPED_ATTR_PREFIX";

}  // namespace kesh
