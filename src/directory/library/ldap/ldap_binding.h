// The LDAP/Kerberos implementation of ADBinding (see adbinding.h for the contracts).
//
// A binding finds its domain controller by the server given to it or by DNS SRV records,
// binds with SASL GSSAPI using the credentials of its cache, and sends the security
// descriptor flags control (the binding's flags at the time of each request) with reads and
// writes, the paged results control with searches and the tree delete control with tree
// removals. Every request waits at most the search timeout for its answer.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_LDAP_LDAP_BINDING_H_
#define ZONESMITH_DIRECTORY_LIBRARY_LDAP_LDAP_BINDING_H_

#include <memory>
#include <string>
#include <vector>

#include "directory/library/adbinding.h"
#include "directory/library/ldap/ldap_session.h"

namespace kesh {
namespace ldapbackend {

class LdapADBinding : public ADBinding {
 public:
  LdapADBinding(const std::string& domain, const std::string& ccacheName, bool gc,
                const std::string& server, const std::string& site, Locator locator);
  ~LdapADBinding() override;

  bool connected() override;
  PagedObjectList search(int pageSize, const std::string& filter, const std::string& base,
                         AttrList attrs, int scope, int sizeLimit, int reserved) override;
  void setConnectTimeout(int seconds, int reserved) override;
  void setSearchTimeout(int seconds, int reserved) override;

  std::string server() override;
  ADObject fetch(const std::string& dn, AttrList attrs, const std::string& filter,
                 int reserved) override;
  void add(ADObject& object) override;
  void rename(ADObject& object, const std::string& newRdn) override;
  void update(ADObject& object, int mode) override;
  void remove(ADObject& object, bool tree) override;
  std::string domainName() override;
  std::string ccacheName() override;
  void connect(const std::string& server, const std::string& site, int reserved) override;
  void prepareWrite() override;
  void getAttributeValues(ADObject& object, const std::string& name, int reserved) override;
  void move(ADObject& object, const std::string& newParent) override;
  int domainLevel() override;
  int forestLevel() override;
  void connectToWritable() override;

 private:
  // The session, connecting first when there is none. Throws when no connection can be made.
  LdapSession& session();
  SessionOptions sessionOptions() const;
  std::shared_ptr<LdapSession> open(const std::vector<ServiceTarget>& targets);
  std::vector<ServiceTarget> targetsFor(const std::string& server) const;
  void renameTo(ADObject& object, const std::string& newRdn, const std::string& newParent,
                const char* operation);
  // Every value of the attribute `name` of `dn`, read range by range.
  std::vector<std::string> rangedValues(const std::string& dn, const std::string& name);
  int rootNumber(const char* name);

  const std::string domain_;
  const std::string ccacheName_;
  const bool gc_;
  const std::string server_;
  const std::string site_;
  std::string currentServer_;  // the server asked for at the last connect
  int connectTimeout_ = 0;
  int searchTimeout_ = 0;
  bool wantWritable_ = false;
  std::shared_ptr<LdapSession> session_;
};

}  // namespace ldapbackend
}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_LDAP_LDAP_BINDING_H_
