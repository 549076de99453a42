// The NIS maps of a zone and their entries.
#include <list>
#include <map>
#include <memory>
#include <string>

#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "zones/nis_map.h"
#include "zones/zone.h"

namespace {

constexpr char kContainerClass[] = "container";
constexpr char kEntryClass[] = "classStore";
// Attributes of an entry: the key, the value and the comment.
constexpr char kEntryKey[] = "description";
constexpr char kEntryValue[] = "adminDescription";
constexpr char kEntryComment[] = "wWWHomePage";
// Matches the spares of a map ("\01" is the filter escape of NIS_SPARE_PREFIX).
constexpr char kSpareFilter[] = "(cn=\\01*)";

// "CN=<cn>" for a rename, the leading spare byte written as its DN escape.
std::string RdnOf(const std::string& cn) {
  return "CN=" + kesh::DN::escape(cn, std::string(1, NIS_SPARE_PREFIX), "", false);
}

// Sets `attr` to `value`; an empty value clears the attribute instead (not sent by an add,
// deleted by an update), as the directory holds no empty value.
void SetOrClear(kesh::ADObject& object, const char* attr, const std::string& value) {
  if (value.empty()) {
    object[attr].reset();
  } else {
    object[attr] = value;
  }
}

// Whether `entry` is a spare: its cn begins with NIS_SPARE_PREFIX.
bool IsSpare(kesh::ADObject& entry) {
  const std::string cn = entry.firstValue(AD_CN);
  return !cn.empty() && cn[0] == NIS_SPARE_PREFIX;
}

// The entries of `key` in the map `mapDn`, spares excluded.
kesh::ADObjectList SearchEntries(MyBinding& binding, const std::string& mapDn,
                                 const std::string& key) {
  const std::string filter = std::string("(&(") + kEntryKey + "=" +
                             kesh::DN::escapeLDAPFilter(key) + ")(!" + kSpareFilter + "))";
  return binding.search(filter, mapDn, nullptr, kesh::SCOPE_ONE, 0);
}

// The first spare of the map `mapDn`, or an empty object.
kesh::ADObject SearchSpare(MyBinding& binding, const std::string& mapDn) {
  kesh::ADObjectList found = binding.search(kSpareFilter, mapDn, nullptr, kesh::SCOPE_ONE, 0);
  return found.empty() ? kesh::ADObject() : found.front();
}

}  // namespace

void NssZoneSupportNisMaps::getMaps(std::list<std::string>& out) {
  kesh::ADObject container = getNisContainer();
  for (kesh::ADObject& child : binding->children(container, nullptr)) {
    if (IsSpare(child)) continue;
    out.push_back(child.firstValue(AD_CN));
  }
}

void NssZoneSupportNisMaps::getMapEntries(
    const std::string& map, std::map<std::string, std::pair<std::string, std::string>>& out) {
  kesh::ADObject mapObject = getMapObject(map);
  std::map<std::string, unsigned> seen;
  for (kesh::ADObject& child : binding->children(mapObject, nullptr)) {
    if (child.firstValue(AD_CN).at(0) == NIS_SPARE_PREFIX) continue;
    std::string key = child.firstValue(kEntryKey);
    std::string indexed = key + ":" + std::to_string(++seen[key]);
    out[indexed] = {child.firstValue(kEntryValue), child.firstValue(kEntryComment)};
  }
}

std::shared_ptr<NisMap> NssZoneSupportNisMaps::newMap(const std::string& name, bool automount) {
  // The container is read (and made again when it went missing) for the map to go into.
  kesh::ADObject container = getNisContainer();
  kesh::ADObject mapObject = kesh::LDAPBinding::createChild(container, name, AD_CN);
  bool exists = false;
  try {
    binding->fetch(mapObject.dn(), nullptr, AD_ALL_OBJECTS);
    exists = true;
  } catch (const std::exception&) {
    // Not there yet: the name is free.
  }
  if (exists) KESH_THROW(kesh::BadDataException, 0, "NisMap already in zone");
  mapObject[AD_OBJECT_CLASS] = kContainerClass;
  SetOrClear(mapObject, AD_DISPLAY_NAME,
             automount ? std::string(AUTOMOUNT_MAP_VERSION) : GetMapSchema(name));
  mapObject[AD_DESCRIPTION] =
      automount ? std::string(AUTOMOUNT_VERSION_GUID) : GetMapSchemaGuid(name);
  auto nisMap = std::make_shared<NisMap>();
  nisMap->object = mapObject;
  nisMap->name = name;
  nisMap->isNew = true;
  return nisMap;
}

void NssZoneSupportNisMaps::deleteMap(const std::string& map) {
  kesh::ADObject mapObject = getMapObject(map);
  binding->remove(mapObject, true);
}

