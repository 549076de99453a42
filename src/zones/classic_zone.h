// ClassicZone and ClassicMachineZone: the older, flat kind of zone.
//
// A classic zone has no parent and no local users or groups. In the directory, at the DN
// given:
//   the zone          "organizationalunit" (lower case, as it has always been written) or
//                     container; displayName "$KeshZoneVersion<n>" (n 2 to 5),
//                     description the zone dictionary (schema/zschema.h)
//   cn=Computers, cn=Groups, cn=Users, cn=NisMaps   container each, added in this order
//   the authorization store (store version 1), only once role-based authorization was
//                     switched on (enableQV)
//
// The version of a new zone by layout and generation:
//   layout     generation 3   generation 4
//   Dynamic    2              4
//   RFC        3              5
//   SFU        2              2      (an SFU zone reads back as "classic3", always)
//
// Whether authorization is on is a flag in msDS-AzApplicationData of the store's null scope
// (sam::SamParser::WriteV1ApplicationData). Switching it off keeps the store with all its
// roles and assignments; switching it on again makes them count again.
//
// A classic computer zone has no object of its own: it is the scope in the classic zone's
// store named by the computer's SID, which the keyword "parentLink" of the computer's
// profile cn=<name>,cn=Computers,<zone> holds. It stores no profiles; it is a scope of
// assignments for one computer.
#ifndef ZONESMITH_ZONES_CLASSIC_ZONE_H_
#define ZONESMITH_ZONES_CLASSIC_ZONE_H_

#include <list>
#include <memory>
#include <string>

#include "authorization/zone_qv.h"
#include "zones/zone.h"

class ClassicZone : public NssZoneSupportZoneUserGroup,
                    public NssZoneSupportComputer,
                    public NssZoneSupportNisMaps,
                    public RoleManagement,
                    public RightsManagement,
                    public RSManagement,
                    public IZoneHasChildren,
                    public virtual AssignmentSupport {
 public:
  // Opens the classic zone at `dn`: OpenZone into a new object.
  static std::shared_ptr<IZone> Open(std::shared_ptr<MyBinding>& binding, const std::string& dn);
  // Reads the zone object `dn` (all attributes), its adapter and version, and the store with
  // its null scope; a zone whose store cannot be opened (never enabled, or any failure)
  // opens with store and scope empty. Failures of the first read pass through.
  static void OpenZone(std::shared_ptr<MyBinding>& binding, const std::string& dn,
                       ClassicZone* zone);
  // Writes a new classic zone at `dn` (an extended DN is reduced to its plain DN): the zone
  // object with its dictionary (version by the table above; `generation` 3 or 4), the
  // creator's rights on it, the four containers; then opens it. No store, no rollback.
  static std::shared_ptr<IZone> Create(std::shared_ptr<MyBinding>& binding, const std::string& dn,
                                       SchemaType schema, int generation, bool organizationalUnit);

  // Creates the store (store version 1) and its null scope when there is none, then sets
  // the flag on. Does nothing when already on.
  virtual void enableQV();
  // Sets the flag off; kesh::BadDataException "QV not enabled for this zone" without a store.
  virtual void disableQV();
  // False without store or scope; else the flag of the null scope.
  virtual bool isQVEnabled();

  // "QV not enabled for this zone" without a store, whatever the flags. Only `computer`
  // counts: the classic computer zones of the computers whose profile's SID names a scope
  // of the store, in scope order. A scope without such a computer is passed over.
  void getChildren(std::list<std::shared_ptr<IZone>>& out, bool tree, bool computerRole,
                   bool computer) override;
  void remove() override;              // the zone object with everything below it
  void saveZone() override;            // update mode 2 of the zone object
  std::string getPath() override;      // the DN
  std::string getZoneName() override;  // lower case of the first RDN value of the DN
  // 1 (classic4) for a version over 3, else 0 (classic3).
  ZoneType getZoneType() override;

  int version = 0;
};

class ClassicMachineZone : public virtual AssignmentSupport,
                           public virtual NssZone,
                           public IZoneHasParent {
 public:
  // Opens the classic computer zone of computer `name` (as given, not lower-cased) in the
  // classic zone `zoneDn`: reads the zone and its store, the profile cn=<name>,cn=Computers
  // and its "parentLink", then the scope of that name (no marker). A missing profile or
  // scope passes its failure through; a profile without the keyword opens the scope "".
  static std::shared_ptr<IZone> Open(std::shared_ptr<MyBinding>& binding, const std::string& zoneDn,
                                     const std::string& name);
  // `parent` must be a ClassicZone (kesh::BadDataException "Wrong zone type") with a store
  // ("QV not enabled for this zone"); the computer's profile must exist (the read's failure
  // passes through, nothing written). Creates the scope named by its "parentLink".
  static std::shared_ptr<IZone> Create(std::shared_ptr<IZone> parent, const std::string& name);

  // The DN of the classic zone, whatever `raw`.
  std::string getParent(bool raw) override;
  std::string getPath() override;      // <name>@<classic zone DN>
  std::string getZoneName() override;  // the classic zone's name
  ZoneType getZoneType() override { return ZONE_TYPE_CLASSIC_COMPUTER; }
  void saveZone() override {}
  // Deletes the computer's scope with its assignments; the computer's profile stays.
  void remove() override;

  int version = 0;
  std::shared_ptr<QVScope> computerScope;
  std::shared_ptr<QVScope> nullScope;
  std::string name;
};

#endif  // ZONESMITH_ZONES_CLASSIC_ZONE_H_
