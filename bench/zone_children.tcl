# Directory operations of the zone commands, counted by the in-memory directory
# (memdir::ops): select_zone of a cached zone, and get_child_zones of a zone with many
# tree children, split into the searches for links and the opening of each child.
# Prints the figures and exits 1 when a bound is missed.
#
#   ZONESMITH_LIB=<build>/libzonesmith_memory.so ZONESMITH_FIXTURES=<checkout>/tests/fixtures \
#     tclsh bench/zone_children.tcl [children]
set children [expr {$argc > 0 ? [lindex $argv 0] : 50}]
load $env(ZONESMITH_LIB) Zonesmith
set fixtures $env(ZONESMITH_FIXTURES)

proc ops {script} {
  set before [memdir::ops]
  uplevel 1 $script
  expr {[memdir::ops] - $before}
}

# A fresh directory with `n` tree children below one parent zone, bound to `domains`.
proc setUp {n domains} {
  memdir::reset
  foreach f {example.ldif other.ldif zones.ldif} { memdir::load [file join $::fixtures $f] }
  set passwords {example.test Adm1n!Pass other.test Other!Adm1n}
  foreach d $domains { bind $d Administrator@[string toupper $d] [dict get $passwords $d] }
  set parent CN=parent,CN=Zones,DC=example,DC=test
  create_zone tree $parent std
  for {set i 0} {$i < $n} {incr i} {
    set child CN=child$i,CN=Zones,DC=example,DC=test
    create_zone tree $child std
    select_zone -nc $child
    set_zone_field parent $parent
    save_zone
  }
  # Afresh: the session's zone cache outlives memdir::reset.
  select_zone -nc $parent
}

set failed 0
proc report {name value bound} {
  set mark [expr {$value <= $bound ? "" : "  (bound $bound missed)"}]
  puts [format "%-52s %8s%s" $name $value $mark]
  if {$mark ne ""} { set ::failed 1 }
}

setUp 0 example.test
select_zone CN=parent,CN=Zones,DC=example,DC=test
report "select_zone of a cached zone: operations" \
    [ops { select_zone CN=PARENT,CN=Zones,DC=example,DC=test }] 0
set none [ops { get_child_zones -tree }]
report "get_child_zones -tree, no children, 1 domain" $none 1

setUp 0 {example.test other.test}
report "get_child_zones -tree, no children, 2 domains" [ops { get_child_zones -tree }] 2

setUp $children example.test
set t0 [clock microseconds]
set many [ops { set found [get_child_zones -tree] }]
set ms [expr {([clock microseconds] - $t0) / 1000.0}]
if {[llength $found] != $children} {
  puts "get_child_zones found [llength $found] of $children children"
  set failed 1
}
# Opening a child: its object, its parent's object through the link, the store and its
# null scope.
report "get_child_zones -tree, $children children: operations" $many [expr {$none + 4 * $children + 1}]
report "  of which opening one child" [format %.2f [expr {($many - $none) / double($children)}]] 4.1
puts [format "%-52s %8.1f" "  milliseconds" $ms]
# Computer zones and computer roles add one read each of the Computers container and of
# the store's scopes.
report "get_child_zones (all kinds), $children children" [ops { get_child_zones }] \
    [expr {$none + 4 * $children + 4}]
exit $failed
