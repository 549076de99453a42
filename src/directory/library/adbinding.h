// ADBinding and LDAPBinding: one connection to one domain (or to the global catalog of a
// forest). Everything the system does to the directory passes through these operations.
//
// The class is abstract; the backend is chosen at link time: the LDAP/Kerberos backend in
// libzonesmith.so.0, the in-memory directory in the test library. Code above the library
// makes bindings only through kesh::NewADBinding.
//
// DNs given to the operations may also be "<GUID=...>", "<SID=...>" and
// "<WKGUID=guid,DC=...>" forms; the directory resolves them.
//
// Objects returned by fetch and search carry:
//   - the AD_DN attribute ("distinguishedName") set to the entry's DN, always;
//   - binary attributes (objectSid, objectGUID, nTSecurityDescriptor, sIDHistory, ...) as
//     raw bytes, flagged binary;
//   - "_objectCategory": the first RDN value of objectCategory ("Person", "Group", ...),
//     when objectCategory was read;
//   - a ranged attribute ("member;range=0-1499") under its plain name, marked incomplete.
// add and update never send AD_DN or "_objectCategory".
//
// Errors: every failed operation throws LDAPException with the LDAP result code as rc()
// and a text that names the operation and the DN before the result's text and the
// server's diagnostic: "<operation> <DN>: <result text>[: <diagnostic>]", for example
// "search CN=x,DC=example,DC=test: No such object: ...". The operations are named as
// the protocol names them: search (fetch, search, getAttributeValues), add, modify
// (update), rename, move, delete (remove); the root DSE is "search root DSE". A lost
// connection makes connected() answer false until connect() succeeds.
//
// Timeouts: every read and write waits for the server at most the binding's search
// timeout (setSearchTimeout), connecting at most its connect timeout; a request that
// times out is abandoned and fails with rc 85 (timed out), leaving the connection up.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_ADBINDING_H_
#define ZONESMITH_DIRECTORY_LIBRARY_ADBINDING_H_

#include <memory>
#include <string>

#include "directory/library/adobject.h"
#include "directory/library/exceptions.h"

struct _krb5_context;
struct _krb5_data;
struct _krb5_creds;
struct _krb5_prompt;
struct addrlist;

namespace kesh {

// LDAP result codes the system looks at.
constexpr int LDAP_RC_SUCCESS = 0;
constexpr int LDAP_RC_SIZELIMIT_EXCEEDED = 4;
constexpr int LDAP_RC_NO_SUCH_ATTRIBUTE = 16;
constexpr int LDAP_RC_NO_SUCH_OBJECT = 32;
constexpr int LDAP_RC_INVALID_DN_SYNTAX = 34;
constexpr int LDAP_RC_INSUFFICIENT_ACCESS = 50;
constexpr int LDAP_RC_UNWILLING_TO_PERFORM = 53;
constexpr int LDAP_RC_NOT_ALLOWED_ON_NONLEAF = 66;
constexpr int LDAP_RC_ALREADY_EXISTS = 68;
constexpr int LDAP_RC_SERVER_DOWN = 81;
constexpr int LDAP_RC_TIMEOUT = 85;
constexpr int LDAP_RC_FILTER_ERROR = 87;

// Search scopes, the LDAP numbers.
constexpr int SCOPE_BASE = 0;
constexpr int SCOPE_ONE = 1;
constexpr int SCOPE_SUB = 2;

// Values of the security descriptor flags control.
constexpr int SD_FLAG_OWNER = 1;
constexpr int SD_FLAG_GROUP = 2;
constexpr int SD_FLAG_DACL = 4;
constexpr int SD_FLAG_SACL = 8;

// The locator of KDC and password servers that Kerberos calls.
using Locator = int (*)(_krb5_context*, const _krb5_data*, addrlist*, int, int, int);
// Called by a binding when its credential cache holds no usable ticket; may obtain one.
using PasswordCallback = int (*)(_krb5_context*, void* data, const char* principal);

// The cursor behind a PagedObjectList. Each backend supplies its own.
class PagedObjectListImpl {
 public:
  virtual ~PagedObjectListImpl() = default;
  // Prepares the first page; the default does nothing.
  virtual void init() {}
  // Fills `page` with the next page of results (replacing its contents) and answers
  // whether it was the last page. Throws LDAPException on failure.
  virtual bool fetchPage(ADObjectList& page) = 0;
};

// A paged search result: the current page and whether it is the last.
class PagedObjectList {
 public:
  // An empty result: no objects, last page.
  PagedObjectList();
  // Calls impl->init() and fetches the first page; throws what fetchPage throws.
  explicit PagedObjectList(std::shared_ptr<PagedObjectListImpl> impl);

  ADObjectList& page() { return page_; }
  bool lastPage() const { return lastPage_; }
  // Replaces page() by a new list holding the next page (a page a caller still holds
  // is left as it was). After the last page it gives an empty page.
  void nextPage();

 private:
  std::shared_ptr<PagedObjectListImpl> impl_;
  ADObjectList page_;
  bool lastPage_ = true;
};

using AttrList = const char* const*;  // null-terminated; a null list asks for all.

class LDAPBinding {
 public:
  virtual ~LDAPBinding() = default;

