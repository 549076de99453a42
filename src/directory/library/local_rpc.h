// kesh::LocalRpcSession: questions to the agent of the machine's domain join, the daemon
// that answers for the domain's users and groups on a joined machine.
//
// The LDAP backend asks winbind through libwbclient (the socket directory comes from
// WINBINDD_SOCKET_DIR, or from winbind's default); the in-memory directory answers from
// its own objects, for the domain of the "domain.name" setting, while memdir::SetAgent
// says the agent runs.
//
// Names are those the agent knows: a user as "account@dns.domain" or as its UPN, a UNIX
// user by its UNIX name. Group names are given back as "account@dns.domain" (lower-case
// domain), the form the other principal commands use; groups of the builtin domain as
// "account@builtin". Winbind gives account names as it stores them (a DC's own winbind in
// lower case) and resolves a UPN only when its suffix names a domain.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_LOCAL_RPC_H_
#define ZONESMITH_DIRECTORY_LIBRARY_LOCAL_RPC_H_

#include <cstdint>
#include <string>
#include <vector>

#include "directory/library/sid.h"

namespace kesh {

// What getUser fills in beyond the account itself.
constexpr int UNIX_ONLY = 0;         // `name` is a UNIX name; no group list
constexpr int GROUP_MEMBERSHIP = 1;  // `name` is a principal; fill `groups`

// A user as the agent knows it.
struct LocalRpcUser {
  std::string account;  // sAMAccountName
  std::string domain;   // DNS domain of the account, lower case
  std::string upn;      // userPrincipalName; empty when the agent does not report one
  SID sid;
  uint32_t uid = 0;
  uint32_t gid = 0;
  std::string unixName;
  std::string home;
  std::string shell;
  std::string gecos;
  // With GROUP_MEMBERSHIP: the SIDs of every security group the user is in, nested groups
  // and the primary group included, each once, the user's own SID not. Winbind answers
  // what it knows of the token: a DC's own winbind follows global groups into domain local
  // ones but not into further global groups.
  std::vector<SID> groups;
};

// A group as the agent knows it.
struct LocalRpcGroup {
  std::string name;  // "account@dns.domain"
  SID sid;
  uint32_t gid = 0;
};

class LocalRpcSession {
 public:
  // `socketName` names the agent's socket directory; the backends reach their agent as
  // described above and keep the name for messages only. Connecting is lazy: the
  // constructor never fails.
  LocalRpcSession(const std::string& socketName, bool privileged, bool quiet);
  ~LocalRpcSession();
  LocalRpcSession(const LocalRpcSession&) = delete;
  LocalRpcSession& operator=(const LocalRpcSession&) = delete;

  // Throws kesh::SystemException when the agent does not answer.
  void ping();
  // The user `name`, read as `flags` says. Throws kesh::NotFoundException "User not found"
  // when the agent does not know it, kesh::SystemException when it does not answer.
  LocalRpcUser getUser(const std::string& name, int flags);
  // The group of `sid`. Throws kesh::NotFoundException "Group not found" when unknown.
  LocalRpcGroup getGroup(const SID& sid, int flags);
  // 1 when `user` is a member (directly, nested or by primary group) of one of `groups`
  // (names as getUser takes them), else 0. With `anyGroup` false the user must be in all
  // of them. Throws like getUser for an unknown user; an unknown group counts as "not a
  // member".
  int validateUserGroup(const std::string& user, const std::vector<std::string>& groups,
                        bool anyGroup, int flags);

 private:
  struct Impl;
  Impl* impl_;
};

// The Kerberos name of an account the agent reported: "account@REALM".
struct ADUser {
  static std::string getWinKerberosName(const LocalRpcUser& user);
};

}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_LOCAL_RPC_H_
