// The capability lattice of the five zone classes: which capability each class answers to a
// dynamic cast from IZone, and the zone kind it reports.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "authorization/zone_qv.h"
#include "zones/access_zone.h"
#include "zones/classic_zone.h"
#include "zones/machine_zone.h"
#include "zones/ngzone.h"
#include "zones/zone.h"

namespace {

struct Capability {
  const char* name;
  std::function<bool(IZone*)> has;
};

template <class T>
Capability Cap(const char* name) {
  return {name, [](IZone* zone) { return dynamic_cast<T*>(zone) != nullptr; }};
}

const std::vector<Capability>& Capabilities() {
  static const std::vector<Capability> capabilities = {
      Cap<NssZone>("NssZone"),
      Cap<NGZone>("NGZone"),
      Cap<IZoneHasParent>("IZoneHasParent"),
      Cap<IZoneHasChildren>("IZoneHasChildren"),
      Cap<IZoneHasSettableChildren>("IZoneHasSettableChildren"),
      Cap<IZoneHasSettableParent>("IZoneHasSettableParent"),
      Cap<IZoneHasComputerZone>("IZoneHasComputerZone"),
      Cap<IZoneJoinable>("IZoneJoinable"),
      Cap<IZoneSupportComputer>("IZoneSupportComputer"),
      Cap<IZoneSupportNssZoneUser>("IZoneSupportNssZoneUser"),
      Cap<IZoneSupportNssZoneGroup>("IZoneSupportNssZoneGroup"),
      Cap<IZoneSupportNssLocalUser>("IZoneSupportNssLocalUser"),
      Cap<IZoneSupportNssLocalGroup>("IZoneSupportNssLocalGroup"),
      Cap<IZoneSupportNisMaps>("IZoneSupportNisMaps"),
      Cap<IZoneSupportNssVars>("IZoneSupportNssVars"),
      Cap<IZoneSupportAssignment>("IZoneSupportAssignment"),
      Cap<IZoneManageRoles>("IZoneManageRoles"),
      Cap<IZoneManageRights>("IZoneManageRights"),
      Cap<IZoneManageRS>("IZoneManageRS"),
  };
  return capabilities;
}

struct ClassColumn {
  const char* name;
  std::function<std::shared_ptr<IZone>()> make;
  // One character per capability, in the order of Capabilities(): 'x' has it.
  const char* column;
};

TEST(CapabilityTest, EveryClassHasItsColumnOfTheTable) {
  //                                          NssZone
  //                                          |NGZone
  //                                          ||HasParent
  //                                          |||HasChildren
  //                                          ||||SettableChildren
  //                                          |||||SettableParent
  //                                          ||||||HasComputerZone
  //                                          |||||||Joinable
  //                                          ||||||||SupportComputer
  //                                          |||||||||ZoneUser
  //                                          ||||||||||ZoneGroup
  //                                          |||||||||||LocalUser
  //                                          ||||||||||||LocalGroup
  //                                          |||||||||||||NisMaps
  //                                          ||||||||||||||NssVars
  //                                          |||||||||||||||Assignment
  //                                          ||||||||||||||||ManageRoles
  //                                          |||||||||||||||||ManageRights
  //                                          ||||||||||||||||||ManageRS
  const ClassColumn classes[] = {
      {"ClassicZone", [] { return std::make_shared<ClassicZone>(); }, "x..x...xxxx..x.xxxx"},
      {"ClassicMachineZone", [] { return std::make_shared<ClassicMachineZone>(); },
       "x.x............x..."},
      {"TreeZone", [] { return std::make_shared<TreeZone>(); }, "xxxxxxxxxxxxxxxxxx."},
      {"MachineZone", [] { return std::make_shared<MachineZone>(); }, "xxx......xxxx.xx..."},
      {"AccessZone", [] { return std::make_shared<AccessZone>(); }, "..x............x..."},
  };
  for (const ClassColumn& cls : classes) {
    std::shared_ptr<IZone> zone = cls.make();
    ASSERT_EQ(Capabilities().size(), std::string(cls.column).size()) << cls.name;
    for (size_t i = 0; i < Capabilities().size(); ++i) {
      EXPECT_EQ(cls.column[i] == 'x', Capabilities()[i].has(zone.get()))
          << cls.name << " " << Capabilities()[i].name;
    }
  }
}

TEST(CapabilityTest, KindsAndLayoutsThatNeedNoDirectory) {
  EXPECT_EQ(ZONE_TYPE_TREE, TreeZone().getZoneType());
  EXPECT_EQ(ZONE_TYPE_COMPUTER, MachineZone().getZoneType());
  EXPECT_EQ(ZONE_TYPE_CLASSIC_COMPUTER, ClassicMachineZone().getZoneType());
  AccessZone access;
  EXPECT_EQ(ZONE_TYPE_ACCESS, access.getZoneType());
  // An access zone has no layout of its own.
  EXPECT_EQ(SCHEMA_TYPE_NONE, access.getSchemaType());
  EXPECT_EQ(nullptr, access.getSchema());
  // The generation of a classic zone is its version: up to 3 the older, from 4 the newer.
  const struct {
    int version;
    ZoneType type;
  } classic[] = {{2, ZONE_TYPE_CLASSIC3},
                 {3, ZONE_TYPE_CLASSIC3},
                 {4, ZONE_TYPE_CLASSIC4},
                 {5, ZONE_TYPE_CLASSIC4}};
  for (const auto& row : classic) {
    ClassicZone zone;
    zone.version = row.version;
    EXPECT_EQ(row.type, zone.getZoneType()) << row.version;
  }
  // Both group capabilities of a zone answer their own group type.
  TreeZone tree;
  EXPECT_EQ(0, static_cast<IZoneSupportNssZoneGroup&>(tree).getGroupType());
  EXPECT_EQ(1, static_cast<IZoneSupportNssLocalGroup&>(tree).getGroupType());
}

}  // namespace
