// Finding the domain controllers of a domain through DNS SRV records.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_LDAP_DC_LOCATOR_H_
#define ZONESMITH_DIRECTORY_LIBRARY_LDAP_DC_LOCATOR_H_

#include <string>
#include <vector>

namespace kesh {
namespace ldapbackend {

struct ServiceTarget {
  std::string host;
  int port = 0;
  int priority = 0;
  int weight = 0;
};

// Puts targets in the order to try them: rising priority, and within one priority
// falling weight; equal ones keep their order.
void SortTargets(std::vector<ServiceTarget>& targets);

// The SRV records of `name` ("_ldap._tcp.dc._msdcs.example.test"), in the order to try
// them: rising priority, and within one priority falling weight. Empty when there is no
// record or DNS does not answer; a record of target "." (service not offered) is dropped.
std::vector<ServiceTarget> LookupService(const std::string& name);

// The servers to try for `domain`: its domain controllers (`_ldap._tcp.dc._msdcs.<domain>`,
// port 389), or with `gc` the global catalogs of its forest (`_gc._tcp.<name>` for the
// domain or the nearest parent domain that has them, port 3268). Without any record the
// domain name itself, with the default port.
std::vector<ServiceTarget> LocateDomainControllers(const std::string& domain, bool gc);

}  // namespace ldapbackend
}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_LDAP_DC_LOCATOR_H_
