// Computer zones and access zones (computer roles) of hierarchical zones on the in-memory
// directory: the objects and scopes they write in each layout, the parent link copied from
// the computer's profile, paths that open them back, the group of an access zone, removal,
// refusals without a write, and the parent's listing of both kinds.
#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "authorization/qv.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/memory/memdir.h"
#include "directory/library/sam_parser.h"
#include "directory/library/strings.h"
#include "directory/principal.h"
#include "schema/keywords.h"
#include "schema/zschema.h"
#include "zones/access_zone.h"
#include "zones/machine_zone.h"
#include "zones/zone_rig.h"

namespace {

using zonetest::Dictionary;
using zonetest::MessageOf;
using zonetest::Paths;
using zonetest::ZoneRig;
namespace memdir = kesh::memdir;

const char kComputerGroup[] = "Domain Computers@example.test";
const char kNoProfileWarning[] =
    "Warning: Zone computer does not exist. The parentLink of computer zone will be empty.\n";

class SubzoneTest : public ZoneRig {
 protected:
  void SetUp() override {
    ZoneRig::SetUp();
    tree_ = NewTree(ZoneDn("z"));
  }

  std::string ComputerZoneDn(const std::string& computer) {
    return "CN=" + computer + ":zone,CN=Computers," + ZoneDn("z");
  }

  // A computer zone of the zone z; what it printed on standard error goes to `warning`.
  std::shared_ptr<MachineZone> NewComputerZone(const std::string& name, std::string* warning,
                                               SchemaType schema = SCHEMA_TYPE_DYNAMIC) {
    testing::internal::CaptureStderr();
    std::shared_ptr<IZone> zone = MachineZone::Create(tree_, name, schema);
    *warning = testing::internal::GetCapturedStderr();
    return std::dynamic_pointer_cast<MachineZone>(zone);
  }

  std::shared_ptr<AccessZone> NewAccessZone(const std::string& name) {
    return std::dynamic_pointer_cast<AccessZone>(AccessZone::Create(tree_, name));
  }

