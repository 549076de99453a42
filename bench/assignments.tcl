# The memory-directory side of bench/assignments: COUNT directory users get one role each
# in a hierarchical zone, and the directory calls of one get_role_assignments and one
# list_role_assignments of the zone are counted.
#
#   tclsh bench/assignments.tcl LIB FIXTURES COUNT       (LIB: libzonesmith_memory.so)
lassign $argv lib fixtures count
load $lib Zonesmith
set domain example.test
source [file join [file dirname [info script]] memdir_session.tcl]
memdirSession $fixtures zas $count 6000
set zone CN=asg,CN=Zones,DC=example,DC=test
create_zone tree $zone
select_zone -nc $zone
new_role bench
save_role
for {set i 0} {$i < $count} {incr i} {
  new_role_assignment zas$i@$domain
  set_role_assignment_field role bench
  save_role_assignment
}
set before [memdir::ops]
set names [get_role_assignments]
set getOps [expr {[memdir::ops] - $before}]
set before [memdir::ops]
list_role_assignments
set listOps [expr {[memdir::ops] - $before}]
if {[llength $names] != $count} {
  puts stderr "get_role_assignments listed [llength $names] of $count assignments"
  exit 1
}
puts stderr "directory calls: get_role_assignments $getOps, list_role_assignments $listOps\
             per listing of $count assignments"
