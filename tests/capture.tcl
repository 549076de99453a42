# captureStdout: runs a script in the caller's scope and returns what it wrote to stdout,
# both by Tcl's puts and by the library. An error of the script is passed on after stdout
# is restored. Shared by the script and the integration suites.

# A channel transform that keeps what is written to stdout instead of passing it on.
namespace eval ::zscapture {
  variable captured ""
  proc keep {cmd channel args} {
    variable captured
    switch -- $cmd {
      initialize { return {initialize finalize write} }
      finalize { return }
      write {
        append captured [lindex $args 0]
        return ""
      }
    }
  }
}

proc captureStdout {script} {
  set ::zscapture::captured ""
  flush stdout
  chan push stdout ::zscapture::keep
  set code [catch {uplevel 1 $script} result options]
  flush stdout
  chan pop stdout
  if {$code} { return -options $options $result }
  return [encoding convertfrom utf-8 $::zscapture::captured]
}
