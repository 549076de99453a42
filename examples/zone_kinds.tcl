# Every kind of zone: a hierarchical zone with a NIS map, a zone computer, the computer zone
# of that computer with a profile that overrides the zone's, and a computer role for a group
# of computers with a role assignment; a classic zone whose authorization is switched on,
# with the classic computer zone of its computer; and a zone of the SFU layout whose user
# keeps its UNIX data on the directory user itself. Then everything is deleted again.
#
#   zonesmith examples/zone_kinds.tcl [domain]
#
# Without a domain it uses the throwaway DC of `make demo` ($ZS_DC_DOMAIN).
set domain [expr {$argc > 0 ? [lindex $argv 0] : $env(ZS_DC_DOMAIN)}]
bind $domain
set base [dn_from_domain $domain]

# A unit with a user, a computer and a security group of web servers that holds it.
set ou "OU=ZoneSmith Zone Kinds Demo,$base"
new_object $ou
set_object_field objectClass organizationalUnit
set_object_field description "made by examples/zone_kinds.tcl"
save_object
new_object "CN=Kim,$ou"
set_object_field objectClass user
set_object_field sAMAccountName kim
save_object
new_object "CN=web01,$ou"
set_object_field objectClass computer
set_object_field sAMAccountName web01\$
set_object_field dNSHostName web01.$domain
save_object
new_object "CN=Web Servers,$ou"
set_object_field objectClass group
set_object_field sAMAccountName webservers
set_object_field member "CN=web01,$ou"
save_object

# A hierarchical zone with an automount map. A deleted entry becomes a spare object that
# the next entry reuses; only the new entry's key, value and comment (when it has one) are
# written on it, so a comment of the former entry stays.
set zone "CN=global,$ou"
create_zone tree $zone
select_zone $zone
new_nis_map auto.home
save_nis_map
add_map_entry kim "files:/export/home/kim"
add_map_entry_with_comment dana "files:/export/home/dana" "moved in May"
delete_map_entry dana:1
add_map_entry lee "files:/export/home/lee"
puts "auto.home of global:"
list_nis_map_with_comment
puts "maps: [get_nis_maps]"

# The computer joins the zone; kim gets a profile.
new_zone_computer web01\$@$domain
set_zone_computer_field cpus 4
set_zone_computer_field enabled yes
save_zone_computer
puts "computers of global:"
list_zone_computers
new_zone_user kim@$domain
set_zone_user_field uid 20001
set_zone_user_field gid 20001
set_zone_user_field shell /bin/bash
set_zone_user_field home /home/kim
save_zone_user

# The computer zone of web01: on that computer kim's shell is another.
create_zone computer web01.$domain@$zone
select_zone web01.$domain@$zone
new_zone_user kim@$domain
set_zone_user_field shell /bin/zsh
save_zone_user
puts "kim on web01: [get_zone_user_field shell] (zone [get_zone_field type])"

# A computer role for the web servers, in which kim may log in.
create_computer_role $zone/webservers webservers@$domain
select_zone $zone/webservers
puts "computer role: [get_zone_field type], computers [get_zone_field computers]"
new_role_assignment kim@$domain
# The roles of the zone above, named with their zone.
set_role_assignment_field role "UNIX Login/global"
save_role_assignment
list_role_assignments
select_zone $zone
puts "children of global: [get_child_zones]"

# The web servers' group may add users to the zone.
delegate_zone_right add_user webservers@$domain

# A classic zone: no store until its authorization is switched on.
set classic "CN=legacy,$ou"
create_zone classic $classic std
select_zone $classic
puts "legacy: [get_zone_field type], authorization [is_qv_enabled]"
manage_qv -on
puts "legacy after manage_qv -on: authorization [is_qv_enabled]"
new_zone_computer web01\$@$domain
save_zone_computer
create_zone classic-computer web01.$domain@$classic
puts "children of legacy: [get_child_zones]"
manage_qv -off

# A zone of the SFU layout: kim's UNIX data go to the directory user.
set sfu "CN=services,$ou"
create_zone classic $sfu sfu
select_zone $sfu
set_zone_field nisdomain demo
set_zone_field sfudomain $domain
save_zone
select_zone -nc $sfu
new_zone_user kim@$domain
set_zone_user_field uname kim
set_zone_user_field uid 20001
set_zone_user_field gid 20001
set_zone_user_field shell /bin/bash
set_zone_user_field home /home/kim
save_zone_user
puts "users of services ([get_zone_field type], [get_zone_field schema]):"
list_zone_users
select_object "CN=Kim,$ou"
puts "kim in the directory: uidNumber [get_object_field uidNumber],\
  msSFU30NisDomain [get_object_field msSFU30NisDomain]"

# Clean up.
foreach path [list $sfu $classic web01.$domain@$zone $zone/webservers $zone] {
  select_zone -nc $path
  delete_zone
}
delete_sub_tree $ou
puts "left below $base: [llength [get_objects $base "(ou=ZoneSmith Zone Kinds Demo)"]] demo unit(s)"