  // Whether the connection is alive.
  virtual bool connected() = 0;
  // A paged search; the first page is fetched before it returns. `sizeLimit` 0 is no
  // limit. Throws LDAPException (among them on a malformed filter, rc 87).
  virtual PagedObjectList search(int pageSize, const std::string& filter, const std::string& base,
                                 AttrList attrs, int scope, int sizeLimit, int reserved) = 0;
  virtual void setConnectTimeout(int seconds, int reserved) = 0;
  virtual void setSearchTimeout(int seconds, int reserved) = 0;

  // The parent DN of `dn`.
  static std::string parent(const std::string& dn);
  // The first RDN of `dn`, as written.
  static std::string RDN(const std::string& dn);
  // A new, unstored object named `rdnType=rdnValue` ("cn", "Users" -> "CN=Users,...")
  // below `parent`. `rdnValue` is escaped for the DN.
  static ADObject createChild(ADObject& parent, const std::string& rdnValue,
                              const std::string& rdnType);
  static ADObject createChild(const std::string& parentDn, const std::string& rdnValue,
                              const std::string& rdnType);
};

class ADBinding : public LDAPBinding {
 public:
  ADBinding(const ADBinding&) = delete;
  ADBinding& operator=(const ADBinding&) = delete;
  ~ADBinding() override = default;

  // Name of the server the binding is connected to (a host name as the directory reports
  // it, e.g. "dc1.example.test"), empty before connect().
  virtual std::string server() = 0;
  // Reads one object. An empty `dn` reads the root DSE. Throws LDAPException rc 32 when
  // the object does not exist or does not match `filter`.
  virtual ADObject fetch(const std::string& dn, AttrList attrs, const std::string& filter,
                         int reserved) = 0;
  // Creates the object with every attribute that holds values.
  virtual void add(ADObject& object) = 0;
  // Gives the object the new first RDN ("CN=new"); the object's DN attribute follows.
  virtual void rename(ADObject& object, const std::string& newRdn) = 0;
  // mode 0: add the values of the changed attributes; 1: delete those values;
  // 2 or -1: replace every changed attribute (one without values is deleted).
  // Afterwards the attributes are marked unchanged.
  virtual void update(ADObject& object, int mode) = 0;
  // Deletes the object; with `tree`, with all its descendants (tree delete control).
  virtual void remove(ADObject& object, bool tree) = 0;

  // DNS domain name of the binding, as given at construction.
  virtual std::string domainName() = 0;
  virtual std::string ccacheName() = 0;
  // Connects, or reconnects. Empty strings mean the server and site given at construction.
  // Throws LDAPException or KerberosException when no connection can be made.
  virtual void connect(const std::string& server, const std::string& site, int reserved) = 0;
  virtual void prepareWrite() = 0;
  // Loads all values of a ranged attribute into `object[name]` (no longer incomplete).
  virtual void getAttributeValues(ADObject& object, const std::string& name, int reserved) = 0;
  // Moves the object below `newParent`, keeping its RDN; the DN attribute follows.
  virtual void move(ADObject& object, const std::string& newParent) = 0;
  virtual int domainLevel() = 0;
  virtual int forestLevel() = 0;

  // Moves the connection to a writable domain controller.
  virtual void connectToWritable() = 0;
  // The value of the security descriptor flags control (SD_FLAG_*) sent with reads and
  // with writes of nTSecurityDescriptor; every operation from now on sends it, on the
  // present connection.
  void setSDFlag(int flags) { sdFlags = flags; }

  // Password callback and its data, used while connecting when set.
  PasswordCallback passwordCallback = nullptr;
  std::shared_ptr<void> passwordCallbackData;
  int sdFlags = SD_FLAG_OWNER | SD_FLAG_GROUP | SD_FLAG_DACL;

 protected:
  ADBinding() = default;
};

// Makes an unconnected binding to `domain` (the global catalog of its forest when `gc`)
// with the credential cache `ccacheName`; `server` may name the host to use. The backend
// linked into the program decides what "connect" means.
std::shared_ptr<ADBinding> NewADBinding(const std::string& domain, const std::string& ccacheName,
                                        bool gc, const std::string& server, const std::string& site,
                                        Locator locator);

extern const std::shared_ptr<void> EMPTY_CBDATA;

// The label of a failed operation on `dn`: "<operation> <dn>", or "<operation> root DSE"
// for the empty DN.
std::string OperationLabel(const char* operation, const std::string& dn);

// Throws a copy of `e` (same result code, class and source position) whose text begins
// with OperationLabel(operation, dn) and ": ". Backends call it for every failure of an
// operation, so that the caller learns what failed where.
[[noreturn]] void RaiseForOperation(const LDAPException& e, const char* operation,
                                    const std::string& dn);

// Runs `body`, the work of `operation` on `dn`, and returns what it returns; an
// LDAPException that it throws leaves through RaiseForOperation.
template <class F>
auto NamedOperation(const char* operation, const std::string& dn, F&& body) -> decltype(body()) {
  try {
    return body();
  } catch (const LDAPException& e) {
    RaiseForOperation(e, operation, dn);
  }
}

}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_ADBINDING_H_
