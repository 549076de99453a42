// NGZone and TreeZone: hierarchical zones.
//
// A hierarchical zone can have one parent zone and any number of child zones. A child
// knows its parent by a link in its own keyword dictionary (description); nothing is
// stored at the parent, and the tree is read by searching for links:
//
//   parentLink:<parent objectGUID, Microsoft text form>@<parent's DNS domain, lower case>
//
// The GUID lets a parent move or be renamed without touching its children; the domain
// lets a child find the parent's domain. A root zone has no (or an empty) link.
//
// NSS variables are dictionary keys "%<name>" with their value.
//
// In the directory a new hierarchical zone is, at the DN given:
//   the zone          organizationalUnit or container; displayName the zone marker,
//                     description the zone dictionary (schema/zschema.h)
//   cn=Computers, cn=Groups, cn=LocalGroups, cn=Users, cn=LocalUsers, cn=NisMaps
//                     container each, added in this order
//   cn=Authorization  the authorization store, version 2 (authorization/qv.h)
//
// NGZone is what TreeZone shares with computer zones: the common opening, creation of
// the object tree, NSS variables and removal.
#ifndef ZONESMITH_ZONES_NGZONE_H_
#define ZONESMITH_ZONES_NGZONE_H_

#include <list>
#include <map>
#include <memory>
#include <string>

#include "authorization/zone_qv.h"
#include "directory/library/adobject.h"
#include "zones/zone.h"

class NGZone : public virtual NssZone,
               public virtual AssignmentSupport,
               public IZoneHasParent,
               public IZoneSupportNssVars {
 public:
  // Reads the zone object `dn` through `binding` into zone->object, its adapter into
  // zone->schema, and keeps the binding. With `followParent`, then follows the parent
  // link into zone->parent; every failure of that step (a malformed link without "@", a
  // domain the session is not bound to, a deleted parent, a computer zone's SID link) is
  // swallowed and the zone opens as a root zone. Failures of the first read pass through.
  static void CommonOpen(NGZone* zone, std::shared_ptr<MyBinding>& binding, bool followParent,
                         const std::string& dn);
  // Writes a new hierarchical zone at `dn` (an extended DN is reduced to its plain DN):
  // the zone object (schema 3 Dynamic version 6, 2 RFC version 7, 1 SFU version 9), the
  // creator's rights on it, the six containers and the authorization store. No rollback.
  static void Create(std::shared_ptr<MyBinding> binding, const std::string& dn, SchemaType schema,
                     bool organizationalUnit);

  void getNssVars(std::map<std::string, std::string>& out) override;
  void setNssVars(std::map<std::string, std::string>& vars) override;
  // Deletes the zone object with everything below it (the store goes with it).
  void remove() override;

  // The parent zone's object; empty for a root zone.
  kesh::ADObject parent;
};

class TreeZone : public NGZone,
                 public NssZoneSupportZoneUserGroup,
                 public NssZoneSupportLocalUserGroup,
                 public NssZoneSupportComputer,
                 public NssZoneSupportNisMaps,
                 public IZoneHasComputerZone,
                 public IZoneHasSettableParent,
                 public IZoneHasSettableChildren,
                 public RoleManagement,
                 public RightsManagement,
                 public std::enable_shared_from_this<TreeZone> {
 public:
  // CommonOpen, then the store below the zone and its null scope.
  static std::shared_ptr<IZone> Open(std::shared_ptr<MyBinding> binding, const std::string& dn);
  // NGZone::Create, then Open. Links to no parent.
  static std::shared_ptr<IZone> Create(std::shared_ptr<MyBinding> binding, const std::string& dn,
                                       SchemaType schema, bool organizationalUnit);

  ZoneType getZoneType() override { return ZONE_TYPE_TREE; }
  // The DN as stored.
  std::string getPath() override;
  // Lower case of the first RDN value of the DN.
  std::string getZoneName() override;
  // Writes the parent link made from `parent` (removing the key for a root zone) together
  // with every other change of the zone object (update mode 2).
  void saveZone() override;
  // raw: the stored link "GUID@domain" ("" when absent); otherwise the DN of the parent in
  // memory ("" for a root zone), which after setParent may differ from the stored link.
  std::string getParent(bool raw) override;
  // Changes the parent in memory only. A non-empty path must open as a zone that can have
  // children (kesh::BadDataException "Wrong zone type for parent") in the same forest
  // ("Parent and child zone should be in the same forest"); a zone that has a parent now is
  // checked by CheckForExternalRoles first. "" makes the zone a root zone. On failure the
  // parent stays as it was.
  void setParent(const std::string& path) override;
  // Tree children: one subtree search for the link to this zone per bound domain, each hit
  // opened with TreeZone::Open (a child in an unbound domain stays unseen). Computer zones:
  // children "<name>:zone" of cn=Computers, opened by path; those that fail with
  // kesh::NotFoundException are listed on standard error as
  //   Cannot open the below zones:\n<path>\n...The healthy child zones can be catched or
  //   found in $::errorInfo\n
  // and then kesh::NotFoundException is thrown with the paths of the children found so far,
  // joined by blanks. Computer roles: scopes of the store with a non-empty group.
  void getChildren(std::list<std::shared_ptr<IZone>>& out, bool tree, bool computerRole,
                   bool computer) override;
};

// Throws kesh::BadDataException when the subtree of `zone` uses a role or right outside it,
// which moving the subtree would leave dangling: "Cannot reparent zone: assignment for %s
// in %s refers to %s" (every assignment of the subtree is checked before the first role),
// "Cannot reparent zone: role %s in %s refers to %s/%s". A zone is inside when its name is
// one of the subtree's lower-case zone names. The subtree is read (GetAllChildren), and its
// failures pass through.
void CheckForExternalRoles(std::shared_ptr<IZone> zone);

#endif  // ZONESMITH_ZONES_NGZONE_H_
