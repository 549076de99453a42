// The agent of the in-memory directory: answers from the directory's own objects, for the
// domain of the "domain.name" setting, while memdir::SetAgent says it runs. Users and groups
// of other domains are unknown to it, as they are to an agent without trusts.
#include "directory/library/local_rpc.h"

#include <deque>
#include <set>

#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/memory/directory.h"
#include "directory/library/memory/memdir.h"
#include "directory/library/settings.h"
#include "directory/library/strings.h"

namespace kesh {

namespace {

constexpr int SCOPE_SUBTREE = 2;
// The primary group of an account that stores none: Domain Users, as AD gives every user.
constexpr uint32_t DEFAULT_PRIMARY_GROUP_RID = 513;
// groupType bit of a security group; distribution groups are in no token.
constexpr uint32_t GROUP_TYPE_SECURITY = 0x80000000u;

using memdir::Directory;
using memdir::Entry;

const std::string* First(const Entry& e, const char* name) {
  auto it = e.attrs.find(name);
  return it == e.attrs.end() || it->second.empty() ? nullptr : &it->second.front();
}

std::string Text(const Entry& e, const char* name) {
  const std::string* v = First(e, name);
  return v ? *v : std::string();
}

uint32_t Number(const Entry& e, const char* name, uint32_t fallback) {
  const std::string* v = First(e, name);
  return v ? static_cast<uint32_t>(std::stoll(*v)) : fallback;
}

bool HasClass(const Entry& e, const char* cls) {
  auto it = e.attrs.find("objectClass");
  if (it == e.attrs.end()) return false;
  for (const std::string& c : it->second) {
    if (lower(c) == cls) return true;
  }
  return false;
}

bool IsSecurityGroup(const Entry& e) {
  return HasClass(e, "group") && (Number(e, "groupType", 0) & GROUP_TYPE_SECURITY) != 0;
}

// What the agent sees while it runs: its domain and the directory, locked.
class Agent {
 public:
  Agent() : lock_(d_.lock()) {
    if (!memdir::AgentRunning()) KESH_THROW(SystemException, 0, "the agent does not answer");
    domain_ = lower(loadSetting(SETTING_DOMAIN_NAME, false, true));
    const memdir::Domain* domain = domain_.empty() ? nullptr : d_.findDomain(domain_);
    if (domain != nullptr) {
      view_ = d_.viewFor(domain_, false);
      known_ = true;
    }
  }

  // The entry of the first object of the agent's domain that matches `filter`, or null.
  Entry* findOne(const std::string& filter) {
    if (!known_) return nullptr;
    auto keys = d_.search(view_, view_.domainKey, SCOPE_SUBTREE, memdir::Filter::parse(filter), 1);
    return keys.empty() ? nullptr : d_.find(keys.front());
  }

  // The user an agent question names: "account@domain" or a UPN, or with UNIX_ONLY the
  // UNIX name (the lower-case account name).
  Entry* findUser(const std::string& name, int flags) {
    std::string filter;
    if (flags == UNIX_ONLY) {
      filter = "(sAMAccountName=" + DN::escapeLDAPFilter(name) + ")";
    } else {
      size_t at = name.rfind('@');
      if (at == std::string::npos) return nullptr;
      filter = "(userPrincipalName=" + DN::escapeLDAPFilter(name) + ")";
      if (lower(name.substr(at + 1)) == domain_) {
        filter =
            "(|" + filter + "(sAMAccountName=" + DN::escapeLDAPFilter(name.substr(0, at)) + "))";
      }
    }
    return findOne("(&(objectClass=user)" + filter + ")");
  }

  // The group "account@domain", or null.
  Entry* findGroup(const std::string& name) {
    size_t at = name.rfind('@');
    if (at == std::string::npos || lower(name.substr(at + 1)) != domain_) return nullptr;
    return findOne(
        "(&(objectClass=group)(sAMAccountName=" + DN::escapeLDAPFilter(name.substr(0, at)) + "))");
  }

  Entry* bySid(const SID& sid) {
    if (!known_ || sid.isNull()) return nullptr;
    std::string key = d_.resolve("<SID=" + sid.toMSString() + ">");
    Entry* e = key.empty() ? nullptr : d_.find(key);
    return e != nullptr && d_.inView(view_, *e) ? e : nullptr;
  }

