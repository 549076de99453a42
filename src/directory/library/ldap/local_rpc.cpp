// The agent of a joined Linux machine is winbind: questions go through libwbclient, over
// the socket directory of WINBINDD_SOCKET_DIR or winbind's default. Each session has a
// client context of its own; every answer the library allocates is freed by WbcMemory.
#include "directory/library/local_rpc.h"

#include <pwd.h>

#include <map>
#include <memory>
#include <set>

#include "directory/library/exceptions.h"
#include "directory/library/strings.h"

// libwbclient's header declares C functions without saying so.
extern "C" {
#include <wbclient.h>
}

namespace kesh {

namespace {

// Memory that libwbclient allocated, freed with wbcFreeMemory.
struct WbcFree {
  void operator()(void* p) const { wbcFreeMemory(p); }
};
template <typename T>
using WbcMemory = std::unique_ptr<T, WbcFree>;

// A failure to reach winbind is the agent not answering; any other failure means that
// winbind does not know the name or SID asked about.
bool Unreachable(wbcErr status) {
  return status == WBC_ERR_WINBIND_NOT_AVAILABLE || status == WBC_ERR_NO_MEMORY;
}

[[noreturn]] void ThrowUnreachable(wbcErr status) {
  KESH_THROW(SystemException, 0, "winbind does not answer: %s", wbcErrorString(status));
}

SID FromWbc(const wbcDomainSid& sid) {
  char text[WBC_SID_STRING_BUFLEN];
  wbcSidToStringBuf(&sid, text, sizeof(text));
  SID out;
  out.fromMSString(text);
  return out;
}

// False when `sid` is no SID winbind can take.
bool ToWbc(const SID& sid, wbcDomainSid* out) {
  return !sid.isNull() && WBC_ERROR_IS_OK(wbcStringToSid(sid.toMSString().c_str(), out));
}

bool IsUserType(wbcSidType type) {
  return type == WBC_SID_NAME_USER || type == WBC_SID_NAME_COMPUTER;
}

bool IsGroupType(wbcSidType type) {
  return type == WBC_SID_NAME_DOM_GRP || type == WBC_SID_NAME_ALIAS || type == WBC_SID_NAME_WKN_GRP;
}

}  // namespace

struct LocalRpcSession::Impl {
  wbcContext* context = nullptr;
  std::map<std::string, std::string> dnsNames;  // short domain name -> DNS name

  ~Impl() {
    if (context != nullptr) wbcCtxFree(context);
  }

  wbcContext* ctx() {
    if (context == nullptr) {
      context = wbcCtxCreate();
      if (context == nullptr) ThrowUnreachable(WBC_ERR_NO_MEMORY);
    }
    return context;
  }

  // Throws SystemException when winbind cannot be reached; answers whether it succeeded.
  static bool Check(wbcErr status) {
    if (Unreachable(status)) ThrowUnreachable(status);
    return WBC_ERROR_IS_OK(status);
  }

  // The DNS name of the domain winbind calls `shortName`, lower case; the short name
  // lower-cased when the domain has none (BUILTIN). Asked once per domain and session: a
  // user's groups mostly share one domain.
  const std::string& dnsDomain(const std::string& shortName) {
    auto known = dnsNames.find(shortName);
    if (known != dnsNames.end()) return known->second;
    struct wbcDomainInfo* info = nullptr;
    std::string out;
    if (Check(wbcCtxDomainInfo(ctx(), shortName.c_str(), &info)) && info != nullptr) {
      WbcMemory<struct wbcDomainInfo> hold(info);
      if (info->dns_name != nullptr) out = info->dns_name;
    }
    return dnsNames.emplace(shortName, lower(out.empty() ? shortName : out)).first->second;
  }

  // The account name, DNS domain and type of `sid`; false when winbind does not know it.
  bool lookupSid(const wbcDomainSid& sid, std::string* account, std::string* domain,
                 wbcSidType* type) {
    char* domainName = nullptr;
    char* name = nullptr;
    if (!Check(wbcCtxLookupSid(ctx(), &sid, &domainName, &name, type))) return false;
    WbcMemory<char> holdDomain(domainName);
    WbcMemory<char> holdName(name);
    *account = name != nullptr ? name : "";
    *domain = dnsDomain(domainName != nullptr ? domainName : "");
    return true;
  }

  // The SID of "account@domain" or of a UPN; false when winbind does not know it.
  bool lookupName(const std::string& name, wbcDomainSid* sid, wbcSidType* type) {
    size_t at = name.rfind('@');
    if (at == std::string::npos) return false;
    std::string account = name.substr(0, at);
    std::string domain = name.substr(at + 1);
    if (Check(wbcCtxLookupName(ctx(), domain.c_str(), account.c_str(), sid, type))) return true;
    // A UPN whose suffix is no domain name: winbind resolves the whole name.
    return Check(wbcCtxLookupName(ctx(), "", name.c_str(), sid, type));
  }

