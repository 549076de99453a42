#include "directory/library/ldap/ldap_session.h"

#include <gssapi/gssapi_krb5.h>
#include <krb5.h>
#include <poll.h>
#include <sasl/sasl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstring>

#include "directory/library/exceptions.h"
#include "directory/library/kerberos.h"
#include "directory/library/ldap/ldap_error.h"

namespace kesh {
namespace ldapbackend {

namespace {

const char* const kDnAttribute = "distinguishedName";
const char* const kCategoryAttribute = "_objectCategory";
const char* const kSdFlagsOid = "1.2.840.113556.1.4.801";

// Frees a result message chain.
struct MessageFree {
  void operator()(LDAPMessage* m) const { ldap_msgfree(m); }
};
using MessagePtr = std::unique_ptr<LDAPMessage, MessageFree>;

std::string TimeoutText(int seconds) {
  return "no answer within " + std::to_string(seconds) + " s";
}

// GSSAPI needs no answers; every prompt gets its default (an empty authorisation id).
int SaslInteract(LDAP*, unsigned, void*, void* prompts) {
  for (sasl_interact_t* p = static_cast<sasl_interact_t*>(prompts); p->id != SASL_CB_LIST_END;
       ++p) {
    const char* answer = p->defresult ? p->defresult : "";
    p->result = answer;
    p->len = static_cast<unsigned>(strlen(answer));
  }
  return LDAP_SUCCESS;
}

bool EqualsIgnoreCase(const std::string& a, const char* b) { return strcasecmp(a.c_str(), b) == 0; }

// The value of the first RDN of `dn`, unescaped only as far as the category names need.
std::string FirstRdnValue(const std::string& dn) {
  size_t eq = dn.find('=');
  if (eq == std::string::npos) return std::string();
  std::string value;
  for (size_t i = eq + 1; i < dn.size(); ++i) {
    if (dn[i] == '\\' && i + 1 < dn.size()) {
      value += dn[++i];
      continue;
    }
    if (dn[i] == ',' || dn[i] == '+') break;
    value += dn[i];
  }
  return value;
}

}  // namespace

bool IsBinaryAttribute(const std::string& name) {
  static const char* const kBinary[] = {
      "objectSid",
      "objectGUID",
      "nTSecurityDescriptor",
      "sIDHistory",
      "tokenGroups",
      "tokenGroupsGlobalAndUniversal",
      "tokenGroupsNoGCAcceptable",
      "securityIdentifier",
      "schemaIDGUID",
      "attributeSecurityGUID",
      "invocationId",
      "msDS-GenerationId",
      "mS-DS-ConsistencyGuid",
      "msDS-OptionalFeatureGUID",
      "msDS-AllowedToActOnBehalfOfOtherIdentity",
      "userCertificate",
      "cACertificate",
      "thumbnailPhoto",
      "jpegPhoto",
      "logonHours",
      "unicodePwd",
      "dBCSPwd",
      "replPropertyMetaData",
      "repsFrom",
      "repsTo",
      "dSASignature",
      "pKIExpirationPeriod",
      "pKIOverlapPeriod",
      "auditingPolicy",
  };
  for (const char* b : kBinary) {
    if (EqualsIgnoreCase(name, b)) return true;
  }
  size_t semi = name.find(';');
  return semi != std::string::npos && strcasecmp(name.c_str() + semi, ";binary") == 0;
}

ADObject EntryToObject(LDAP* ld, LDAPMessage* entry) {
  ADObject object;
  char* dn = ldap_get_dn(ld, entry);
  object[kDnAttribute].setValues({dn ? std::string(dn) : std::string()});
  if (dn) ldap_memfree(dn);

  BerElement* ber = nullptr;
  for (char* name = ldap_first_attribute(ld, entry, &ber); name != nullptr;
       name = ldap_next_attribute(ld, entry, ber)) {
    std::string full(name);
    struct berval** values = ldap_get_values_len(ld, entry, name);
    ldap_memfree(name);

    // "member;range=0-1499": part of the values; the plain name carries them, marked.
    std::string plain = full;
    bool incomplete = false;
    size_t semi = full.find(';');
    if (semi != std::string::npos && strncasecmp(full.c_str() + semi, ";range=", 7) == 0) {
      plain = full.substr(0, semi);
      incomplete = full.compare(full.size() - 2, 2, "-*") != 0;
    }
    if (EqualsIgnoreCase(plain, kDnAttribute)) {
      if (values) ldap_value_free_len(values);
      continue;  // set from the entry's DN above
    }
    std::vector<std::string> list;
    if (values != nullptr) {
      for (int i = 0; values[i] != nullptr; ++i) {
        list.emplace_back(values[i]->bv_val, values[i]->bv_len);
      }
      ldap_value_free_len(values);
    }
    ADAttribute& attribute = object[plain];
    attribute.setValues(std::move(list));
    attribute.setBinary(IsBinaryAttribute(plain));
    attribute.setIncomplete(incomplete);
    attribute.setChanged(false);
    if (EqualsIgnoreCase(plain, "objectCategory") && !attribute.empty()) {
      ADAttribute& category = object[kCategoryAttribute];
      category.setValues({FirstRdnValue(attribute.values().front())});
      category.setChanged(false);
    }
  }
  if (ber != nullptr) ber_free(ber, 0);
  object.setFetchTime(time(nullptr));
  return object;
}

std::string EncodeSDFlags(int flags) {
  // INTEGER contents: the shortest two's complement form of a non-negative value.
  std::string contents;
  unsigned long value = static_cast<unsigned long>(flags < 0 ? 0 : flags);
  do {
    contents.insert(contents.begin(), static_cast<char>(value & 0xff));
    value >>= 8;
  } while (value != 0);
  if (static_cast<unsigned char>(contents[0]) & 0x80) contents.insert(contents.begin(), '\0');
  std::string integer;
  integer += '\x02';
  integer += static_cast<char>(contents.size());
  integer += contents;
  std::string sequence;
  sequence += '\x30';
  sequence += static_cast<char>(integer.size());
  sequence += integer;
  return sequence;
}

SigpipeGuard::SigpipeGuard() {
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  sigset_t pending;
  sigemptyset(&pending);
  wasPending_ = sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe, &old_);
}

SigpipeGuard::~SigpipeGuard() {
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  sigset_t pending;
  sigemptyset(&pending);
  if (!wasPending_ && sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE)) {
    struct timespec zero = {0, 0};
    sigtimedwait(&pipe, nullptr, &zero);
  }
  pthread_sigmask(SIG_SETMASK, &old_, nullptr);
}

