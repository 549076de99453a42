// The vocabulary of zone rights: which names `delegate_zone_right` knows, and how each
// is carried out.
//
// A zone right is carried out in one of two ways: access control entries on a directory
// object of the zone (security/delegate.h holds the entries of each key), or a delegation
// on the zone's scope in its authorization store. The group of a right says which object
// carries it and what the zone must be able to do:
//
//   group                     rights                                     object
//   COMPUTER_CONTAINER   1    join, change_computer, delete_computer,    cn=Computers
//                             add/delete/modify_user_group_..._zone
//   USER_CONTAINER       2    add_user, delete_user, change_user         cn=Users
//   GROUP_CONTAINER      3    add_group, delete_group, change_group      cn=Groups
//   ZONE_OBJECT          4    delete_zone, change_zone, enable_qv        the zone object
//   NIS_SERVERS          5    nisservers                                 zone_nis_servers
//   IMPORT               6    import                                     cn=Users, cn=Groups
//   SCOPE                7    manage_roles_and_rights,                   the scope only
//                             manage_role_assignments
//   NIS_MAPS             8    add_remove_nismap_entry, modify_nismap_    cn=NisMaps
//                             entry, remove_nismap, add_nismap
//   COMPUTER_ZONES       9    add/delete_computer_zone, add/delete_      cn=Computers (by an
//                             computer_role, delegate_permission_for_    internal key), then
//                             computer_zone                              the scope
//   REFUSED             10    modify_computer_role                       none
//
// Access zones have no objects of their own and split the names three ways
// (AccessZoneRightAction).
#ifndef ZONESMITH_ZONES_ZONE_RIGHTS_H_
#define ZONESMITH_ZONES_ZONE_RIGHTS_H_

#include <string>
#include <vector>

enum class ZoneRightGroup {
  UNKNOWN = 0,
  COMPUTER_CONTAINER = 1,
  USER_CONTAINER = 2,
  GROUP_CONTAINER = 3,
  ZONE_OBJECT = 4,
  NIS_SERVERS = 5,
  IMPORT = 6,
  SCOPE = 7,
  NIS_MAPS = 8,
  COMPUTER_ZONES = 9,
  REFUSED = 10,
};

// The group of `right` (case-sensitive), UNKNOWN for a name outside the vocabulary.
ZoneRightGroup ZoneRightGroupOf(const std::string& right);

// The key of the entries that a COMPUTER_ZONES right writes on the Computers container
// ("add_czone_crole_in_computer_cont", "del_czone_crole_in_computer_cont",
// "deleg_perm_czone_in_computer_cont"); "" for any other right.
std::string ComputerContainerKeyOf(const std::string& right);

// Every right name of the vocabulary, in the order of the groups.
const std::vector<std::string>& ZoneRightNames();

// What an access zone does with a right name.
enum class AccessRightAction {
  REFUSE,   // "Right not supported: %s"
  SCOPE,    // delegated on the access zone's scope
  UNKNOWN,  // "Unknown right: %s"
};

AccessRightAction AccessZoneRightAction(const std::string& right);

// The key of the entries that a computer zone's "delete_zone" also writes on its scope.
extern const char* const COMPUTER_ZONE_SCOPE_DELETE_KEY;  // "delete_qvscope_of_current_..."

#endif  // ZONESMITH_ZONES_ZONE_RIGHTS_H_
