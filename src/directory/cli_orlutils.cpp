#include "directory/cli_orlutils.h"

#include <unistd.h>

#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "directory/ldap.h"
#include "directory/library/adobject.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/kerberos.h"
#include "directory/library/kerberos_failure.h"
#include "directory/library/settings.h"
#include "directory/library/thread_data.h"
#include "directory/session.h"

using boost::algorithm::to_lower_copy;
using boost::algorithm::to_upper_copy;

namespace {

constexpr int kNoCredentialCache = 1008;

std::shared_ptr<kesh::Logger> CredentialsLog() { return getLogger("cli.credentials", false); }

// "user@realm" with the realm in upper case; a name without a realm stays as it is.
std::string RealmName(const std::string& principal) {
  size_t at = principal.find('@');
  if (at == std::string::npos) return principal;
  return principal.substr(0, at + 1) + to_upper_copy(principal.substr(at + 1));
}

}  // namespace

std::shared_ptr<kesh::Logger> getLogger(const char* name, bool) {
  return kesh::Logger::GetThreadPrivateLogger(name);
}

int cli_gic_with_password_prompt_callback(_krb5_context* context, void*, const char* principal) {
  if (principal == nullptr || *principal == '\0') {
    KESH_THROW(KerberosException, 0, "%s:%s", "unparse name for get init cred callback",
               "no principal");
  }
  Shredder password = kesh::kvr_getpass(RealmName(principal) + "'s password: ");
  // An empty answer is never tried: a wrong password counts towards a lockout.
  if (password.empty()) return kesh::KRB_CANNOT_READ_PASSWORD;
  int rc = kesh::gic_with_password_callback(context, &password, principal);
  if (rc != 0) {
    CredentialsLog()->log(kesh::Logger::DEBUG, __FILE__, __LINE__, __func__,
                          "Failed to get init cred in password prompt callback, rc=%d", rc);
  }
  password.wipe();
  return rc;
}

