#include "script/funcs.h"

#include <functional>
#include <string>
#include <vector>

#include "script/args.h"
#include "script/context.h"
#include "script/cpptcl.h"
#include "script/zonesmithlib.h"

// Each family includes the header that declares its handlers here, then points its rows at
// them with Fixed(...) or Variadic(...).

// directory: bindings, cache, generic objects, principals and utilities
#include "directory/agent_func.h"
#include "directory/bind_func.h"
#include "directory/cache_func.h"
#include "directory/ldap.h"
#include "directory/obj_func.h"
#include "directory/util_func.h"

// zones: zone commands, NIS maps, right delegation
#include "zones/nis_func.h"
#include "zones/zone_func.h"

// schema: users, groups, computers
#include "schema/computer_func.h"
#include "schema/user_func.h"
#include "schema/zgroup_func.h"

// authorization: roles, rights, assignments
#include "authorization/assignment_func.h"
#include "authorization/right_func.h"
#include "authorization/role_func.h"

// security: SDDL and its explanation
#include "security/explain.h"
#include "security/sddl.h"

namespace {

// How a row defines its handler under one command word (its name, alias or extra name);
// `command` is the row's name.
using Definer = std::function<void(Tcl::interpreter& interp, const std::string& word,
                                   const std::string& command)>;

// A handler whose words each convert to one parameter. `pol` adds policies such as
// Tcl::secret() for a command that takes a password.
template <typename R, typename... A>
Definer Fixed(R (*f)(A...), const Tcl::policies& pol = Tcl::policies()) {
  return [f, pol](Tcl::interpreter& interp, const std::string& word, const std::string&) {
    interp.def(word, f, pol);
  };
}

// A handler whose last parameter, a `const Tcl::object&`, receives the remaining words as a list.
template <typename R, typename... A>
Definer Variadic(R (*f)(A...), const Tcl::policies& pol = Tcl::policies()) {
  return [f, pol](Tcl::interpreter& interp, const std::string& word, const std::string&) {
    Tcl::policies variadic = pol;
    interp.def(word, f, variadic.variadic());
  };
}

struct Row {
  const char* name;
  const char* alias;
  const char* usage;
  const char* help;
  Definer define;
};

// clang-format off
const std::vector<Row>& Table() {
  static const std::vector<Row> rows = {
    {"help", "h", "command_pattern", "Prints the help of the commands whose name or alias matches the pattern (* and ? as in glob).\n", Fixed(FuncHelp)},
    {"quit", "q", "", "Ends the interactive zonesmith shell; in a script it only sets the session's quit flag.\n", Fixed(Quit)},
    {"set_ldap_timeout", "", "<timeout in seconds>", "Sets the LDAP timeout for new bindings, default is 5 minutes.\n", Fixed(SetTimeout)},
    {"bind", "", "[-gc] [-write] [-machine] <[server@]domain> [<user> [<password>]]", "Creates an AD binding to the specified domain.\nIf no user or password supplied then current Kerberos credentials are used.\nIf a user name is supplied then password will be prompted.\n", Variadic(FuncBind, Tcl::secret())},
    {"cache", "", "[-memory] [-file <name>] [-keep] on | off | clear", "Turns the local object cache on or off, or empties it.\n-memory: keep the cache in memory; -file: the cache database file; -keep: keep the file when the cache is turned off.\n", Variadic(CacheControl)},
    {"get_bind_info", "gbi", "<domain> forest|server|sid|domain_level|forest_level", "Returns information about the binding to the specified domain.\n", Fixed(BindInfo)},
    {"show", "", "all|bind|zone|user|localuser|assignment|object|group|localgroup|pamright|qvcommand|nismap|role|computer|rse|rscommand", "Prints the current objects of the session: all of them, or those of one kind.\n", Variadic(Show)},
    {"get_temp_dir", "gtd", "[-secure|-nonsecure]", "Get temporary directory.When no flag is supplied, the directory is determined by the effective user id(euid).If the euid = 0 or -secure is specified, we will get a secure path.Otherwise, we get the default temporary directory for normal users", Variadic(GetTempDir)},
    {"push", "", "", "Saves zonesmith context on internal stack.\n", Fixed(Push)},
    {"pop", "", "", "Restores context from internal stack.\n", Fixed(Pop)},
    {"delete_zone", "dlz", "", "Deletes the current zone from AD, after asking for confirmation when interactive.\n", Variadic(DeleteZone)},
    {"create_zone", "cz", "[-ou] tree|classic|classic4|classic3|computer|classic-computer <path> [std|rfc|sfu]", "Creates a zone. The path is a zone DN, or <computer name>@<zone DN> for a computer zone.\n-ou: create the zone as an organizational unit.\nThe schema is rfc where the forest supports RFC 2307, std otherwise, unless given.\nThe new zone does not become current.\n", Variadic(CreateZoneFunc)},
    {"select_zone", "slz", "[-nc] <path>", "Makes the specified zone current.\nA zone read once is kept and selected again without reading AD; -nc reads it again.\n", Variadic(SelectZone)},
    {"save_zone", "svz", "", "Saves changes made to the current zone.\n", Fixed(SaveZone)},
    {"set_zone_field", "szf", "<field> <value>", "Sets a field of the current zone. Fields:\nparent computers nisdomain sfudomain defaultgecos nssvar (<var>=<val>)\navailableshells cloudurl block.parent.zgroup defaultshell username groupname defaultgid defaulthome\ndescription gidreserved gidnext masterdc pwsync truncatename uidreserved uidnext groupmembership\nprovisioning_* (the automatic provisioning settings of the zone)\nChanges are written by save_zone.\n", Fixed(SetZoneField)},
    {"get_zone_field", "gzf", "[-raw] <field>", "Returns a field of the current zone. Fields:\nparent dn computers type schema nisdomain sfudomain defaultgecos createTime modifyTime\navailableshells cloudurl block.parent.zgroup defaultshell username groupname defaultgid defaulthome\ndescription gidreserved gidnext masterdc pwsync truncatename uidreserved uidnext groupmembership\nprovisioning_* (the automatic provisioning settings of the zone)\n-raw: the parent as stored.\n", Variadic(GetZoneField)},
    {"get_zone_nss_vars", "gznv", "", "Returns the nss variables of the current zone as a list of <var>=<val>.\n", Fixed(GetNssVars)},
    {"get_zones", "gz", "<domain>", "Returns a list of the DNs of the zones in the specified domain.\n", Fixed(GetZones)},
    {"list_zone_users", "lszu", "[-upn]", "Lists the users of the current zone: <name>:<unix name>:<uid>:<gid>:<gecos>:<home>:<shell>.\n-upn: name users by their userPrincipalName.\n", Variadic(ListZoneUsers)},
    {"list_local_users_profile", "lslup", "", "Lists the local users of the current zone: <unix name>:<uid>:<gid>:<gecos>:<home>:<shell>:<profileflag>.\n", Fixed(ListLocalUsers)},
    {"list_pending_zone_users", "lpzu", "", "Lists the pending users of the current zone.\n", Fixed(ListPendingZoneUsers)},
    {"get_zone_users", "gzu", "[-upn]", "Returns a list of the users of the current zone.\n-upn: name users by their userPrincipalName.\n", Variadic(GetZoneUsers)},
    {"get_local_users_profile", "glup", "", "Returns a list of the unix names of the local users of the current zone.\n", Fixed(GetLocalUsers)},
    {"get_pending_zone_users", "gpzu", "", "Returns a list of the pending users of the current zone.\n", Fixed(GetPendingZoneUsers)},
    {"new_zone_user", "newzu", "<user upn>", "Creates a new zone user and makes it current; save_zone_user writes it.\nThe user may be given as sAMAccountName@domain or as userPrincipalName.\n", Fixed(NewZoneUser)},
    {"new_local_user_profile", "newlup", "<unix name>", "Creates a new local user and makes it current; save_local_user_profile writes it.\n", Fixed(NewLocalUser)},
    {"set_zone_user_field", "szuf", "<field> <value>", "Sets a field of the current zone user. Fields:\nuname uid gid home shell gecos aix.*\nTo clear a field enter the value '-'.\nIn classic zones an additional field, 'enabled', is available.\nValues are 1, y, yes or true for enabled, 0, n, no or false for disabled (case insensitive).\nFor 'aix.*',  added to support extended attributes on AIX.\n", Fixed(SetZoneUserField)},
    {"set_local_user_profile_field", "slupf", "<field> <value>", "Sets a field of the current local user. Fields:\nuid gid home shell gecos profileflag aix.*\nTo clear a field enter the value '-'.\nFor 'profileflag', values are 1 for enable, 2 for disable, 3 for remove.\nFor 'aix.*',  added to support extended attributes on AIX.\n", Fixed(SetLocalUserField)},
    {"save_zone_user", "svzu", "", "Saves the current zone user.\n", Fixed(SaveZoneUser)},
    {"save_local_user_profile", "svlup", "", "Saves the current local user.\n", Fixed(SaveLocalUser)},
    {"get_zone_user_field", "gzuf", "<field>", "Returns a field of the current zone user. Fields:\nuname uid gid home shell gecos dn addn foreign createTime modifyTime aix.*\nA field that is not set returns '-'.\nIn classic zones an additional field, 'enabled', is available.\n", Fixed(GetZoneUserField)},
    {"get_local_user_profile_field", "glupf", "<field>", "Returns a field of the current local user. Fields:\nuid gid home shell gecos dn profileflag createTime modifyTime aix.*\nA field that is not set returns '-'.\n", Fixed(GetLocalUserField)},
    {"select_zone_user", "slzu", "[-unix] <user upn>|<unix name>", "Selects a user of the current zone and makes it current.\nThe user may be given as sAMAccountName@domain or as userPrincipalName; the first form is tried first.\n-unix: find the user by its unix name.\n", Variadic(SelectZoneUser)},
    {"select_local_user_profile", "sllup", "<unix name>", "Selects a local user of the current zone and makes it current.\n", Fixed(SelectLocalUser)},
    {"delete_zone_user", "dlzu", "", "Deletes the current zone user from the zone.\n", Fixed(DeleteZoneUser)},
    {"delete_local_user_profile", "dllup", "", "Deletes the current local user from the zone.\n", Fixed(DeleteLocalUser)},
    {"new_role_assignment", "newra", "<principal upn>|\"All AD users\"|\"All Unix users\"", "Creates a new role assignment and makes it current; set its role, then save_role_assignment.\n", Fixed(NewRoleAssignment)},
    {"list_role_assignments", "lsra", "[-upn] [-visible] [-user|-group|-invalid]", "Lists the role assignments of the current zone: <principal>: <role> [from:<time>] [to:<time>].\n-user, -group: only assignments to users, or to groups.\n-invalid: only assignments whose principal or role is gone.\n-visible: only assignments of visible roles (hierarchical zones).\n-upn: name users by their userPrincipalName.\n", Variadic(ListRoleAssignments)},
    {"get_role_assignments", "gra", "[-upn] [-visible] [-user|-group|-invalid]", "Returns a list of the role assignments of the current zone as <principal>/<role>.\n-user, -group: only assignments to users, or to groups.\n-invalid: only assignments whose principal or role is gone.\n-visible: only assignments of visible roles (hierarchical zones).\n-upn: name users by their userPrincipalName.\n", Variadic(GetRoleAssignments)},
    {"set_role_assignment_field", "sraf", "<field> <value>", "Sets a field of the current role assignment. Fields:\nrole (<role>[/<zone>]) from to (Unix time, '-' for no limit) description\n", Fixed(SetRoleAssignmentField)},
    {"get_role_assignment_field", "graf", "<field>", "Returns a field of the current role assignment. Fields:\nrole from to description dn ptype createTime modifyTime\n", Fixed(GetRoleAssignmentField)},
    {"delete_role_assignment", "dlra", "", "Deletes the current role assignment.\n", Fixed(DeleteRoleAssignment)},
    {"save_role_assignment", "svra", "", "Saves the current role assignment.\n", Fixed(SaveRoleAssignment)},
    {"select_role_assignment", "slra", "<principal upn>/<role>|*<sid>/<role>|!<cn>", "Selects a role assignment of the current zone and makes it current.\n", Fixed(SelectRoleAssignment)},
    {"get_adinfo", "adinfo", "domain|zone|host", "Returns the domain, zone or host name of the joined machine, as its agent reports it.\n", Fixed(Adinfo)},
    {"domain_from_dn", "dfdn", "<dn>", "Returns the DNS domain name of a DN, from its DC= parts.\n", Fixed(DomainFromDN)},
    {"dn_from_domain", "dnfd", "<domain>", "Returns the DN of a DNS domain name, as DC= parts.\n", Fixed(DNFromDomain)},
    {"list_zone_groups", "lszg", "", "Lists the groups of the current zone: <name>:<unix name>:<gid>[ required].\n", Fixed(ListZoneGroups)},
    {"list_local_groups_profile", "lslgp", "", "Lists the local groups of the current zone: <unix name>:<gid>:<members>:<profileflag>.\n", Fixed(ListLocalGroups)},
    {"list_pending_zone_groups", "lpzg", "", "Lists the pending groups of the current zone.\n", Fixed(ListPendingZoneGroups)},
    {"get_zone_groups", "gzg", "", "Returns a list of the groups of the current zone.\n", Fixed(GetZoneGroups)},
    {"get_local_groups_profile", "glgp", "", "Returns a list of the unix names of the local groups of the current zone.\n", Fixed(GetLocalGroups)},
    {"get_pending_zone_groups", "gpzg", "", "Returns a list of the pending groups of the current zone.\n", Fixed(GetPendingZoneGroups)},
    {"new_zone_group", "newzg", "<group upn>", "Creates a new zone group for an AD group and makes it current; save_zone_group writes it.\n", Fixed(NewZoneGroup)},
    {"new_local_group_profile", "newlgp", "<group name>", "Creates a new local group and makes it current; save_local_group_profile writes it.\n", Fixed(NewLocalGroup)},
    {"set_zone_group_field", "szgf", "<field> <value>", "Sets a field of the current zone group. Fields:\nname gid required\nTo clear a field enter the value '-'.\nValues of 'required' are 1, y, yes or true, 0, n, no or false (case insensitive).\n", Fixed(SetZoneGroupField)},
    {"set_local_group_profile_field", "slgpf", "<field> <value>", "Sets a field of the current local group. Fields:\ngid member profileflag\nTo clear a field enter the value '-'.\nFor 'profileflag', values are 1 for enable, 3 for remove.\n", Fixed(SetLocalGroupField)},
    {"save_zone_group", "svzg", "", "Saves the current zone group.\n", Fixed(SaveZoneGroup)},
    {"save_local_group_profile", "svlgp", "", "Saves the current local group.\n", Fixed(SaveLocalGroup)},
    {"get_zone_group_field", "gzgf", "<field>", "Returns a field of the current zone group. Fields:\nname gid required dn addn createTime modifyTime\nA field that is not set returns '-'.\n", Fixed(GetZoneGroupField)},
    {"get_local_group_profile_field", "glgpf", "<field>", "Returns a field of the current local group. Fields:\nname gid member profileflag dn createTime modifyTime\nA field that is not set returns '-'.\n", Fixed(GetLocalGroupField)},
    {"select_zone_group", "slzg", "[-unix] <group name>", "Selects a group of the current zone and makes it current.\n-unix: find the group by its unix name.\n", Variadic(SelectZoneGroup)},
    {"select_local_group_profile", "sllgp", "<group name>", "Selects a local group of the current zone and makes it current.\n", Fixed(SelectLocalGroup)},
    {"delete_zone_group", "dlzg", "", "Deletes the current zone group from the zone.\n", Fixed(DeleteZoneGroup)},
    {"delete_local_group_profile", "dllgp", "", "Deletes the current local group from the zone.\n", Fixed(DeleteLocalGroup)},
    {"list_zone_computers", "lszc", "", "Lists the computers of the current zone.\n", Fixed(ListZoneComputers)},
    {"get_zone_computers", "gzc", "", "Returns a list of the computers of the current zone.\n", Fixed(GetZoneComputers)},
    {"new_zone_computer", "newzc", "<sAMAccountName>@<domain>", "Adds a computer to the current zone and makes it current; save_zone_computer writes it.\nThe sAMAccountName of a computer is its name followed by '$'.\n", Fixed(NewZoneComputer)},
    {"select_zone_computer", "slzc", "<sAMAccountName>@<domain>", "Selects a computer of the current zone and makes it current.\nThe sAMAccountName of a computer is its name followed by '$'.\n", Fixed(SelectZoneComputer)},
    {"save_zone_computer", "svzc", "", "Saves the current zone computer.\n", Fixed(SaveZoneComputer)},
    {"delete_zone_computer", "dlzc", "[-all]", "Deletes the current computer from the zone.\n-all: also delete its computer zone.\n", Variadic(DeleteZoneComputer)},
    {"set_zone_computer_field", "szcf", "<field> <value>", "Sets a field of the current zone computer. Fields:\ncpus enabled\nValues of 'enabled' are 1, y, yes or true, 0, n, no or false (case insensitive).\n", Fixed(SetZoneComputerField)},
    {"get_zone_computer_field", "gzcf", "<field>", "Returns a field of the current zone computer. Fields:\ncpus enabled agentVersion dnsname dn addn createTime modifyTime\n", Fixed(GetZoneComputerField)},
    {"manage_qv", "mnz", "-on|-off", "Turns role-based authorization of the current classic zone on or off.\n", Fixed(ManageQV)},
    {"is_qv_enabled", "idqe", "", "Returns 1 when role-based authorization is on for the current classic zone, else 0.\n", Fixed(IsQVEnabled)},
    {"list_roles", "lsr", "", "Lists the roles of the current zone.\n", Fixed(ListRoles)},
    {"select_role", "slr", "<role>", "Selects a role of the current zone and makes it current.\n", Fixed(SelectRole)},
    {"delete_role", "dlr", "", "Deletes the current role.\n", Fixed(DeleteRole)},
    {"save_role", "svr", "", "Saves the current role.\n", Fixed(SaveRole)},
    {"set_role_field", "srf", "<field> <value>", "Sets a field of the current role. Fields:\ntimebox (42 hex characters) sysrights description auditLevel (AuditIfPossible|AuditNotRequested|AuditRequired)\nAlwaysPermitLogin allowLocalUser visible\nValues of the last three are 1, y, yes or true, 0, n, no or false (case insensitive).\n", Fixed(SetRoleField)},
    {"get_role_field", "grf", "<field>", "Returns a field of the current role. Fields:\ntimebox sysrights description auditLevel AlwaysPermitLogin allowLocalUser visible dn createTime modifyTime\n", Fixed(GetRoleField)},
    {"get_roles", "getr", "", "Returns a list of the roles of the current zone.\n", Fixed(GetRoles)},
    {"get_role_commands", "grc", "", "Returns a list of the commands of the current role as <command>/<zone>.\n", Fixed(GetRoleCommands)},
    {"get_role_rs_commands", "grrsc", "", "Returns a list of the restricted commands of the current role as <command>/<zone>.\n", Fixed(GetRoleRSCommands)},
    {"get_role_rs_env", "grrse", "", "Returns the restricted environment of the current role.\n", Fixed(GetRoleRSEnv)},
    {"get_role_apps", "grap", "", "Returns a list of the PAM applications of the current role.\n", Fixed(GetRoleApps)},
    {"new_role", "newr", "<role>", "Creates a new role and makes it current; save_role writes it.\n", Fixed(NewRole)},
    {"list_role_rights", "lsrr", "", "Lists the rights of the current role.\n", Fixed(ListRoleRights)},
    {"add_command_to_role", "acr", "<command>[/<zone>]", "Adds a command right to the current role.\n", Fixed(AddCommandToRole)},
    {"set_rs_env_for_role", "srse", "<environment>", "Sets the restricted environment of the current role.\n", Fixed(SetRSEnvForRole)},
    {"add_pamapp_to_role", "apr", "<pam app>[/<zone>]", "Adds a PAM application right to the current role.\n", Fixed(AddPamAppToRole)},
    {"remove_command_from_role", "rcfr", "<command>[/<zone>]", "Removes a command right from the current role.\n", Fixed(RemoveCommandFromRole)},
    {"remove_pamapp_from_role", "rpamfr", "<pam app>[/<zone>]", "Removes a PAM application right from the current role.\n", Fixed(RemovePamAppFromRole)},
    {"clear_rs_env_from_role", "crse", "", "Removes the restricted environment from the current role.\n", Fixed(ClearRSEnvFromRole)},
    {"list_pam_apps", "lspa", "", "Lists the PAM application rights of the current zone.\n", Fixed(ListPamApps)},
    {"select_pam_app", "slpam", "<pam app>[/<zone>]", "Selects a PAM application right and makes it current.\n", Fixed(SelectPamApp)},
    {"delete_pam_app", "dlpam", "", "Deletes the current PAM application right.\n", Fixed(DeletePamApp)},
    {"save_pam_app", "svpam", "", "Saves the current PAM application right.\n", Fixed(SavePamApp)},
    {"set_pam_field", "spf", "<field> <value>", "Sets a field of the current PAM application right. Fields:\ndescription application\n", Fixed(SetPamField)},
    {"get_pam_field", "gpf", "<field>", "Returns a field of the current PAM application right. Fields:\nname description application dn createTime modifyTime\n", Fixed(GetPamField)},
    {"get_pam_apps", "gpam", "", "Returns a list of the PAM application rights of the current zone.\n", Fixed(GetPamApps)},
    {"new_pam_app", "newpam", "<pam app>", "Creates a new PAM application right and makes it current; save_pam_app writes it.\n", Fixed(NewPamApp)},
    {"new_rs_env", "newrse", "<environment>", "Creates a new restricted environment and makes it current; save_rs_env writes it.\n", Fixed(NewRSEnv)},
    {"save_rs_env", "svrse", "", "Saves the current restricted environment.\n", Fixed(SaveRSEnv)},
    {"delete_rs_env", "dlrse", "", "Deletes the current restricted environment.\n", Fixed(DeleteRSEnv)},
    {"list_rs_envs", "lsrse", "", "Lists the restricted environments of the current zone.\n", Fixed(ListRSEnvs)},
    {"get_rs_envs", "grse", "", "Returns a list of the restricted environments of the current zone.\n", Fixed(GetRSEnvs)},
    {"select_rs_env", "slrse", "<environment>", "Selects a restricted environment and makes it current.\n", Fixed(SelectRSEnv)},
    {"get_rse_cmds", "grsec", "", "Returns a list of the restricted commands of the current restricted environment as <command>/<zone>.\n", Fixed(GetRSECmds)},
    {"set_rse_field", "srsef", "<field> <value>", "Sets a field of the current restricted environment. Fields:\ndescription\n", Fixed(SetRSEField)},
    {"get_rse_field", "grsef", "<field>", "Returns a field of the current restricted environment. Fields:\ndescription dn createTime modifyTime\n", Fixed(GetRSEField)},
    {"new_rs_command", "newrsc", "<command>", "Creates a new restricted command in the current restricted environment and makes it current; save_rs_command writes it.\n", Fixed(NewRSCommand)},
    {"save_rs_command", "svrsc", "", "Saves the current restricted command.\n", Fixed(SaveRSCommand)},
    {"delete_rs_command", "dlrsc", "", "Deletes the current restricted command.\n", Fixed(DeleteRSCommand)},
    {"list_rs_commands", "lsrsc", "", "Lists the restricted commands of the current zone.\n", Fixed(ListRSCommands)},
    {"get_rs_commands", "grsc", "", "Returns a list of the restricted commands of the current zone.\n", Fixed(GetRSCommands)},
    {"select_rs_command", "slrsc", "<command>[/<zone>]", "Selects a restricted command and makes it current.\n", Fixed(SelectRSCommand)},
    {"get_rsc_field", "grscf", "<field>", "Returns a field of the current restricted command. Fields:\nname cmd form qvsh_runas pri umask keep del path add flags description dn createTime modifyTime\n", Fixed(GetRSCField)},
    {"set_rsc_field", "srscf", "<field> <value>", "Sets a field of the current restricted command. Fields:\ncmd form (0 wildcard, 1 regular expression) qvsh_runas pri umask (octal) keep del\npath (/..., *, USERPATH, SYSTEMPATH or SYSTEMSEARCHPATH) add flags description\n", Fixed(SetRSCField)},
    {"list_qv_commands", "lsqvc", "", "Lists the command rights of the current zone.\n", Fixed(ListQVCommands)},
    {"select_qv_command", "slqvc", "<command>[/<zone>]", "Selects a command right and makes it current.\n", Fixed(SelectQVCommand)},
    {"delete_qv_command", "dlqvc", "", "Deletes the current command right.\n", Fixed(DeleteQVCommand)},
    {"save_qv_command", "svqvc", "", "Saves the current command right.\n", Fixed(SaveQVCommand)},
    {"set_qvc_field", "sqvcf", "<field> <value>", "Sets a field of the current command right. Fields:\ncmd form (0 wildcard, 1 regular expression) qvdo_runas qvsh_runas (not in classic zones) pri umask (octal) keep del\npath (/..., *, USERPATH, SYSTEMPATH or SYSTEMSEARCHPATH) add flags description\n", Fixed(SetQVCField)},
    {"get_qvc_field", "gqvcf", "<field>", "Returns a field of the current command right. Fields:\nname cmd form qvdo_runas qvsh_runas pri umask keep del path add flags description dn createTime modifyTime\n", Fixed(GetQVCField)},
    {"get_qv_commands", "gqvc", "", "Returns a list of the command rights of the current zone.\n", Fixed(GetQVCommands)},
    {"new_qv_command", "newqvc", "<command>", "Creates a new command right and makes it current; save_qv_command writes it.\n", Fixed(NewQVCommand)},
    {"set_user_password", "sup", "<user upn> <password>", "Sets user password.\n", Fixed(SetUserPassword, Tcl::secret())},
    {"joined_user_in_group", "jug", "<user upn> <group upn>", "Tests to see if user in specified group.\n", Fixed(IsUserInGroup)},
    {"get_group_members", "ggm", "[-ad|-upn] <group upn>", "Returns a list of group members\n-ad: returns DN of the members without expanding the membership if members is a group\nno -ad: expand the group membership recursively\n-upn: returns <UPN> (if -upn is specified)/<SAM>@<DOMAIN> .\n", Variadic(GetGroupMembers)},
    {"joined_get_user_membership", "jgum", "<user upn>", "Returns a list of groups the user belongs to.\n", Fixed(UserGroups)},
    {"delegate_zone_right", "dzr", "<right> <principal upn>", "Delegates a right on the current zone to a user or group. Rights:\njoin change_computer delete_computer add_user delete_user change_user add_group delete_group change_group\ndelete_zone change_zone enable_qv nisservers import manage_roles_and_rights manage_role_assignments\nadd_remove_nismap_entry modify_nismap_entry remove_nismap add_nismap\nadd_computer_zone add_computer_role delete_computer_zone delete_computer_role delegate_permission_for_computer_zone\nadd_user_group_to_computer_zone delete_user_group_from_computer_zone modify_user_group_in_computer_zone modify_computer_role\n", Fixed(DelegateZoneRight)},
    {"list_nis_maps", "lsnms", "", "Lists the NIS maps of the current zone.\n", Fixed(ListNisMaps)},
    {"get_nis_maps", "gnms", "", "Returns a list of the NIS maps of the current zone.\n", Fixed(GetNisMaps)},
    {"list_nis_map", "lsnm", "", "Lists the entries of the current NIS map: <key>: <value>.\n", Fixed(ListNisMap)},
    {"list_nis_map_with_comment", "lsnmwc", "", "Lists the entries of the current NIS map: <key>: <value>: <comment>.\n", Fixed(ListNisMapWithComment)},
    {"get_nis_map", "gnm", "", "Returns the entries of the current NIS map as a list of <key>:<value>.\n", Fixed(GetNisMap)},
    {"get_nis_map_with_comment", "gnmwc", "", "Returns the entries of the current NIS map as a list of <key>:<value>:<comment>.\n", Fixed(GetNisMapWithComment)},
    {"new_nis_map", "newnm", "[-automount] <map>", "Creates a new NIS map and makes it current; save_nis_map writes it.\n-automount: an automount map.\n", Variadic(NewNisMap)},
    {"delete_nis_map", "dlnm", "", "Deletes the current NIS map.\n", Fixed(DeleteNisMap)},
    {"add_map_entry", "ame", "<key> <value>", "Adds an entry to the current NIS map; it is written at once.\n", Fixed(AddMapEntry)},
    {"add_map_entry_with_comment", "amewc", "<key> <value> <comment>", "Adds an entry with a comment to the current NIS map; it is written at once.\n", Fixed(AddMapEntryWithComment)},
    {"delete_map_entry", "dlme", "<indexed key>", "Deletes an entry of the current NIS map by its indexed key, as list_nis_map shows it.\n", Fixed(DeleteMapEntry)},
    {"select_nis_map", "slnm", "<map>", "Selects a NIS map of the current zone and makes it current.\n", Fixed(SelectNisMap)},
    {"save_nis_map", "svnm", "", "Saves the current NIS map.\n", Fixed(SaveNisMap)},
    {"get_nis_map_field", "gnmf", "<field>", "Returns a field of the current NIS map. Fields:\ndn createTime modifyTime\n", Fixed(GetNisMapField)},
    {"select_object", "slo", "[-rootdse] [-attrs a1,a1,...]<dn>", "Selects the specified AD object.\n", Variadic(SelectObject)},
    {"set_object_field", "sof", "<field> <value>", "Sets the specified field. Valid fields depend on AD schema.\n", Variadic(SetObjectField)},
    {"get_object_field", "gof", "<field>", "Returns value of specified field.\n", Fixed(GetObjectField)},
    {"save_object", "svo", "", "Saves current AD object.\n", Fixed(SaveObject)},
    {"rename_object", "rno", "<cn>", "Rename the cn of AD object.\n", Fixed(RenameObject)},
    {"move_object", "mvo", "<parent>", "Move AD object to <parent> container.\n", Fixed(MoveObject)},
    {"add_object_value", "aov", "<dn> <field> <value>", "Adds a value to the specified field.\n", Fixed(AddObjectValue)},
    {"remove_object_value", "rov", "<dn> <field> <value>", "Deletes a value from the specified field.\n", Fixed(RemoveObjectValue)},
    {"delete_sub_tree", "dst", "<dn>", "Deletes an object and all of its descendant objects.\n", Variadic(DeleteSubTree)},
    {"get_object_field_names", "gofn", "", "Returns a list of object field names.\n", Fixed(GetObjectFieldNames)},
    {"dump_object", "dump", "", "Prints every field of the current AD object with its values.\n", Fixed(DumpObject)},
    {"new_object", "newo", "<dn>", "Creates a new AD object.\n", Fixed(NewObject)},
    {"get_objects", "go", "[-gc] [-depth one|sub] [-limit <limit>] [-f <forest>] <base> <filter>", "Returns a list of DNs of matching objects.\n", Variadic(GetObjects)},
    {"delete_object", "dlo", "", "Deletes current object.\n", Fixed(DeleteObject)},
    {"principal_to_dn", "ptd", "<principal upn>", "Locates principal in AD and returns its DN.\n", Fixed(PrincipalToDN)},
    {"principal_to_sid", "pts", "<principal upn>", "Locates principal in AD and returns its SID.\n", Fixed(PrincipalToSID)},
    {"dn_to_principal", "dntp", "[-upn] <dn>", "Converts DN of user, machine or group to <SAM>@<DOMAIN>/<UPN> form.\n", Variadic(DNToPrincipal)},
    {"joined_name_to_principal", "jntp", "[-upn] <unix name>", "Maps UNIX user to AD user.\n", Variadic(UnixNameToPrincipal)},
    {"sid_to_uid", "stu", "<sid>", "Takes a SID and returns a UID.\n", Fixed(SidToUid)},
    {"sid_to_id", "sti", "<sid>", "Takes a SID and returns a UID or GID.\n", Fixed(SidToUid)},
    {"guid_to_id", "gti", "<guid>", "Takes a GUID and returns a UID or GID with Apple's scheme.\n", Fixed(GuidToID)},
    {"principal_to_id", "pti", "[-apple] <upn>", "Takes a principal name and returns a UID or GID.\n", Variadic(PrincipalToID)},
    {"get_schema_guid", "gsg", "<schema name>", "Returns the GUID of a schema class or attribute, given by its name.\n", Fixed(GetSchemaGuid)},
    {"explain_sd", "es", "<sddl>", "Explains a security descriptor given as SDDL: owner, group and each access control entry in words.\n", Fixed(ExplainSDText)},
    {"remove_sd_ace", "rsa", "<sddl> <ace>", "Removes an access control entry, given without parentheses, from an SDDL security descriptor and returns the new SDDL.\n", Fixed(RemoveSDAce)},
    {"add_sd_ace", "ase", "<sddl> <ace>", "Adds an access control entry, given without parentheses, to an SDDL security descriptor and returns the new SDDL.\n", Fixed(AddSDAce)},
    {"set_sd_owner", "sso", "<sddl> <sid>", "Sets the owner of an SDDL security descriptor and returns the new SDDL.\n", Fixed(SetSDOwner)},
    {"set_sd_group", "ssg", "<sddl> <sid>", "Sets the group of an SDDL security descriptor and returns the new SDDL.\n", Fixed(SetSDGroup)},
    {"set_sd_dacl", "ssd", "<sddl> <dacl>", "Replaces the DACL of an SDDL security descriptor and returns the new SDDL.\n", Fixed(SetSDDacl)},
    {"get_pwnam", "gpn", "<unix name>", "Looks up UNIX user by name.\n", Fixed(GetPwNam)},
    {"getent_passwd", "gep", "", "Enumerate locally visible UNIX users.\n", Fixed(GetentPasswd)},
    {"get_child_zones", "gcz", "[-tree] [-crole] [-computer]", "Returns a list of the paths of the child zones of the current zone.\n-tree: child zones; -crole: computer roles; -computer: computer zones. Without switches, all of them.\n", Variadic(GetChildZones)},
    {"create_computer_role", "ccr", "<zone DN>/<name> <group upn>", "Creates a computer role in a zone for the computers of a security group.\n", Fixed(CreateComputerRole)},
    {"principal_from_sid", "pfs", "[-upn] <sid>", "Gets <SAM>@<DOMAIN>/<UPN> that SID represents.\n", Variadic(PrincipalFromSid)},
    {"sid_to_escaped_string", "stes", "<sid>", "Returns string suitable for LDAP filter by SID.\n", Fixed(EscapeSid)},
    {"sid_to_ms_string", "stms", "<sid1>[ <sid2>...]", "Returns MS string by converting binary SID.\n", Variadic(MSSid)},
    {"get_parent_dn", "gpd", "<dn>", "Returns the DN of the parent of an object.\n", Fixed(GetParentDn)},
    {"get_rdn", "grdn", "<dn>", "Returns the RDN of an LDAP path.\n", Fixed(GetRdn)},
  };
  return rows;
}
// clang-format on

bool DefinesAlias(const std::string& name) {
  // These three are reached by their full name only.
  return name != "bind" && name != "cache" && name != "show";
}

}  // namespace

void LoadFuncs() {
  Tcl::interpreter& interp = SessionInterp();
  for (const Row& row : Table()) {
    AddCommand(row.name, row.alias, row.usage, row.help);
    row.define(interp, row.name, row.name);
    if (DefinesAlias(row.name)) row.define(interp, row.alias, row.name);
    // An extra name of its own, not in the help store.
    if (std::string(row.name) == "get_zone_computers") row.define(interp, "getzc", row.name);
  }
}

size_t CommandCount() { return Table().size(); }
