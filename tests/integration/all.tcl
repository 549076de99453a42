# Runs the integration tcltest files against the local DC: tclsh all.tcl [-file name.test]
# The test environment (with-dc) provides the DC; ZONESMITH_LIB names the library to load.
package require tcltest 2.2
namespace import ::tcltest::*
configure -testdir [file dirname [file normalize [info script]]] {*}$argv
testConstraint localDC [expr {[info exists ::env(ZS_DC_DOMAIN)] && $::env(ZS_DC_DOMAIN) ne ""}]
exit [runAllTests]
