# Runs the script test files in one interpreter, prints the tcltest summary, and exits
# non-zero when a test failed or a file could not be run.
#
#   ZONESMITH_LIB=<library> tclsh all.tcl [-file <patterns>] [other tcltest options]
package require tcltest 2.2
namespace import -force ::tcltest::*

set testDir [file dirname [file normalize [info script]]]
source [file join $testDir testutil.tcl]
tcltest::configure -testdir $testDir -singleproc 1 {*}$argv

source [file join $testDir .. runner.tcl]
RunTestFiles
