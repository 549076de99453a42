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
#include "script/args.h"
#include "script/context.h"
#include "security/schema_lookup.h"

namespace {

Tcl::interpreter& Interp() { return *GetContextTab()->interp; }

// The text of a user, group or computer object; `notPrincipal` is thrown for anything else.
template <class E>
std::string PrincipalText(kesh::ADObject& object, bool upn, const char* notPrincipal) {
  const std::string category = object.category();
  if (category == "Group") return GetGroupName(object);
  if (category == "Person" || category == "Computer") return GetUserName(object, upn);
  KESH_THROW(E, 0, "%s", notPrincipal);
}

}  // namespace

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

Tcl::object MakePasswdEntry(const std::shared_ptr<PasswdEntry>& entry) {
  Tcl::interpreter& interp = Interp();
  Tcl::object result;
  result.append(interp, Tcl::object(entry->name));
  result.append(interp, Tcl::object(entry->passwd));
  result.append(interp, Tcl::object(static_cast<long>(entry->uid)));
  result.append(interp, Tcl::object(static_cast<long>(entry->gid)));
  result.append(interp, Tcl::object(entry->gecos));
  result.append(interp, Tcl::object(entry->dir));
  result.append(interp, Tcl::object(entry->shell));
  return result;
}

bool GetUPNArg(const Tcl::object& args, std::vector<std::string>& positional, int required) {
  std::map<std::string, SwitchDef> switches = Switches({SwitchDef("-upn")});
  ParseArgs(switches, args, positional);
  if (required >= 0 && positional.size() < static_cast<size_t>(required)) {
    throw Tcl::tcl_syntax_error();
  }
  return switches["-upn"].seen;
}

uint32_t SidToUnixId(const kesh::SID& sid) {
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

std::string PrincipalToDN(const std::string& name) { return GetPrincipal(name).dn(); }

std::string PrincipalToSID(const std::string& name) {
  return GetPrincipal(name).sid().toMSString();
}

std::string DNToPrincipal(const Tcl::object& args) {
  std::vector<std::string> positional;
  const bool upn = GetUPNArg(args, positional, 1);
  kesh::ADObject object = GetADObjectByDN(positional[0]);
  return PrincipalText<kesh::BadDataException>(object, upn,
                                               "DN must represent a user, group or computer");
}

std::string PrincipalFromSid(const Tcl::object& args) {
  std::vector<std::string> positional;
  const bool upn = GetUPNArg(args, positional, 1);
  kesh::SID sid(positional[0]);
  kesh::ADObject object = GetPrincipalBySid(sid);
  return PrincipalText<kesh::NotFoundException>(object, upn, "Principal not found");
}

std::string SidToUid(const std::string& sid) { return std::to_string(SidToUnixId(kesh::SID(sid))); }

std::string GuidToID(const std::string& guid) { return std::to_string(GuidToUnixId(guid)); }

std::string PrincipalToID(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches = Switches({SwitchDef("-apple")});
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);
  if (positional.size() != 1) throw Tcl::tcl_syntax_error();
  kesh::ADObject object = GetPrincipal(positional[0]);
  if (switches["-apple"].seen) return GuidToID(object.guid().toRealMSString());
  return SidToUid(object.sid().toMSString());
}

std::string EscapeSid(const std::string& sid) { return kesh::SID(sid).toEscapedString(); }

Tcl::object MSSid(const Tcl::object& sids) {
  Tcl::interpreter& interp = Interp();
  Tcl::object result;
  const size_t count = sids.length(interp);
  for (size_t i = 0; i < count; ++i) {
    // Each word holds the bytes of a binary SID, as get_object_field objectSid gives them.
    int length = 0;
    const unsigned char* bytes = Tcl_GetByteArrayFromObj(sids.at(interp, i).get_object(), &length);
    kesh::SID sid = kesh::SID::fromBytes(std::string(reinterpret_cast<const char*>(bytes), length));
    result.append(interp, Tcl::object(sid.toMSString()));
  }
  return result;
}

