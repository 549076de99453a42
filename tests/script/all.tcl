# Runs the script test files in one interpreter, prints the tcltest summary, and exits
# non-zero when a test failed or a file could not be run.
#
#   ZONESMITH_LIB=<library> tclsh all.tcl [-file <patterns>] [other tcltest options]
package require tcltest 2.2
namespace import -force ::tcltest::*

set testDir [file dirname [file normalize [info script]]]
source [file join $testDir testutil.tcl]
tcltest::configure -testdir $testDir -singleproc 1 {*}$argv

# Collect the counts of all files and report them once at the end.
set ::tcltest::testSingleFile false
set broken {}
foreach file [lsort [tcltest::getMatchingFiles]] {
  set name [file tail $file]
  puts [tcltest::outputChannel] $name
  incr ::tcltest::numTestFiles
  if {[catch {uplevel #0 [list source $file]} message]} {
    puts [tcltest::outputChannel] "Test file error: $name: $message"
    lappend broken $name
  }
}

set failed [lsort -unique [concat $::tcltest::failFiles $broken]]
set total $::tcltest::numTests(Total)
cleanupTests 1
if {[llength $failed] > 0 || $total == 0} { exit 1 }
exit 0
