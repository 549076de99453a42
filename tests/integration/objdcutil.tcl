# Setup shared by the object and principal tests against the local DC: loads the product
# library, and wraps the DC's own tools (ldapsearch, ldapadd, ldapdelete, samba-tool) that
# the tests take as the reference. The environment is the rig's (scripts/local-dc env).
# Sourcing this file again does nothing.
if {[info exists ::zonesmith_objdcutil_loaded]} return
set ::zonesmith_objdcutil_loaded 1
package require tcltest 2.2

# Whether a DC rig is in the environment and the library loads.
proc dcAvailable {} {
  global env
  if {![info exists env(ZS_DC_HOST)] || ![info exists env(ZS_DC_DOMAIN)]} { return 0 }
  if {[llength [info commands select_object]]} { return 1 }
  set lib [expr {[info exists env(ZONESMITH_LIB)] ? $env(ZONESMITH_LIB) : ""}]
  if {$lib eq "" && [info exists env(ZONESMITH_BUILD)]} {
    set lib [file join $env(ZONESMITH_BUILD) libzonesmith.so.0]
  }
  return [expr {$lib ne "" && ![catch {load $lib Zonesmith}]}]
}

proc dcUrl {} { return ldap://$::env(ZS_DC_HOST) }

# The values of `attr` of the entries that ldapsearch finds; "dn" lists the DNs. Base64
# values (binary or with special characters) are decoded.
proc dcSearch {base scope filter attr} {
  set out [exec ldapsearch -LLL -Q -Y GSSAPI -o ldif-wrap=no -H [dcUrl] \
      -E pr=100/noprompt -b $base -s $scope $filter $attr 2>@1]
  set values {}
  foreach line [split $out \n] {
    if {[regexp -nocase "^[string map {- \\-} $attr](:+) ?(.*)\$" $line -> colons value]} {
      if {$colons eq "::"} { set value [encoding convertfrom utf-8 [binary decode base64 $value]] }
      lappend values $value
    }
  }
  return $values
}

proc dcLdapAdd {ldif} {
  exec ldapadd -Q -Y GSSAPI -H [dcUrl] << $ldif >/dev/null 2>@1
}

proc dcLdapDelete {dn {recursive 0}} {
  set r [expr {$recursive ? "-r" : ""}]
  exec ldapdelete -Q -Y GSSAPI -H [dcUrl] {*}$r $dn >/dev/null 2>@1
}

proc dcModify {ldif} {
  exec ldapmodify -Q -Y GSSAPI -H [dcUrl] << $ldif >/dev/null 2>@1
}

# `samba-tool user show` (or group show) as a dict of its "name: value" lines.
proc dcShow {kind name} {
  set out [exec samba-tool $kind show $name -H [dcUrl] --use-kerberos=required 2>/dev/null]
  set d {}
  foreach line [split $out \n] {
    if {[regexp {^([^:]+): (.*)$} $line -> key value]} { dict lappend d $key $value }
  }
  return $d
}
proc dcUserShow {name} { return [dcShow user $name] }
proc dcSid {name} { return [lindex [dict get [dcUserShow $name] objectSid] 0] }

# The descriptor of `dn` as SDDL, as the DC itself writes it.
proc dcDescriptor {dn} {
  set out [exec samba-tool dsacl get --objectdn=$dn -H [dcUrl] --use-kerberos=required 2>/dev/null]
  return [lindex [split [string trim $out] \n] end]
}

# The descriptor of `dn` (owner, group and DACL) as the DC stores it, as SDDL: read with
# ldapsearch under the SD flags control and rendered by Samba's python bindings.
proc dcStoredSddl {dn} {
  set out [exec ldapsearch -LLL -Q -N -Y GSSAPI -H [dcUrl] -o ldif-wrap=no \
               -E !1.2.840.113556.1.4.801=::MAMCAQc= -b $dn -s base nTSecurityDescriptor]
  if {![regexp {nTSecurityDescriptor:: (\S+)} $out -> b64]} {
    error "no nTSecurityDescriptor in: $out"
  }
  exec /usr/bin/python3 -c {
import base64, sys
from samba.dcerpc import security
from samba.ndr import ndr_unpack
print(ndr_unpack(security.descriptor, base64.b64decode(sys.argv[1])).as_sddl())
} $b64
}

source [file join [file dirname [file normalize [info script]]] .. capture.tcl]

# The entry `dn` as ldapsearch shows it: a dict from lower-case attribute name to its values
# (base64 values decoded to bytes). Fails when the entry does not exist.
proc dcEntry {dn} {
  set out [exec ldapsearch -LLL -Q -Y GSSAPI -o ldif-wrap=no -H [dcUrl] -b $dn -s base \
               (objectClass=*) * 2>@1]
  set entry {}
  foreach line [split $out \n] {
    if {[regexp {^([A-Za-z0-9-]+)(:+) ?(.*)$} $line -> attr colons value]} {
      if {$colons eq "::"} { set value [binary decode base64 $value] }
      dict lappend entry [string tolower $attr] $value
    }
  }
  return $entry
}
proc dcAttr {dn attr} {
  set entry [dcEntry $dn]
  expr {[dict exists $entry $attr] ? [dict get $entry $attr] : {}}
}

# The subtree of `dn` as ldapsearch prints it, operational stamps included.
proc dcDump {dn} {
  exec ldapsearch -LLL -Q -Y GSSAPI -o ldif-wrap=no -H [dcUrl] -b $dn -s sub (objectClass=*) \
      * 2>@1
}

# The text form of an objectGUID as the DC stores it (the 16 bytes themselves, not a list
# holding them): the first three groups are little-endian numbers, the last two the bytes
# in order.
proc guidText {bytes} {
  binary scan $bytes iu1su1su1H4H12 a b c d e
  format %08x-%04x-%04x-%s-%s $a $b $c $d $e
}

# Runs the Tcl script file `path` in a child tclsh and returns what it printed. A child
# that loads the library under test needs, in the sanitizer build, the sanitizer runtimes
# first, as this process has them; the other programs the tests start get the rig's
# wrappers alone (all.tcl).
proc dcLibraryChild {path} {
  set saved [array get ::env LD_PRELOAD]
  if {[info exists ::env(ZS_SANITIZER_PRELOAD)] && $::env(ZS_SANITIZER_PRELOAD) ne ""} {
    set preload $::env(ZS_SANITIZER_PRELOAD)
    if {[info exists ::env(LD_PRELOAD)]} { append preload :$::env(LD_PRELOAD) }
    set ::env(LD_PRELOAD) $preload
  }
  try {
    exec [info nameofexecutable] $path
  } finally {
    unset -nocomplain ::env(LD_PRELOAD)
    array set ::env $saved
  }
}
