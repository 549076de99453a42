#include "directory/library/kerberos_failure.h"

#include <krb5/krb5.h>

namespace kesh {

const char* const NO_TICKET_SENTENCE = "no ticket: run kinit or give a user";
const int KRB_CANNOT_READ_PASSWORD = static_cast<int>(KRB5_LIBOS_CANTREADPWD);

std::string KerberosFailureSentence(int code, const std::string& principal) {
  switch (static_cast<krb5_error_code>(code)) {
    case KRB5KDC_ERR_PREAUTH_FAILED:
    case KRB5KRB_AP_ERR_BAD_INTEGRITY:
      return "wrong password for " + principal;
    case KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN:
      return "no user " + principal + " in the domain";
    case KRB5KDC_ERR_CLIENT_REVOKED:
      return "the account " + principal + " is disabled or locked out";
    case KRB5KDC_ERR_KEY_EXP:
      return "the password of " + principal + " has expired: change it, then bind again";
    case KRB5KRB_AP_ERR_SKEW:
      return "this machine's clock differs too much from the domain controller's";
    case KRB5_REALM_CANT_RESOLVE:
    case KRB5_REALM_UNKNOWN:
    case KRB5_KDC_UNREACH:
      return "no domain controller answers for the realm of " + principal +
             ": check DNS (SRV records) or krb5.conf";
    case KRB5_PARSE_MALFORMED:
      return "the user " + principal + " is no valid name: write user@domain";
    default:
      return std::string();
  }
}

}  // namespace kesh
