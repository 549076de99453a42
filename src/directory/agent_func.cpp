#include "directory/agent_func.h"

#include <exception>
#include <string>
#include <vector>

#include "directory/library/exceptions.h"
#include "directory/library/local_rpc.h"
#include "directory/library/settings.h"
#include "directory/library/strings.h"
#include "directory/principal.h"
#include "script/args.h"

namespace {

// The agent's local RPC socket directory.
const char* const AGENT_SOCKET_DIR = "/var/norvanedaemon/daemon";

// Throws "Machine not joined to any domain" when the agent reports no domain.
bool CheckJoined() {
  if (kesh::GetSetting(kesh::SETTING_DOMAIN_NAME, std::string(), false).empty()) {
    KESH_THROW(kesh::BadDataException, 0, "Machine not joined to any domain");
  }
  return true;
}

// The session with the joined machine's agent, made only once the machine is known to be
// joined, and proven by a ping.
class JoinedAgent {
 public:
  JoinedAgent() : joined_(CheckJoined()), session_(AGENT_SOCKET_DIR, false, false) {
    try {
      session_.ping();
    } catch (const std::exception&) {
      KESH_THROW(kesh::BadDataException, 0, "Cannot communicate with Veldrin service");
    }
  }
  kesh::LocalRpcSession& session() { return session_; }

 private:
  [[maybe_unused]] bool joined_;  // first member: checked before the session exists
  kesh::LocalRpcSession session_;
};

}  // namespace

std::string Adinfo(const std::string& what) {
  const char* key = nullptr;
  if (what == "domain") {
    key = kesh::SETTING_DOMAIN_NAME;
  } else if (what == "zone") {
    key = kesh::SETTING_ZONE_REALNAME;
  } else if (what == "host") {
    key = kesh::SETTING_HOST_NAME;
  } else {
    KESH_THROW(kesh::BadDataException, 0, "Unknown info value");
  }
  std::string value = kesh::GetSetting(key, std::string(), false);
  if (value.empty()) KESH_THROW(kesh::NotFoundException, 0, "Not joined to any domain");
  return value;
}

int IsUserInGroup(const std::string& user, const std::string& group) {
  JoinedAgent agent;
  GetPrincipal(user);
  GetADGroup(group);
  return agent.session().validateUserGroup(user, {group}, true, 0);
}

Tcl::object UserGroups(const std::string& user) {
  JoinedAgent agent;
  GetPrincipal(user);
  kesh::LocalRpcUser answer = agent.session().getUser(user, kesh::GROUP_MEMBERSHIP);
  std::vector<std::string> names;
  for (const kesh::SID& sid : answer.groups) {
    names.push_back(agent.session().getGroup(sid, 0).name);
  }
  return StringList(names);
}

std::string UnixNameToPrincipal(const Tcl::object& args) {
  JoinedAgent agent;
  std::vector<std::string> positional;
  const bool upn = GetUPNArg(args, positional, 1);
  kesh::LocalRpcUser answer = agent.session().getUser(kesh::lower(positional[0]), kesh::UNIX_ONLY);
  if (upn && !answer.upn.empty()) return answer.upn;
  return kesh::ADUser::getWinKerberosName(answer);
}
