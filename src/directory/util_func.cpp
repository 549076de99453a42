#include "directory/util_func.h"

#include <tcl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/sid.h"
#include "directory/library/strings.h"
#include "directory/library/tempdir.h"
#include "directory/principal.h"
#include "directory/zsm_util.h"
#include "script/args.h"
#include "script/context.h"
#include "script/cpptcl.h"
#include "security/schema_lookup.h"

namespace {

// {name passwd uid gid gecos dir shell}, the numbers as integers.
Tcl::object MakePasswdEntry(const std::shared_ptr<PasswdEntry>& entry) {
  Tcl::interpreter& interp = SessionInterp();
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

}  // namespace

std::string PrincipalToDN(const std::string& name) { return GetPrincipal(name).dn(); }

std::string PrincipalToSID(const std::string& name) {
  return GetPrincipal(name).sid().toMSString();
}

std::string DNToPrincipal(const Tcl::object& args) {
  std::vector<std::string> positional;
  const bool upn = GetUPNArg(args, positional, 1);
  kesh::ADObject object = GetADObjectByDN(positional[0]);
  return PrincipalNameOf(object, upn, false, "DN must represent a user, group or computer");
}

std::string PrincipalFromSid(const Tcl::object& args) {
  std::vector<std::string> positional;
  const bool upn = GetUPNArg(args, positional, 1);
  kesh::SID sid(positional[0]);
  kesh::ADObject object = GetPrincipalBySid(sid);
  return PrincipalNameOf(object, upn, true, "Principal not found");
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
  Tcl::interpreter& interp = SessionInterp();
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
  const MemberNames names = upn ? MEMBER_UPN : ad ? MEMBER_DN : MEMBER_SAM_NAME;
  std::set<std::string> result = GroupMembers(group, names, ad);
  Tcl::interpreter& interp = SessionInterp();
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
  Tcl::interpreter& interp = SessionInterp();
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
