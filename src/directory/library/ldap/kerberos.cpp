// The Kerberos helpers of kerberos.h, realised with MIT Kerberos.
#include "directory/library/kerberos.h"

#include <fcntl.h>
#include <krb5.h>
#include <profile.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "directory/library/exceptions.h"
#include "directory/library/logger.h"

namespace kesh {

namespace {

std::string KrbMessage(krb5_context context, krb5_error_code code) {
  const char* text = krb5_get_error_message(context, code);
  std::string message = text ? text : "unknown Kerberos error";
  krb5_free_error_message(context, text);
  return message;
}

// The configuration files Kerberos reads: $KRB5_CONFIG (colon-separated) or /etc/krb5.conf.
std::vector<std::string> ConfigFiles() {
  std::vector<std::string> files;
  const char* env = getenv("KRB5_CONFIG");
  std::string list = env && *env ? env : "/etc/krb5.conf";
  size_t start = 0;
  while (start <= list.size()) {
    size_t colon = list.find(':', start);
    if (colon == std::string::npos) colon = list.size();
    if (colon > start) files.push_back(list.substr(start, colon - start));
    start = colon + 1;
  }
  return files;
}

// The first configuration file that exists and does not parse.
std::string BrokenConfigFile() {
  for (const std::string& file : ConfigFiles()) {
    if (access(file.c_str(), F_OK) != 0) continue;
    profile_t profile = nullptr;
    long rc = profile_init_path(file.c_str(), &profile);
    if (profile != nullptr) profile_release(profile);
    if (rc != 0) return file;
  }
  return std::string();
}

void Log(int level, const char* function, const char* format, const char* arg) {
  Logger::GetThreadPrivateLogger("base.kerberos.wrap")
      ->log(level, __FILE__, __LINE__, function, format, arg);
}

// Frees the credentials of getCredentials with the context that made them.
struct CredsHolder {
  krb5_context context = nullptr;
  krb5_creds creds;
  CredsHolder() { memset(&creds, 0, sizeof(creds)); }
  ~CredsHolder() { krb5_free_cred_contents(context, &creds); }
};

krb5_error_code InitCreds(krb5_context context, const std::string& principal,
                          const std::string& password, int lifetime, CredsHolder& holder,
                          std::string& error) {
  krb5_principal client = nullptr;
  krb5_error_code rc = krb5_parse_name(context, principal.c_str(), &client);
  if (rc != 0) {
    error = KrbMessage(nullptr, rc);
    return rc;
  }
  krb5_get_init_creds_opt* options = nullptr;
  rc = krb5_get_init_creds_opt_alloc(context, &options);
  if (rc == 0) {
    if (lifetime > 0) krb5_get_init_creds_opt_set_tkt_life(options, lifetime);
    holder.context = context;
    rc = krb5_get_init_creds_password(context, &holder.creds, client, password.c_str(), nullptr,
                                      nullptr, 0, nullptr, options);
    krb5_get_init_creds_opt_free(context, options);
  }
  // The plain text of the code, as error_message() gives it: MIT's extended message would
  // name the principal, and callers put the text into messages of their own.
  if (rc != 0) error = KrbMessage(nullptr, rc);
  krb5_free_principal(context, client);
  return rc;
}

// Initialises `cache` for the credentials' client and stores them in it.
krb5_error_code StoreInCache(krb5_context context, krb5_ccache cache, krb5_creds* creds) {
  krb5_error_code rc = krb5_cc_initialize(context, cache, creds->client);
  if (rc == 0) rc = krb5_cc_store_cred(context, cache, creds);
  return rc;
}

bool HoldsValidTgt(krb5_context context, krb5_ccache cache) {
  krb5_cc_cursor cursor;
  if (krb5_cc_start_seq_get(context, cache, &cursor) != 0) return false;
  bool found = false;
  krb5_creds creds;
  time_t now = time(nullptr);
  while (!found && krb5_cc_next_cred(context, cache, &cursor, &creds) == 0) {
    krb5_principal server = creds.server;
    if (server != nullptr && server->length == 2 && server->data[0].length == 6 &&
        memcmp(server->data[0].data, "krbtgt", 6) == 0 &&
        static_cast<time_t>(creds.times.endtime) > now) {
      found = true;
    }
    krb5_free_cred_contents(context, &creds);
  }
  krb5_cc_end_seq_get(context, cache, &cursor);
  return found;
}

// A context for the static helpers that get none.
class TempContext {
 public:
  TempContext() {
    if (krb5_init_context(&context_) != 0) context_ = nullptr;
  }
  ~TempContext() {
    if (context_ != nullptr) krb5_free_context(context_);
  }
  krb5_context get() const { return context_; }

