# Setup shared by the tests of the generic object, principal and utility commands: a fresh
# in-memory directory with example.test and other.test (two forests), and a session bound
# to example.test as its Administrator. Sourcing this file again does nothing.
if {[info exists ::zonesmith_objtestutil_loaded]} return
set ::zonesmith_objtestutil_loaded 1
source [file join [file dirname [file normalize [info script]]] testutil.tcl]

set ::objFixtures $::env(ZONESMITH_FIXTURES)
set ::exBase DC=example,DC=test
set ::exUsers CN=Users,DC=example,DC=test
set ::exSid S-1-5-21-3623811015-3361044348-30300820
set ::otherSid S-1-5-21-1004336348-1177238915-682003330

# Starts a test: the directory as the fixtures have it, no saved frames, the cache off and
# empty, and a new frame whose bindings the cleanup (objEnd) drops again. `domains` are
# bound with their Administrator's password; a "gc:" prefix binds the global catalog.
proc objBegin {{domains example.test}} {
  dropFrames
  catch {cache off}
  catch {cache clear}
  memdir::reset
  memdir::load [file join $::objFixtures example.ldif]
  memdir::load [file join $::objFixtures other.ldif]
  push
  foreach d $domains {
    set gc {}
    if {[string match gc:* $d]} {
      set gc -gc
      set d [string range $d 3 end]
    }
    set password [dict get {example.test Adm1n!Pass other.test Other!Adm1n} $d]
    bind {*}$gc $d Administrator@[string toupper $d] $password
  }
}

proc objEnd {} {
  catch {memdir::drop_after 0}
  dropFrames
}

# Adds LDIF text to the directory. The file is named by the process, since test files
# run side by side in one directory.
proc objLoad {ldif} {
  set name objtest-[pid].ldif
  set file [makeFile $ldif $name]
  memdir::load $file
  removeFile $name
}

# Whether `dn` can be read, without touching the current object.
proc objExists {dn} {
  push
  set found [expr {![catch {select_object $dn}]}]
  pop
  return $found
}

# The values of `attr` of `dn`, read afresh, without touching the current object.
proc objField {dn attr} {
  push
  select_object $dn
  set values [get_object_field $attr]
  pop
  return $values
}

# The error texts of `commands`, one a line ("ok" for a command that succeeds), and a note
# when the directory below the domain changed meanwhile.
proc refusals {commands} {
  set before [memdir::dump -subtree $::exBase]
  set out {}
  foreach cmd $commands {
    if {[catch {uplevel 1 $cmd} message]} {
      lappend out $message
    } else {
      lappend out ok
    }
  }
  if {[memdir::dump -subtree $::exBase] ne $before} { lappend out "the directory changed" }
  join $out \n
}
