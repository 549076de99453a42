// LdapSession: one bound LDAP connection to one domain controller.
//
// A session is opened to a host and port, bound with SASL GSSAPI (signing and sealing, no
// reverse-DNS canonicalisation) using the credentials of one cache, and reads the root DSE
// once. Bindings and paged search cursors share a session; a reconnect makes a new one, so a
// cursor of the old session fails rather than reading from another server.
//
// Not thread-safe: a session is used by one thread at a time.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_LDAP_LDAP_SESSION_H_
#define ZONESMITH_DIRECTORY_LIBRARY_LDAP_LDAP_SESSION_H_

#include <ldap.h>
#include <signal.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "directory/library/adbinding.h"
#include "directory/library/adobject.h"
#include "directory/library/ldap/dc_locator.h"

namespace kesh {
namespace ldapbackend {

struct SessionOptions {
  std::string ccacheName;  // empty: the process's default cache
  int connectTimeout = 0;  // seconds for connecting, binding and the root DSE; 0 none
  int searchTimeout = 0;   // seconds for each later request, read or write; 0 none
  PasswordCallback passwordCallback = nullptr;
  std::shared_ptr<void> passwordCallbackData;
};

// Attribute names whose values are bytes, not text.
bool IsBinaryAttribute(const std::string& name);

// Converts one search result entry into an object (see adbinding.h for what it carries).
ADObject EntryToObject(LDAP* ld, LDAPMessage* entry);

class LdapSession {
 public:
  // Connects and binds. Throws LDAPException (rc and the server's or SASL's text) when the
  // server cannot be reached or refuses the bind.
  LdapSession(const ServiceTarget& target, const SessionOptions& options);
  ~LdapSession();
  LdapSession(const LdapSession&) = delete;
  LdapSession& operator=(const LdapSession&) = delete;

  LDAP* handle() const { return ld_; }
  const ServiceTarget& target() const { return target_; }
  const SessionOptions& options() const { return options_; }
  // Seconds a request (search or write) may take from now on; 0 is no limit.
  void setSearchTimeout(int seconds) { searchTimeout_ = seconds; }

  // Whether the connection still stands. Looks at the socket without a round trip: a closed
  // socket, or data that arrives while no request is outstanding (the server's notice of
  // disconnection), means the connection is lost.
  bool alive();
  void markLost() { lost_ = true; }

  // Root DSE facts read after the bind.
  const ADObject& rootDSE() const { return rootDSE_; }
  std::string dnsHostName() const;

  // Throws LDAPException for `rc`, marking the session lost first when `rc` says so.
  [[noreturn]] void fail(const char* file, int line, int rc,
                         const std::string& detail = std::string());

  // Sends a request with `send` (a libldap call of the asynchronous kind: it is given the
  // handle and fills in the message id) and waits for its result as finish() does.
  // Returns the result code: the send's own failure, or the result's.
  int request(const std::function<int(LDAP*, int*)>& send, std::string* diagnostic);

  // Waits for the result of the request `msgid` for at most the request timeout and
  // returns its result code, the server's text in `diagnostic`. A request that times out
  // is abandoned and answers LDAP_TIMEOUT; the connection stays up. A transport failure
  // answers its (negative) libldap code and marks the session lost when it says so.
  int finish(int msgid, std::string* diagnostic);

  // A search with the given controls, waiting for the whole result (one page when a paged
  // control is among them). Returns the result code; `result` receives the message chain
  // (free with ldap_msgfree) and `responseControls` the controls of the final result
  // (free with ldap_controls_free). Throws only for failures of the transport.
  int search(const std::string& base, int scope, const std::string& filter,
             const std::vector<std::string>* attrs, LDAPControl** controls, int sizeLimit,
             LDAPMessage** result, LDAPControl*** responseControls, std::string* diagnostic);

 private:
  void bind();
  void readRootDSE();
  // Forgets the diagnostic of an earlier request, so that a failure found by the client
  // (a malformed filter, a lost connection) is not reported with another request's text.
  void clearDiagnostic();

  LDAP* ld_ = nullptr;
  const ServiceTarget target_;
  const SessionOptions options_;
  bool lost_ = false;
  int searchTimeout_ = 0;
  ADObject rootDSE_;
};

// The security descriptor flags control of one request, for the flags given.
class SdFlagsControl {
 public:
  explicit SdFlagsControl(int flags);
  SdFlagsControl(const SdFlagsControl&) = delete;
  SdFlagsControl& operator=(const SdFlagsControl&) = delete;
  LDAPControl* get() { return &control_; }

 private:
  std::string value_;
  LDAPControl control_;
};

// Keeps SIGPIPE away from the calling thread for its lifetime: libldap writes to sockets
// that the server may have closed, and a program that has not ignored the signal would
// end. A SIGPIPE raised meanwhile is discarded; the failed write shows as a lost connection.
class SigpipeGuard {
 public:
  SigpipeGuard();
  ~SigpipeGuard();
  SigpipeGuard(const SigpipeGuard&) = delete;
  SigpipeGuard& operator=(const SigpipeGuard&) = delete;

 private:
  sigset_t old_;
  bool wasPending_ = false;
};

// Selects the credential cache that GSSAPI uses in this thread for the lifetime of the
// object and restores the previous choice afterwards. An empty name changes nothing.
class CcacheSelection {
 public:
  explicit CcacheSelection(const std::string& ccacheName);
  ~CcacheSelection();
  CcacheSelection(const CcacheSelection&) = delete;
  CcacheSelection& operator=(const CcacheSelection&) = delete;

 private:
  bool selected_ = false;
  bool hadPrevious_ = false;
  std::string previous_;
};

// The BER value of the security descriptor flags control: SEQUENCE { INTEGER flags }.
std::string EncodeSDFlags(int flags);

}  // namespace ldapbackend
}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_LDAP_LDAP_SESSION_H_
