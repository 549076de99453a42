# Zones: a tree of hierarchical zones in the RFC 2307 layout below an organizational unit
# of its own. Make the zones, link children to parents, set fields and NSS variables, walk
# the tree, list the domain's zones, read a zone afresh, and delete everything again.
#
#   zonesmith examples/zones.tcl [domain]
#
# Without a domain it uses the throwaway DC of `make demo` ($ZS_DC_DOMAIN).
set domain [expr {$argc > 0 ? [lindex $argv 0] : $env(ZS_DC_DOMAIN)}]
bind $domain
set base [dn_from_domain $domain]

# A unit to hold the zones.
set ou "OU=ZoneSmith Zones Demo,$base"
new_object $ou
set_object_field objectClass organizationalUnit
set_object_field description "made by examples/zones.tcl"
save_object

# Three levels: global, with two children (linux, aix), and a grandchild below linux.
# A new zone has no parent; set_zone_field parent links it, save_zone writes the link.
set parentOf [dict create global {} linux global aix global web linux]
dict for {name parent} $parentOf {
  set dn "CN=$name,$ou"
  create_zone tree $dn rfc
  if {$parent ne ""} {
    select_zone $dn
    set_zone_field parent "CN=$parent,$ou"
    save_zone
  }
}

# Fields of the root zone; every zone reads its own dictionary.
select_zone "CN=global,$ou"
set_zone_field uidnext 20000
set_zone_field defaultshell /bin/bash
set_zone_field description "all UNIX computers"
set_zone_field nssvar domain_prefix=corp
set_zone_field nssvar home_root=/home
save_zone
puts "global: type [get_zone_field type], schema [get_zone_field schema],\
      uidnext [get_zone_field uidnext], defaultshell [get_zone_field defaultshell]"
puts "global: nss variables [get_zone_nss_vars]"

# Walk the tree from the root: get_child_zones gives the direct children of the current
# zone, so the walk selects each child in turn.
proc walk {path depth} {
  select_zone $path
  puts "[string repeat {  } $depth][get_rdn $path] (parent: [get_zone_field parent])"
  foreach child [lsort [get_child_zones -tree]] { walk $child [expr {$depth + 1}] }
}
walk "CN=global,$ou" 0

# Every zone of the domain; here the four of the demo unit.
puts "zones in $domain below the demo unit:"
foreach dn [lsort [get_zones $domain]] {
  if {[string match -nocase "*,$ou" $dn]} { puts "  $dn" }
}

# A selected zone stays in the session as it was read: change the directory behind its
# back through another path (the raw object), then compare the cached zone with a fresh read.
select_object "CN=web,$ou"
set_object_field description {*}[lmap value [get_object_field description] {
  expr {[string match uidnext:* $value] ? "uidnext:30000" : $value}
}]
save_object
select_zone "CN=web,$ou"
puts "web: uidnext cached [get_zone_field uidnext]"
select_zone -nc "CN=web,$ou"
puts "web: uidnext read afresh [get_zone_field uidnext], stored link [get_zone_field -raw parent]"

# Clean up: the zones, deepest first, then the unit.
foreach name {web linux aix global} {
  select_zone "CN=$name,$ou"
  delete_zone
}
select_object $ou
delete_object
puts "left below $base: [llength [get_objects $base "(ou=ZoneSmith Zones Demo)"]] demo unit(s)"
