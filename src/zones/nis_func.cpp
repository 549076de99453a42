// The NIS map commands: thin handlers over the zone's IZoneSupportNisMaps and the session's
// current map.
#include "zones/nis_func.h"

#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/session.h"
#include "script/args.h"
#include "script/context.h"
#include "zones/nis_map.h"
#include "zones/zone.h"

namespace {

using MapEntries = std::map<std::string, std::pair<std::string, std::string>>;

constexpr char kSeparator[] = ": ";
constexpr char kAutomountSwitch[] = "-automount";
// Fields of get_nis_map_field.
constexpr char kFieldDn[] = "dn";
constexpr char kFieldCreateTime[] = "createTime";
constexpr char kFieldModifyTime[] = "modifyTime";

IZoneSupportNisMaps* Zone() { return GetCurrentZone<IZoneSupportNisMaps>(); }

// The entries of the current map, read afresh: a map deleted meanwhile fails in getMap.
MapEntries CurrentEntries() {
  IZoneSupportNisMaps* zone = Zone();
  const std::string name = GetCurrentNisMap()->name;
  zone->getMap(name);
  MapEntries entries;
  zone->getMapEntries(name, entries);
  return entries;
}

void PrintEntries(bool withComment) {
  std::string text;
  for (const auto& entry : CurrentEntries()) {
    text += entry.first + kSeparator + entry.second.first;
    if (withComment) text += kSeparator + entry.second.second;
    text += "\n";
  }
  WriteStdout(text);
}

Tcl::object EntryList(bool withComment) {
  Tcl::interpreter& interp = SessionInterp();
  Tcl::object result;
  for (const auto& entry : CurrentEntries()) {
    std::vector<std::string> fields = {entry.first, entry.second.first};
    if (withComment) fields.push_back(entry.second.second);
    result.append(interp, StringList(fields));
  }
  return result;
}

std::list<std::string> MapNames() {
  std::list<std::string> names;
  Zone()->getMaps(names);
  return names;
}

}  // namespace

void ListNisMaps() {
  std::string text;
  for (const std::string& name : MapNames()) text += name + "\n";
  WriteStdout(text);
}

Tcl::object GetNisMaps() {
  std::list<std::string> names = MapNames();
  return StringList(std::vector<std::string>(names.begin(), names.end()));
}

void ListNisMap() { PrintEntries(false); }
void ListNisMapWithComment() { PrintEntries(true); }
Tcl::object GetNisMap() { return EntryList(false); }
Tcl::object GetNisMapWithComment() { return EntryList(true); }

void NewNisMap(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches = Switches({{kAutomountSwitch}});
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);
  if (positional.size() != 1) throw Tcl::tcl_syntax_error();
  IZoneSupportNisMaps* zone = Zone();
  GetContextTab()->nisMap = zone->newMap(positional[0], switches[kAutomountSwitch].seen);
}

void DeleteNisMap() {
  IZoneSupportNisMaps* zone = Zone();
  zone->deleteMap(GetCurrentNisMap()->name);
  ClearNisMap();
}

void AddMapEntry(const std::string& key, const std::string& value) {
  AddMapEntryWithComment(key, value, "");
}

void AddMapEntryWithComment(const std::string& key, const std::string& value,
                            const std::string& comment) {
  IZoneSupportNisMaps* zone = Zone();
  zone->addMapEntry(GetCurrentNisMap()->name, key, value, comment);
}

void DeleteMapEntry(const std::string& indexedKey) {
  IZoneSupportNisMaps* zone = Zone();
  zone->removeMapEntry(GetCurrentNisMap()->name, indexedKey);
}

void SelectNisMap(const std::string& name) { GetContextTab()->nisMap = Zone()->getMap(name); }

void SaveNisMap() {
  IZoneSupportNisMaps* zone = Zone();
  std::shared_ptr<NisMap> map = GetCurrentNisMap();
  zone->saveMap(map);
}

std::string GetNisMapField(const std::string& field) {
  std::shared_ptr<NisMap> map = GetCurrentNisMap();
  if (field == kFieldDn) return map->object.dn();
  if (field == kFieldCreateTime) return map->object.firstValue(AD_WHEN_CREATED);
  if (field == kFieldModifyTime) return map->object.firstValue(AD_WHEN_CHANGED);
  KESH_THROW(kesh::BadDataException, 0, "Unknown field");
}