  // The security groups of `user` as its token holds them: the primary group, then every
  // group that holds it or holds one of its groups, each once.
  std::vector<SID> groupsOf(const Entry& user) {
    std::vector<SID> out;
    std::set<std::string> seen;
    std::deque<const Entry*> queue;
    auto take = [&](const Entry* g) {
      if (g == nullptr || !IsSecurityGroup(*g) || !seen.insert(g->key).second) return;
      out.push_back(SID::fromBytes(Text(*g, "objectSid")));
      queue.push_back(g);
    };
    // The account's SID with the primary group's RID in place of its own.
    SID primary = SID::fromBytes(Text(user, "objectSid"));
    primary.setObjectRid(Number(user, "primaryGroupID", DEFAULT_PRIMARY_GROUP_RID));
    take(bySid(primary));
    auto containers = [&](const Entry& e) {
      for (const std::string& dn : d_.allValues(e, "memberOf")) {
        std::string key = d_.resolve(dn);
        take(key.empty() ? nullptr : d_.find(key));
      }
    };
    containers(user);
    while (!queue.empty()) {
      const Entry* g = queue.front();
      queue.pop_front();
      containers(*g);
    }
    return out;
  }

  const std::string& domain() const { return domain_; }

 private:
  Directory& d_ = Directory::instance();
  std::unique_lock<std::recursive_mutex> lock_;
  std::string domain_;
  memdir::View view_;
  bool known_ = false;
};

}  // namespace

struct LocalRpcSession::Impl {};

LocalRpcSession::LocalRpcSession(const std::string&, bool, bool) : impl_(new Impl) {}
LocalRpcSession::~LocalRpcSession() { delete impl_; }

void LocalRpcSession::ping() { Agent agent; }

LocalRpcUser LocalRpcSession::getUser(const std::string& name, int flags) {
  Agent agent;
  Entry* e = agent.findUser(name, flags);
  if (e == nullptr) KESH_THROW(NotFoundException, 0, "User not found");
  LocalRpcUser user;
  user.account = Text(*e, "sAMAccountName");
  user.domain = agent.domain();
  user.upn = Text(*e, "userPrincipalName");
  user.sid = SID::fromBytes(Text(*e, "objectSid"));
  user.uid = Number(*e, "uidNumber", 0);
  user.gid = Number(*e, "gidNumber", 0);
  user.unixName = lower(user.account);
  user.home = Text(*e, "unixHomeDirectory");
  user.shell = Text(*e, "loginShell");
  user.gecos = Text(*e, "gecos");
  if (flags == GROUP_MEMBERSHIP) user.groups = agent.groupsOf(*e);
  return user;
}

LocalRpcGroup LocalRpcSession::getGroup(const SID& sid, int) {
  Agent agent;
  Entry* e = agent.bySid(sid);
  if (e == nullptr || !HasClass(*e, "group")) KESH_THROW(NotFoundException, 0, "Group not found");
  LocalRpcGroup group;
  group.name = Text(*e, "sAMAccountName") + "@" + agent.domain();
  group.sid = sid;
  group.gid = Number(*e, "gidNumber", 0);
  return group;
}

int LocalRpcSession::validateUserGroup(const std::string& user,
                                       const std::vector<std::string>& groups, bool anyGroup, int) {
  Agent agent;
  Entry* e = agent.findUser(user, GROUP_MEMBERSHIP);
  if (e == nullptr) KESH_THROW(NotFoundException, 0, "User not found");
  std::vector<SID> token = agent.groupsOf(*e);
  std::set<SID> held(token.begin(), token.end());
  int found = 0;
  for (const std::string& name : groups) {
    Entry* g = agent.findGroup(name);
    if (g != nullptr && held.count(SID::fromBytes(Text(*g, "objectSid")))) ++found;
  }
  if (groups.empty()) return 0;
  return anyGroup ? (found > 0 ? 1 : 0) : (found == static_cast<int>(groups.size()) ? 1 : 0);
}

}  // namespace kesh
