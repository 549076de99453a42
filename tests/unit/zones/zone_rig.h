// The session of memdir_session.h for the zone tests: example.test (forest example.test,
// domain level 4) bound, with a unit for test zones, and helpers to create and reopen
// hierarchical zones in it.
#ifndef ZONESMITH_TESTS_UNIT_ZONES_ZONE_RIG_H_
#define ZONESMITH_TESTS_UNIT_ZONES_ZONE_RIG_H_

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "memdir_session.h"
#include "schema/keywords.h"
#include "zones/ngzone.h"
#include "zones/zone.h"

namespace zonetest {

using memtest::MessageOf;

constexpr char kZones[] = "OU=Zones,DC=example,DC=test";

// The keyword dictionary of a zone object's description.
inline std::map<std::string, std::string> Dictionary(const kesh::ADObject& object) {
  std::map<std::string, std::string> dict;
  CramDict(object.find(AD_DESCRIPTION), dict);
  return dict;
}

// The paths of `zones`, in their order.
inline std::vector<std::string> Paths(const std::list<std::shared_ptr<IZone>>& zones) {
  std::vector<std::string> paths;
  for (const auto& zone : zones) paths.push_back(zone->getPath());
  return paths;
}

class ZoneRig : public memtest::MemdirSession {
 protected:
  void SetUp() override {
    MemdirSession::SetUp();
    kesh::memdir::LoadLdif(std::string("dn: ") + kZones + "\nobjectClass: organizationalUnit\n\n");
    binding_ = Bind("example.test");
  }

  // "CN=<cn>,OU=Zones,DC=example,DC=test"
  static std::string ZoneDn(const std::string& cn) { return "CN=" + cn + "," + kZones; }
  // "OU=<ou>,OU=Zones,DC=example,DC=test": a zone made as an organizational unit, which the
  // directory names by ou.
  static std::string UnitDn(const std::string& ou) { return "OU=" + ou + "," + kZones; }

  // A new hierarchical zone, opened.
  std::shared_ptr<TreeZone> NewTree(const std::string& dn, SchemaType schema = SCHEMA_TYPE_DYNAMIC,
                                    std::shared_ptr<MyBinding> binding = nullptr) {
    std::shared_ptr<IZone> zone = TreeZone::Create(binding ? binding : binding_, dn, schema, false);
    return std::dynamic_pointer_cast<TreeZone>(zone);
  }

  std::shared_ptr<TreeZone> Reopen(const std::string& dn) {
    return std::dynamic_pointer_cast<TreeZone>(TreeZone::Open(binding_, dn));
  }
};

}  // namespace zonetest

#endif  // ZONESMITH_TESTS_UNIT_ZONES_ZONE_RIG_H_
