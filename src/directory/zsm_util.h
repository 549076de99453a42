// The logic of the small commands around the zone work: conversions between principal
// names, DNs, SIDs and GUIDs, group membership, UNIX identity numbers, the local passwd
// database. The commands themselves are in util_func.h.
#ifndef ZONESMITH_DIRECTORY_ZSM_UTIL_H_
#define ZONESMITH_DIRECTORY_ZSM_UTIL_H_

#include <pwd.h>
#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "directory/library/adobject.h"

// One entry of the passwd database.
struct PasswdEntry {
  uint32_t uid = 0;
  uint32_t gid = 0;
  std::string dir;
  std::string shell;
  std::string passwd;
  std::string gecos;
  std::string name;
};

// Reads the local passwd database through the getpwent family. Each operation answers a
// null pointer when there is no such entry.
class PasswdEnumerator {
 public:
  // The next entry of an enumeration that the caller opened with setpwent().
  std::shared_ptr<PasswdEntry> getNext();
  std::shared_ptr<PasswdEntry> getByUid(uid_t uid);
  std::shared_ptr<PasswdEntry> getByName(const std::string& name);
  // A copy of `pw`; null for a null pointer.
  static std::shared_ptr<PasswdEntry> loadPasswdEntry(const struct passwd* pw);
};

// The UNIX number of a SID: nine bits of the domain's own sub-authority above 22 bits of
// the RID. Throws kesh::BadDataException "<sid> is not a domain SID" for a SID that has
// no domain part (S-1-5-21-a-b-c-rid).
uint32_t SidToUnixId(const kesh::SID& sid);
// The UNIX number of a GUID in Apple's scheme: its first eight hex digits, less the top
// bit. Throws kesh::BadDataException "The given GUID is not in a valid GUID string
// format." for anything but the dashed form.
uint32_t GuidToUnixId(const std::string& guid);

// How GroupMembers names the members it finds.
enum MemberNames {
  MEMBER_SAM_NAME = 0,  // sam@domain
  MEMBER_UPN = 1,       // the UPN where there is one
  MEMBER_DN = 2,        // the DN as the group lists it
};

// The members of `group`, named as `names` says. Member groups are expanded once each,
// however deep or cyclic the nesting, unless `noRecurse`, when they are listed themselves
// (by DN only: with other names a member group is left out). A member that cannot be read
// is left out; a read that timed out ends the walk with its LDAPException.
std::set<std::string> GroupMembers(kesh::ADObject group, MemberNames names, bool noRecurse);

// The account name of a user, group or computer object (the UPN where there is one when
// `upn`). Throws kesh::NotFoundException (with `notFoundIfNotPrincipal`) or
// kesh::BadDataException with `notPrincipal` for any other object.
std::string PrincipalNameOf(kesh::ADObject& object, bool upn, bool notFoundIfNotPrincipal,
                            const char* notPrincipal);

#endif  // ZONESMITH_DIRECTORY_ZSM_UTIL_H_
