#!/usr/bin/env bash
# Speed of listing role assignments against a real domain controller, each figure measured
# once in one run:
#
#   1. A hierarchical zone with one role and COUNT (500) assignments of it to COUNT directory
#      users. The users and the assignment objects are made with ldapadd, in the stored form
#      that save_role_assignment writes (not timed). get_role_assignments and
#      list_role_assignments of the zone are timed against the floor: `ldapsearch -E
#      pr=100/noprompt` of the same msDS-AzRole objects (ZoneSmith at most 3 times slower).
#      Each side counts the best of three runs.
#   2. Directory calls per listing, counted by the in-memory directory with MEMORY_COUNT (500)
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
MEMORY_COUNT=${MEMORY_COUNT:-500}
FLOOR_RATIO_MAX=3

. bench/rig.sh
ou="OU=zsasg-$$,$ZS_DC_BASE"
zone="CN=asg,$ou"
prefix="za$$n"
work=$(mktemp -d "${TMPDIR:-/tmp}/zonesmith-assignments.XXXXXX")

trap rig_cleanup EXIT
trap 'exit 130' INT TERM

ms() { awk -v ns="$1" 'BEGIN { printf "%.2f", ns / 1e6 }'; }

# The users, the zone and its role; then the assignments in their stored form.
{
  printf 'dn: %s\nobjectClass: organizationalUnit\n\n' "$ou"
  rig_users_ldif "$prefix" "$COUNT" "$ou"
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

# 1. ZoneSmith's listings, then the floor; each the best of RUNS runs, as the DC's own
# caches make the first run of anything slower.
RUNS=3
zs_tcl <<EOF >"$work/zs"
load \$env(ZS_LIB) Zonesmith
bind $domain
select_zone {$zone}
proc best {script} {
  set best {}
  for {set i 0} {\$i < $RUNS} {incr i} {
    set t0 [clock microseconds]
    uplevel 1 \$script
    set t [expr {[clock microseconds] - \$t0}]
    if {\$best eq {} || \$t < \$best} { set best \$t }
  }
  return \$best
}
set get_us [best { set names [get_role_assignments] }]
set list_us [best { list_role_assignments }]
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
if [ "$listed" != "$((RUNS * COUNT))" ]; then
  echo "list_role_assignments printed $listed of $((RUNS * COUNT)) assignment lines"
  exit 1
fi
search_ns=
for ((run = 0; run < RUNS; run++)); do
  t0=$(now)
  ldapsearch -LLL -Q -Y GSSAPI -H "$url" -E pr=100/noprompt -b "$roles" -s one \
    "(objectClass=msDS-AzRole)" >"$work/floor.out"
  t=$(($(now) - t0))
  if [ -z "$search_ns" ] || [ "$t" -lt "$search_ns" ]; then search_ns=$t; fi
done

get_ms=$(ms $((zs[get_us] * 1000)))
list_ms=$(ms $((zs[list_us] * 1000)))
search_ms=$(ms "$search_ns")
get_ratio=$(ratio "$get_ms" "$search_ms")
list_ratio=$(ratio "$list_ms" "$search_ms")
echo "assignments: get_role_assignments $get_ms ms, list_role_assignments $list_ms ms" \
  "($COUNT assignments); ldapsearch of the msDS-AzRole objects $search_ms ms;" \
  "ratios ${get_ratio}x, ${list_ratio}x"
check "get_role_assignments/ldapsearch" "$get_ratio" "<=" "$FLOOR_RATIO_MAX"
check "list_role_assignments/ldapsearch" "$list_ratio" "<=" "$FLOOR_RATIO_MAX"

# 2. Directory calls, on the in-memory directory.
LD_PRELOAD="$zs_preload" tclsh bench/assignments.tcl "$build/libzonesmith_memory.so" \
  "$root/tests/fixtures" "$MEMORY_COUNT" 2>&1 >/dev/null
exit $failed
