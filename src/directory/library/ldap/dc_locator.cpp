#include "directory/library/ldap/dc_locator.h"

#include <arpa/nameser.h>
#include <netinet/in.h>
#include <resolv.h>

#include <algorithm>
#include <cstring>

namespace kesh {
namespace ldapbackend {

void SortTargets(std::vector<ServiceTarget>& targets) {
  std::stable_sort(targets.begin(), targets.end(),
                   [](const ServiceTarget& a, const ServiceTarget& b) {
                     if (a.priority != b.priority) return a.priority < b.priority;
                     return a.weight > b.weight;
                   });
}

std::vector<ServiceTarget> LookupService(const std::string& name) {
  std::vector<ServiceTarget> targets;
  struct __res_state state;
  memset(&state, 0, sizeof(state));
  if (res_ninit(&state) != 0) return targets;

  std::vector<unsigned char> answer(8192);
  int length = res_nquery(&state, name.c_str(), ns_c_in, ns_t_srv, answer.data(),
                          static_cast<int>(answer.size()));
  if (length > static_cast<int>(answer.size())) {
    // Truncated: ask again with room for the whole answer.
    answer.resize(length);
    length = res_nquery(&state, name.c_str(), ns_c_in, ns_t_srv, answer.data(),
                        static_cast<int>(answer.size()));
  }
  res_nclose(&state);
  if (length <= 0) return targets;

  ns_msg message;
  if (ns_initparse(answer.data(), length, &message) != 0) return targets;
  int count = ns_msg_count(message, ns_s_an);
  for (int i = 0; i < count; ++i) {
    ns_rr record;
    if (ns_parserr(&message, ns_s_an, i, &record) != 0) continue;
    if (ns_rr_type(record) != ns_t_srv || ns_rr_rdlen(record) < 7) continue;
    const unsigned char* data = ns_rr_rdata(record);
    char host[NS_MAXDNAME];
    if (dn_expand(ns_msg_base(message), ns_msg_end(message), data + 6, host, sizeof(host)) < 0) {
      continue;
    }
    ServiceTarget target;
    target.priority = ns_get16(data);
    target.weight = ns_get16(data + 2);
    target.port = ns_get16(data + 4);
    target.host = host;
    if (target.host.empty() || target.host == ".") continue;
    targets.push_back(target);
  }
  SortTargets(targets);
  return targets;
}

std::vector<ServiceTarget> LocateDomainControllers(const std::string& domain, bool gc) {
  std::vector<ServiceTarget> targets;
  if (gc) {
    // The global catalogs are registered under the forest's name, which is not known before
    // a connection: try the domain, then each parent domain of two labels or more.
    for (std::string name = domain; targets.empty();) {
      targets = LookupService("_gc._tcp." + name);
      size_t dot = name.find('.');
      if (dot == std::string::npos || name.find('.', dot + 1) == std::string::npos) break;
      name = name.substr(dot + 1);
    }
  } else {
    targets = LookupService("_ldap._tcp.dc._msdcs." + domain);
  }
  if (targets.empty()) {
    ServiceTarget fallback;
    fallback.host = domain;
    fallback.port = gc ? 3268 : 389;
    targets.push_back(fallback);
  }
  return targets;
}

}  // namespace ldapbackend
}  // namespace kesh
