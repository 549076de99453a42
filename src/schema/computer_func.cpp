#include "schema/computer_func.h"

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/strings.h"
#include "directory/session.h"
#include "script/args.h"
#include "zones/machine_zone.h"
#include "zones/zone.h"

namespace {

// Keys of a computer profile's dictionary.
const char KEY_CPUS[] = "cpus";
const char KEY_UNIX_ENABLED[] = "unix_enabled";
const char KEY_AGENT_VERSION[] = "agentVersion";
// The texts of unix_enabled as this system writes them.
const char ENABLED_TEXT[] = "true";
const char DISABLED_TEXT[] = "false";

const char FIELD_SEPARATOR[] = ":";

[[noreturn]] void UnknownField() { KESH_THROW(kesh::BadDataException, 0, "Unknown field"); }

std::string KeywordOf(const ZoneComputer& computer, const char* key) {
  auto entry = computer.keywords.find(key);
  return entry == computer.keywords.end() ? std::string() : entry->second;
}

bool IsEnabled(const ZoneComputer& computer) {
  return kesh::lower(KeywordOf(computer, KEY_UNIX_ENABLED)) == ENABLED_TEXT;
}

std::list<std::shared_ptr<ZoneComputer>> ZoneComputers() {
  std::list<std::shared_ptr<ZoneComputer>> computers;
  GetCurrentZone<IZoneSupportComputer>()->getZoneComputers(ZONE_COMPUTERS_FILTER, computers);
  return computers;
}

// Removes the computer zone of `name` below the current zone and forgets it in the zone
// cache. A computer without a computer zone is the normal case and ends quietly: the zone
// cannot be opened, or its object is not there.
void RemoveComputerZone(const std::string& name) {
  std::shared_ptr<IZone> parent = GetCurrentZone();
  const std::string path = kesh::lower(name + "@" + parent->getPath());
  try {
    std::shared_ptr<IZone> machineZone = MachineZone::Open(parent, name);
    machineZone->remove();
    GetContextTab()->zones.erase(path);
  } catch (const kesh::NotFoundException&) {
    // No computer zone (or it went meanwhile): nothing more to remove.
  } catch (const LDAPException& e) {
    // Opening reads the zone object, and a computer without a computer zone has none.
    if (e.rc() != kesh::LDAP_RC_NO_SUCH_OBJECT) throw;
  }
}

}  // namespace

void DisplayComputer(const std::shared_ptr<ZoneComputer>& computer) {
  const std::string line = computer->accountName + FIELD_SEPARATOR + computer->cn +
                           FIELD_SEPARATOR + KeywordOf(*computer, KEY_CPUS) + FIELD_SEPARATOR +
                           (IsEnabled(*computer) ? "1" : "0") + FIELD_SEPARATOR +
                           KeywordOf(*computer, KEY_AGENT_VERSION);
  WriteStdout(line + "\n");
}

void ListZoneComputers() {
  for (const auto& computer : ZoneComputers()) DisplayComputer(computer);
}

Tcl::object GetZoneComputers() {
  std::vector<std::string> names;
  for (const auto& computer : ZoneComputers()) names.push_back(computer->accountName);
  return StringList(names);
}

void NewZoneComputer(const std::string& name) {
  IZoneSupportComputer* zone = GetCurrentZone<IZoneSupportComputer>();
  GetContextTab()->zoneComputer = zone->newZoneComputer(name);
}

void SelectZoneComputer(const std::string& name) {
  IZoneSupportComputer* zone = GetCurrentZone<IZoneSupportComputer>();
  GetContextTab()->zoneComputer = zone->getZoneComputer(name);
}

void SaveZoneComputer() {
  std::shared_ptr<ZoneComputer> computer = GetCurrentZoneComputer();
  GetCurrentZone<IZoneSupportComputer>()->saveZoneComputer(computer);
}

void DeleteZoneComputer(const Tcl::object& args) {
  std::map<std::string, SwitchDef> switches = Switches({SwitchDef("-all")});
  std::vector<std::string> positional;
  ParseArgs(switches, args, positional);
  if (!positional.empty()) throw Tcl::tcl_syntax_error();
  std::shared_ptr<ZoneComputer> computer = GetCurrentZoneComputer();
  IZoneSupportComputer* zone = GetCurrentZone<IZoneSupportComputer>();
  const std::string name = computer->cn;
  zone->deleteZoneComputer(computer);
  ClearZoneComputer();
  if (switches["-all"].seen) RemoveComputerZone(name);
}

std::string GetZoneComputerField(const std::string& field) {
  std::shared_ptr<ZoneComputer> computer = GetCurrentZoneComputer();
  if (field == KEY_CPUS || field == KEY_AGENT_VERSION) return KeywordOf(*computer, field.c_str());
  if (field == "enabled") return IsEnabled(*computer) ? "1" : "0";
  if (field == "dnsname") return computer->adComputer.firstValue(AD_DNS_NAME);
  if (field == "dn") return computer->scp.dn();
  if (field == "addn") return computer->adComputer.dn();
  if (field == "createTime") return computer->scp.firstValue(AD_WHEN_CREATED);
  if (field == "modifyTime") return computer->scp.firstValue(AD_WHEN_CHANGED);
  UnknownField();
}

void SetZoneComputerField(const std::string& field, const std::string& value) {
  std::shared_ptr<ZoneComputer> computer = GetCurrentZoneComputer();
  if (field == KEY_CPUS) {
    computer->keywords[KEY_CPUS] = value;
  } else if (field == "enabled") {
    computer->keywords[KEY_UNIX_ENABLED] =
        CheckFieldEnabled(value, field) ? ENABLED_TEXT : DISABLED_TEXT;
  } else if (field == KEY_AGENT_VERSION) {
    KESH_THROW(kesh::BadDataException, 0, "Can not set agentVersion manually");
  } else {
    UnknownField();
  }
}
