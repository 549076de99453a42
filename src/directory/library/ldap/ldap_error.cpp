#include "directory/library/ldap/ldap_error.h"

#include "directory/library/exceptions.h"

namespace kesh {
namespace ldapbackend {

int ClassicResultCode(int rc) {
  // libldap numbers its API errors -1 .. -17 in the order of the classic codes 81 .. 97.
  if (rc <= -1 && rc >= -17) return 80 - rc;
  return rc;
}

bool IsConnectionLost(int rc) {
  return rc == LDAP_SERVER_DOWN || rc == LDAP_CONNECT_ERROR || rc == 81 || rc == 91;
}

std::string LdapErrorText(LDAP* ld, int rc, const std::string& detail) {
  std::string text = ldap_err2string(rc);
  std::string diagnostic = detail;
  // A request that timed out has no text of its own; the handle's may be an older one's.
  if (diagnostic.empty() && ld != nullptr && rc != LDAP_TIMEOUT) {
    char* msg = nullptr;
    if (ldap_get_option(ld, LDAP_OPT_DIAGNOSTIC_MESSAGE, &msg) == LDAP_OPT_SUCCESS &&
        msg != nullptr) {
      diagnostic = msg;
      ldap_memfree(msg);
    }
  }
  while (!diagnostic.empty() &&
         (diagnostic.back() == '\n' || diagnostic.back() == ' ' || diagnostic.back() == '\0')) {
    diagnostic.pop_back();
  }
  if (!diagnostic.empty()) text += ": " + diagnostic;
  return text;
}

void ThrowLdapError(const char* file, int line, LDAP* ld, int rc, const std::string& detail) {
  std::string text = LdapErrorText(ld, rc, detail);
  Raise<LDAPException>(file, line, ClassicResultCode(rc), "%s", text.c_str());
}

}  // namespace ldapbackend
}  // namespace kesh