void NssZoneSupportNisMaps::addMapEntry(const std::string& map, const std::string& key,
                                        const std::string& value, const std::string& comment) {
  // An empty key matches no entry and would leave a reused spare half written.
  if (key.empty()) KESH_THROW(kesh::BadDataException, 0, "Map entry key cannot be empty");
  const std::string mapDn = getMapObject(map).dn();
  // One search answers both questions, whether the key is taken and which spare to reuse:
  // description is no indexed attribute, so each search reads every entry of the map.
  static const char* const attrs[] = {AD_CN, nullptr};
  const std::string filter = std::string("(|(") + kEntryKey + "=" +
                             kesh::DN::escapeLDAPFilter(key) + ")" + kSpareFilter + ")";
  kesh::ADObject spare;
  for (kesh::ADObject& found : binding->search(filter, mapDn, attrs, kesh::SCOPE_ONE, 0)) {
    if (!IsSpare(found)) KESH_THROW(kesh::BadDataException, 0, "Map entry already exists");
    if (spare.empty()) spare = found;
  }
  // The cn is escaped already: it goes into the DN as it is.
  const std::string cn = NewMapEntryCn(key);
  const bool reuse = !spare.empty();
  if (reuse) binding->rename(spare, "CN=" + cn);
  kesh::ADObject entry("CN=" + cn + "," + mapDn);
  entry[kEntryKey] = key;
  SetOrClear(entry, kEntryValue, value);
  if (!comment.empty()) entry[kEntryComment] = comment;
  if (reuse) {
    // Only the attributes set above are written: a comment of the former entry stays when
    // the new one has none.
    binding->update(entry, MyBinding::UPDATE_REPLACE);
    return;
  }
  SetOrClear(entry, AD_DISPLAY_NAME, GetMapEntrySchema(map));
  entry[AD_OBJECT_CLASS] = kEntryClass;
  binding->add(entry);
}

void NssZoneSupportNisMaps::removeMapEntry(const std::string& map, const std::string& indexedKey) {
  std::string key;
  const unsigned index = ParseNisMapIndexedKey(indexedKey, key);
  kesh::ADObjectList found = findMapEntry(map, key);
  if (found.empty()) KESH_THROW(kesh::NotFoundException, 0, "entry not found");
  if (index < 1 || index > found.size())
    KESH_THROW(kesh::BadDataException, 0, "key index out of bound");
  kesh::ADObject entry = binding->fetch(found[index - 1].dn(), nullptr, AD_ALL_OBJECTS);
  binding->rename(entry, RdnOf(NewSpareEntryCn()));
}

void NssZoneSupportNisMaps::saveMap(std::shared_ptr<NisMap>& map) {
  kesh::ADObject& mapObject = map->object;
  SetOrClear(mapObject, AD_WBEM_PATH, map->wbemPath);
  if (map->isNew) {
    binding->add(mapObject);
  } else {
    binding->update(mapObject, MyBinding::UPDATE_REPLACE);
  }
  map->isNew = false;
  try {
    map->object = binding->fetch(mapObject.dn(), nullptr, AD_ALL_OBJECTS);
  } catch (const std::exception&) {
    // The map is saved; the copy in memory stays as written.
  }
}

std::shared_ptr<NisMap> NssZoneSupportNisMaps::getMap(const std::string& name) {
  kesh::ADObject mapObject = getMapObject(name);
  auto nisMap = std::make_shared<NisMap>();
  nisMap->object = binding->fetch(mapObject.dn(), nullptr, AD_ALL_OBJECTS);
  nisMap->wbemPath = nisMap->object.firstValue(AD_WBEM_PATH);
  nisMap->name = name;
  nisMap->isNew = false;
  return nisMap;
}

kesh::ADObject NssZoneSupportNisMaps::getNisContainer() {
  kesh::ADObject container = kesh::LDAPBinding::createChild(object, NIS_MAPS_CONTAINER, AD_CN);
  std::string dn = container.dn();
  try {
    return binding->fetch(dn, nullptr, AD_ALL_OBJECTS);
  } catch (const LDAPException&) {
    // A zone whose NIS container went missing gets it back on first use.
  }
  container[AD_OBJECT_CLASS] = kContainerClass;
  binding->add(container);
  return binding->fetch(dn, nullptr, AD_ALL_OBJECTS);
}

kesh::ADObjectList NssZoneSupportNisMaps::findMapEntry(const std::string& map,
                                                       const std::string& key) {
  return SearchEntries(*binding, getMapObject(map).dn(), key);
}

kesh::ADObject NssZoneSupportNisMaps::findSpareMapEntry(const std::string& map) {
  return SearchSpare(*binding, getMapObject(map).dn());
}

kesh::ADObject NssZoneSupportNisMaps::getMapObject(const std::string& map) {
  kesh::ADObject container = kesh::LDAPBinding::createChild(object, NIS_MAPS_CONTAINER, AD_CN);
  return kesh::LDAPBinding::createChild(container, map, AD_CN);
}