namespace kesh {

bool DetermineCredentials(std::string& user, Shredder& password, std::string& ccName,
                          const std::string& domain, bool prompt) {
  std::shared_ptr<Logger> log = CredentialsLog();
  const bool userGiven = !user.empty();
  if (user.empty() && !password.empty()) {
    user = "Administrator";
  } else if (user.empty()) {
    if (ccName.empty()) ccName = Krb5CredentialsCache::findUserCCache(getuid(), true);
    if (ccName.empty()) {
      user = "Administrator";
    } else {
      user = Krb5CredentialsCache::getUPN(ccName);
      if (domain.empty()) {
        log->log(Logger::DEBUG, __FILE__, __LINE__, __func__,
                 "No AD domain supplied, so cannot verify if credential is good for binding.");
        return true;
      }
      try {
        std::shared_ptr<ADBinding> test =
            NewADBinding(domain, ccName, false, "", "", prejoin_kdc_locator_callback);
        if (prompt) {
          test->passwordCallback = cli_gic_with_password_prompt_callback;
          test->passwordCallbackData = EMPTY_CBDATA;
        }
        test->connect("", "", 0);
        log->log(Logger::DEBUG, __FILE__, __LINE__, __func__, "Using %s's %s credentials",
                 user.c_str(), "cached");
        return true;
      } catch (const KESHException& e) {
        log->log(Logger::INFO, __FILE__, __LINE__, __func__,
                 "The discovered credential cache for user: %sdoes not work for domain: "
                 "%s.reason: %s Using Administrator user instead",
                 user.c_str(), domain.c_str(), e.what());
        ccName.clear();
        user = "Administrator";
      }
    }
  }

  if (!password.empty()) {
    log->log(Logger::DEBUG, __FILE__, __LINE__, __func__, "Using %s's %s credentials", user.c_str(),
             "password");
    return false;
  }
  if (!prompt) {
    if (!userGiven) {
      KESH_THROW(BadDataException, 0, "%s: No credentials found, need user and password",
                 NO_TICKET_SENTENCE);
    }
    KESH_THROW(BadDataException, 0,
               "no password given for %s: No credentials found, need user and password",
               user.c_str());
  }
  if (!domain.empty()) {
    size_t at = user.find('@');
    if (at == std::string::npos) {
      user += "@" + to_upper_copy(domain);
    } else if (at + 1 == user.size()) {
      user += to_upper_copy(domain);
    } else {
      user = RealmName(user);
    }
  }
  Shredder answer = kvr_getpass(user + "'s password: ");
  if (answer.empty()) {
    // Empty input or the end of input: nothing is sent to the domain, so a slip at the
    // prompt never counts towards a lockout.
    KESH_THROW(BadDataException, 0, "no password given for %s: nothing was sent to the domain",
               user.c_str());
  }
  password = answer;
  answer.wipe();
  return false;
}

std::string getUserCCName(const std::string& user, Shredder* password, void* memoryTag,
                          Locator locator, bool prompt) {
  Shredder none;
  Shredder& secret = password ? *password : none;
  std::string principal = user;
  size_t at = principal.find('@');
  if (at != std::string::npos && at + 1 < principal.size()) principal = RealmName(principal);

  std::string ccName;
  if (DetermineCredentials(principal, secret, ccName, "", prompt)) return ccName;

  KerberosContext context;
  KerberosCreds creds;
  std::string error;
  int rc =
      getCredentials(context, principal, secret, creds, error, DEFAULT_TICKET_LIFETIME, locator);
  if (rc != 0) {
    std::string sentence = KerberosFailureSentence(rc, principal);
    if (!sentence.empty()) sentence += ": ";
    KESH_THROW(KerberosException, rc, "%s%s:%s", sentence.c_str(), "get user credentials",
               error.c_str());
  }
  if (memoryTag) {
    char name[64];
    snprintf(name, sizeof(name), "MEMORY:%p", memoryTag);
    ccName = name;
  } else {
    ccName = Krb5CredentialsCache::genUserCCache(context, getuid());
  }
  storeTGT(context, principal, ccName, creds, getuid(), getgid());
  return ccName;
}

std::string getCCName(CCNSource source, const std::string& user, Shredder* password,
                      std::string* upn, void* memoryTag, Locator locator, bool prompt) {
  std::string name;
  switch (source) {
    case CCN_MACHINE:
      name = ADHelper::GetMachineCredCache();
      break;
    case CCN_USER:
      name = getUserCCName(user, password, memoryTag, locator, prompt);
      break;
    case CCN_DISCOVERED:
      name = Krb5CredentialsCache::findUserCCache(getuid(), true);
      break;
  }
  if (upn) *upn = Krb5CredentialsCache::getUPN(name);
  return name;
}

std::shared_ptr<ADBinding> getBindingPtr(CCNSource source, const std::string& domain,
                                         const std::string& user, Shredder& password,
                                         std::string& ccName, const std::string& server, bool gc,
                                         bool prompt, void* memoryTag) {
  Shredder copy = password;
  ccName = getCCName(source, user, &copy, nullptr, memoryTag, prejoin_kdc_locator_callback, prompt);
  if (ccName.empty()) KESH_THROW(BaseException, kNoCredentialCache, "No credential cache found");

  std::string target = domain;
  if (target.empty()) target = loadSetting(SETTING_DOMAIN_NAME, false, false);
  std::shared_ptr<ADBinding> binding =
      NewADBinding(target, ccName, gc, server, "", prejoin_kdc_locator_callback);
  if (!copy.empty()) {
    binding->passwordCallback = gic_with_password_callback;
    binding->passwordCallbackData = std::make_shared<Shredder>(copy);
    CredentialsLog()->log(Logger::DEBUG, __FILE__, __LINE__, __func__,
                          "Set get init credential callback function and data for user %s.",
                          user.c_str());
  }
  binding->connect(server, "", 0);
  binding->passwordCallback = nullptr;
  binding->passwordCallbackData = EMPTY_CBDATA;
  return binding;
}

std::string getBindingUser(std::shared_ptr<ADBinding>& binding) {
  return Krb5CredentialsCache::getUPN(binding->ccacheName());
}

void setSDFlag(std::shared_ptr<ADBinding>& binding, bool all) {
  int wanted = all ? SD_FLAG_OWNER | SD_FLAG_GROUP | SD_FLAG_DACL : SD_FLAG_DACL;
  if (binding->sdFlags == wanted) return;
  binding->setSDFlag(wanted);
  binding->connect("", "", 0);
}

namespace {

// What a server says about itself in its root DSE.
struct ServerFacts {
  std::string domain;
  bool globalCatalog = false;
  bool writable = false;
};

// Reads the root DSE of `server` with the calling user's credentials. Throws when the
// server cannot be reached or answers nothing.
ServerFacts ReadServerFacts(const std::string& server) {
  std::string ccName = Krb5CredentialsCache::findUserCCache(getuid(), true);
  // The server's own domain is the rest of its DNS name.
  size_t dot = server.find('.');
  std::string bindDomain = dot == std::string::npos ? server : server.substr(dot + 1);
  std::shared_ptr<ADBinding> binding =
      NewADBinding(bindDomain, ccName, false, server, "", prejoin_kdc_locator_callback);
  binding->connect(server, "", 0);
  ADObject root = binding->fetch("", nullptr, "(objectClass=*)", 0);
  if (root.empty()) KESH_THROW(NotFoundException, 0, "no root DSE");
  ServerFacts facts;
  facts.domain = DN::domainFromDN(root["defaultNamingContext"]);
  facts.globalCatalog = root["isGlobalCatalogReady"].toBool();
  // A read-only domain controller announces the partial secrets capability.
  const std::vector<std::string>& capabilities = root["supportedCapabilities"].values();
  facts.writable = std::find(capabilities.begin(), capabilities.end(), "1.2.840.113556.1.4.1920") ==
                   capabilities.end();
  return facts;
}

const char kExampleServer[] = "dc1.example.test";

}  // namespace

int VerifyServer(const std::string& server, bool gc, bool writable, bool notIp,
                 const std::string& domain) {
  if (server.empty()) return 0;
  if (notIp && server.find_first_not_of("0123456789.") == std::string::npos) return 5;
  ServerFacts facts;
  try {
    facts = ReadServerFacts(server);
  } catch (const std::exception&) {
    return 1;
  }
  if (facts.domain.empty()) return 1;
  if (gc && !facts.globalCatalog) return 2;
  if (writable && !facts.writable) return 3;
  if (!domain.empty() && to_upper_copy(domain) != to_upper_copy(facts.domain)) return 6;
  return 0;
}

bool ValidateServer(std::shared_ptr<Logger> logger, const std::string& server, bool gc,
                    bool writable, bool notIp, const std::string& domain) {
  int code = VerifyServer(server, gc, writable, notIp, domain);
  if (code == 0) return true;
  std::vector<std::string> lines;
  const char* name = server.c_str();
  std::string example = FormatMessage("Example: %s", kExampleServer);
  switch (code) {
    case 1:
      lines.push_back(FormatMessage("Server '%s' is not reachable", name));
      break;
    case 2:
      lines.push_back(FormatMessage("Server '%s' must be a global catalog server", name));
      break;
    case 3:
      lines.push_back(FormatMessage("Server '%s' is not a writable server", name));
      break;
    case 4:
      lines.push_back(FormatMessage("Server '%s' must be a fully qualified DNS name", name));
      lines.push_back(example);
      break;
    case 5:
      lines.push_back(FormatMessage("Server '%s' appears to be an IP address", name));
      lines.push_back("Server must be a fully qualified DNS name");
      lines.push_back(example);
      break;
    case 6:
      lines.push_back(
          FormatMessage("Server '%s' does not host AD domain '%s", name, domain.c_str()));
      lines.push_back("Please select a server that does");
      lines.push_back(example);
      break;
  }
  for (const std::string& line : lines) {
    fprintf(stderr, "%s\n", line.c_str());
    if (logger) logger->log(Logger::DEBUG, __FILE__, __LINE__, __func__, "%s", line.c_str());
  }
  fflush(stderr);
  return false;
}

}  // namespace kesh

