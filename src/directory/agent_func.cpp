#include "directory/agent_func.h"

#include <exception>
#include <memory>
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

// The session with the joined machine's agent, proven by a ping. Throws "Machine not
// joined to any domain" when the agent reports no domain, before any session exists.
std::unique_ptr<kesh::LocalRpcSession> JoinedAgent() {
  if (kesh::GetSetting(kesh::SETTING_DOMAIN_NAME, std::string(), false).empty()) {
    KESH_THROW(kesh::BadDataException, 0, "Machine not joined to any domain");
  }
  auto session = std::make_unique<kesh::LocalRpcSession>(AGENT_SOCKET_DIR, false, false);
  try {
    session->ping();
  } catch (const std::exception&) {
    KESH_THROW(kesh::BadDataException, 0, "Cannot communicate with Veldrin service");
  }
  return session;
}

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
  std::unique_ptr<kesh::LocalRpcSession> agent = JoinedAgent();
  GetPrincipal(user);
  GetADGroup(group);
  return agent->validateUserGroup(user, {group}, true, 0);
}

Tcl::object UserGroups(const std::string& user) {
  std::unique_ptr<kesh::LocalRpcSession> agent = JoinedAgent();
  GetPrincipal(user);
  kesh::LocalRpcUser answer = agent->getUser(user, kesh::GROUP_MEMBERSHIP);
  std::vector<std::string> names;
  for (const kesh::SID& sid : answer.groups) {
    names.push_back(agent->getGroup(sid, 0).name);
  }
  return StringList(names);
}

std::string UnixNameToPrincipal(const Tcl::object& args) {
  std::unique_ptr<kesh::LocalRpcSession> agent = JoinedAgent();
  std::vector<std::string> positional;
  const bool upn = GetUPNArg(args, positional, 1);
  kesh::LocalRpcUser answer = agent->getUser(kesh::lower(positional[0]), kesh::UNIX_ONLY);
  if (upn && !answer.upn.empty()) return answer.upn;
  return kesh::ADUser::getWinKerberosName(answer);
}