 private:
  krb5_context context_ = nullptr;
};

}  // namespace

KerberosContext::KerberosContext() {
  krb5_context context = nullptr;
  krb5_error_code rc = krb5_init_context(&context);
  if (rc == 0) {
    context_ = context;
    profileUpdate();
    return;
  }
  if (rc == KRB5_CONFIG_BADFORMAT) {
    // A broken configuration file would stop every Kerberos call: move it aside and go on
    // with an empty profile.
    std::string file = BrokenConfigFile();
    if (!file.empty()) {
      std::string bad = file + ".bad";
      unlink(bad.c_str());
      if (rename(file.c_str(), bad.c_str()) != 0) {
        Log(Logger::WARNING, __func__, "Failed to rename bad Kerberos configuration file %s",
            file.c_str());
      }
      Log(Logger::WARNING, __func__, "Kerberos configuration file %s was bad, moved it aside",
          file.c_str());
    }
    profile_t profile = nullptr;
    const_profile_filespec_t noFiles[] = {nullptr};
    rc = profile_init(noFiles, &profile);
    if (rc == 0) {
      rc = krb5_init_context_profile(profile, 0, &context);
      profile_release(profile);
    }
    if (rc == 0) {
      context_ = context;
      profileUpdate();
      return;
    }
  }
  std::string text = KrbMessage(nullptr, rc);
  Log(Logger::ERROR, __func__, "Kerberos initialisation failed: %s", text.c_str());
  KESH_THROW(KerberosException, static_cast<int>(rc), "%s", text.c_str());
}

KerberosContext::~KerberosContext() {
  if (context_ != nullptr) krb5_free_context(context_);
}

// Profile changes are read by MIT Kerberos itself when a context is made.
void KerberosContext::profileUpdate() {}

int getCredentials(KerberosContext& context, const std::string& principal, const Shredder& password,
                   KerberosCreds& creds, std::string& error, int lifetime, Locator) {
  auto holder = std::make_shared<CredsHolder>();
  krb5_error_code rc = InitCreds(context.get(), principal, password, lifetime, *holder, error);
  if (rc != 0) return rc;
  creds.principal = principal;
  creds.impl = holder;
  return 0;
}

void storeTGT(KerberosContext& context, const std::string& principal, const std::string& ccacheName,
              KerberosCreds& creds, uid_t uid, gid_t gid) {
  auto* holder = static_cast<CredsHolder*>(creds.impl.get());
  if (holder == nullptr) {
    KESH_THROW(KerberosException, KRB5_CC_NOTFOUND, "store creds:no credentials for %s",
               principal.c_str());
  }
  krb5_context ctx = context.get();
  krb5_ccache cache = nullptr;
  krb5_error_code rc = krb5_cc_resolve(ctx, ccacheName.c_str(), &cache);
  if (rc != 0) {
    KESH_THROW(KerberosException, rc, "resolve creds:%s", KrbMessage(ctx, rc).c_str());
  }
  rc = StoreInCache(ctx, cache, &holder->creds);
  std::string type = krb5_cc_get_type(ctx, cache);
  std::string path = krb5_cc_get_name(ctx, cache);
  krb5_cc_close(ctx, cache);
  if (rc != 0) {
    KESH_THROW(KerberosException, rc, "store creds:%s", KrbMessage(ctx, rc).c_str());
  }
  if (type == "FILE" && uid != static_cast<uid_t>(-1) && chown(path.c_str(), uid, gid) != 0) {
    int e = errno;
    KESH_THROW(KerberosException, e, "store creds:%s", strerror(e));
  }
}

int setPasswordUsingCCache(KerberosContext& context, const std::string& ccacheName,
                           const std::string& targetPrincipal, const Shredder& newPassword,
                           std::string& error) {
  krb5_context ctx = context.get();
  krb5_ccache cache = nullptr;
  krb5_principal target = nullptr;
  krb5_error_code rc = krb5_cc_resolve(ctx, ccacheName.c_str(), &cache);
  if (rc == 0) rc = krb5_parse_name(ctx, targetPrincipal.c_str(), &target);
  int resultCode = 0;
  krb5_data codeString = {0, 0, nullptr};
  krb5_data resultString = {0, 0, nullptr};
  if (rc == 0) {
    rc = krb5_set_password_using_ccache(ctx, cache, newPassword.c_str(), target, &resultCode,
                                        &codeString, &resultString);
  }
  if (rc != 0) {
    error = KrbMessage(ctx, rc);
  } else if (resultCode != 0) {
    rc = resultCode;
    error.assign(codeString.data ? codeString.data : "", codeString.length);
    if (resultString.length > 0) {
      error += ": ";
      error.append(resultString.data, resultString.length);
    }
  }
  krb5_free_data_contents(ctx, &codeString);
  krb5_free_data_contents(ctx, &resultString);
  if (target) krb5_free_principal(ctx, target);
  if (cache) krb5_cc_close(ctx, cache);
  return rc;
}

std::string Krb5CredentialsCache::findUserCCache(uid_t uid, bool needTgt) {
  std::string name;
  const char* env = getenv("KRB5CCNAME");
  if (env != nullptr && *env && uid == getuid()) {
    name = env;
  } else {
    name = "FILE:/tmp/krb5cc_" + std::to_string(uid);
  }
  TempContext context;
  if (context.get() == nullptr) return std::string();
  krb5_ccache cache = nullptr;
  if (krb5_cc_resolve(context.get(), name.c_str(), &cache) != 0) return std::string();
  krb5_principal principal = nullptr;
  bool usable = krb5_cc_get_principal(context.get(), cache, &principal) == 0;
  if (principal) krb5_free_principal(context.get(), principal);
  if (usable && needTgt) usable = HoldsValidTgt(context.get(), cache);
  krb5_cc_close(context.get(), cache);
  return usable ? name : std::string();
}

std::string Krb5CredentialsCache::getUPN(const std::string& ccacheName) {
  TempContext context;
  if (context.get() == nullptr) return std::string();
  krb5_ccache cache = nullptr;
  krb5_error_code rc = ccacheName.empty()
                           ? krb5_cc_default(context.get(), &cache)
                           : krb5_cc_resolve(context.get(), ccacheName.c_str(), &cache);
  if (rc != 0) return std::string();
  std::string upn;
  krb5_principal principal = nullptr;
  if (krb5_cc_get_principal(context.get(), cache, &principal) == 0) {
    char* text = nullptr;
    if (krb5_unparse_name(context.get(), principal, &text) == 0) {
      upn = text;
      krb5_free_unparsed_name(context.get(), text);
    }
    krb5_free_principal(context.get(), principal);
  }
  krb5_cc_close(context.get(), cache);
  return upn;
}

std::string Krb5CredentialsCache::genUserCCache(KerberosContext&, uid_t uid) {
  const char* tmp = getenv("TMPDIR");
  std::string dir = tmp && *tmp ? tmp : "/tmp";
  std::string path = dir + "/krb5cc_" + std::to_string(uid) + "_XXXXXX";
  std::vector<char> buffer(path.begin(), path.end());
  buffer.push_back('\0');
  int fd = mkstemp(buffer.data());
  if (fd < 0) {
    int e = errno;
    KESH_THROW(KerberosException, e, "generate cache name:%s", strerror(e));
  }
  if (fchown(fd, uid, static_cast<gid_t>(-1)) != 0) {
    // Only root can give the file away; a user's own cache needs no change.
  }
  close(fd);
  return std::string("FILE:") + buffer.data();
}

void Krb5CredentialsCache::clearCCache(const std::string& ccacheName, bool destroy) {
  TempContext context;
  if (context.get() == nullptr) return;
  krb5_ccache cache = nullptr;
  if (krb5_cc_resolve(context.get(), ccacheName.c_str(), &cache) != 0) return;
  if (destroy) {
    if (krb5_cc_destroy(context.get(), cache) != 0) krb5_cc_close(context.get(), cache);
    return;
  }
  krb5_principal principal = nullptr;
  if (krb5_cc_get_principal(context.get(), cache, &principal) == 0) {
    krb5_cc_initialize(context.get(), cache, principal);
    krb5_free_principal(context.get(), principal);
  }
  krb5_cc_close(context.get(), cache);
}

std::string ADHelper::GetMachineCredCache() {
  KerberosContext context;
  krb5_context ctx = context.get();
  krb5_keytab keytab = nullptr;
  if (krb5_kt_default(ctx, &keytab) != 0) return std::string();

  // The machine account: the single-component principal ending in '$'.
  krb5_principal machine = nullptr;
  krb5_kt_cursor cursor;
  if (krb5_kt_start_seq_get(ctx, keytab, &cursor) == 0) {
    krb5_keytab_entry entry;
    while (machine == nullptr && krb5_kt_next_entry(ctx, keytab, &entry, &cursor) == 0) {
      krb5_principal p = entry.principal;
      if (p->length == 1 && p->data[0].length > 1 &&
          p->data[0].data[p->data[0].length - 1] == '$') {
        krb5_copy_principal(ctx, p, &machine);
      }
      krb5_free_keytab_entry_contents(ctx, &entry);
    }
    krb5_kt_end_seq_get(ctx, keytab, &cursor);
  }
  if (machine == nullptr) {
    krb5_kt_close(ctx, keytab);
    return std::string();
  }

  krb5_creds creds;
  memset(&creds, 0, sizeof(creds));
  krb5_error_code rc =
      krb5_get_init_creds_keytab(ctx, &creds, machine, keytab, 0, nullptr, nullptr);
  krb5_kt_close(ctx, keytab);
  if (rc != 0) {
    krb5_free_principal(ctx, machine);
    KESH_THROW(KerberosException, rc, "get machine credentials:%s", KrbMessage(ctx, rc).c_str());
  }
  const std::string name = "MEMORY:zonesmith_machine";
  krb5_ccache cache = nullptr;
  rc = krb5_cc_resolve(ctx, name.c_str(), &cache);
  if (rc == 0) {
    rc = StoreInCache(ctx, cache, &creds);
    krb5_cc_close(ctx, cache);
  }
  krb5_free_cred_contents(ctx, &creds);
  krb5_free_principal(ctx, machine);
  if (rc != 0) {
    KESH_THROW(KerberosException, rc, "store machine credentials:%s", KrbMessage(ctx, rc).c_str());
  }
  return name;
}

Shredder kvr_getpass(const std::string& prompt) {
  Shredder line;
  const int fd = STDIN_FILENO;
  struct termios saved;
  bool terminal = isatty(fd) && tcgetattr(fd, &saved) == 0;
  if (terminal) {
    struct termios quiet = saved;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    quiet.c_lflag |= ECHONL;
    tcsetattr(fd, TCSAFLUSH, &quiet);
    // The prompt only once echo is off: whatever is typed after it stays unseen.
    if (write(STDERR_FILENO, prompt.data(), prompt.size()) < 0) {
      // Nowhere to prompt; read all the same.
    }
  }
  // One byte at a time, so that nothing after the line is taken from the input.
  char c;
  for (;;) {
    ssize_t n = read(fd, &c, 1);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0 || c == '\n') break;
    line.push_back(c);
  }
  c = 0;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  if (terminal) tcsetattr(fd, TCSAFLUSH, &saved);
  return line;
}

