# The in-memory directory of the benchmarks' call counts, sourced by their Tcl sides: the
# test fixtures, COUNT directory users PREFIX0 ... with SIDs of the fixture's domain from the
# relative ID FIRSTRID on, and a binding to example.test.
proc memdirSession {fixtures prefix count firstRid} {
  memdir::reset
  foreach f {example.ldif zones.ldif} { memdir::load [file join $fixtures $f] }
  set ldif ""
  for {set i 0} {$i < $count} {incr i} {
    append ldif "dn: CN=$prefix$i,CN=Users,DC=example,DC=test\nobjectClass: top\n" \
        "objectClass: person\nobjectClass: organizationalPerson\nobjectClass: user\n" \
        "sAMAccountName: $prefix$i\n" \
        "objectSid: S-1-5-21-3623811015-3361044348-30300820-[expr {$firstRid + $i}]\n\n"
  }
  memdir::load_ldif $ldif
  bind example.test Administrator@EXAMPLE.TEST Adm1n!Pass
}
