// The Kerberos helpers over the in-memory directory: credential caches are names that hold
// a principal, and a table of passwords stands in for the KDC.
#include "directory/library/kerberos.h"

#include <krb5/krb5.h>
#include <termios.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <iostream>

#include "directory/library/exceptions.h"
#include "directory/library/memory/directory.h"
#include "directory/library/settings.h"

namespace kesh {

using memdir::Directory;

KerberosContext::KerberosContext() {}
KerberosContext::~KerberosContext() {}
void KerberosContext::profileUpdate() {}

int getCredentials(KerberosContext&, const std::string& principal, const Shredder& password,
                   KerberosCreds& creds, std::string& error, int, Locator) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  ++d.kerberosRequests;
  std::string name = principal;
  if (name.find('@') == std::string::npos) {
    auto setting = d.settings.find(SETTING_DOMAIN_NAME);
    if (setting != d.settings.end()) name += "@" + setting->second;
  }
  size_t at = name.rfind('@');
  if (at == std::string::npos || at == 0 || at + 1 == name.size()) {
    error = "Malformed representation of principal";
    return static_cast<int>(KRB5_PARSE_MALFORMED);
  }
  if (!d.findDomain(name.substr(at + 1))) {
    error = "Cannot resolve network address for KDC in requested realm";
    return static_cast<int>(KRB5_REALM_CANT_RESOLVE);
  }
  std::string key = Directory::PasswordKey(name);
  auto it = d.passwords.find(key);
  if (it == d.passwords.end()) {
    error = "Client not found in Kerberos database";
    return static_cast<int>(KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN);
  }
  if (it->second != password) {
    error = "Preauthentication failed";
    return static_cast<int>(KRB5KDC_ERR_PREAUTH_FAILED);
  }
  creds.principal = name.substr(0, at) + key.substr(key.rfind('@'));
  creds.impl.reset();
  error.clear();
  return 0;
}

void storeTGT(KerberosContext&, const std::string& principal, const std::string& ccacheName,
              KerberosCreds& creds, uid_t, gid_t) {
  if (ccacheName.empty()) {
    KESH_THROW(KerberosException, static_cast<int>(KRB5_CC_NOTFOUND), "%s",
               "Matching credential not found");
  }
  Directory& d = Directory::instance();
  auto lock = d.lock();
  d.ccaches[ccacheName] = creds.principal.empty() ? principal : creds.principal;
}

int setPasswordUsingCCache(KerberosContext&, const std::string& ccacheName,
                           const std::string& targetPrincipal, const Shredder& newPassword,
                           std::string& error) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  auto cache = d.ccaches.find(ccacheName);
  if (cache == d.ccaches.end() || cache->second.empty()) {
    error = "No credentials cache found";
    return static_cast<int>(KRB5_FCC_NOFILE);
  }
  d.passwords[Directory::PasswordKey(targetPrincipal)] = newPassword;
  error.clear();
  return 0;
}

std::string Krb5CredentialsCache::findUserCCache(uid_t, bool needTgt) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  if (d.defaultCCache.empty()) return std::string();
  auto it = d.ccaches.find(d.defaultCCache);
  bool holdsTicket = it != d.ccaches.end() && !it->second.empty();
  bool exists = it != d.ccaches.end();
  return (needTgt ? holdsTicket : exists) ? d.defaultCCache : std::string();
}

std::string Krb5CredentialsCache::getUPN(const std::string& ccacheName) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  auto it = d.ccaches.find(ccacheName);
  return it == d.ccaches.end() ? std::string() : it->second;
}

std::string Krb5CredentialsCache::genUserCCache(KerberosContext&, uid_t uid) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  for (unsigned n = 1;; ++n) {
    std::string name = "FILE:/tmp/krb5cc_" + std::to_string(uid) + "_zs" + std::to_string(n);
    if (!d.ccaches.count(name)) return name;
  }
}

void Krb5CredentialsCache::clearCCache(const std::string& ccacheName, bool destroy) {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  auto it = d.ccaches.find(ccacheName);
  if (it == d.ccaches.end()) return;
  if (destroy) {
    d.ccaches.erase(it);
  } else {
    it->second.clear();
  }
}

std::string ADHelper::GetMachineCredCache() {
  Directory& d = Directory::instance();
  auto lock = d.lock();
  return d.machineCCache;
}

Shredder kvr_getpass(const std::string& prompt) {
  {
    Directory& d = Directory::instance();
    auto lock = d.lock();
    if (!d.passwordAnswers.empty()) {
      Shredder answer(d.passwordAnswers.front());
      WipeString(d.passwordAnswers.front());
      d.passwordAnswers.pop_front();
      return answer;
    }
  }
  bool tty = isatty(STDIN_FILENO);
  struct termios saved;
  if (tty) {
    FILE* out = fopen("/dev/tty", "w");
    if (out) {
      fputs(prompt.c_str(), out);
      fclose(out);
    }
    tcgetattr(STDIN_FILENO, &saved);
    struct termios quiet = saved;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
  }
  Shredder line;
  int c;
  while ((c = getchar()) != EOF && c != '\n') line.push_back(static_cast<char>(c));
  if (tty) {
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
    FILE* out = fopen("/dev/tty", "w");
    if (out) {
      fputc('\n', out);
      fclose(out);
    }
  }
  return line;
}

int prejoin_kdc_locator_callback(_krb5_context*, const _krb5_data*, addrlist*, int, int, int) {
  return static_cast<int>(KRB5_PLUGIN_NO_HANDLE);
}

int prejoin_kpasswd_locator_callback(_krb5_context*, const _krb5_data*, addrlist*, int, int, int) {
  return static_cast<int>(KRB5_PLUGIN_NO_HANDLE);
}

int gic_with_password_callback(_krb5_context*, void* data, const char* principal) {
  if (!data || !principal) return static_cast<int>(KRB5KDC_ERR_PREAUTH_FAILED);
  KerberosContext context;
  KerberosCreds creds;
  std::string error;
  return getCredentials(context, principal, *static_cast<const Shredder*>(data), creds, error,
                        DEFAULT_TICKET_LIFETIME, nullptr);
}

}  // namespace kesh
