# Timings of the generic object commands against a live domain controller; run by
# bench/objects_bench, which provides the environment and compares with ldapsearch.
#
#   objects_bench.tcl <domain> <base> <filter> <runs> <selects> <mode>
#
# mode "list":   binds and prints the seconds of each `get_objects -depth sub` run and the
#                number of DNs it returned: "get_objects <seconds> <count>".
# mode "select": binds and prints "select <cache> <seconds>" for <selects> select_object
#                calls of one DN with the cache off and then on.
# mode "trace":  the same selects with `cache -memory -trace on`, so the cache's own trace
#                lines show how many objects it had to store (one directory read each).
lassign $argv domain base filter runs selects mode
bind $domain

proc seconds {script} {
  set t0 [clock microseconds]
  uplevel 1 $script
  return [format %.3f [expr {([clock microseconds] - $t0) / 1e6}]]
}

switch -- $mode {
  list {
    for {set i 0} {$i < $runs} {incr i} {
      set s [seconds {set dns [get_objects -depth sub $base $filter]}]
      puts "get_objects $s [llength $dns]"
    }
  }
  select {
    set s [seconds {
      for {set i 0} {$i < $selects} {incr i} { select_object $base }
    }]
    puts "select off $s"
    cache -memory on
    set s [seconds {
      for {set i 0} {$i < $selects} {incr i} { select_object $base }
    }]
    puts "select on $s"
  }
  trace {
    cache -memory -trace on
    for {set i 0} {$i < $selects} {incr i} { select_object $base }
  }
}
