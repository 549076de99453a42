# The domain controller of the DC benchmarks (bench/provision.sh, bench/assignments.sh),
# sourced from the source tree's root with $root set. Uses the running rig in $ZS_DC_DIR
# when it is set (ctest runs the benchmarks under with-dc); otherwise starts a throwaway DC
# in a temporary directory, which rig_cleanup stops. Sets $url and $domain, exports the
# rig's environment, and keeps the sanitizer runtimes of the library's interpreters in
# $zs_preload while the tools run with the rig's wrappers alone.
dcdir=${ZS_DC_DIR:-}
own_dc=
if [ -z "$dcdir" ]; then
  dcdir=$(mktemp -d "${TMPDIR:-/tmp}/zonesmith-bench.XXXXXX")
  own_dc=1
fi
[ -n "$own_dc" ] && scripts/local-dc start "$dcdir" >&2
eval "$(scripts/local-dc env "$dcdir")"
zs_preload=${LD_PRELOAD:-}
if [ -n "${ZS_CHILD_PRELOAD:-}" ]; then export LD_PRELOAD="$ZS_CHILD_PRELOAD"; fi
url="ldap://$ZS_DC_HOST"
domain=$ZS_DC_DOMAIN

# Removes the unit $ou below which a benchmark made everything, the work directory $work,
# and the throwaway DC.
rig_cleanup() {
  [ -n "${ou:-}" ] && ldapdelete -Q -Y GSSAPI -H "$url" -r "$ou" >/dev/null 2>&1 || true
  [ -n "${work:-}" ] && rm -rf "$work"
  if [ -n "$own_dc" ]; then
    "$root/scripts/local-dc" stop "$dcdir" >/dev/null 2>&1 || true
    rm -rf "$dcdir"
  fi
}

now() { date +%s%N; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.1f", a / b }'; }
failed=0
# check NAME VALUE OP BOUND: VALUE must be OP (<= or >=) BOUND; a miss is reported and
# sets $failed.
check() {
  if ! awk -v v="$2" -v b="$4" -v op="$3" 'BEGIN { exit !(op == "<=" ? v <= b : v >= b) }'; then
    echo "  bound missed: $1 $2, must be $3 $4"
    failed=1
  fi
}
# tclsh with the library's sanitizer runtimes; the library is $ZS_LIB.
zs_tcl() { ZS_LIB="$build/libzonesmith.so.0" LD_PRELOAD="$zs_preload" tclsh "$@"; }

# LDIF of COUNT directory users PREFIX0 ... PREFIX<COUNT-1> below OU.
rig_users_ldif() {
  local prefix=$1 count=$2 parent=$3 i
  for ((i = 0; i < count; i++)); do
    printf 'dn: CN=%s%d,%s\nobjectClass: user\nsAMAccountName: %s%d\n\n' \
      "$prefix" "$i" "$parent" "$prefix" "$i"
  done
}
