// AccessZone: a computer role, the scope of assignments that applies to the members of one
// group of computers of a hierarchical zone.
//
// It has no directory object of its own: it is the scope of its name in the parent zone's
// store, marked "$KeshAccessZone1", whose msDS-AzApplicationData holds the group
// (sam::SamParser::WriteV2ScopeData). A scope whose group is empty is no access zone to
// the parent's getChildren. It has no layout (getSchema null, getSchemaType 0) and uses
// the roles and rights of the zone above it.
#ifndef ZONESMITH_ZONES_ACCESS_ZONE_H_
#define ZONESMITH_ZONES_ACCESS_ZONE_H_

#include <memory>
#include <string>

#include "authorization/zone_qv.h"
#include "zones/zone.h"

class AccessZone : public IZone, public AssignmentSupport, public IZoneHasParent {
 public:
  // The scope marker of access zones.
  static const char* const SCOPE_MARKER;  // "$KeshAccessZone1"

  // Opens the access zone `name` of `parent` (a TreeZone, else kesh::BadDataException
  // "Wrong zone type"): the scope of that name with the marker (kesh::NotFoundException of
  // the store when there is none) and its group.
  static std::shared_ptr<IZone> Open(std::shared_ptr<IZone> parent, const std::string& name);
  // Creates the scope `name` in the store of `parent` (a TreeZone, else "Wrong zone type"),
  // then opens it. The group comes with setGroup and saveZone.
  static std::shared_ptr<IZone> Create(std::shared_ptr<IZone> parent, const std::string& name);

  std::string getPath() override;            // <parent DN>/<name>
  std::string getZoneName() override;        // the name
  std::string getParent(bool raw) override;  // the parent DN, whatever `raw`
  ZoneType getZoneType() override { return ZONE_TYPE_ACCESS; }
  SchemaType getSchemaType() override { return SCHEMA_TYPE_NONE; }
  // Writes the group (and any description set on the scope object) to the scope object.
  void saveZone() override;
  // Deletes the scope with its assignments.
  void remove() override;
  // Access zones carry out "delete_zone", "manage_role_assignments" and
  // "modify_computer_role" on their scope; they refuse the other rights of zones.
  void delegateRight(const std::string& right, std::string principal) override;

  virtual std::string getGroup();
  // The group must resolve (GetADGroup; its failure passes through); nothing is written.
  virtual void setGroup(const std::string& value);

  // The group name as the user gave it.
  std::string group;
  std::string name;
  std::string parentDn;
};

#endif  // ZONESMITH_ZONES_ACCESS_ZONE_H_
