# Profiles: UNIX users and groups of a hierarchical zone in the RFC 2307 layout. Make a few
# directory users and a group, give them profiles in the zone, an alias for one user, a
# local user and a local group that exist only on the UNIX side, list them, change and
# clear fields, and delete everything again.
#
#   zonesmith examples/profiles.tcl [domain]
#
# Without a domain it uses the throwaway DC of `make demo` ($ZS_DC_DOMAIN).
set domain [expr {$argc > 0 ? [lindex $argv 0] : $env(ZS_DC_DOMAIN)}]
bind $domain
set base [dn_from_domain $domain]

# A unit with three directory users and a security group, and a zone below it.
set ou "OU=ZoneSmith Profiles Demo,$base"
new_object $ou
set_object_field objectClass organizationalUnit
set_object_field description "made by examples/profiles.tcl"
save_object
foreach {name given upn} [list anna Anna anna.lee@$domain ben Ben {} cleo Cleo {}] {
  new_object "CN=$given,$ou"
  set_object_field objectClass user
  set_object_field sAMAccountName $name
  if {$upn ne ""} { set_object_field userPrincipalName $upn }
  save_object
}
new_object "CN=Unix Staff,$ou"
set_object_field objectClass group
set_object_field sAMAccountName unixstaff
save_object

set zone "CN=global,$ou"
create_zone tree $zone rfc
select_zone $zone

# Zone users: every field, or only some (one field is enough in a hierarchical zone).
set uid 10001
foreach {name gecos shell} {anna "Anna Lee" /bin/bash ben "Ben Ode" /bin/sh cleo "Cleo Park" -} {
  new_zone_user $name@$domain
  set_zone_user_field uname $name
  set_zone_user_field uid $uid
  set_zone_user_field gid 5000
  set_zone_user_field home /home/$name
  set_zone_user_field gecos $gecos
  set_zone_user_field shell $shell
  save_zone_user
  incr uid
}
# A second identity of anna in the same zone: an alias, named by "+" and its index.
new_zone_user anna@$domain+1
set_zone_user_field uname anna-adm
set_zone_user_field uid 11001
set_zone_user_field shell /bin/ksh
save_zone_user
puts "alias stored as: [get_rdn [get_zone_user_field dn]]"

# A zone group of the directory group.
new_zone_group unixstaff@$domain
set_zone_group_field name staff
set_zone_group_field gid 5000
set_zone_group_field required yes
save_zone_group

# A local user and a local group: only on the UNIX computers of the zone.
new_local_user_profile backup
foreach {field value} {uid 34 gid 34 home /var/backups shell /usr/sbin/nologin profileflag 1} {
  set_local_user_profile_field $field $value
}
save_local_user_profile
new_local_group_profile backup
set_local_group_profile_field gid 34
set_local_group_profile_field member backup,anna
set_local_group_profile_field profileflag 1
save_local_group_profile

puts "zone users (name:unix name:uid:gid:gecos:home:shell):"
list_zone_users
puts "by userPrincipalName: [get_zone_users -upn]"
puts "zone groups:"
list_zone_groups
puts "local users:"
list_local_users_profile
puts "local groups:"
list_local_groups_profile

# Change ben's shell and clear his gecos; select cleo by her UNIX name.
select_zone_user ben@$domain
set_zone_user_field shell /bin/zsh
set_zone_user_field gecos -
save_zone_user
select_zone_user ben@$domain
puts "ben: shell [get_zone_user_field shell], gecos [get_zone_user_field gecos]"
select_zone_user -unix cleo
puts "cleo: uid [get_zone_user_field uid], shell [get_zone_user_field shell],\
      directory user [get_zone_user_field addn]"

# Clean up: the profiles one by one, then the zone and the unit.
foreach name [get_zone_users] {
  select_zone_user $name
  delete_zone_user
}
select_zone_group unixstaff@$domain
delete_zone_group
select_local_user_profile backup
delete_local_user_profile
select_local_group_profile backup
delete_local_group_profile
puts "left in the zone: [llength [get_zone_users]] users, [llength [get_zone_groups]] groups,\
      [llength [get_local_users_profile]] local users, [llength [get_local_groups_profile]] local groups"
delete_zone
delete_sub_tree $ou
puts "left below $base: [llength [get_objects $base "(ou=ZoneSmith Profiles Demo)"]] demo unit(s)"
