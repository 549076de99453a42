#include "directory/library/local_rpc.h"

#include "directory/library/strings.h"

namespace kesh {

std::string ADUser::getWinKerberosName(const LocalRpcUser& user) {
  return user.account + "@" + upper(user.domain);
}

}  // namespace kesh
