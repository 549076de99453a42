// Hierarchical zones: opening, creation, the parent link, children and NSS variables.
#include "zones/ngzone.h"

#include <cstdio>
#include <exception>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "authorization/assignment.h"
#include "authorization/qv.h"
#include "authorization/right.h"
#include "authorization/role.h"
#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/strings.h"
#include "directory/principal.h"
#include "directory/session.h"
#include "schema/keywords.h"
#include "schema/profile_store.h"
#include "schema/zschema.h"
#include "zones/nis_map.h"

namespace {

// The store type of a hierarchical zone's authorization store.
constexpr int NG_STORE_VERSION = 2;
// Versions of a new hierarchical zone by layout.
constexpr int TREE_VERSION_DYNAMIC = 6;
constexpr int TREE_VERSION_RFC = 7;
constexpr int TREE_VERSION_SFU = 9;

const char kParentLink[] = "parentLink";
const char kComputerZoneSuffix[] = ":zone";
constexpr size_t kComputerZoneSuffixLength = sizeof(kComputerZoneSuffix) - 1;

std::map<std::string, std::string> ReadDictionary(const kesh::ADObject& object) {
  std::map<std::string, std::string> dict;
  CramDict(object.find(AD_DESCRIPTION), dict);
  return dict;
}

// "<GUID in Microsoft text form>@<domain in lower case>": how a child names its parent.
std::string LinkTo(const kesh::ADObject& zone) {
  return zone.guid().toRealMSString() + "@" + kesh::lower(kesh::DN::domainFromDN(zone.dn()));
}

}  // namespace

// --- NGZone -----------------------------------------------------------------------------

void NGZone::CommonOpen(NGZone* zone, std::shared_ptr<MyBinding>& binding, bool followParent,
                        const std::string& dn) {
  zone->object = binding->fetch(dn, nullptr, AD_ALL_OBJECTS);
  zone->schema = GetSchema(zone->object);
  zone->binding = binding;
  if (!followParent) return;
  std::string link = GetCramAttr(kParentLink, ReadDictionary(zone->object));
  if (link.empty()) return;
  try {
    size_t at = link.find('@');
    if (at == std::string::npos) KESH_THROW(kesh::BadDataException, 0, "malformed parent link");
    std::shared_ptr<MyBinding> parentBinding = GetBinding(link.substr(at + 1));
    std::string parentDn = kesh::Guid::fromRealMSString(link.substr(0, at)).toDN();
    zone->parent = parentBinding->fetch(parentDn, nullptr, AD_ALL_OBJECTS);
  } catch (const std::exception&) {
    // Following the stored parent link is best effort by rule: a malformed link, a domain
    // the session is not bound to, a deleted parent or a computer zone's SID link all
    // leave the zone a root zone, with the link kept as it is stored.
  }
}

void NGZone::Create(std::shared_ptr<MyBinding> binding, const std::string& dn, SchemaType schema,
                    bool organizationalUnit) {
  kesh::ADObject object(kesh::DN::dnFromExtendedDN(dn));
  object[AD_OBJECT_CLASS] = organizationalUnit ? "organizationalUnit" : "container";
  std::shared_ptr<SchemaBase> adapter;
  switch (schema) {
    case SCHEMA_TYPE_DYNAMIC:
      adapter = std::make_shared<NGSchemaScpDynamic>(object, binding, TREE_VERSION_DYNAMIC);
      break;
    case SCHEMA_TYPE_RFC:
      adapter = std::make_shared<NGSchemaScpRfc>(object, binding, TREE_VERSION_RFC);
      break;
    case SCHEMA_TYPE_SFU:
      adapter = std::make_shared<SchemaSfu>(object, binding, TREE_VERSION_SFU);
      break;
    default:
      KESH_THROW(kesh::BadDataException, 0, "Unsupported schema type");
  }
  adapter->setZoneData();
  binding->add(object);
  NssZone::delegateInitRights(object, binding);

  AddZoneContainers(*binding, object,
                    {COMPUTERS_CONTAINER, GROUPS_CONTAINER, LOCAL_GROUPS_CONTAINER, USERS_CONTAINER,
                     LOCAL_USERS_CONTAINER, NIS_MAPS_CONTAINER});

  QVStore::Create(binding, object, NG_STORE_VERSION);
}

