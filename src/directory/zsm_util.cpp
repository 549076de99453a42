#include "directory/zsm_util.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>

#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/sid.h"
#include "directory/library/strings.h"
#include "directory/library/tempdir.h"
#include "directory/principal.h"

std::shared_ptr<PasswdEntry> PasswdEnumerator::loadPasswdEntry(const struct passwd* pw) {
  if (pw == nullptr) return nullptr;
  auto entry = std::make_shared<PasswdEntry>();
  entry->uid = pw->pw_uid;
  entry->gid = pw->pw_gid;
  entry->dir = pw->pw_dir ? pw->pw_dir : "";
  entry->shell = pw->pw_shell ? pw->pw_shell : "";
  entry->passwd = pw->pw_passwd ? pw->pw_passwd : "";
  entry->gecos = pw->pw_gecos ? pw->pw_gecos : "";
  entry->name = pw->pw_name ? pw->pw_name : "";
  return entry;
}

std::shared_ptr<PasswdEntry> PasswdEnumerator::getNext() { return loadPasswdEntry(getpwent()); }

std::shared_ptr<PasswdEntry> PasswdEnumerator::getByUid(uid_t uid) {
  return loadPasswdEntry(getpwuid(uid));
}

std::shared_ptr<PasswdEntry> PasswdEnumerator::getByName(const std::string& name) {
  return loadPasswdEntry(getpwnam(name.c_str()));
}

uint32_t SidToUnixId(const kesh::SID& sid) {
  // S-1-5-21-a-b-c-rid: the sub-authority that tells domains apart must be there.
  if (sid.identifierAuthority() != 5 || sid.subAuthorityCount() < 5 ||
      sid.getSubAuthority(0) != 21) {
    KESH_THROW(kesh::BadDataException, 0, "%s is not a domain SID", sid.toMSString().c_str());
  }
  // Nine bits of the sub-authority that tells domains apart, and 22 bits of the RID.
  const uint32_t sub = sid.getSubAuthority(kesh::WELL_KNOWN_RID::DOMAIN_INDEX);
  const uint32_t rid = sid.getObjectRid();
  return ((sub & 0x1ff) << 22) | (rid & 0x3fffff);
}

uint32_t GuidToUnixId(const std::string& guid) {
  if (!kesh::Guid::isValidGuidStringFormat(guid.c_str())) {
    KESH_THROW(kesh::BadDataException, 0, "The given GUID is not in a valid GUID string format.");
  }
  // The first field, up to its "-", read as one hexadecimal number; a brace before it is
  // no digit.
  const char* text = guid.c_str();
  if (*text == '{') ++text;
  return static_cast<uint32_t>(strtoul(text, nullptr, 16) & 0x7fffffff);
}

std::string PrincipalNameOf(kesh::ADObject& object, bool upn, bool notFoundIfNotPrincipal,
                            const char* notPrincipal) {
  const std::string category = object.category();
  if (category == "Group") return GetGroupName(object);
  if (category == "Person" || category == "Computer") return GetUserName(object, upn);
  if (notFoundIfNotPrincipal) KESH_THROW(kesh::NotFoundException, 0, "%s", notPrincipal);
  KESH_THROW(kesh::BadDataException, 0, "%s", notPrincipal);
}

std::set<std::string> GroupMembers(kesh::ADObject group, MemberNames names, bool noRecurse) {
  std::set<std::string> result;
  // Groups still to expand, and every group met so far: nesting of any depth, cycles
  // included, is walked without recursion.
  std::vector<kesh::ADObject> pending = {group};
  std::set<std::string> visited = {kesh::lower(group.dn())};
  while (!pending.empty()) {
    kesh::ADObject current = pending.back();
    pending.pop_back();
    // A copy: the attribute of a cached group may change while members are read.
    const std::vector<std::string> members = GetAttributeValues(current, AD_GROUP_MEMBERS).values();
    for (const std::string& memberDn : members) {
      kesh::ADObject member;
      std::string category;
      try {
        member = GetADObjectByDN(memberDn);
        member = LookupForeignUser(member);
        category = member.category();
      } catch (const LDAPException& e) {
        // A DC that stopped answering would cost the whole timeout for every member.
        if (e.rc() == kesh::LDAP_RC_TIMEOUT) throw;
        continue;  // a member the session cannot reach is left out
      } catch (const std::exception&) {
        continue;  // rule: a member the session cannot reach is left out, whatever failed
      }
      if (category == "Group" && !noRecurse) {
        if (visited.insert(kesh::lower(member.dn())).second) pending.push_back(member);
        continue;
      }
      if (names == MEMBER_DN) {
        result.insert(memberDn);
      } else if (category != "Group") {
        result.insert(GetUserName(member, names == MEMBER_UPN));
      }
    }
  }
  return result;
}
