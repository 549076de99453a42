// The role assignment commands.
#include "authorization/assignment_func.h"

#include <cerrno>
#include <cstdlib>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "authorization/role.h"
#include "authorization/zone_qv.h"
#include "directory/ldap.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/logger.h"
#include "directory/library/sam_parser.h"
#include "directory/library/strings.h"
#include "directory/principal.h"
#include "directory/session.h"
#include "script/args.h"
#include "script/cpptcl.h"
#include "zones/ngzone.h"
#include "zones/zone.h"

namespace {

// The field value that clears a time limit.
const char* const kNoLimit = "-";

// Which assignments a listing shows, from its switches.
struct Selection {
  bool upn = false;
  bool visible = false;
  bool users = false;
  bool groups = false;
  bool invalid = false;
};

Selection ParseSelection(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches =
      Switches({{"-upn"}, {"-user"}, {"-group"}, {"-invalid"}, {"-visible"}});
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);
  if (!positional.empty()) throw Tcl::tcl_syntax_error();
  Selection selection;
  selection.upn = switches["-upn"].seen;
  selection.visible = switches["-visible"].seen;
  selection.users = switches["-user"].seen;
  selection.groups = switches["-group"].seen;
  selection.invalid = switches["-invalid"].seen;
  // Only hierarchical and access zones keep the visible flag of a role.
  if (selection.visible && !TestCurrentZone<NGZone>() &&
      GetCurrentZone<IZone>()->getZoneType() != ZONE_TYPE_ACCESS) {
    KESH_THROW(kesh::BadDataException, 0,
               "[-visible] option is supported Only in hierarchical zone.");
  }
  // Without a choice, users and groups are shown; "-invalid" alone shows only broken entries.
  if (!selection.users && !selection.groups && !selection.invalid) {
    selection.users = selection.groups = true;
  }
  return selection;
}

bool IsValid(const Assignment& assignment) {
  return !assignment.principal.empty() && !assignment.roleDn.empty();
}

// "!" and the cn of the assignment's object: the line of a broken assignment.
std::string BrokenText(const Assignment& assignment) {
  return "!" + kesh::DN::cnFromDn(assignment.object->dn());
}

// Whether the role of the assignment is visible. A role that cannot be read hides its
// assignments; that is logged, not reported.
bool HasVisibleRole(const Assignment& assignment) {
  if (assignment.roleDn.empty()) return false;
  kesh::ADObject role;
  try {
    role = GetBinding(kesh::lower(kesh::DN::domainFromDN(assignment.roleDn)))
               ->fetch(assignment.roleDn, nullptr, AD_ALL_OBJECTS);
  } catch (const LDAPException&) {
    kesh::Logger::GetThreadPrivateLogger("cli.zonesmith")
        ->log(kesh::Logger::DEBUG, __FILE__, __LINE__, __func__, "Role does not exist: %s",
              assignment.roleDn.c_str());
    return false;
  }
  std::string timebox;
  unsigned sysrights = 0;
  bool allowLocalUser = false;
  bool visible = true;
  sam::SamParser::ParseV2RoleData(role.firstValue(AZ_APP_DATA), timebox, sysrights, allowLocalUser,
                                  visible);
  return visible;
}

// Directory principals of a listing, read ahead with few directory calls
// (PrefetchObjectsByDn); lower-cased DN -> object.
using Principals = std::map<std::string, kesh::ADObject>;

// The name of the directory principal `dn`: sam@domain of a group, else the user's name. A
// principal that was not read ahead is read now; throws LDAPException when it cannot be
// read.
std::string PrincipalName(const std::string& dn, bool upn, const Principals& principals,
                          bool* isGroup) {
  auto ahead = principals.find(kesh::lower(dn));
  kesh::ADObject object = ahead != principals.end() ? ahead->second : GetADObjectByDN(dn);
  object = LookupForeignUser(object);
  *isGroup = object.category() == AD_GROUP_CATEGORY;
  return *isGroup ? GetGroupName(object) : GetUserName(object, upn);
}