void NGZone::getNssVars(std::map<std::string, std::string>& out) {
  for (const auto& entry : ReadDictionary(object)) {
    if (!entry.first.empty() && entry.first[0] == '%') out[entry.first.substr(1)] = entry.second;
  }
}

void NGZone::setNssVars(std::map<std::string, std::string>& vars) {
  kesh::ADAttribute& attr = GetAttributeValues(object, AD_DESCRIPTION);
  std::map<std::string, std::string> dict;
  CramDict(&attr, dict);
  for (auto it = dict.begin(); it != dict.end();) {
    if (!it->first.empty() && it->first[0] == '%') {
      it = dict.erase(it);
    } else {
      ++it;
    }
  }
  for (const auto& var : vars) CramSet("%" + var.first, var.second, dict);
  CramAttrs(attr, dict);
}

void NGZone::remove() { binding->remove(object, true); }

// --- TreeZone ---------------------------------------------------------------------------

std::shared_ptr<IZone> TreeZone::Open(std::shared_ptr<MyBinding> binding, const std::string& dn) {
  std::shared_ptr<TreeZone> zone = std::make_shared<TreeZone>();
  CommonOpen(zone.get(), binding, true, dn);
  zone->store = QVStore::Open(binding, zone->object);
  zone->scope = zone->store->openNullScope();
  return zone;
}

std::shared_ptr<IZone> TreeZone::Create(std::shared_ptr<MyBinding> binding, const std::string& dn,
                                        SchemaType schema, bool organizationalUnit) {
  NGZone::Create(binding, dn, schema, organizationalUnit);
  return Open(binding, kesh::DN::dnFromExtendedDN(dn));
}

std::string TreeZone::getPath() { return object.dn(); }

std::string TreeZone::getZoneName() { return kesh::lower(kesh::DN::cnFromDn(object.dn())); }

void TreeZone::saveZone() {
  SetCramAttr(object, AD_DESCRIPTION, kParentLink, parent.empty() ? "" : LinkTo(parent));
  binding->update(object, MyBinding::UPDATE_REPLACE);
}

std::string TreeZone::getParent(bool raw) {
  if (raw) return GetCramAttr(kParentLink, ReadDictionary(object));
  return parent.empty() ? "" : parent.dn();
}

void TreeZone::setParent(const std::string& path) {
  // The parent's object as the opening read it, all attributes, so that it is not read again.
  kesh::ADObject newParent;
  if (!path.empty()) {
    std::shared_ptr<IZone> candidate = OpenZone(path);
    if (dynamic_cast<IZoneHasSettableChildren*>(candidate.get()) == nullptr) {
      KESH_THROW(kesh::BadDataException, 0, "Wrong zone type for parent");
    }
    newParent = dynamic_cast<NssZone&>(*candidate).object;
    std::shared_ptr<MyBinding> parentBinding = GetBindingForDN(path);
    if (kesh::upper(parentBinding->getForest()) != kesh::upper(binding->getForest())) {
      KESH_THROW(kesh::BadDataException, 0, "Parent and child zone should be in the same forest");
    }
  }
  if (!parent.empty()) CheckForExternalRoles(shared_from_this());
  parent = newParent;
}

