// MachineZone: the computer zone of one computer of a hierarchical zone.
//
// It stores user and group profiles that apply to that computer only, and a scope of
// assignments in the parent's store. In the directory, below the hierarchical zone Z, for
// the computer with the lower-case fully qualified name N:
//   cn=N,cn=Computers,Z            the zone computer profile (optional, schema/computer.h)
//   cn=N:zone,cn=Computers,Z       the computer zone: container, displayName
//                                  "$KeshComputerZoneVersion1" (version 8), description the
//                                  dictionary, whose "parentLink" is the SID of the AD
//                                  computer (copied from the profile's keywords), not a GUID
//   cn=Groups, cn=Users, cn=LocalGroups, cn=LocalUsers below it
//   the scope N in the parent's store, marked "$KeshComputerZone1"
// No Computers or NisMaps containers exist below a computer zone.
#ifndef ZONESMITH_ZONES_MACHINE_ZONE_H_
#define ZONESMITH_ZONES_MACHINE_ZONE_H_

#include <memory>
#include <string>

#include "zones/ngzone.h"

class MachineZone : public NGZone,
                    public NssZoneSupportZoneUserGroup,
                    public NssZoneSupportLocalUserGroup {
 public:
  // The scope marker of computer zones.
  static const char* const SCOPE_MARKER;  // "$KeshComputerZone1"

  // Opens the computer zone of `name` (lower-cased) below `parent`, which must be a
  // TreeZone (kesh::BadDataException "Wrong zone type"). A missing zone object fails in its
  // read; a missing scope fails in the store's openAccessZoneScope.
  static std::shared_ptr<IZone> Open(std::shared_ptr<IZone> parent, const std::string& name);
  // Writes the computer zone of `name` below `parent` (a TreeZone, else "Wrong zone type")
  // in layout `schema` (SCHEMA_TYPE_DYNAMIC or SCHEMA_TYPE_RFC): the zone object with the
  // profile's parent link (without a profile: a warning on standard error, and the link
  // stays empty), its four containers, the scope; then opens it. No rollback.
  static std::shared_ptr<IZone> Create(std::shared_ptr<IZone> parent, const std::string& name,
                                       SchemaType schema);

  ZoneType getZoneType() override { return ZONE_TYPE_COMPUTER; }
  std::string getPath() override;            // <name>@<parent zone DN>
  std::string getZoneName() override;        // the cn as stored ("<name>:zone"), "" when absent
  std::string getParent(bool raw) override;  // the parent zone's DN, whatever `raw`
  void saveZone() override;                  // update mode 2 of the zone object
  // The zone object with everything below it, then the scope; a failure of the first
  // leaves the scope.
  void remove() override;

  // The lower-case computer name.
  std::string name;
};

#endif  // ZONESMITH_ZONES_MACHINE_ZONE_H_
