// The zone commands: create, select, save and delete a zone, read and set its fields, and
// list zones and child zones.
//
// A handler reads its words, takes the current zone from the session and calls one zone
// operation (zones/zone.h, zones/ngzone.h) or one property of the zone's schema adapter
// (schema/zschema.h). Nothing here writes to the directory except create_zone, save_zone and
// delete_zone; a refused command changes neither the directory nor the zone in memory.
//
// Zones opened by a plain select_zone stay in the session's zone cache, keyed by the lower
// case of their path, until delete_zone or the end of the interpreter: a second select_zone
// of the same path (in any case) makes the cached object current without reading the
// directory. select_zone -nc reads the zone afresh and leaves the cache alone.
#ifndef ZONESMITH_ZONES_ZONE_FUNC_H_
#define ZONESMITH_ZONES_ZONE_FUNC_H_

#include <string>

#include "script/cpptcl.h"
#include "zones/zone.h"

// `create_zone [-ou] <type> <path> [std|rfc|sfu]`. Type words: tree, classic, classic4,
// classic3, computer, classic-computer; anything else kesh::BadDataException "Unknown zone
// type". The new zone does not become current.
void CreateZoneFunc(const Tcl::object& args);

// The layout that create_zone gives a zone at `path` for the schema word `word`: "" is rfc
// where the forest of the zone's domain has the RFC 2307 schema (IsRfcSchemaThere), else
// std; "std" Dynamic; "sfu" SFU; "rfc" RFC or kesh::BadDataException "RFC2307 schema not
// available"; any other word "Unknown schema type". Throws "Bad zone name format" for a
// path that names no zone.
SchemaType GetSchemaType(const std::string& path, const std::string& word);

// `select_zone [-nc] <path>`: the zone becomes current and the zone-dependent current
// objects are cleared. When the zone cannot be opened, the former current zone and its
// dependants stay as they were.
void SelectZone(const Tcl::object& args);

// `save_zone`: writes the changes of the current zone.
void SaveZone();

// `delete_zone`: deletes the current zone from the directory (after AreYouSure), drops it
// from the zone cache and clears the current zone. No word is accepted.
void DeleteZone(const Tcl::object& args);

// Whether `field` is one of the zone properties that get_zone_field and set_zone_field pass
// straight to the adapter's dictionary. Whole-string comparison; the "*" of
// "provisioning_primarygroup_priority*" is part of the name.
bool IsExposedZoneField(const std::string& field);

// `get_zone_field [-raw] <field>`: one field of the current zone as text. -raw gives the
// parent link as stored. Fields the zone's kind does not have: "Wrong zone type"; unknown
// fields: "unknown field <field>".
std::string GetZoneField(const Tcl::object& args);

// `set_zone_field <field> <value>`: changes the current zone in memory; save_zone writes it.
// A refused field leaves the zone as it was. "nssvar" takes <var>=<val>; an empty <val> or
// "-" removes the variable.
void SetZoneField(const std::string& field, const std::string& value);

// `get_zones <domain>`: the DNs of the zones (not computer zones) of the domain, in the
// order of the search.
Tcl::object GetZones(const std::string& domain);

// `get_child_zones [-tree] [-crole] [-computer]`: the paths of the direct children of the
// current zone of the kinds named (all kinds when none is named).
Tcl::object GetChildZones(const Tcl::object& args);

// `get_zone_nss_vars`: the NSS variables of the current zone as <name>=<value>, in name
// order.
Tcl::object GetNssVars();

// `create_computer_role <zone DN>/<name> <group>`: the group must be a security group
// ("Error: %s is a distribution group."); creates the access zone and saves the group in it.
void CreateComputerRole(const std::string& path, const std::string& group);

// `delegate_zone_right <right> <principal>`: the current zone's delegateRight.
void DelegateZoneRight(const std::string& right, const std::string& principal);

// `manage_qv -on|-off` on the current classic zone; any other word kesh::BadDataException
// "Wrong argument. <-on|-off>".
void ManageQV(const std::string& word);
// `is_qv_enabled`: 1 or 0 for the current classic zone.
int IsQVEnabled();

#endif  // ZONESMITH_ZONES_ZONE_FUNC_H_
