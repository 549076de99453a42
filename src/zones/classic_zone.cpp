// Classic zones and classic computer zones: opening, creation, the authorization switch
// and the scopes of computers.
#include "zones/classic_zone.h"

#include <exception>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "authorization/qv.h"
#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/sam_parser.h"
#include "directory/library/strings.h"
#include "schema/computer.h"
#include "schema/keywords.h"
#include "schema/profile_store.h"
#include "schema/zschema.h"
#include "zones/nis_map.h"

namespace {

// The store type of a classic zone's authorization store.
constexpr int CLASSIC_STORE_VERSION = 1;
// Generations of a classic zone, the argument of ClassicZone::Create.
constexpr int CLASSIC_GENERATION_3 = 3;
constexpr int CLASSIC_GENERATION_4 = 4;
// Versions of a new classic zone by layout and generation.
constexpr int CLASSIC3_VERSION_DYNAMIC = 2;
constexpr int CLASSIC3_VERSION_RFC = 3;
constexpr int CLASSIC4_VERSION_DYNAMIC = 4;
constexpr int CLASSIC4_VERSION_RFC = 5;
constexpr int CLASSIC_VERSION_SFU = 2;
// The highest version of the older generation.
constexpr int LAST_CLASSIC3_VERSION = 3;

std::shared_ptr<SchemaBase> NewAdapter(kesh::ADObject& object, std::shared_ptr<MyBinding>& binding,
                                       SchemaType schema, int generation) {
  if (generation != CLASSIC_GENERATION_3 && generation != CLASSIC_GENERATION_4) {
    KESH_THROW(kesh::BadDataException, 0, "Invalid zone type");
  }
  const bool newer = generation == CLASSIC_GENERATION_4;
  switch (schema) {
    case SCHEMA_TYPE_DYNAMIC:
      return std::make_shared<SchemaScpDynamic>(
          object, binding, newer ? CLASSIC4_VERSION_DYNAMIC : CLASSIC3_VERSION_DYNAMIC);
    case SCHEMA_TYPE_RFC:
      return std::make_shared<SchemaScpRfc>(object, binding,
                                            newer ? CLASSIC4_VERSION_RFC : CLASSIC3_VERSION_RFC);
    case SCHEMA_TYPE_SFU:
      return std::make_shared<SchemaSfu>(object, binding, CLASSIC_VERSION_SFU);
    default:
      KESH_THROW(kesh::BadDataException, 0, "Unsupported schema type");
  }
}

// The flag of a classic store's null scope.
bool ReadEnabled(const QVScope& scope) {
  bool enabled = false;
  sam::SamParser::ParseV1ApplicationData(scope.scopeObject->firstValue(AZ_APP_DATA), enabled);
  return enabled;
}

void WriteEnabled(QVScope& scope, bool enabled) {
  (*scope.scopeObject)[AZ_APP_DATA] = sam::SamParser::WriteV1ApplicationData(enabled);
  scope.binding->update(*scope.scopeObject, MyBinding::UPDATE_REPLACE);
}

// The classic computer zone of `name` on what its classic zone `parent` holds already: the
// zone object, layout, binding, store and null scope. `computerScope` is the computer's.
std::shared_ptr<ClassicMachineZone> OnParent(ClassicZone& parent, const std::string& name,
                                             std::shared_ptr<QVScope> computerScope) {
  auto zone = std::make_shared<ClassicMachineZone>();
  zone->object = parent.object;
  zone->schema = parent.schema;
  zone->binding = parent.binding;
  zone->version = parent.version;
  zone->name = name;
  zone->store = parent.store;
  zone->nullScope = parent.scope;
  zone->computerScope = computerScope;
  zone->scope = computerScope;
  return zone;
}

}  // namespace

// --- ClassicZone ------------------------------------------------------------------------

std::shared_ptr<IZone> ClassicZone::Open(std::shared_ptr<MyBinding>& binding,
                                         const std::string& dn) {
  std::shared_ptr<ClassicZone> zone = std::make_shared<ClassicZone>();
  OpenZone(binding, dn, zone.get());
  return zone;
}

void ClassicZone::OpenZone(std::shared_ptr<MyBinding>& binding, const std::string& dn,
                           ClassicZone* zone) {
  zone->object = binding->fetch(dn, nullptr, AD_ALL_OBJECTS);
  zone->schema = GetSchema(zone->object);
  zone->binding = binding;
  zone->version = zone->schema->version();
  try {
    std::shared_ptr<QVStore> store = QVStore::Open(binding, zone->object);
    zone->scope = store->openNullScope();
    zone->store = store;
  } catch (const std::exception&) {
    // The store of a classic zone is optional: a zone never switched on, or one whose
    // store cannot be read, opens without store and scope.
    zone->store.reset();
    zone->scope.reset();
  }
}