  // The user's passwd fields, where winbind maps the account to a UNIX one.
  void fillPasswd(const passwd* pw, LocalRpcUser* user) {
    if (pw == nullptr) return;
    user->uid = pw->pw_uid;
    user->gid = pw->pw_gid;
    if (pw->pw_name != nullptr) user->unixName = pw->pw_name;
    if (pw->pw_dir != nullptr) user->home = pw->pw_dir;
    if (pw->pw_shell != nullptr) user->shell = pw->pw_shell;
    if (pw->pw_gecos != nullptr) user->gecos = pw->pw_gecos;
  }

  // The SIDs of every group of `sid`'s token, the user's own SID left out.
  std::vector<SID> groupsOf(const wbcDomainSid& sid) {
    uint32_t count = 0;
    wbcDomainSid* sids = nullptr;
    std::vector<SID> out;
    if (!Check(wbcCtxLookupUserSids(ctx(), &sid, false, &count, &sids))) return out;
    WbcMemory<wbcDomainSid> hold(sids);
    SID self = FromWbc(sid);
    std::set<SID> seen;
    for (uint32_t i = 0; i < count; ++i) {
      SID group = FromWbc(sids[i]);
      if (group != self && seen.insert(group).second) out.push_back(group);
    }
    return out;
  }

  LocalRpcUser user(const std::string& name, int flags) {
    wbcDomainSid sid = {};
    wbcSidType type = WBC_SID_NAME_USE_NONE;
    LocalRpcUser user;
    if (flags == UNIX_ONLY) {
      passwd* pw = nullptr;
      if (!Check(wbcCtxGetpwnam(ctx(), name.c_str(), &pw)) || pw == nullptr) {
        KESH_THROW(NotFoundException, 0, "User not found");
      }
      WbcMemory<passwd> hold(pw);
      if (!Check(wbcCtxUidToSid(ctx(), pw->pw_uid, &sid))) {
        KESH_THROW(NotFoundException, 0, "User not found");
      }
      fillPasswd(pw, &user);
    } else if (!lookupName(name, &sid, &type) || !IsUserType(type)) {
      KESH_THROW(NotFoundException, 0, "User not found");
    }
    if (!lookupSid(sid, &user.account, &user.domain, &type) || !IsUserType(type)) {
      KESH_THROW(NotFoundException, 0, "User not found");
    }
    user.sid = FromWbc(sid);
    if (flags != UNIX_ONLY) {
      passwd* pw = nullptr;
      if (Check(wbcCtxGetpwsid(ctx(), &sid, &pw)) && pw != nullptr) {
        WbcMemory<passwd> hold(pw);
        fillPasswd(pw, &user);
      }
      if (flags == GROUP_MEMBERSHIP) user.groups = groupsOf(sid);
    }
    return user;
  }
};

LocalRpcSession::LocalRpcSession(const std::string&, bool, bool) : impl_(new Impl) {}
LocalRpcSession::~LocalRpcSession() { delete impl_; }

void LocalRpcSession::ping() {
  wbcErr status = wbcCtxPing(impl_->ctx());
  if (!WBC_ERROR_IS_OK(status)) ThrowUnreachable(status);
}

LocalRpcUser LocalRpcSession::getUser(const std::string& name, int flags) {
  return impl_->user(name, flags);
}

LocalRpcGroup LocalRpcSession::getGroup(const SID& sid, int) {
  wbcDomainSid wsid = {};
  std::string account;
  std::string domain;
  wbcSidType type = WBC_SID_NAME_USE_NONE;
  if (!ToWbc(sid, &wsid) || !impl_->lookupSid(wsid, &account, &domain, &type) ||
      !IsGroupType(type)) {
    KESH_THROW(NotFoundException, 0, "Group not found");
  }
  LocalRpcGroup group;
  group.name = account + "@" + domain;
  group.sid = sid;
  gid_t gid = 0;
  if (Impl::Check(wbcCtxSidToGid(impl_->ctx(), &wsid, &gid))) group.gid = gid;
  return group;
}

int LocalRpcSession::validateUserGroup(const std::string& user,
                                       const std::vector<std::string>& groups, bool anyGroup, int) {
  // Only the token is needed: no passwd fields, no second look-up of the account.
  wbcDomainSid userSid = {};
  wbcSidType userType = WBC_SID_NAME_USE_NONE;
  if (!impl_->lookupName(user, &userSid, &userType) || !IsUserType(userType)) {
    KESH_THROW(NotFoundException, 0, "User not found");
  }
  std::vector<SID> token = impl_->groupsOf(userSid);
  std::set<SID> held(token.begin(), token.end());
  size_t found = 0;
  for (const std::string& name : groups) {
    wbcDomainSid sid = {};
    wbcSidType type = WBC_SID_NAME_USE_NONE;
    if (impl_->lookupName(name, &sid, &type) && IsGroupType(type) && held.count(FromWbc(sid))) {
      ++found;
    }
  }
  if (groups.empty()) return 0;
  return (anyGroup ? found > 0 : found == groups.size()) ? 1 : 0;
}

}  // namespace kesh