int prejoin_kdc_locator_callback(_krb5_context*, const _krb5_data*, addrlist*, int, int, int) {
  // The KDCs come from the Kerberos configuration and DNS.
  return static_cast<int>(KRB5_PLUGIN_NO_HANDLE);
}

int prejoin_kpasswd_locator_callback(_krb5_context*, const _krb5_data*, addrlist*, int, int, int) {
  return static_cast<int>(KRB5_PLUGIN_NO_HANDLE);
}

int gic_with_password_callback(_krb5_context* context, void* data, const char* principal) {
  const Shredder* password = static_cast<const Shredder*>(data);
  if (context == nullptr || password == nullptr || principal == nullptr || *principal == 0) {
    return static_cast<int>(KRB5_CC_NOTFOUND);
  }
  CredsHolder holder;
  std::string error;
  krb5_error_code rc =
      InitCreds(context, principal, *password, DEFAULT_TICKET_LIFETIME, holder, error);
  if (rc != 0) return rc;
  // The caller made the binding's cache the default of `context`.
  krb5_ccache cache = nullptr;
  rc = krb5_cc_default(context, &cache);
  if (rc == 0) {
    rc = StoreInCache(context, cache, &holder.creds);
    krb5_cc_close(context, cache);
  }
  return rc;
}

}  // namespace kesh
