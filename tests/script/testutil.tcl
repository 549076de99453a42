# Shared setup of the script tests: loads the library under test once, and gives helpers.
#
# The library is $env(ZONESMITH_LIB) (the build's test library over the in-memory
# directory). Sourcing this file again does nothing.
if {[info exists ::zonesmith_testutil_loaded]} return
set ::zonesmith_testutil_loaded 1

package require tcltest 2.2

if {![info exists ::env(ZONESMITH_LIB)] || $::env(ZONESMITH_LIB) eq ""} {
  puts stderr "ZONESMITH_LIB must name the library to test (ctest sets it)"
  exit 2
}
set ::zonesmithLib $::env(ZONESMITH_LIB)
if {[catch {load $::zonesmithLib Zonesmith} message]} {
  puts stderr "cannot load $::zonesmithLib: $message"
  exit 2
}

source [file join [file dirname [file normalize [info script]]] .. capture.tcl]

# A fresh slave interpreter with the library loaded; its name is returned.
proc newSession {} {
  set child [interp create]
  $child eval [list load $::zonesmithLib Zonesmith]
  return $child
}

# Empties the session's frame stack, so that a test starts without saved frames.
proc dropFrames {} {
  while {![catch {pop}]} {}
}
