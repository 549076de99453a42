// Assignments in memory and their text form.
#include "authorization/assignment.h"

#include "authorization/role.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/strings.h"

const char* const AD_USER_PTYPE = "u";
const char* const AD_GROUP_PTYPE = "g";
const char* const ALL_AD_USERS_PTYPE = "a";
const char* const ALL_LOCAL_USERS_PTYPE = "x";
const char* const LOCAL_USER_PTYPE = "#";
const char* const LOCAL_GROUP_PTYPE = "%";
const char* const ALL_AD_USERS = "all ad users";
const char* const ALL_UNIX_USERS = "all unix users";
const char* const LOCALHOST_SUFFIX = "@localhost";

namespace {

// The cn of a role is "role-" + its name.
constexpr size_t kRolePrefixLength = 5;
// roleDn: cn=role-x, the task container, the application, cn=Authorization, the zone.
constexpr int kRoleLevelsToZone = 4;

[[noreturn]] void NoRole() { KESH_THROW(kesh::BadDataException, 0, "No role specified"); }

}  // namespace

void Assignment::setRole(const QVRole& role) {
  if (!role.allowLocalUser && (isLocal() || ptype == ALL_LOCAL_USERS_PTYPE)) {
    KESH_THROW(kesh::BadDataException, 0, "Role is not allowed to be assigned to local user/group");
  }
  roleDn = role.object->dn();
}

std::string Assignment::getRoleName() const {
  if (roleDn.empty()) return "";
  const std::string cn = kesh::DN::cnFromDn(roleDn);
  std::string zone = roleDn;
  for (int level = 0; level < kRoleLevelsToZone; ++level) zone = kesh::DN::parent(zone);
  const std::string name = cn.size() > kRolePrefixLength ? cn.substr(kRolePrefixLength) : "";
  return name + "/" + kesh::DN::cnFromDn(zone);
}

bool Assignment::isLocal() const { return kesh::endsWith(principal, LOCALHOST_SUFFIX); }

void ParseAssignment(const std::string& text, std::string& principal, std::string& role,
                     std::string& sid, std::string& cn) {
  if (text.empty()) KESH_THROW(kesh::BadDataException, 0, "No assignment specified");

  const size_t firstSlash = text.find('/');
  const std::string head = kesh::lower(text.substr(0, firstSlash));
  if (head == ALL_AD_USERS || head == ALL_UNIX_USERS) {
    if (firstSlash == std::string::npos) NoRole();
    principal = head;
    role = text.substr(firstSlash + 1);
    return;
  }

  const size_t at = text.rfind('@');
  if (at != std::string::npos) {
    const size_t slash = text.find('/', at);
    if (slash == std::string::npos) NoRole();
    principal = text.substr(0, slash);
    role = text.substr(slash + 1);
    return;
  }

  if (text[0] == '*') {
    if (firstSlash == std::string::npos) NoRole();
    sid = text.substr(1, firstSlash - 1);
    role = text.substr(firstSlash + 1);
    return;
  }
  if (text[0] == '!') {
    cn = text.substr(1);
    return;
  }
  KESH_THROW(kesh::BadDataException, 0, "Bad assignment format");
}