std::string GetSchemaGuid(const std::string& name) { return SchemaStringToGuid(name); }

std::string DomainFromDN(const std::string& dn) { return kesh::lower(kesh::DN::domainFromDN(dn)); }

std::string DNFromDomain(const std::string& domain) {
  return kesh::lower(kesh::DN::dnFromDomain(domain));
}

std::string GetParentDn(const std::string& dn) { return kesh::LDAPBinding::parent(dn); }

std::string GetRdn(const std::string& dn) { return kesh::LDAPBinding::RDN(dn); }

void InternalGetGroupMembers(kesh::ADObject group, std::set<std::string>& visited,
                             std::set<std::string>& result, int mode, bool noRecurse) {
  // A copy: the attribute of a cached group may change while members are read.
  const std::vector<std::string> members = GetAttributeValues(group, AD_GROUP_MEMBERS).values();
  for (const std::string& memberDn : members) {
    kesh::ADObject member;
    std::string category;
    try {
      member = GetADObjectByDN(memberDn);
      member = LookupForeignUser(member);
      category = member.category();
    } catch (const std::exception&) {
      continue;  // a member the session cannot reach
    }
    if (category == "Group" && !noRecurse) {
      if (visited.insert(member.dn()).second) {
        InternalGetGroupMembers(member, visited, result, mode, noRecurse);
      }
      continue;
    }
    if (mode == 2) {
      result.insert(memberDn);
    } else if (category != "Group") {
      result.insert(GetUserName(member, mode == 1));
    }
  }
}

Tcl::object GetGroupMembers(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches = Switches({
      SwitchDef("-upn"),
      SwitchDef("-ad"),
  });
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);
  const bool upn = switches["-upn"].seen;
  const bool ad = switches["-ad"].seen;
  if (upn && ad) {
    KESH_THROW(kesh::BadDataException, 0,
               "-ad cannot be used with -upn since -ad returns a list of DN");
  }
  if (positional.size() != 1) throw Tcl::tcl_syntax_error();
  kesh::ADObject group = GetADGroup(positional[0]);
  const int mode = upn ? 1 : ad ? 2 : 0;
  std::set<std::string> visited = {group.dn()};
  std::set<std::string> result;
  InternalGetGroupMembers(group, visited, result, mode, ad);
  Tcl::interpreter& interp = Interp();
  Tcl::object list;
  for (const std::string& name : result) list.append(interp, Tcl::object(name));
  return list;
}

void SetUserPassword(const std::string& user, const std::string& password) {
  kesh::ADObject object = GetADUser(user);
  std::shared_ptr<MyBinding> binding = GetBindingForDN(object.dn());
  ChangeUserPassword(user, password, binding->ccName);
}

Tcl::object GetPwNam(const std::string& name) {
  std::shared_ptr<PasswdEntry> entry = PasswdEnumerator().getByName(name);
  if (!entry) KESH_THROW(kesh::NotFoundException, 0, "User not found");
  return MakePasswdEntry(entry);
}

Tcl::object GetentPasswd() {
  Tcl::interpreter& interp = Interp();
  Tcl::object result;
  PasswdEnumerator enumerator;
  setpwent();
  while (std::shared_ptr<PasswdEntry> entry = enumerator.getNext()) {
    result.append(interp, MakePasswdEntry(entry));
  }
  endpwent();
  return result;
}

std::string GetTempDir(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches = Switches({
      SwitchDef("-secure"),
      SwitchDef("-nonsecure"),
  });
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);
  const bool secure = switches["-secure"].seen;
  const bool nonsecure = switches["-nonsecure"].seen;
  if (!positional.empty() || (secure && nonsecure)) throw Tcl::tcl_syntax_error();
  const int mode = secure ? 1 : nonsecure ? 0 : static_cast<int>(geteuid());
  char buffer[256];
  if (GetNorvaneTempDir(mode, buffer, sizeof(buffer)) < 0) {
    KESH_THROW(kesh::NotFoundException, 0, "Internal Error. Cannot get temporary directory.: %s",
               strerror(errno));
  }
  return buffer;
}
