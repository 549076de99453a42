# The directory editor: bind to a domain with the caller's Kerberos ticket, make an
# organizational unit with a user and a group in it, change and read fields, let the group
# manage users in the unit, list what is there, convert names, and clean up.
#
#   zonesmith examples/directory.tcl [domain]
#
# Without a domain it uses the throwaway DC of `make demo` ($ZS_DC_DOMAIN).
set domain [expr {$argc > 0 ? [lindex $argv 0] : $env(ZS_DC_DOMAIN)}]
bind $domain
set base [dn_from_domain $domain]
puts "bound to $domain: server [get_bind_info $domain server],\
      forest [get_bind_info $domain forest]"

# An organizational unit: made in memory, then saved.
set ou "OU=ZoneSmith Demo,$base"
new_object $ou
set_object_field objectClass organizationalUnit
set_object_field description "made by examples/directory.tcl"
save_object

# A user and a group in it; the user joins the group at once.
set user "CN=Demo User,$ou"
new_object $user
set_object_field objectClass user
set_object_field sAMAccountName demouser
set_object_field userPrincipalName demo.user@$domain
set_object_field givenName Demo
save_object

set group "CN=Demo Admins,$ou"
new_object $group
set_object_field objectClass group
set_object_field sAMAccountName demoadmins
save_object
add_object_value $group member $user

# Read fields back, as the directory made them.
select_object $user
puts "user:     [get_object_field dn]"
puts "sid:      [get_object_field sid]"
puts "memberOf: [get_object_field memberOf]"

# Change fields in memory, save, read again: several values, and a cleared field.
set_object_field otherTelephone "+1 555 0100" "+1 555 0101"
set_object_field givenName
save_object
select_object $user
puts "otherTelephone: [lsort [get_object_field otherTelephone]]"
puts "givenName:      [get_object_field givenName]"

# Let the group create and delete user objects in the unit: one object ACE for the
# user class, added to the unit's descriptor as SDDL.
set gsid [principal_to_sid demoadmins@$domain]
set userClass [get_schema_guid User]
select_object $ou
set_object_field sd [add_sd_ace [get_object_field sd] "OA;;CCDC;$userClass;;$gsid"]
save_object
select_object $ou
foreach ace [regexp -all -inline {\([^()]*\)} [get_object_field sd]] {
  if {[string match *$gsid* $ace]} { puts "granted:  $ace" }
}

# List the unit's contents.
puts "below $ou:"
foreach dn [get_objects -depth sub $ou (objectClass=*)] { puts "  $dn" }

# Convert names, SIDs and GUIDs.
set sid [principal_to_sid demouser@$domain]
puts "principal_to_dn demouser@$domain: [principal_to_dn demouser@$domain]"
puts "principal_from_sid $sid: [principal_from_sid $sid]"
puts "dn_to_principal -upn: [dn_to_principal -upn $user]"
puts "sid_to_uid: [sid_to_uid $sid]  principal_to_id -apple: [principal_to_id -apple demouser@$domain]"
puts "get_group_members demoadmins@$domain: [get_group_members demoadmins@$domain]"
puts "get_parent_dn: [get_parent_dn $user]  get_rdn: [get_rdn $user]"
puts "domain_from_dn: [domain_from_dn $user]"

# Rename the user and move it up to the domain's Users container and back.
select_object $user
rename_object "Demo Person"
move_object "CN=Users,$base"
puts "moved:    [get_object_field dn]"
move_object $ou
puts "back:     [get_object_field dn]"

# Clean up: the unit with everything below it.
delete_sub_tree $ou
puts "left below $base: [llength [get_objects $base (ou=ZoneSmith*)]] demo unit(s)"
