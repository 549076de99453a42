#include "directory/library/local_rpc.h"

#include "directory/library/exceptions.h"

namespace kesh {

struct LocalRpcSession::Impl {};

LocalRpcSession::LocalRpcSession(const std::string&, bool, bool) : impl_(new Impl) {}
LocalRpcSession::~LocalRpcSession() { delete impl_; }

void LocalRpcSession::ping() { KESH_THROW(SystemException, 0, "agent: not implemented"); }

LocalRpcUser LocalRpcSession::getUser(const std::string&, int) {
  KESH_THROW(SystemException, 0, "agent: not implemented");
}

LocalRpcGroup LocalRpcSession::getGroup(const SID&, int) {
  KESH_THROW(SystemException, 0, "agent: not implemented");
}

int LocalRpcSession::validateUserGroup(const std::string&, const std::vector<std::string>&, bool,
                                       int) {
  KESH_THROW(SystemException, 0, "agent: not implemented");
}

}  // namespace kesh
