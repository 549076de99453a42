# Runs the integration tcltest files against the local DC in one interpreter, prints the
# tcltest summary, and exits non-zero when a test failed or a file could not be run.
#
#   with-dc RIG ZONESMITH_LIB=<libzonesmith.so.0> tclsh all.tcl [-file <patterns>] [...]
package require tcltest 2.2
namespace import -force ::tcltest::*

set testDir [file dirname [file normalize [info script]]]
tcltest::configure -testdir $testDir -singleproc 1 {*}$argv
if {![info exists ::env(ZONESMITH_LIB)] || $::env(ZONESMITH_LIB) eq ""} {
  puts stderr "ZONESMITH_LIB must name the library to test (ctest sets it)"
  exit 2
}
load $::env(ZONESMITH_LIB) Zonesmith
# Under the sanitizer build this process preloads the sanitizer runtimes; the programs the
# tests start (ldapsearch, samba-tool, python) get the rig's wrappers alone.
if {[info exists ::env(ZS_CHILD_PRELOAD)]} { set ::env(LD_PRELOAD) $::env(ZS_CHILD_PRELOAD) }
# Tests that need the DC say so; without the rig's exports they are skipped, and the
# summary tells why.
tcltest::testConstraint localDC \
    [expr {[info exists ::env(ZS_DC_DOMAIN)] && $::env(ZS_DC_DOMAIN) ne ""}]
# Under with-dc the rig is promised: without it nothing may pass as skipped.
if {[info exists ::env(ZS_DC_REQUIRED)] && $::env(ZS_DC_REQUIRED) eq "1" &&
    ![tcltest::testConstraint localDC]} {
  puts stderr "with-dc promised a domain controller, but ZS_DC_DOMAIN is not set"
  exit 1
}

source [file join $testDir .. runner.tcl]
RunTestFiles
