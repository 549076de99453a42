#include "directory/library/memory/syntax.h"

#include <strings.h>

#include <map>

#include "directory/library/adobject.h"

namespace kesh {
namespace memdir {
namespace {

using NameMap = std::map<std::string, std::string, CaseInsensitiveLess>;

const std::map<std::string, Syntax, CaseInsensitiveLess>& SyntaxTable() {
  static const std::map<std::string, Syntax, CaseInsensitiveLess> table = {
      {"objectGUID", Syntax::BINARY},
      {"schemaIDGUID", Syntax::BINARY},
      {"attributeSecurityGUID", Syntax::BINARY},
      {"nTSecurityDescriptor", Syntax::BINARY},
      {"msDS-GenerationId", Syntax::BINARY},
      {"mS-DS-ConsistencyGuid", Syntax::BINARY},
      {"invocationId", Syntax::BINARY},
      {"userCertificate", Syntax::BINARY},
      {"cACertificate", Syntax::BINARY},
      {"jpegPhoto", Syntax::BINARY},
      {"thumbnailPhoto", Syntax::BINARY},
      {"logonHours", Syntax::BINARY},
      {"unicodePwd", Syntax::BINARY},
      {"dBCSPwd", Syntax::BINARY},
      {"supplementalCredentials", Syntax::BINARY},
      {"replUpToDateVector", Syntax::BINARY},
      {"repsFrom", Syntax::BINARY},
      {"repsTo", Syntax::BINARY},
      {"msDS-AllowedToActOnBehalfOfOtherIdentity", Syntax::BINARY},
      {"objectSid", Syntax::SID},
      {"sIDHistory", Syntax::SID},
      {"securityIdentifier", Syntax::SID},
      {"tokenGroups", Syntax::SID},
      {"mS-DS-CreatorSID", Syntax::SID},
      {"member", Syntax::DN},
      {"memberOf", Syntax::DN},
      {"managedBy", Syntax::DN},
      {"managedObjects", Syntax::DN},
      {"manager", Syntax::DN},
      {"directReports", Syntax::DN},
      {"secretary", Syntax::DN},
      {"seeAlso", Syntax::DN},
      {"distinguishedName", Syntax::DN},
      {"defaultObjectCategory", Syntax::DN},
      {"objectCategory", Syntax::DN},
      {"serverReference", Syntax::DN},
      {"serverReferenceBL", Syntax::DN},
      {"fSMORoleOwner", Syntax::DN},
      {"msDS-MembersForAzRole", Syntax::DN},
      {"msDS-MembersForAzRoleBL", Syntax::DN},
      {"msDS-OperationsForAzRole", Syntax::DN},
      {"msDS-OperationsForAzRoleBL", Syntax::DN},
      {"msDS-OperationsForAzTask", Syntax::DN},
      {"msDS-OperationsForAzTaskBL", Syntax::DN},
      {"msDS-TasksForAzRole", Syntax::DN},
      {"msDS-TasksForAzRoleBL", Syntax::DN},
      {"msDS-TasksForAzTask", Syntax::DN},
      {"msDS-TasksForAzTaskBL", Syntax::DN},
      {"msDS-NonMembers", Syntax::DN},
      {"msDS-NonMembersBL", Syntax::DN},
  };
  return table;
}

const NameMap& LinkTable() {
  static const NameMap table = {
      {"member", "memberOf"},
      {"managedBy", "managedObjects"},
      {"manager", "directReports"},
      {"serverReference", "serverReferenceBL"},
      {"msDS-MembersForAzRole", "msDS-MembersForAzRoleBL"},
      {"msDS-OperationsForAzRole", "msDS-OperationsForAzRoleBL"},
      {"msDS-OperationsForAzTask", "msDS-OperationsForAzTaskBL"},
      {"msDS-TasksForAzRole", "msDS-TasksForAzRoleBL"},
      {"msDS-TasksForAzTask", "msDS-TasksForAzTaskBL"},
      {"msDS-NonMembers", "msDS-NonMembersBL"},
  };
  return table;
}

struct ClassInfo {
  const char* name;
  const char* superior;  // null for top
  const char* category;  // null for abstract and auxiliary classes
  bool principal;
};

const ClassInfo kClasses[] = {
    {"top", nullptr, nullptr, false},
    {"person", "top", "Person", false},
    {"organizationalPerson", "person", "Person", false},
    {"user", "organizationalPerson", "Person", true},
    {"inetOrgPerson", "user", "Person", true},
    {"computer", "user", "Computer", true},
    {"contact", "organizationalPerson", "Person", false},
    {"group", "top", "Group", true},
    {"foreignSecurityPrincipal", "top", "Foreign-Security-Principal", true},
    {"msDS-ManagedServiceAccount", "computer", "ms-DS-Managed-Service-Account", true},
    {"container", "top", "Container", false},
    {"rpcContainer", "container", "Rpc-Container", false},
    {"organizationalUnit", "top", "Organizational-Unit", false},
    {"leaf", "top", nullptr, false},
    {"connectionPoint", "leaf", nullptr, false},
    {"serviceConnectionPoint", "connectionPoint", "Service-Connection-Point", false},
    {"domain", "top", nullptr, false},
    {"domainDNS", "domain", "Domain-DNS", false},
    {"builtinDomain", "top", "Builtin-Domain", false},
    {"classStore", "top", "Class-Store", false},
    {"msDS-AzAdminManager", "top", "ms-DS-Az-Admin-Manager", false},
    {"msDS-AzApplication", "top", "ms-DS-Az-Application", false},
    {"msDS-AzOperation", "top", "ms-DS-Az-Operation", false},
    {"msDS-AzRole", "top", "ms-DS-Az-Role", false},
    {"msDS-AzScope", "top", "ms-DS-Az-Scope", false},
    {"msDS-AzTask", "top", "ms-DS-Az-Task", false},
    {"nisMap", "top", "NisMap", false},
    {"nisObject", "top", "NisObject", false},
    {"nisNetgroup", "top", "NisNetgroup", false},
    {"configuration", "top", "Configuration", false},
    {"dMD", "top", "DMD", false},
    {"classSchema", "top", "Class-Schema", false},
    {"attributeSchema", "top", "Attribute-Schema", false},
    {"crossRefContainer", "top", "Cross-Ref-Container", false},
    {"crossRef", "top", "Cross-Ref", false},
    {"sitesContainer", "top", "Sites-Container", false},
    {"site", "top", "Site", false},
    {"serversContainer", "top", "Servers-Container", false},
    {"server", "top", "Server", false},
};

const ClassInfo* FindClass(const std::string& name) {
  for (const ClassInfo& c : kClasses) {
    if (strcasecmp(c.name, name.c_str()) == 0) return &c;
  }
  return nullptr;
}

}  // namespace

Syntax AttributeSyntax(const std::string& name) {
  auto it = SyntaxTable().find(name);
  return it == SyntaxTable().end() ? Syntax::STRING : it->second;
}

bool IsBinaryAttribute(const std::string& name) {
  Syntax s = AttributeSyntax(name);
  return s == Syntax::BINARY || s == Syntax::SID;
}

bool IsSystemAttribute(const std::string& name) {
  static const char* const kSystem[] = {"objectGUID",  "uSNCreated",  "uSNChanged",
                                        "whenCreated", "whenChanged", "objectSid"};
  for (const char* s : kSystem) {
    if (strcasecmp(s, name.c_str()) == 0) return true;
  }
  return !ForwardLinkOf(name).empty();
}

std::string BackLinkOf(const std::string& name) {
  auto it = LinkTable().find(name);
  return it == LinkTable().end() ? std::string() : it->second;
}

std::string ForwardLinkOf(const std::string& name) {
  for (const auto& link : LinkTable()) {
    if (strcasecmp(link.second.c_str(), name.c_str()) == 0) return link.first;
  }
  return std::string();
}

const std::vector<std::string>& BackLinks() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> v;
    for (const auto& link : LinkTable()) v.push_back(link.second);
    return v;
  }();
  return names;
}

std::vector<std::string> ClassChain(const std::string& objectClass) {
  std::vector<std::string> chain;
  const ClassInfo* c = FindClass(objectClass);
  while (c) {
    chain.insert(chain.begin(), c->name);
    c = c->superior ? FindClass(c->superior) : nullptr;
  }
  return chain;
}

std::string DefaultCategory(const std::string& objectClass) {
  const ClassInfo* c = FindClass(objectClass);
  return c && c->category ? c->category : std::string();
}

bool IsSecurityPrincipalClass(const std::string& objectClass) {
  const ClassInfo* c = FindClass(objectClass);
  return c && c->principal;
}

}  // namespace memdir
}  // namespace kesh
