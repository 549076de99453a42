# The ZoneSmith side of bench/provision: user profiles saved into a hierarchical zone of the
# RFC 2307 layout, and the zone's users listed. Two modes:
#
#   tclsh bench/provision.tcl dc LIB RESULTS ZONE PREFIX COUNT
#       against the DC of the environment (scripts/local-dc env): binds to $ZS_DC_DOMAIN,
#       gives the existing directory users PREFIX0 ... PREFIX<COUNT-1> a profile each in ZONE
#       (new_zone_user, set_zone_user_field uid, gid, home, shell, save_zone_user), then
#       times get_zone_users and list_zone_users. Writes "name value" lines to RESULTS:
#       provision_us, get_us, list_us (microseconds) and get_count.
#   tclsh bench/provision.tcl memory LIB FIXTURES COUNT
#       the same on the in-memory directory (LIB: libzonesmith_memory.so) with COUNT users,
#       and prints the directory operations of each command per profile and per listing.
#
# What list_zone_users prints goes to standard output; the driver discards it.
lassign $argv mode lib
load $lib Zonesmith

# Profiles for COUNT users: the fields of user i. Returns the microseconds taken.
proc provision {prefix count} {
  set domain $::domain
  set t0 [clock microseconds]
  for {set i 0} {$i < $count} {incr i} {
    new_zone_user $prefix$i@$domain
    set_zone_user_field uid [expr {200000 + $i}]
    set_zone_user_field gid 200000
    set_zone_user_field home /home/$prefix$i
    set_zone_user_field shell /bin/bash
    save_zone_user
  }
  expr {[clock microseconds] - $t0}
}

proc elapsed {script} {
  set t0 [clock microseconds]
  uplevel 1 $script
  expr {[clock microseconds] - $t0}
}

switch -- $mode {
  dc {
    lassign [lrange $argv 2 end] results zone prefix count
    set domain $env(ZS_DC_DOMAIN)
    bind $domain
    select_zone $zone
    set figures [list provision_us [provision $prefix $count]]
    lappend figures get_us [elapsed { set names [get_zone_users] }] get_count [llength $names]
    lappend figures list_us [elapsed { list_zone_users }]
    set f [open $results w]
    foreach {name value} $figures { puts $f "$name $value" }
    close $f
  }
  memory {
    lassign [lrange $argv 2 end] fixtures count
    set domain example.test
    source [file join [file dirname [info script]] memdir_session.tcl]
    memdirSession $fixtures zpv $count 5000
    set zone CN=prov,CN=Zones,DC=example,DC=test
    create_zone tree $zone rfc
    select_zone -nc $zone
    # Each command of the provisioning alone, summed over the users.
    set ops [dict create new 0 set 0 save 0]
    for {set i 0} {$i < $count} {incr i} {
      set before [memdir::ops]
      new_zone_user zpv$i@$domain
      set afterNew [memdir::ops]
      foreach {field value} [list uid [expr {200000 + $i}] gid 200000 home /home/zpv$i \
                                 shell /bin/bash] {
        set_zone_user_field $field $value
      }
      set afterSet [memdir::ops]
      save_zone_user
      dict incr ops new [expr {$afterNew - $before}]
      dict incr ops set [expr {$afterSet - $afterNew}]
      dict incr ops save [expr {[memdir::ops] - $afterSet}]
    }
    set perProfile 0
    set parts {}
    dict for {name n} $ops {
      set each [expr {double($n) / $count}]
      set perProfile [expr {$perProfile + $each}]
      lappend parts [format "%s %.2f" $name $each]
    }
    set before [memdir::ops]
    set names [get_zone_users]
    set getOps [expr {[memdir::ops] - $before}]
    set before [memdir::ops]
    list_zone_users
    set listOps [expr {[memdir::ops] - $before}]
    if {[llength $names] != $count} {
      puts stderr "get_zone_users listed [llength $names] of $count profiles"
      exit 1
    }
    puts stderr [format "directory calls: %.2f per saved profile (%s; %d users, memory directory)" \
                     $perProfile [join $parts ", "] $count]
    puts stderr "directory calls: get_zone_users $getOps, list_zone_users $listOps per listing\
                 of $count profiles"
  }
  default {
    puts stderr "usage: provision.tcl dc|memory ..."
    exit 2
  }
}
