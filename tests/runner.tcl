# Sources every matching tcltest file of the configured test directory into one interpreter,
# prints one tcltest summary, and exits non-zero when a test failed, a file could not be
# run, or no test ran at all.
proc RunTestFiles {} {
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
  # A file that does not end in cleanupTests never enters failFiles: count failed tests too.
  set failed [expr {$::tcltest::numTests(Failed) > 0 || [llength $::tcltest::failFiles] > 0}]
  set total $::tcltest::numTests(Total)
  cleanupTests 1
  if {$failed || [llength $broken] > 0 || $total == 0} { exit 1 }
  exit 0
}
