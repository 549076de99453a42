// Small commands around the zone work: conversions between principal names, DNs, SIDs and
// GUIDs, group membership, UNIX identity numbers, the local passwd database and the
// temporary directory.
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
#include "script/cpptcl.h"

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

// {name passwd uid gid gecos dir shell}, the numbers as integers.
Tcl::object MakePasswdEntry(const std::shared_ptr<PasswdEntry>& entry);

// Parses `args` with the one switch "-upn" into `positional` and answers whether it was
// given. With `required` >= 0, fewer positional words is a syntax error.
bool GetUPNArg(const Tcl::object& args, std::vector<std::string>& positional, int required);

// The UNIX number of a SID: nine bits of the domain's own sub-authority above 22 bits of
// the RID. Throws kesh::BadDataException for a malformed SID or one that has no domain
// part.
uint32_t SidToUnixId(const kesh::SID& sid);
// The UNIX number of a GUID in Apple's scheme: its first eight hex digits, less the top
// bit. Throws kesh::BadDataException "The given GUID is not in a valid GUID string
// format." for anything but the dashed form.
uint32_t GuidToUnixId(const std::string& guid);

// Collects the members of `group` into `result` (mode 0: sam@domain, 1: UPN where there is
// one, 2: DNs). Member groups are expanded once each unless `noRecurse`; a member that
// cannot be read is left out.
void InternalGetGroupMembers(kesh::ADObject group, std::set<std::string>& visited,
                             std::set<std::string>& result, int mode, bool noRecurse);

// Command handlers.
std::string PrincipalToDN(const std::string& name);
std::string PrincipalToSID(const std::string& name);
std::string DNToPrincipal(const Tcl::object& args);
std::string PrincipalFromSid(const Tcl::object& args);
std::string SidToUid(const std::string& sid);
std::string GuidToID(const std::string& guid);
std::string PrincipalToID(const Tcl::object& args);
std::string EscapeSid(const std::string& sid);
Tcl::object MSSid(const Tcl::object& sids);
std::string GetSchemaGuid(const std::string& name);
std::string DomainFromDN(const std::string& dn);
std::string DNFromDomain(const std::string& domain);
std::string GetParentDn(const std::string& dn);
std::string GetRdn(const std::string& dn);
Tcl::object GetGroupMembers(const Tcl::object& args);
void SetUserPassword(const std::string& user, const std::string& password);
Tcl::object GetPwNam(const std::string& name);
Tcl::object GetentPasswd();
std::string GetTempDir(const Tcl::object& args);

#endif  // ZONESMITH_DIRECTORY_ZSM_UTIL_H_
