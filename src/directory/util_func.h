// The utility commands: conversions between principal names, DNs, SIDs and GUIDs, group
// membership, UNIX identity numbers, the local passwd database, password change and the
// temporary directory. The logic below them is in zsm_util.h and principal.h.
#ifndef ZONESMITH_DIRECTORY_UTIL_FUNC_H_
#define ZONESMITH_DIRECTORY_UTIL_FUNC_H_

#include <string>

#include "script/cpptcl.h"

std::string PrincipalToDN(const std::string& name);
std::string PrincipalToSID(const std::string& name);
std::string DNToPrincipal(const Tcl::object& args);
std::string PrincipalFromSid(const Tcl::object& args);
std::string SidToUid(const std::string& sid);
std::string GuidToID(const std::string& guid);
std::string PrincipalToID(const Tcl::object& args);
std::string EscapeSid(const std::string& sid);
Tcl::object MSSid(const Tcl::object& sids);
std::string GetSchemaGuid(const std::string& name);
std::string DomainFromDN(const std::string& dn);
std::string DNFromDomain(const std::string& domain);
std::string GetParentDn(const std::string& dn);
std::string GetRdn(const std::string& dn);
Tcl::object GetGroupMembers(const Tcl::object& args);
void SetUserPassword(const std::string& user, const std::string& password);
Tcl::object GetPwNam(const std::string& name);
Tcl::object GetentPasswd();
std::string GetTempDir(const Tcl::object& args);

#endif  // ZONESMITH_DIRECTORY_UTIL_FUNC_H_
