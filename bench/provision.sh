#!/usr/bin/env bash
# Speed of provisioning and listing user profiles against a real domain controller, each
# figure measured once in one run:
#
#   1. 1,000 existing directory users (made first with one ldapadd; not timed) get profiles
#      in a hierarchical RFC 2307 zone from one script (bench/provision.tcl): new_zone_user,
#      set_zone_user_field uid, gid, home, shell, save_zone_user. Compared per user with
#      `samba-tool user addunixattrs`, one process per user, on 50 other users (ZoneSmith
#      must be at least 10 times faster), and with `ldapadd -Y GSSAPI` of the same 1,000
#      profile objects, exactly as ZoneSmith stored them, into a second zone from one LDIF
#      over one connection: the floor (ZoneSmith at most 3 times slower).
#   2. Directory calls per saved profile and per listing, counted by the in-memory
#      directory with 20 users (the LDAP backend has no counter).
#   3. get_zone_users and list_zone_users of the 1,000 profiles, against the floor of
#      `ldapsearch -E pr=100/noprompt` of the profiles plus one of their directory users
#      (at most 3 times slower).
#
# usage: bench/provision.sh [BUILD]      (BUILD defaults to build)
# Uses the running rig in $ZS_DC_DIR when it is set (ctest runs it under with-dc); otherwise
# starts a throwaway DC in a temporary directory and stops it at the end. Exits 1 when a
# bound is missed. Everything it makes lives in one unit, removed at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=$(cd "${1:-build}" && pwd)
COUNT=${COUNT:-1000}
TOOL_COUNT=${TOOL_COUNT:-50}
MEMORY_COUNT=${MEMORY_COUNT:-20}
# Bounds: samba-tool per user over ZoneSmith per user at least; ZoneSmith over the floors at
# most.
TOOL_RATIO_MIN=10
FLOOR_RATIO_MAX=3

. bench/rig.sh
ou="OU=zsprov-$$,$ZS_DC_BASE"
prov="CN=prov,$ou"
floor="CN=floor,$ou"
# Account names unique to this run: PREFIX<i> get profiles, TOOLPREFIX<i> go to samba-tool.
prefix="zv$$n"
toolprefix="zt$$n"
work=$(mktemp -d "${TMPDIR:-/tmp}/zonesmith-provision.XXXXXX")

trap rig_cleanup EXIT
trap 'exit 130' INT TERM

# Milliseconds per item from a nanosecond span and a count.
per() { awk -v ns="$1" -v n="$2" 'BEGIN { printf "%.2f", ns / n / 1e6 }'; }

# The directory users and the two zones; not timed.
{
  printf 'dn: %s\nobjectClass: organizationalUnit\n\n' "$ou"
  rig_users_ldif "$prefix" "$COUNT" "$ou"
  rig_users_ldif "$toolprefix" "$TOOL_COUNT" "$ou"
} | ldapadd -Q -Y GSSAPI -H "$url" >/dev/null
zs_tcl <<EOF
load \$env(ZS_LIB) Zonesmith
bind $domain
create_zone tree {$prov} rfc
create_zone tree {$floor} rfc
EOF

# 1. ZoneSmith: provisioning, then the listings.
zs_tcl bench/provision.tcl dc "$build/libzonesmith.so.0" "$work/zs" "$prov" "$prefix" "$COUNT" \
  >"$work/list.out"
declare -A zs
while read -r name value; do zs[$name]=$value; done <"$work/zs"
if [ "${zs[get_count]}" != "$COUNT" ]; then
  echo "get_zone_users listed ${zs[get_count]} of $COUNT profiles"
  exit 1
fi
listed=$(grep -c "^$prefix" "$work/list.out" || true)
if [ "$listed" != "$COUNT" ]; then
  echo "list_zone_users printed $listed of $COUNT profiles"
  exit 1
fi

# samba-tool, one process per user, as an administrator would run it.
t0=$(now)
for ((i = 0; i < TOOL_COUNT; i++)); do
  samba-tool user addunixattrs "$toolprefix$i" $((300000 + i)) --gid-number=200000 \
    --unix-home="/home/$toolprefix$i" --login-shell=/bin/bash \
    -H "$url" --use-kerberos=required >/dev/null 2>&1
