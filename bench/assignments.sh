#!/usr/bin/env bash
# Speed of listing role assignments against a real domain controller, each figure measured
# once in one run:
#
#   1. A hierarchical zone with one role and COUNT (500) assignments of it to COUNT directory
#      users. The users and the assignment objects are made with ldapadd, in the stored form
#      that save_role_assignment writes (not timed). get_role_assignments and
#      list_role_assignments of the zone are timed against the floor: `ldapsearch -E
#      pr=100/noprompt` of the same msDS-AzRole objects (ZoneSmith at most 3 times slower).
#   2. Directory calls per listing, counted by the in-memory directory with MEMORY_COUNT
#      assignments (the LDAP backend has no counter).
#
# usage: bench/assignments.sh [BUILD]      (BUILD defaults to build)
# Uses the running rig in $ZS_DC_DIR when it is set (ctest runs it under with-dc); otherwise
# starts a throwaway DC in a temporary directory and stops it at the end. Exits 1 when the
# bound is missed. Everything it makes lives in one unit, removed at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=$(cd "${1:-build}" && pwd)
COUNT=${COUNT:-500}
MEMORY_COUNT=${MEMORY_COUNT:-20}
FLOOR_RATIO_MAX=3

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
ou="OU=zsasg-$$,$ZS_DC_BASE"
zone="CN=asg,$ou"
prefix="za$$n"
work=$(mktemp -d "${TMPDIR:-/tmp}/zonesmith-assignments.XXXXXX")

cleanup() {
  ldapdelete -Q -Y GSSAPI -H "$url" -r "$ou" >/dev/null 2>&1 || true
  rm -rf "$work"
  if [ -n "$own_dc" ]; then
    "$root/scripts/local-dc" stop "$dcdir" >/dev/null 2>&1 || true
    rm -rf "$dcdir"
  fi
}
trap cleanup EXIT
trap 'exit 130' INT TERM

now() { date +%s%N; }
ms() { awk -v ns="$1" 'BEGIN { printf "%.2f", ns / 1e6 }'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.1f", a / b }'; }
zs_tcl() { ZS_LIB="$build/libzonesmith.so.0" LD_PRELOAD="$zs_preload" tclsh "$@"; }

# The users, the zone and its role; then the assignments in their stored form.
{
  printf 'dn: %s\nobjectClass: organizationalUnit\n\n' "$ou"
  for ((i = 0; i < COUNT; i++)); do
    printf 'dn: CN=%s%d,%s\nobjectClass: user\nsAMAccountName: %s%d\n\n' \
      "$prefix" "$i" "$ou" "$prefix" "$i"
  done
} | ldapadd -Q -Y GSSAPI -H "$url" >/dev/null
zs_tcl <<EOF
load \$env(ZS_LIB) Zonesmith
bind $domain
create_zone tree {$zone}
select_zone {$zone}
new_role bench
save_role
EOF
role=$(ldapsearch -LLL -Q -Y GSSAPI -o ldif-wrap=no -H "$url" -b "$zone" "(cn=role-bench)" dn |
  sed -n 's/^dn: //p')
roles=$(ldapsearch -LLL -Q -Y GSSAPI -o ldif-wrap=no -H "$url" -b "$zone" \
  "(cn=AzRoleObjectContainer-*)" dn | sed -n 's/^dn: //p' | head -1)
for ((i = 0; i < COUNT; i++)); do
  printf 'dn: CN=CRA_%s,%s\nobjectClass: msDS-AzRole\nmsDS-TasksForAzRole: %s\n' \
    "$(cat /proc/sys/kernel/random/uuid)" "$roles" "$role"
  printf 'msDS-MembersForAzRole: CN=%s%d,%s\nmsDS-AzApplicationData: from=0;to=0;ptype=u\n\n' \
    "$prefix" "$i" "$ou"
done | ldapadd -Q -Y GSSAPI -H "$url" >/dev/null

# 1. ZoneSmith's listings, then the floor.
zs_tcl <<EOF >"$work/zs"
load \$env(ZS_LIB) Zonesmith
bind $domain
select_zone {$zone}
set t0 [clock microseconds]
set names [get_role_assignments]
set get_us [expr {[clock microseconds] - \$t0}]
set t0 [clock microseconds]
list_role_assignments
set list_us [expr {[clock microseconds] - \$t0}]
puts "get_us \$get_us"
puts "list_us \$list_us"
puts "get_count [llength \$names]"
EOF
declare -A zs
while read -r name value; do zs[$name]=$value; done < <(grep -E '^(get_us|list_us|get_count) ' "$work/zs")
if [ "${zs[get_count]}" != "$COUNT" ]; then
  echo "get_role_assignments listed ${zs[get_count]} of $COUNT assignments"
  exit 1
fi
listed=$(grep -c "^$prefix.*: bench/asg" "$work/zs" || true)
if [ "$listed" != "$COUNT" ]; then
  echo "list_role_assignments printed $listed of $COUNT assignments"
  exit 1
fi
t0=$(now)
ldapsearch -LLL -Q -Y GSSAPI -H "$url" -E pr=100/noprompt -b "$roles" -s one \
  "(objectClass=msDS-AzRole)" >"$work/floor.out"
search_ns=$(($(now) - t0))

get_ms=$(ms $((zs[get_us] * 1000)))
list_ms=$(ms $((zs[list_us] * 1000)))
search_ms=$(ms "$search_ns")
get_ratio=$(ratio "$get_ms" "$search_ms")
list_ratio=$(ratio "$list_ms" "$search_ms")
echo "assignments: get_role_assignments $get_ms ms, list_role_assignments $list_ms ms" \
  "($COUNT assignments); ldapsearch of the msDS-AzRole objects $search_ms ms;" \
  "ratios ${get_ratio}x, ${list_ratio}x"
failed=0
for r in "$get_ratio" "$list_ratio"; do
  if ! awk -v v="$r" -v b="$FLOOR_RATIO_MAX" 'BEGIN { exit !(v <= b) }'; then
    echo "  bound missed: ratio $r, must be <= $FLOOR_RATIO_MAX"
    failed=1
  fi
done

# 2. Directory calls, on the in-memory directory.
LD_PRELOAD="$zs_preload" tclsh bench/assignments.tcl "$build/libzonesmith_memory.so" \
  "$root/tests/fixtures" "$MEMORY_COUNT" 2>&1 >/dev/null
exit $failed