void TreeZone::getChildren(std::list<std::shared_ptr<IZone>>& out, bool tree, bool computerRole,
                           bool computer) {
  std::string zoneDn = object.dn();
  if (tree) {
    std::string filter =
        "(&(|(objectclass=container)(objectclass=organizationalUnit))"
        "(displayname=$KeshZoneVersion*)(description=parentLink:" +
        LinkTo(object) + "))";
    // No back-link exists: every bound domain is searched; a child in a domain the
    // session is not bound to stays unseen.
    for (auto& entry : GetContextTab()->bindings) {
      std::shared_ptr<MyBinding> domainBinding = entry.second;
      kesh::ADObjectList found = domainBinding->search(filter, "", nullptr, kesh::SCOPE_SUB, 0);
      for (kesh::ADObject& child : found) out.push_back(TreeZone::Open(domainBinding, child.dn()));
    }
  }

  if (computer) {
    kesh::ADObject container = getComputerContainer();
    std::list<std::string> broken;
    for (kesh::ADObject& child : binding->children(container, nullptr)) {
      std::string cn = child.firstValue(AD_CN);
      // A cn shorter than the suffix throws std::out_of_range here, which ends the call.
      if (cn.substr(cn.size() - kComputerZoneSuffixLength) != kComputerZoneSuffix) continue;
      std::string path = cn.substr(0, cn.size() - kComputerZoneSuffixLength) + "@" + zoneDn;
      try {
        out.push_back(OpenZone(path));
      } catch (const kesh::NotFoundException&) {
        broken.push_back(path);
      }
    }
    if (!broken.empty()) {
      std::string report = "Cannot open the below zones:\n";
      for (const std::string& path : broken) report += path + "\n";
      report += "The healthy child zones can be catched or found in $::errorInfo\n";
      std::fputs(report.c_str(), stderr);
      std::string healthy;
      for (std::shared_ptr<IZone>& zone : out) {
        if (!healthy.empty()) healthy += " ";
        healthy += zone->getPath();
      }
      // The paths form the whole message, cut at 511 bytes like every message. They are
      // an argument, never the format: a "%" in a path stays a "%".
      KESH_THROW(kesh::NotFoundException, 0, "%s", healthy.c_str());
    }
  }

  if (computerRole) {
    std::list<std::shared_ptr<QVScope>> scopes;
    store->getScopes(scopes);
    for (std::shared_ptr<QVScope>& scope : scopes) {
      // Only the scopes of access zones name a group of computers.
      if (scope->getAccessZoneGroup().empty()) continue;
      out.push_back(OpenZone(zoneDn + "/" + scope->scopeObject->firstValue(AZ_SCOPE_NAME)));
    }
  }
}

// --- Reparenting ------------------------------------------------------------------------

void CheckForExternalRoles(std::shared_ptr<IZone> zone) {
  // A role or right may be used by the zones below the one that holds it. Names of the
  // subtree are lower case; the zone names read from role and right DNs are compared as
  // written, so a zone whose cn has capitals counts as outside.
  std::list<std::shared_ptr<IZone>> zones{zone};
  GetAllChildren(zones, zone);
  std::set<std::string> names;
  for (std::shared_ptr<IZone>& member : zones) names.insert(member->getZoneName());

  // Every assignment of the subtree first.
  for (std::shared_ptr<IZone>& member : zones) {
    auto* assignments = dynamic_cast<IZoneSupportAssignment*>(member.get());
    if (assignments == nullptr) continue;
    std::list<std::shared_ptr<Assignment>> list;
    assignments->getAssignments("", list);
    for (std::shared_ptr<Assignment>& assignment : list) {
      std::string roleName = assignment->getRoleName();
      size_t slash = roleName.find('/');
      if (slash == std::string::npos || names.count(roleName.substr(slash + 1)) != 0) continue;
      // The all-users and local principals are texts, not directory objects.
      std::string principal = assignment->principal;
      if (principal != ALL_AD_USERS && principal != ALL_UNIX_USERS && !assignment->isLocal()) {
        kesh::ADObject object = GetADObjectByDN(principal);
        principal = object.category() == AD_GROUP_CATEGORY ? GetGroupName(object)
                                                           : GetUserName(object, false);
      }
      KESH_THROW(kesh::BadDataException, 0,
                 "Cannot reparent zone: assignment for %s in %s refers to %s", principal.c_str(),
                 member->getZoneName().c_str(), roleName.c_str());
    }
  }

  // Then the rights of every role: a right's zone is the cn four levels above it.
  for (std::shared_ptr<IZone>& member : zones) {
    auto* roles = dynamic_cast<IZoneManageRoles*>(member.get());
    if (roles == nullptr) continue;
    std::list<std::shared_ptr<QVRole>> roleList;
    roles->getRoles(roleList);
    for (std::shared_ptr<QVRole>& role : roleList) {
      std::list<std::shared_ptr<QVRight>> rights;
      role->getRoleRights(rights);
      for (std::shared_ptr<QVRight>& right : rights) {
        std::string owner = right->object->dn();
        for (int level = 0; level < 4; ++level) owner = kesh::DN::parent(owner);
        owner = kesh::DN::cnFromDn(owner);
        if (names.count(owner) != 0) continue;
        KESH_THROW(kesh::BadDataException, 0, "Cannot reparent zone: role %s in %s refers to %s/%s",
                   role->getName().c_str(), member->getZoneName().c_str(), right->getName().c_str(),
                   owner.c_str());
      }
    }
  }
}