  std::shared_ptr<TreeZone> tree_;
};

TEST_F(SubzoneTest, ComputerZoneCreateWritesTheZoneItsContainersAndScopeInBothLayouts) {
  for (SchemaType schema : {SCHEMA_TYPE_DYNAMIC, SCHEMA_TYPE_RFC}) {
    std::string warning;
    auto zone = NewComputerZone("Host1.Example", &warning, schema);
    ASSERT_NE(nullptr, zone) << schema;
    EXPECT_EQ(kNoProfileWarning, warning);

    const std::string dn = ComputerZoneDn("host1.example");
    kesh::ADObject stored = GetADObjectByDN(dn);
    EXPECT_EQ("host1.example:zone", stored.firstValue(AD_CN));
    EXPECT_EQ("$KeshComputerZoneVersion1", stored.firstValue(AD_DISPLAY_NAME));
    EXPECT_EQ(8, GetSchema(stored)->version());
    EXPECT_EQ(schema, zone->getSchemaType());
    EXPECT_EQ("", GetCramAttr("parentLink", Dictionary(stored)));
    for (const char* cn : {"Groups", "Users", "LocalGroups", "LocalUsers"}) {
      EXPECT_TRUE(Exists("CN=" + std::string(cn) + "," + dn)) << cn;
    }
    for (const char* cn : {"Computers", "NisMaps"}) {
      EXPECT_FALSE(Exists("CN=" + std::string(cn) + "," + dn)) << cn;
    }
    std::shared_ptr<QVScope> scope =
        tree_->store->openAccessZoneScope("host1.example", MachineZone::SCOPE_MARKER);
    EXPECT_EQ(scope->scopeObject->dn(), zone->scope->scopeObject->dn());

    // The names of the zone, and its path opening the same zone back.
    EXPECT_EQ("host1.example", zone->name);
    EXPECT_EQ("host1.example:zone", zone->getZoneName());
    EXPECT_EQ(ZoneDn("z"), zone->getParent(false));
    EXPECT_EQ(ZoneDn("z"), zone->getParent(true));
    const std::string path = "host1.example@" + ZoneDn("z");
    EXPECT_EQ(path, zone->getPath());
    std::shared_ptr<IZone> opened = OpenZone("HOST1.example@" + ZoneDn("z"));
    ASSERT_NE(nullptr, dynamic_cast<MachineZone*>(opened.get()));
    EXPECT_EQ(path, opened->getPath());
    EXPECT_EQ(kesh::lower(dn), kesh::lower(dynamic_cast<MachineZone&>(*opened).object.dn()));

    // saveZone writes the computer zone's object.
    dynamic_cast<SchemaBase*>(zone->getSchema())->setZoneProp("defaultshell", "/bin/zsh");
    zone->saveZone();
    EXPECT_EQ("/bin/zsh", GetCramAttr("defaultshell", Dictionary(GetADObjectByDN(dn))));
    zone->remove();
  }
}

TEST_F(SubzoneTest, TheParentLinkComesFromTheComputerProfile) {
  const std::string computers = "CN=Computers," + ZoneDn("z");
  memdir::LoadLdif("dn: CN=linked.example," + computers +
                   "\nobjectClass: serviceConnectionPoint\n"
                   "keywords: parentLink:S-1-5-21-1-2-3-1105\nkeywords: other:x\n\n"
                   "dn: CN=unlinked.example," +
                   computers + "\nobjectClass: serviceConnectionPoint\nkeywords: other:x\n\n");
  const struct {
    const char* computer;
    const char* link;
  } cases[] = {{"linked.example", "S-1-5-21-1-2-3-1105"}, {"unlinked.example", ""}};
  for (const auto& c : cases) {
    std::string warning;
    auto zone = NewComputerZone(c.computer, &warning);
    EXPECT_EQ("", warning) << c.computer;
    EXPECT_EQ(c.link,
              GetCramAttr("parentLink", Dictionary(GetADObjectByDN(ComputerZoneDn(c.computer)))))
        << c.computer;
    // The SID link names no zone: the zone's parent is still the zone it lies in.
    auto opened = std::dynamic_pointer_cast<MachineZone>(OpenZone(zone->getPath()));
    ASSERT_NE(nullptr, opened) << c.computer;
    EXPECT_EQ(ZoneDn("z"), opened->getParent(false)) << c.computer;
  }
}

TEST_F(SubzoneTest, OnlyATreeZoneCanHoldComputerZonesAndAccessZones) {
  std::string warning;
  std::shared_ptr<IZone> computer = NewComputerZone("host1.example", &warning);
  std::shared_ptr<IZone> access = NewAccessZone("role1");
  const std::string before = memdir::DumpLdif("", true);
  for (const std::shared_ptr<IZone>& parent : {computer, access}) {
    const std::string label = parent->getPath();
    const std::function<void()> refused[] = {
        [&] { MachineZone::Create(parent, "host2.example", SCHEMA_TYPE_DYNAMIC); },
        [&] { MachineZone::Open(parent, "host1.example"); },
        [&] { AccessZone::Create(parent, "role2"); },
        [&] { AccessZone::Open(parent, "role1"); },
    };
    for (const auto& f : refused) {
      EXPECT_EQ("Wrong zone type", MessageOf<kesh::BadDataException>(f)) << label;
    }
  }
  EXPECT_EQ(before, memdir::DumpLdif("", true));
}

TEST_F(SubzoneTest, AnAccessZoneIsOnlyAScopeWithItsMarkerAndRemoveLeavesNoScope) {
  std::string warning;
  auto computer = NewComputerZone("host1.example", &warning);
  auto access = NewAccessZone("role1");
  tree_->store->createScope("plain", "", "");
  for (const char* name : {"nosuch", "host1.example", "plain"}) {
    EXPECT_EQ(std::string("Scope ") + name + " not found",
              MessageOf<kesh::NotFoundException>([&] { OpenZone(ZoneDn("z") + "/" + name); }));
  }
  computer->remove();
  access->remove();
  EXPECT_FALSE(Exists(ComputerZoneDn("host1.example")));
  EXPECT_TRUE(Exists("CN=Computers," + ZoneDn("z")));
  for (const char* name : {"host1.example", "role1"}) {
    EXPECT_EQ(std::string("Scope ") + name + " not found", MessageOf<kesh::NotFoundException>([&] {
                tree_->store->openAccessZoneScope(name, "");
              }));
  }
}

TEST_F(SubzoneTest, AnAccessZoneKeepsItsGroupInItsScopeFromSaveZoneOn) {
  auto zone = NewAccessZone("role1");
  const std::string path = ZoneDn("z") + "/role1";
  EXPECT_EQ(path, zone->getPath());
  EXPECT_EQ("role1", zone->getZoneName());
  EXPECT_EQ(ZoneDn("z"), zone->getParent(false));
  EXPECT_EQ(SCHEMA_TYPE_NONE, zone->getSchemaType());
  EXPECT_EQ(nullptr, zone->getSchema());
  EXPECT_EQ(AccessZone::SCOPE_MARKER, zone->scope->scopeObject->firstValue(AD_DISPLAY_NAME));
  EXPECT_EQ("", zone->getGroup());

  // An unknown group is refused and the group stays.
  EXPECT_EQ("could not find nosuch@example.test",
            MessageOf<kesh::NotFoundException>([&] { zone->setGroup("nosuch@example.test"); }));
  EXPECT_EQ("", zone->getGroup());

  // The group is held until saveZone, and an access zone without one is not listed.
  std::list<std::shared_ptr<IZone>> out;
  const std::string unsaved = memdir::DumpLdif("", true);
  zone->setGroup(kComputerGroup);
  EXPECT_EQ(unsaved, memdir::DumpLdif("", true));
  EXPECT_EQ(kComputerGroup, zone->getGroup());
  EXPECT_EQ("", std::dynamic_pointer_cast<AccessZone>(OpenZone(path))->getGroup());
  tree_->getChildren(out, false, true, false);
  EXPECT_TRUE(out.empty());

  (*zone->scope->scopeObject)[AD_DESCRIPTION] = "lab machines";
  zone->saveZone();
  kesh::ADObject stored = GetADObjectByDN(zone->scope->scopeObject->dn());
  EXPECT_EQ(sam::SamParser::WriteV2ScopeData(kComputerGroup),
            stored.firstValue("msDS-AzApplicationData"));
  EXPECT_EQ("lab machines", stored.firstValue(AD_DESCRIPTION));
  auto reopened = std::dynamic_pointer_cast<AccessZone>(OpenZone(path));
  ASSERT_NE(nullptr, reopened);
  EXPECT_EQ(kComputerGroup, reopened->getGroup());
  tree_->getChildren(out, false, true, false);
  EXPECT_EQ(std::vector<std::string>{path}, Paths(out));
}

TEST_F(SubzoneTest, TheTreeZoneListsItsChildrenOfEveryKind) {
  auto child = NewTree(ZoneDn("child"));
  child->setParent(ZoneDn("z"));
  child->saveZone();
  std::string warning;
  NewComputerZone("host1.example", &warning);
  NewComputerZone("host2.example", &warning);
  auto access = NewAccessZone("role1");
  access->setGroup(kComputerGroup);
  access->saveZone();

  const struct {
    bool tree, role, computer;
    std::vector<std::string> paths;
  } cases[] = {
      {true,
       true,
       true,
       {ZoneDn("child"), "host1.example@" + ZoneDn("z"), "host2.example@" + ZoneDn("z"),
        ZoneDn("z") + "/role1"}},
      {false, false, true, {"host1.example@" + ZoneDn("z"), "host2.example@" + ZoneDn("z")}},
      {false, true, false, {ZoneDn("z") + "/role1"}},
  };
  for (const auto& c : cases) {
    std::list<std::shared_ptr<IZone>> out;
    tree_->getChildren(out, c.tree, c.role, c.computer);
    EXPECT_EQ(c.paths, Paths(out)) << c.tree << c.role << c.computer;
  }
}

}  // namespace
