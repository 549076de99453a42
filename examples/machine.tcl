# The joined machine and security descriptors in words: what the machine's agent (winbind)
# reports about the join and about a user's groups, and the descriptor of a zone read in
# words after a right on it was delegated. Then the zone and its unit are deleted again.
#
#   zonesmith examples/machine.tcl
#
# Run it on a machine joined to the domain; under `make demo` the throwaway DC's own
# winbind is the agent.
set domain [get_adinfo domain]
puts "joined to $domain as [get_adinfo host]"
if {[catch {get_adinfo zone} message]} { puts "zone: $message" }
bind $domain
set base [dn_from_domain $domain]
set admin Administrator@$domain

# The agent answers for the domain's users: their groups as the machine's logins see them.
puts "UNIX user administrator is [joined_name_to_principal administrator]"
puts "$admin in Domain Admins: [joined_user_in_group $admin "Domain Admins@$domain"]"
puts "$admin in Domain Guests: [joined_user_in_group $admin "Domain Guests@$domain"]"
set groups [joined_get_user_membership $admin]
# Winbind gives a name in the case its cache happens to hold; compare names without case.
puts "$admin is in [llength $groups] groups:"
foreach group [lsort -unique [lmap g $groups { string tolower $g }]] { puts "  $group" }

# A zone in a unit of its own, and a group that may add users to it.
set ou "OU=ZoneSmith Machine Demo,$base"
new_object $ou
set_object_field objectClass organizationalUnit
save_object
new_object "CN=Zone Helpers,$ou"
set_object_field objectClass group
set_object_field sAMAccountName zonehelpers
save_object
set zone "CN=helpdesk,$ou"
create_zone tree $zone rfc
select_zone $zone
delegate_zone_right add_user zonehelpers@$domain

# The descriptor of the zone's Users container in words: the lines of the delegated right.
select_object "CN=Users,$zone"
puts "the Users container of the zone, for zonehelpers:"
foreach line [split [explain_sd [get_object_field sd]] \n] {
  if {[string match "*zonehelpers*" $line] || [string match "*Zone Helpers*" $line]} {
    puts " $line"
  }
}

# Clean up.
select_zone -nc $zone
delete_zone
delete_sub_tree $ou
puts "left below $base: [llength [get_objects $base "(ou=ZoneSmith Machine Demo)"]] demo unit(s)"
