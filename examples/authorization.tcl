# Authorization: who may log in where and run what. In a child zone of a parent zone, define
# a PAM right and a command right, build a role from them with a time box, give the role
# to a user and a group, list the assignments, add a command right of the parent zone to
# the role by <name>/<zone>, and delete everything again.
#
#   zonesmith examples/authorization.tcl [domain]
#
# Without a domain it uses the throwaway DC of `make demo` ($ZS_DC_DOMAIN).
set domain [expr {$argc > 0 ? [lindex $argv 0] : $env(ZS_DC_DOMAIN)}]
bind $domain
set base [dn_from_domain $domain]

# A unit with a directory user and a security group, and two zones: global and its child
# web.
set ou "OU=ZoneSmith Authorization Demo,$base"
new_object $ou
set_object_field objectClass organizationalUnit
set_object_field description "made by examples/authorization.tcl"
save_object
new_object "CN=Dana,$ou"
set_object_field objectClass user
set_object_field sAMAccountName dana
save_object
new_object "CN=Web Admins,$ou"
set_object_field objectClass group
set_object_field sAMAccountName webadmins
save_object

set parent "CN=global,$ou"
set zone "CN=web,$ou"
create_zone tree $parent
create_zone tree $zone
select_zone $zone
set_zone_field parent $parent
save_zone

# Every new zone has the predefined PAM rights and roles.
puts "predefined roles: [get_roles]"

# In the parent zone: a command right that child zones may use.
select_zone $parent
new_qv_command reload-httpd
set_qvc_field cmd "/usr/sbin/apachectl graceful"
set_qvc_field qvdo_runas root
set_qvc_field description "reload the web server"
save_qv_command

# In the child zone: a PAM right and a command right of its own.
select_zone $zone
new_pam_app httpd-ssh
set_pam_field application sshd
set_pam_field description "ssh to the web servers"
save_pam_app
new_qv_command tail-logs
set_qvc_field cmd "/usr/bin/tail /var/log/httpd/*"
set_qvc_field form 0
set_qvc_field description "read the web server's logs"
save_qv_command
puts "commands of web:"
list_qv_commands

# A role with both rights and a time box: the week as 168 hour bits, three bytes a day,
# here the hours 8 to 17 of the five middle days.
set day [format %06x [expr {((1 << 18) - 1) ^ ((1 << 8) - 1)}]]
set timebox [string repeat 000000 1][string repeat $day 5][string repeat 000000 1]
new_role webops
set_role_field description "operators of the web servers"
set_role_field timebox $timebox
add_pamapp_to_role httpd-ssh
add_command_to_role tail-logs
# The parent's command, named with its zone.
add_command_to_role reload-httpd/global
save_role
select_role webops
puts "rights of webops:"
list_role_rights
puts "commands of webops: [get_role_commands]"

# Give the role to the user and to the group.
foreach principal [list dana@$domain webadmins@$domain] {
  new_role_assignment $principal
  set_role_assignment_field role webops
  save_role_assignment
}
puts "assignments of web:"
list_role_assignments
puts "users only: [get_role_assignments -user]"

# Clean up: assignments, role, rights, zones, the unit.
foreach assignment [get_role_assignments] {
  select_role_assignment $assignment
  delete_role_assignment
}
select_role webops
delete_role
select_pam_app httpd-ssh
delete_pam_app
select_qv_command tail-logs
delete_qv_command
select_zone $parent
select_qv_command reload-httpd
delete_qv_command
select_zone $zone
delete_zone
select_zone $parent
delete_zone
delete_sub_tree $ou
puts "left below $base: [llength [get_objects $base "(ou=ZoneSmith Authorization Demo)"]] demo unit(s)"
