// Turning libldap failures into LDAPException.
//
// libldap reports client-side failures with negative codes (-1 server down, -7 filter
// error, ...). The exceptions carry the classic numbers of those conditions instead
// (81 server down, 87 filter error, ...), so that a code means the same whichever backend
// raised it; results the server sent pass unchanged.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_LDAP_LDAP_ERROR_H_
#define ZONESMITH_DIRECTORY_LIBRARY_LDAP_LDAP_ERROR_H_

#include <ldap.h>

#include <string>

namespace kesh {
namespace ldapbackend {

// The classic result number of a libldap code: -1 -> 81, -2 -> 82, ... -17 -> 97.
int ClassicResultCode(int rc);

// Whether the code means the connection is gone (server down, connect error).
bool IsConnectionLost(int rc);

// The text of a failure: libldap's text of `rc`, then after ": " `detail` (the server's
// diagnostic of the request, or what else the caller knows) or, when that is empty, the
// diagnostic that the handle holds (the SASL layer's text of a failed bind).
std::string LdapErrorText(LDAP* ld, int rc, const std::string& detail = std::string());

// Throws LDAPException for `rc` with the text above. `file`/`line` name the caller.
[[noreturn]] void ThrowLdapError(const char* file, int line, LDAP* ld, int rc,
                                 const std::string& detail = std::string());

}  // namespace ldapbackend
}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_LDAP_LDAP_ERROR_H_
