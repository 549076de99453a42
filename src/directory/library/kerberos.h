// Kerberos helpers: contexts, credential caches and tickets.
//
// Each backend implements these: the LDAP backend with MIT Kerberos, the in-memory
// directory with caches that are only names and a table of passwords. Code above the
// library never calls Kerberos itself.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_KERBEROS_H_
#define ZONESMITH_DIRECTORY_LIBRARY_KERBEROS_H_

#include <sys/types.h>

#include <memory>
#include <string>

#include "directory/library/adbinding.h"
#include "directory/library/shredder.h"

namespace kesh {

// The default ticket lifetime asked for, in seconds.
constexpr int DEFAULT_TICKET_LIFETIME = 31536000;

// Owns a Kerberos library context. Not copyable.
class KerberosContext {
 public:
  // Initialises the context. A broken configuration file is renamed to "<name>.bad"
  // (replacing an older one) and the context comes up with an empty profile. Other
  // failures throw KerberosException with Kerberos's message.
  KerberosContext();
  ~KerberosContext();
  KerberosContext(const KerberosContext&) = delete;
  KerberosContext& operator=(const KerberosContext&) = delete;

  // The backend's context (a krb5_context for the LDAP backend).
  _krb5_context* get() const { return context_; }
  void profileUpdate();

 private:
  _krb5_context* context_ = nullptr;
};

// A ticket-granting ticket obtained by getCredentials, not yet in a cache.
struct KerberosCreds {
  std::string principal;
  std::shared_ptr<void> impl;  // backend data
};

// Obtains a ticket-granting ticket for `principal` with `password`, asking for
// `lifetime` seconds. Returns 0, or the Kerberos error code with its text in `error`.
int getCredentials(KerberosContext& context, const std::string& principal, const Shredder& password,
                   KerberosCreds& creds, std::string& error, int lifetime, Locator locator);

// Writes `creds` into the cache `ccacheName` (initialised for `principal`), owned by
// uid/gid when it is a file. Throws KerberosException.
void storeTGT(KerberosContext& context, const std::string& principal, const std::string& ccacheName,
              KerberosCreds& creds, uid_t uid, gid_t gid);

// Changes the password of `targetPrincipal` with the credentials in `ccacheName`.
// Returns 0, or a non-zero code with the reason in `error`.
int setPasswordUsingCCache(KerberosContext& context, const std::string& ccacheName,
                           const std::string& targetPrincipal, const Shredder& newPassword,
                           std::string& error);

class Krb5CredentialsCache {
 public:
  // The default cache of `uid` ($KRB5CCNAME, else FILE:/tmp/krb5cc_<uid>) when it holds a
  // ticket-granting ticket (with `needTgt`) or exists; else an empty string.
  static std::string findUserCCache(uid_t uid, bool needTgt);
  // The client principal of the cache ("user@REALM"); empty when it cannot be read.
  static std::string getUPN(const std::string& ccacheName);
  // A new, unused FILE cache name for `uid`.
  static std::string genUserCCache(KerberosContext& context, uid_t uid);
  // Destroys the cache (with `destroy`) or only empties it.
  static void clearCCache(const std::string& ccacheName, bool destroy);
};

class ADHelper {
 public:
  // A MEMORY cache with a ticket of the joined machine, from the system keytab. Empty
  // when the machine is not joined.
  static std::string GetMachineCredCache();
};

// Prompts on the terminal with echo off and reads a line; from a pipe, reads a plain line.
// Returns an empty Shredder at end of input.
Shredder kvr_getpass(const std::string& prompt);

// The locators the system registers with Kerberos; the backends supply them. With MIT
// Kerberos they answer "not handled", so the KDC and password servers come from krb5.conf.
int prejoin_kdc_locator_callback(_krb5_context*, const _krb5_data*, addrlist*, int, int, int);
int prejoin_kpasswd_locator_callback(_krb5_context*, const _krb5_data*, addrlist*, int, int, int);

// Password callback that obtains a ticket for the principal with the Shredder in `data` and
// stores it in the default cache of `context` (a binding makes its own cache that default
// before it calls the callback). Returns 0 or the Kerberos error.
int gic_with_password_callback(_krb5_context* context, void* data, const char* principal);

}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_KERBEROS_H_