// Whether the principal of a valid assignment is a directory object (not all users, not a
// local principal).
bool InDirectory(const Assignment& assignment) {
  const std::string& ptype = assignment.ptype;
  return ptype != ALL_AD_USERS_PTYPE && ptype != ALL_LOCAL_USERS_PTYPE &&
         ptype != LOCAL_USER_PTYPE && ptype != LOCAL_GROUP_PTYPE && !assignment.isLocal();
}

// The listing line of an assignment (see assignment_func.h).
std::string DisplayLine(const Assignment& assignment, bool upn, const Principals& principals) {
  std::string line = BrokenText(assignment);
  if (!IsValid(assignment)) return line;
  try {
    std::string name;
    if (assignment.ptype == ALL_AD_USERS_PTYPE) {
      name = ALL_AD_USERS;
    } else if (assignment.ptype == ALL_LOCAL_USERS_PTYPE) {
      name = ALL_UNIX_USERS;
    } else if (assignment.isLocal()) {
      name = assignment.principal;
    } else {
      bool isGroup = false;
      name = PrincipalName(assignment.principal, upn, principals, &isGroup);
    }
    line = name + ": " + assignment.getRoleName();
    if (assignment.from != 0) line += " from:" + kesh::strtime(&assignment.from);
    if (assignment.to != 0) line += " to:" + kesh::strtime(&assignment.to);
  } catch (const LDAPException&) {
    // A principal that cannot be read leaves the line of a broken assignment.
  }
  return line;
}

// The listing text of one assignment, "<principal>/<role>/<zone>", "!<cn>", or "" when the
// selection leaves it out. kesh::NotFoundException of the principal's lookup passes.
std::string ListingText(const Assignment& assignment, const Selection& selection,
                        const Principals& principals) {
  if (!IsValid(assignment)) return selection.invalid ? BrokenText(assignment) : "";
  const std::string role = "/" + assignment.getRoleName();
  const std::string& ptype = assignment.ptype;
  // The all-users assignments count as groups.
  if (ptype == ALL_AD_USERS_PTYPE) return selection.groups ? ALL_AD_USERS + role : "";
  if (ptype == ALL_LOCAL_USERS_PTYPE) return selection.groups ? ALL_UNIX_USERS + role : "";
  if (ptype == LOCAL_USER_PTYPE) return selection.users ? assignment.principal + role : "";
  if (ptype == LOCAL_GROUP_PTYPE) return selection.groups ? assignment.principal + role : "";
  try {
    bool isGroup = false;
    std::string name = PrincipalName(assignment.principal, selection.upn, principals, &isGroup);
    return (isGroup ? selection.groups : selection.users) ? name + role : "";
  } catch (const LDAPException&) {
    return selection.invalid ? BrokenText(assignment) : "";
  }
}

// Walks the assignments of the current zone: prints each selected one (`display`) or
// collects its text. Principals that are not found are named together at the end of a
// printed listing, after everything else was printed; a collected listing stops at the
// first.
std::vector<std::string> WalkAssignments(const Tcl::object& args, bool display) {
  Selection selection = ParseSelection(args);
  std::list<std::shared_ptr<Assignment>> assignments;
  GetCurrentZone<IZoneSupportAssignment>()->getAssignments("", assignments);
  std::vector<std::string> dns;
  for (std::shared_ptr<Assignment>& assignment : assignments) {
    if (IsValid(*assignment) && InDirectory(*assignment)) dns.push_back(assignment->principal);
  }
  // What naming a principal reads of it: its category and its names.
  static const char* const kNameAttributes[] = {AD_OBJECT_CATEGORY, AD_SAM_ACCOUNT_NAME,
                                                AD_USER_PRINCIPAL_NAME, nullptr};
  const Principals principals = PrefetchObjectsByDn(dns, kNameAttributes);

  std::vector<std::string> texts;
  std::set<std::string> missing;
  // The visibility of each role, read once however many assignments it has.
  std::map<std::string, bool> visibleRoles;
  for (std::shared_ptr<Assignment>& assignment : assignments) {
    if (selection.visible) {
      auto known = visibleRoles.find(kesh::lower(assignment->roleDn));
      if (known == visibleRoles.end()) {
        known = visibleRoles.emplace(kesh::lower(assignment->roleDn), HasVisibleRole(*assignment))
                    .first;
      }
      if (!known->second) continue;
    }
    std::string text;
    try {
      text = ListingText(*assignment, selection, principals);
    } catch (const kesh::NotFoundException& e) {
      if (!display) throw;
      missing.insert(e.what());
      continue;
    }
    if (text.empty()) continue;
    if (display) {
      WriteStdout(DisplayLine(*assignment, selection.upn, principals) + "\n");
    } else {
      texts.push_back(text);
    }
  }
  if (!missing.empty()) {
    std::string message;
    for (const std::string& text : missing) message += text + "\n";
    KESH_THROW(kesh::NotFoundException, 0, "%s", message.c_str());
  }
  return texts;
}