void RequireJoinedMachine() {
  if (kesh::GetSetting(kesh::SETTING_DOMAIN_NAME, "", false).empty()) {
    KESH_THROW(kesh::BadDataException, 0, "-machine requires that the machine be joined");
  }
}

void BindDomain(BindRequest& request) {
  const bool gc = request.gc;
  const bool machine = request.machine;
  const bool write = request.write;
  Shredder& password = request.password;
  if (machine) RequireJoinedMachine();
  std::string word = to_lower_copy(request.target);
  std::string server;
  std::string domain = word;
  size_t at = word.find('@');
  if (at != std::string::npos) {
    server = word.substr(0, at);
    domain = word.substr(at + 1);
  }

  std::string user;
  bool prompt = false;
  if (request.userGiven) {
    if (machine) {
      KESH_THROW(kesh::BadDataException, 0, "-machine and <username> cannot be specified together");
    }
    user = request.user;
    if (user.find('@') == std::string::npos) user += "@" + domain;
    prompt = !request.passwordGiven;
  }

  // A password given by name lives in a MEMORY cache of its own, named after a tag that the
  // MyBinding keeps once the bind has succeeded: bindings to two domains never share a cache,
  // and a failed bind never writes into the cache of a binding that exists.
  std::shared_ptr<char> tag = user.empty() ? nullptr : std::make_shared<char>(0);
  void* memoryTag = tag.get();
  kesh::ThreadData::get().writable = write;

  std::string ccName;
  std::shared_ptr<kesh::ADBinding> binding;
  if (machine) {
    binding = kesh::getBindingPtr(kesh::CCN_MACHINE, domain, "", password, ccName, server, false,
                                  false, nullptr);
  } else {
    binding = kesh::getBindingPtr(kesh::CCN_USER, domain, user, password, ccName, server, gc,
                                  prompt, memoryTag);
  }
  if (write) {
    binding->prepareWrite();
    binding->connectToWritable();
  }
  ContextTab& tab = *GetContextTab();
  binding->setConnectTimeout(tab.ldapTimeout, 0);
  binding->setSearchTimeout(tab.ldapTimeout, 0);
  if (!server.empty() && binding->server() != server) {
    KESH_THROW(kesh::NotFoundException, 0, "could not connect to specified server: %s",
               server.c_str());
  }

  std::shared_ptr<MyBinding> existing;
  try {
    existing = gc ? GetGCBinding(domain) : GetBinding(domain);
  } catch (const kesh::NotFoundException&) {
    existing.reset();
  }
  if (existing) {
    existing->binding = binding;
    existing->ccName = ccName;
    existing->memoryTag = tag;
  } else {
    auto created = std::make_shared<MyBinding>(binding, ccName);
    created->memoryTag = tag;
    (gc ? tab.gcBindings : tab.bindings)[domain] = created;
  }
  password.wipe();
}