std::shared_ptr<IZone> ClassicZone::Create(std::shared_ptr<MyBinding>& binding,
                                           const std::string& dn, SchemaType schema, int generation,
                                           bool organizationalUnit) {
  const std::string plainDn = kesh::DN::dnFromExtendedDN(dn);
  kesh::ADObject object(plainDn);
  object[AD_OBJECT_CLASS] = organizationalUnit ? "organizationalunit" : "container";
  std::shared_ptr<SchemaBase> adapter = NewAdapter(object, binding, schema, generation);
  adapter->setZoneData();
  binding->add(object);
  NssZone::delegateInitRights(object, binding);

  AddZoneContainers(*binding, object,
                    {COMPUTERS_CONTAINER, GROUPS_CONTAINER, USERS_CONTAINER, NIS_MAPS_CONTAINER});

  return Open(binding, plainDn);
}

bool ClassicZone::isQVEnabled() {
  if (!store || !scope) return false;
  return ReadEnabled(*scope);
}

void ClassicZone::enableQV() {
  if (isQVEnabled()) return;
  if (!store) {
    std::shared_ptr<QVStore> created = QVStore::Create(binding, object, CLASSIC_STORE_VERSION);
    scope = created->openNullScope();
    store = created;
  }
  WriteEnabled(*scope, true);
}

void ClassicZone::disableQV() {
  checkForClassic(false);
  WriteEnabled(*scope, false);
}

void ClassicZone::getChildren(std::list<std::shared_ptr<IZone>>& out, bool, bool, bool computer) {
  checkForClassic(false);
  if (!computer) return;
  std::list<std::shared_ptr<QVScope>> scopes;
  store->getScopes(scopes);
  if (scopes.empty()) return;

  std::list<std::shared_ptr<ZoneComputer>> computers;
  getZoneComputers("", computers);
  std::map<std::string, std::string> nameBySid;
  for (std::shared_ptr<ZoneComputer>& member : computers) {
    // A profile whose directory computer is gone names no scope here.
    if (member->adComputer.empty()) continue;
    kesh::SID sid = member->adComputer.sid();
    if (sid.isNull()) continue;
    nameBySid[sid.toMSString()] = member->cn;
  }

  for (std::shared_ptr<QVScope>& member : scopes) {
    auto found = nameBySid.find(member->scopeObject->firstValue(AZ_SCOPE_NAME));
    if (found == nameBySid.end()) continue;
    out.push_back(OnParent(*this, found->second, member));
  }
}

void ClassicZone::remove() { binding->remove(object, true); }

void ClassicZone::saveZone() { binding->update(object, MyBinding::UPDATE_REPLACE); }

std::string ClassicZone::getPath() { return object.dn(); }

std::string ClassicZone::getZoneName() { return kesh::lower(kesh::DN::cnFromDn(object.dn())); }

ZoneType ClassicZone::getZoneType() {
  return version > LAST_CLASSIC3_VERSION ? ZONE_TYPE_CLASSIC4 : ZONE_TYPE_CLASSIC3;
}

// --- ClassicMachineZone -----------------------------------------------------------------

std::shared_ptr<IZone> ClassicMachineZone::Open(std::shared_ptr<MyBinding>& binding,
                                                const std::string& zoneDn,
                                                const std::string& name) {
  std::shared_ptr<ClassicMachineZone> zone = std::make_shared<ClassicMachineZone>();
  zone->object = binding->fetch(zoneDn, nullptr, AD_ALL_OBJECTS);
  zone->schema = GetSchema(zone->object);
  zone->binding = binding;
  zone->version = zone->schema->version();
  zone->name = name;
  zone->store = QVStore::Open(binding, zone->object);
  zone->nullScope = zone->store->openNullScope();
  const std::string link = ComputerProfileLink(*binding, zone->object, name);
  zone->computerScope = zone->store->openAccessZoneScope(link, "");
  zone->scope = zone->computerScope;
  return zone;
}

std::shared_ptr<IZone> ClassicMachineZone::Create(std::shared_ptr<IZone> parent,
                                                  const std::string& name) {
  ClassicZone& classic = ParentZoneAs<ClassicZone>(parent);
  classic.checkForClassic(false);
  const std::string link = ComputerProfileLink(*classic.binding, classic.object, name);
  return OnParent(classic, name, classic.store->createMachineScope(link));
}

std::string ClassicMachineZone::getParent(bool) { return object.dn(); }

std::string ClassicMachineZone::getPath() { return name + "@" + object.dn(); }

std::string ClassicMachineZone::getZoneName() {
  return kesh::lower(kesh::DN::cnFromDn(object.dn()));
}

void ClassicMachineZone::remove() {
  DeleteTree(binding, *computerScope->scopeObject);
  binding->remove(*computerScope->scopeObject, false);
}