// A time limit: "-" for none, else a decimal Unix time.
long ParseTime(const std::string& field, const std::string& value) {
  if (value == kNoLimit) return 0;
  errno = 0;
  char* end = nullptr;
  long time = std::strtol(value.c_str(), &end, 10);
  if (value.empty() || *end != '\0' || errno == ERANGE) {
    KESH_THROW(kesh::BadDataException, 0, "invalid %s time: %s", field.c_str(), value.c_str());
  }
  return time;
}

[[noreturn]] void UnknownField(const std::string& field) {
  KESH_THROW(kesh::BadDataException, 0, "unknown field %s", field.c_str());
}

}  // namespace

void DisplayAssignment(const std::shared_ptr<Assignment>& assignment, bool upn) {
  WriteStdout(DisplayLine(*assignment, upn, Principals()) + "\n");
}

void NewRoleAssignment(const std::string& principal) {
  std::shared_ptr<Assignment> assignment =
      GetCurrentZone<IZoneSupportAssignment>()->newAssignment(principal);
  GetContextTab()->assignment = assignment;
}

void SelectRoleAssignment(const std::string& text) {
  std::shared_ptr<Assignment> assignment =
      GetCurrentZone<IZoneSupportAssignment>()->getAssignment(text);
  GetContextTab()->assignment = assignment;
}

void SaveRoleAssignment() {
  CheckAssignment();
  std::shared_ptr<Assignment> assignment = GetCurrentAssignment();
  GetCurrentZone<IZoneSupportAssignment>()->saveAssignment(assignment);
}

void DeleteRoleAssignment() {
  CheckAssignment();
  std::shared_ptr<Assignment> assignment = GetCurrentAssignment();
  GetCurrentZone<IZoneSupportAssignment>()->deleteAssignment(assignment);
  ClearAssignment();
}

void SetRoleAssignmentField(const std::string& field, const std::string& value) {
  std::shared_ptr<Assignment> assignment = GetCurrentAssignment();
  if (field == "role") {
    std::shared_ptr<QVRole> role = GetCurrentZone<IZoneSupportAssignment>()->findRole(value);
    assignment->setRole(*role);
  } else if (field == "from") {
    assignment->from = ParseTime(field, value);
  } else if (field == "to") {
    assignment->to = ParseTime(field, value);
  } else if (field == "description") {
    (*assignment->object)[AD_DESCRIPTION] = value;
  } else {
    UnknownField(field);
  }
}

std::string GetRoleAssignmentField(const std::string& field) {
  std::shared_ptr<Assignment> assignment = GetCurrentAssignment();
  const kesh::ADObject& object = *assignment->object;
  if (field == "role") return assignment->getRoleName();
  if (field == "from") return std::to_string(assignment->from);
  if (field == "to") return std::to_string(assignment->to);
  if (field == "description") return object.firstValue(AD_DESCRIPTION);
  if (field == "dn") return object.dn();
  if (field == "createTime") return object.firstValue(AD_WHEN_CREATED);
  if (field == "modifyTime") return object.firstValue(AD_WHEN_CHANGED);
  if (field == "ptype") return assignment->ptype;
  UnknownField(field);
}

void ListRoleAssignments(const Tcl::object& args) { WalkAssignments(args, true); }

Tcl::object GetRoleAssignments(const Tcl::object& args) {
  return StringList(WalkAssignments(args, false));
}