done
tool_ns=$(($(now) - t0))
tooled=$(ldapsearch -LLL -Q -Y GSSAPI -H "$url" -b "$ou" -s one \
  "(&(sAMAccountName=$toolprefix*)(uidNumber=*))" dn 2>/dev/null | grep -c '^dn:' || true)
if [ "$tooled" != "$TOOL_COUNT" ]; then
  echo "samba-tool gave $tooled of $TOOL_COUNT users their attributes"
  exit 1
fi

# ldapadd of the stored profiles, moved into the second zone: classes as written, and every
# attribute that ZoneSmith wrote.
ldapsearch -LLL -Q -Y GSSAPI -o ldif-wrap=no -H "$url" -E pr=100/noprompt -b "CN=Users,$prov" \
  -s one "(objectClass=serviceConnectionPoint)" cn displayName keywords uidNumber gidNumber \
  unixHomeDirectory loginShell uid gecos 2>/dev/null |
  awk -v from="CN=Users,$prov" -v to="CN=Users,$floor" '
    /^dn: / { i = index($0, "," from); print substr($0, 1, i) to
              print "objectClass: serviceConnectionPoint"; print "objectClass: posixAccount"; next }
    /^dn:: / { print "unexpected base64 DN: " $0 > "/dev/stderr"; exit 1 }
    /^#/ { next }
    { print }' >"$work/floor.ldif"
floor_objects=$(grep -c '^dn: ' "$work/floor.ldif" || true)
t0=$(now)
ldapadd -Q -Y GSSAPI -H "$url" -f "$work/floor.ldif" >/dev/null
add_ns=$(($(now) - t0))

# The listing floor: the profiles, and the directory users they link to.
t0=$(now)
ldapsearch -LLL -Q -Y GSSAPI -H "$url" -E pr=100/noprompt -b "CN=Users,$prov" -s one \
  "(&(objectClass=serviceConnectionPoint)(displayName=\$KeshUserVersion*))" >"$work/p.out"
ldapsearch -LLL -Q -Y GSSAPI -H "$url" -E pr=100/noprompt -b "$ou" -s one \
  "(&(objectClass=user)(sAMAccountName=$prefix*))" >"$work/u.out"
search_ns=$(($(now) - t0))

zs_ms=$(per $((zs[provision_us] * 1000)) "$COUNT")
tool_ms=$(per "$tool_ns" "$TOOL_COUNT")
add_ms=$(per "$add_ns" "$floor_objects")
tool_ratio=$(ratio "$tool_ms" "$zs_ms")
add_ratio=$(ratio "$zs_ms" "$add_ms")
get_ms=$(per $((zs[get_us] * 1000)) 1)
list_ms=$(per $((zs[list_us] * 1000)) 1)
search_ms=$(per "$search_ns" 1)
get_ratio=$(ratio "$get_ms" "$search_ms")
list_ratio=$(ratio "$list_ms" "$search_ms")

echo "provision: zonesmith $zs_ms ms/user ($COUNT users), samba-tool $tool_ms ms/user" \
  "($TOOL_COUNT users), ratio ${tool_ratio}x; ldapadd $add_ms ms/user ($floor_objects" \
  "objects), ratio ${add_ratio}x"
check "samba-tool/zonesmith" "$tool_ratio" ">=" "$TOOL_RATIO_MIN"
check "zonesmith/ldapadd" "$add_ratio" "<=" "$FLOOR_RATIO_MAX"
[ "$floor_objects" = "$COUNT" ] || { echo "  the floor LDIF holds $floor_objects objects"; failed=1; }

# 2. Directory calls, on the in-memory directory.
LD_PRELOAD="$zs_preload" tclsh bench/provision.tcl memory "$build/libzonesmith_memory.so" "$root/tests/fixtures" \
  "$MEMORY_COUNT" 2>&1 >/dev/null

# 3. Listings.
echo "listing: get_zone_users $get_ms ms, list_zone_users $list_ms ms ($COUNT profiles);" \
  "ldapsearch of profiles and users $search_ms ms; ratios ${get_ratio}x, ${list_ratio}x"
check "get_zone_users/ldapsearch" "$get_ratio" "<=" "$FLOOR_RATIO_MAX"
check "list_zone_users/ldapsearch" "$list_ratio" "<=" "$FLOOR_RATIO_MAX"
exit $failed