CcacheSelection::CcacheSelection(const std::string& ccacheName) {
  if (ccacheName.empty()) return;
  OM_uint32 minor = 0;
  const char* previous = nullptr;
  if (gss_krb5_ccache_name(&minor, ccacheName.c_str(), &previous) == GSS_S_COMPLETE) {
    selected_ = true;
    if (previous != nullptr) {
      hadPrevious_ = true;
      previous_ = previous;
    }
  }
}

CcacheSelection::~CcacheSelection() {
  if (!selected_) return;
  OM_uint32 minor = 0;
  gss_krb5_ccache_name(&minor, hadPrevious_ ? previous_.c_str() : nullptr, nullptr);
}

SdFlagsControl::SdFlagsControl(int flags) : value_(EncodeSDFlags(flags)) {
  memset(&control_, 0, sizeof(control_));
  control_.ldctl_oid = const_cast<char*>(kSdFlagsOid);
  control_.ldctl_value.bv_val = &value_[0];
  control_.ldctl_value.bv_len = value_.size();
  control_.ldctl_iscritical = 1;
}

LdapSession::LdapSession(const ServiceTarget& target, const SessionOptions& options)
    : target_(target), options_(options), searchTimeout_(options.searchTimeout) {
  std::string uri = "ldap://" + target_.host + ":" + std::to_string(target_.port);
  int rc = ldap_initialize(&ld_, uri.c_str());
  if (rc != LDAP_SUCCESS) {
    ld_ = nullptr;
    ThrowLdapError(__FILE__, __LINE__, nullptr, rc, uri);
  }
  try {
    int version = LDAP_VERSION3;
    ldap_set_option(ld_, LDAP_OPT_PROTOCOL_VERSION, &version);
    ldap_set_option(ld_, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
    ldap_set_option(ld_, LDAP_OPT_RESTART, LDAP_OPT_ON);
    ldap_set_option(ld_, LDAP_OPT_X_SASL_NOCANON, LDAP_OPT_ON);
    // AD and Samba refuse binds without integrity; ask for confidentiality too.
    ldap_set_option(ld_, LDAP_OPT_X_SASL_SECPROPS, "minssf=56");
    // Connecting, binding and reading the root DSE take at most the connect timeout: the
    // TCP connect by the network timeout, the bind's round trips by the timeout of
    // synchronous calls, the root DSE by the request timeout.
    if (options_.connectTimeout > 0) {
      struct timeval tv = {options_.connectTimeout, 0};
      ldap_set_option(ld_, LDAP_OPT_NETWORK_TIMEOUT, &tv);
      ldap_set_option(ld_, LDAP_OPT_TIMEOUT, &tv);
      searchTimeout_ = options_.connectTimeout;
    }
    bind();
    readRootDSE();
    // Later requests wait by their own timeout (finish(), search()); none by this one.
    struct timeval infinite = {-1, 0};
    ldap_set_option(ld_, LDAP_OPT_TIMEOUT, &infinite);
    searchTimeout_ = options_.searchTimeout;
  } catch (...) {
    SigpipeGuard guard;
    ldap_unbind_ext_s(ld_, nullptr, nullptr);
    ld_ = nullptr;
    throw;
  }
}

LdapSession::~LdapSession() {
  SigpipeGuard guard;
  if (ld_ != nullptr) ldap_unbind_ext_s(ld_, nullptr, nullptr);
}

void LdapSession::bind() {
  SigpipeGuard guard;
  int rc;
  {
    CcacheSelection selection(options_.ccacheName);
    rc = ldap_sasl_interactive_bind_s(ld_, nullptr, "GSSAPI", nullptr, nullptr, LDAP_SASL_QUIET,
                                      SaslInteract, nullptr);
  }
  if (rc != LDAP_SUCCESS && !IsConnectionLost(rc) && options_.passwordCallback != nullptr) {
    // The cache holds no usable ticket: let the callback obtain one into it, then retry.
    std::string principal = Krb5CredentialsCache::getUPN(options_.ccacheName);
    krb5_context context = nullptr;
    if (krb5_init_context(&context) == 0) {
      int cbrc = KRB5_CC_NOTFOUND;
      if (options_.ccacheName.empty() ||
          krb5_cc_set_default_name(context, options_.ccacheName.c_str()) == 0) {
        cbrc = options_.passwordCallback(context, options_.passwordCallbackData.get(),
                                         principal.c_str());
      }
      krb5_free_context(context);
      if (cbrc == 0) {
        CcacheSelection selection(options_.ccacheName);
        rc = ldap_sasl_interactive_bind_s(ld_, nullptr, "GSSAPI", nullptr, nullptr, LDAP_SASL_QUIET,
                                          SaslInteract, nullptr);
      }
    }
  }
  if (rc != LDAP_SUCCESS) {
    // The server's or SASL's text, and which server refused.
    std::string text = LdapErrorText(ld_, rc) + " (server " + target_.host + ":" +
                       std::to_string(target_.port) + ")";
    if (IsConnectionLost(rc)) lost_ = true;
    Raise<LDAPException>(__FILE__, __LINE__, ClassicResultCode(rc), "%s", text.c_str());
  }
}

void LdapSession::readRootDSE() {
  static const std::vector<std::string> kRootAttributes = {"dnsHostName",
                                                           "defaultNamingContext",
                                                           "rootDomainNamingContext",
                                                           "configurationNamingContext",
                                                           "schemaNamingContext",
                                                           "domainFunctionality",
                                                           "forestFunctionality",
                                                           "domainControllerFunctionality",
                                                           "dsServiceName",
                                                           "isGlobalCatalogReady",
                                                           "serverName",
                                                           "ldapServiceName"};
  LDAPMessage* result = nullptr;
  std::string diagnostic;
  int rc = search("", LDAP_SCOPE_BASE, "(objectClass=*)", &kRootAttributes, nullptr, 0, &result,
                  nullptr, &diagnostic);
  if (rc != LDAP_SUCCESS || result == nullptr) {
    if (result) ldap_msgfree(result);
    fail(__FILE__, __LINE__, rc, diagnostic);
  }
  LDAPMessage* entry = ldap_first_entry(ld_, result);
  if (entry != nullptr) rootDSE_ = EntryToObject(ld_, entry);
  ldap_msgfree(result);
}

std::string LdapSession::dnsHostName() const {
  const ADAttribute* a = rootDSE_.find("dnsHostName");
  return a && !a->empty() ? a->values().front() : target_.host;
}

bool LdapSession::alive() {
  if (lost_ || ld_ == nullptr) return false;
  int fd = -1;
  if (ldap_get_option(ld_, LDAP_OPT_DESC, &fd) != LDAP_OPT_SUCCESS || fd < 0) {
    lost_ = true;
    return false;
  }
  struct pollfd p = {fd, POLLIN | POLLRDHUP, 0};
  int n = poll(&p, 1, 0);
  if (n == 0) return true;
  if (n < 0) return true;  // cannot tell; let the next operation find out
  if (p.revents & (POLLERR | POLLHUP | POLLRDHUP | POLLNVAL)) {
    lost_ = true;
    return false;
  }
  if (p.revents & POLLIN) {
    // Nothing is outstanding between operations: readable means closed, or a notice of
    // disconnection on its way.
    lost_ = true;
    return false;
  }
  return true;
}

void LdapSession::fail(const char* file, int line, int rc, const std::string& detail) {
  if (IsConnectionLost(rc)) lost_ = true;
  ThrowLdapError(file, line, ld_, rc, detail);
}

void LdapSession::clearDiagnostic() { ldap_set_option(ld_, LDAP_OPT_DIAGNOSTIC_MESSAGE, ""); }

int LdapSession::request(const std::function<int(LDAP*, int*)>& send, std::string* diagnostic) {
  clearDiagnostic();
  int msgid = 0;
  int rc;
  {
    SigpipeGuard guard;
    rc = send(ld_, &msgid);
  }
  if (rc != LDAP_SUCCESS) {
    if (IsConnectionLost(rc)) lost_ = true;
    return rc;
  }
  return finish(msgid, diagnostic);
}

int LdapSession::finish(int msgid, std::string* diagnostic) {
  struct timeval tv = {searchTimeout_, 0};
  LDAPMessage* raw = nullptr;
  int n;
  {
    SigpipeGuard guard;
    n = ldap_result(ld_, msgid, LDAP_MSG_ALL, searchTimeout_ > 0 ? &tv : nullptr, &raw);
  }
  MessagePtr result(raw);
  if (n == 0) {
    // The server did not answer in time: tell it to drop the request, and do not wait.
    SigpipeGuard guard;
    ldap_abandon_ext(ld_, msgid, nullptr, nullptr);
    if (diagnostic) *diagnostic = TimeoutText(searchTimeout_);
    return LDAP_TIMEOUT;
  }
  if (n < 0 || result == nullptr) {
    int rc = LDAP_OTHER;
    ldap_get_option(ld_, LDAP_OPT_RESULT_CODE, &rc);
    if (rc == LDAP_SUCCESS) rc = LDAP_OTHER;
    if (IsConnectionLost(rc)) lost_ = true;
    return rc;
  }
  int code = LDAP_OTHER;
  char* text = nullptr;
  if (ldap_parse_result(ld_, result.get(), &code, nullptr, &text, nullptr, nullptr, 0) !=
      LDAP_SUCCESS) {
    return LDAP_DECODING_ERROR;
  }
  if (text != nullptr) {
    if (diagnostic) *diagnostic = text;
    ldap_memfree(text);
  }
  return code;
}

int LdapSession::search(const std::string& base, int scope, const std::string& filter,
                        const std::vector<std::string>* attrs, LDAPControl** controls,
                        int sizeLimit, LDAPMessage** result, LDAPControl*** responseControls,
                        std::string* diagnostic) {
  std::vector<char*> attrv;
  if (attrs != nullptr) {
    for (const std::string& a : *attrs) attrv.push_back(const_cast<char*>(a.c_str()));
    if (attrv.empty()) attrv.push_back(const_cast<char*>(LDAP_NO_ATTRS));
    attrv.push_back(nullptr);
  }
  struct timeval tv = {searchTimeout_, 0};
  *result = nullptr;
  clearDiagnostic();
  SigpipeGuard guard;
  int rc = ldap_search_ext_s(ld_, base.c_str(), scope, filter.empty() ? nullptr : filter.c_str(),
                             attrs ? attrv.data() : nullptr, 0, controls, nullptr,
                             searchTimeout_ > 0 ? &tv : nullptr, sizeLimit, result);
  if (IsConnectionLost(rc)) lost_ = true;
  if (rc == LDAP_TIMEOUT && diagnostic) *diagnostic = TimeoutText(searchTimeout_);
  if (*result == nullptr) return rc;
  // The final result's code, text and controls.
  int code = rc;
  char* text = nullptr;
  LDAPControl** ctrls = nullptr;
  if (ldap_parse_result(ld_, *result, &code, nullptr, &text, nullptr,
                        responseControls ? &ctrls : nullptr, 0) == LDAP_SUCCESS) {
    if (text != nullptr) {
      if (diagnostic) *diagnostic = text;
      ldap_memfree(text);
    }
    if (responseControls) *responseControls = ctrls;
    if (code != LDAP_SUCCESS) rc = code;
  }
  return rc;
}

}  // namespace ldapbackend
}  // namespace kesh
