// Role assignments: one role given to one principal for one scope, optionally limited in
// time. An assignment is a msDS-AzRole in the role container of its scope
// (cn=AzRoleObjectContainer-<cn of the scope object>):
//
//   cn                      "CRA_" + fresh GUID
//   objectClass             msDS-AzRole
//   msDS-TasksForAzRole     the role's DN
//   msDS-MembersForAzRole   the principal's DN, or "<SID=...>" for one of another forest;
//                           hierarchical stores leave it out for all-users and local principals
//   displayName             hierarchical only: "allAD", "allUnix", or the local principal text
//   msDS-AzApplicationData  assignment data (sam::SamParser): V1 from/to, V2 from/to/ptype
//   description             when given
//
// The scope creates, finds, updates and deletes assignments (authorization/qv.h); the zone
// turns their text forms into assignments (authorization/zone_qv.h).
#ifndef ZONESMITH_AUTHORIZATION_ASSIGNMENT_H_
#define ZONESMITH_AUTHORIZATION_ASSIGNMENT_H_

#include <memory>
#include <string>

#include "directory/library/adobject.h"

class QVScope;
class QVRole;

// ptype letters.
extern const char* const AD_USER_PTYPE;          // "u"
extern const char* const AD_GROUP_PTYPE;         // "g"
extern const char* const ALL_AD_USERS_PTYPE;     // "a"
extern const char* const ALL_LOCAL_USERS_PTYPE;  // "x"
extern const char* const LOCAL_USER_PTYPE;       // "#"
extern const char* const LOCAL_GROUP_PTYPE;      // "%"
// principal texts of the all-users assignments, and the suffix of local principals.
extern const char* const ALL_AD_USERS;      // "all ad users"
extern const char* const ALL_UNIX_USERS;    // "all unix users"
extern const char* const LOCALHOST_SUFFIX;  // "@localhost"

class Assignment {
 public:
  // Throws kesh::BadDataException "Role is not allowed to be assigned to local user/group"
  // when the role does not allow local users and the principal is local or all UNIX users.
  // Sets roleDn.
  void setRole(const QVRole& role);
  // "<role>/<zone>": the role's cn without "role-", "/", the cn of the fourth parent of
  // roleDn. "" without a role.
  std::string getRoleName() const;
  // True when principal ends in "@localhost".
  bool isLocal() const;

  std::string roleDn;
  long from = 0;  // Unix time, 0 none
  long to = 0;
  bool isNew = false;
  std::string principal;
  std::string ptype;
  std::shared_ptr<kesh::ADObject> object = std::make_shared<kesh::ADObject>();
  std::shared_ptr<QVScope> scope;
};

// The parts of an assignment's text form:
//   "all ad users/<role>", "all unix users/<role>"  principal (lower case), role
//   "<name>@<domain>/<role>"                         principal, role (split at the first "/"
//                                                    at or after the last "@")
//   "*<sid>/<role>"                                  sid, role
//   "!<cn>"                                          cn
// Outputs not named keep their values. Throws kesh::BadDataException "No assignment
// specified" (empty), "No role specified" (no "/" where one is needed), "Bad assignment
// format" (anything else). <role> may itself be "<name>/<zone>".
void ParseAssignment(const std::string& text, std::string& principal, std::string& role,
                     std::string& sid, std::string& cn);

#endif  // ZONESMITH_AUTHORIZATION_ASSIGNMENT_H_
