// Classic zones on the in-memory directory: the objects a new zone writes in each layout
// and generation, the authorization switch and its store, children by computer scope,
// classic computer zones (creation, opening, removal) and the authorization that only
// classic zones have, through the zone.
#include "zones/classic_zone.h"

#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "authorization/assignment.h"
#include "authorization/qv.h"
#include "authorization/right.h"
#include "authorization/role.h"
#include "directory/library/dn.h"
#include "directory/library/sam_parser.h"
#include "directory/library/strings.h"
#include "schema/computer.h"
#include "zones/zone_rig.h"

namespace {

using memtest::OperationsOf;
using zonetest::Dictionary;
using zonetest::MessageOf;
using zonetest::Paths;
using zonetest::ZoneRig;
namespace memdir = kesh::memdir;

constexpr char kQVOff[] = "QV not enabled for this zone";
constexpr char kWs1[] = "ws1.example.test";
constexpr char kWs1Sid[] = "S-1-5-21-3623811015-3361044348-30300820-1300";

class ClassicZoneTest : public ZoneRig {
 protected:
  std::shared_ptr<ClassicZone> NewClassic(const std::string& dn, int generation = 4,
                                          SchemaType schema = SCHEMA_TYPE_DYNAMIC) {
    return std::dynamic_pointer_cast<ClassicZone>(
        ClassicZone::Create(binding_, dn, schema, generation, false));
  }

  // The flag text stored in the null scope of the zone's store.
  std::string StoredFlag(const ClassicZone& zone) {
    return GetADObjectByDN(zone.scope->scopeObject->dn()).firstValue(AZ_APP_DATA);
  }

  // A profile of WS1 in the zone, saved.
  void AddWs1(ClassicZone& zone) {
    std::shared_ptr<ZoneComputer> computer = zone.newZoneComputer("WS1$@example.test");
    zone.saveZoneComputer(computer);
  }

  std::string Dump(const std::string& dn) { return memdir::DumpLdif(dn, true); }
};

TEST_F(ClassicZoneTest, CreateWritesVersionContainersAndTypeByLayoutAndGeneration) {
  const struct {
    SchemaType schema;
    int generation;
    bool ou;
    int version;
    ZoneType type;
  } cases[] = {
      {SCHEMA_TYPE_DYNAMIC, 3, false, 2, ZONE_TYPE_CLASSIC3},
      {SCHEMA_TYPE_DYNAMIC, 4, true, 4, ZONE_TYPE_CLASSIC4},
      {SCHEMA_TYPE_RFC, 3, true, 3, ZONE_TYPE_CLASSIC3},
      {SCHEMA_TYPE_RFC, 4, false, 5, ZONE_TYPE_CLASSIC4},
      {SCHEMA_TYPE_SFU, 3, false, 2, ZONE_TYPE_CLASSIC3},
      // An SFU zone asked for as classic4 is a classic3 zone.
      {SCHEMA_TYPE_SFU, 4, true, 2, ZONE_TYPE_CLASSIC3},
  };
  int n = 0;
  for (const auto& c : cases) {
    const std::string cn = "Classic Zone " + std::to_string(++n);
    const std::string dn = c.ou ? UnitDn(cn) : ZoneDn(cn);
    SCOPED_TRACE(cn);
    // An extended DN is reduced to the plain DN.
    std::shared_ptr<IZone> made = ClassicZone::Create(
        binding_, "<GUID=0123456789abcdef0123456789abcdef>;" + dn, c.schema, c.generation, c.ou);
    kesh::ADObject object = GetADObjectByDN(dn);
    // The directory keeps the class name in its schema's case.
    EXPECT_EQ(c.ou ? "organizationalunit" : "container",
              kesh::lower(object[AD_OBJECT_CLASS].values().back()));
    EXPECT_EQ("$KeshZoneVersion" + std::to_string(c.version), std::string(object[AD_DISPLAY_NAME]));
    long lastUsn = 0;
    for (const char* child : {"Computers", "Groups", "Users", "NisMaps"}) {
      kesh::ADObject container = GetADObjectByDN(std::string("CN=") + child + "," + dn);
      EXPECT_EQ("container", container[AD_OBJECT_CLASS].values().back()) << child;
      long usn = std::stol(std::string(container["uSNCreated"]));
      EXPECT_LT(lastUsn, usn) << child;
      lastUsn = usn;
    }
    for (const char* absent : {"LocalUsers", "LocalGroups", "Authorization"}) {
      EXPECT_FALSE(Exists(std::string("CN=") + absent + "," + dn)) << absent;
    }

    // Opened again by path, the version alone tells the kind.
    auto zone = std::dynamic_pointer_cast<ClassicZone>(OpenZone(dn));
    ASSERT_TRUE(zone);
    EXPECT_EQ(c.version, zone->version);
    EXPECT_EQ(c.type, zone->getZoneType());
    EXPECT_EQ(c.type, made->getZoneType());
    EXPECT_EQ(c.schema, zone->getSchemaType());
    EXPECT_EQ(dn, zone->getPath());
    EXPECT_EQ(kesh::lower(cn), zone->getZoneName());
    EXPECT_FALSE(zone->store || zone->scope);
  }
}

TEST_F(ClassicZoneTest, ANewZoneHasNoStoreAndRefusesWhatNeedsOne) {
  auto zone = NewClassic(ZoneDn("c"));
  const std::string before = Dump(ZoneDn("c"));
  EXPECT_FALSE(zone->isQVEnabled());
  std::list<std::shared_ptr<IZone>> children;
  const std::vector<std::function<void()>> refused = {
      [&] { zone->disableQV(); },
      [&] { zone->getChildren(children, true, true, true); },
      [&] { zone->getChildren(children, true, false, false); },
      [&] { ClassicMachineZone::Create(zone, kWs1); },
  };
  for (const auto& call : refused) EXPECT_EQ(kQVOff, MessageOf<kesh::BadDataException>(call));
  EXPECT_TRUE(children.empty());
  EXPECT_EQ(before, Dump(ZoneDn("c")));
}

TEST_F(ClassicZoneTest, TheSwitchCreatesTheStoreOnceAndKeepsItWhenOff) {
  auto zone = NewClassic(ZoneDn("c"));
  zone->enableQV();
  ASSERT_TRUE(zone->store && zone->scope);
  EXPECT_TRUE(zone->isQVEnabled());
  EXPECT_EQ(1, zone->store->version);
  EXPECT_EQ(sam::SamParser::WriteV1ApplicationData(true), StoredFlag(*zone));
  const std::string application = zone->store->application->dn();

  // On again: nothing is read or written, and there is still one application.
  EXPECT_EQ(0u, OperationsOf([&] { zone->enableQV(); }));
  size_t applications = 0;
  for (kesh::ADObject& child : binding_->children(*zone->store->adminManager, nullptr)) {
    applications += child[AD_OBJECT_CLASS].values().back() == AZ_CLASS_APPLICATION;
  }
  EXPECT_EQ(1u, applications);

  std::shared_ptr<QVRole> role = zone->newRole("keeper");
  zone->saveRole(role);
  zone->disableQV();
  EXPECT_FALSE(zone->isQVEnabled());
  EXPECT_EQ(sam::SamParser::WriteV1ApplicationData(false), StoredFlag(*zone));

  // Off, read afresh: the store and its role stay, and still work.
  auto reopened = std::dynamic_pointer_cast<ClassicZone>(ClassicZone::Open(binding_, ZoneDn("c")));
  ASSERT_TRUE(reopened->store && reopened->scope);
  EXPECT_FALSE(reopened->isQVEnabled());
  EXPECT_EQ("keeper", reopened->getRole("keeper")->getName());

  reopened->enableQV();
  EXPECT_TRUE(reopened->isQVEnabled());
  EXPECT_EQ(application, reopened->store->application->dn());
  EXPECT_EQ(sam::SamParser::WriteV1ApplicationData(true), StoredFlag(*reopened));
}

TEST_F(ClassicZoneTest, ComputerZoneIsTheScopeOfTheComputersSidAndAChild) {
  auto tree = NewTree(ZoneDn("tree"));
  auto zone = NewClassic(ZoneDn("Classic C"), 3);
  zone->enableQV();
  // Refusals without a write: a parent of the wrong type, no profile of the computer in the
  // zone (the read's failure).
  const std::string before = Dump(zonetest::kZones);
  EXPECT_EQ("Wrong zone type",
            MessageOf<kesh::BadDataException>([&] { ClassicMachineZone::Create(tree, kWs1); }));
  MessageOf<LDAPException>([&] { ClassicMachineZone::Create(zone, kWs1); });
  EXPECT_EQ(before, Dump(zonetest::kZones));

  AddWs1(*zone);
  const std::string profile = std::string("CN=") + kWs1 + ",CN=Computers," + ZoneDn("Classic C");
  ASSERT_TRUE(Exists(profile));
  auto made = std::dynamic_pointer_cast<ClassicMachineZone>(ClassicMachineZone::Create(zone, kWs1));
  ASSERT_TRUE(made);
  EXPECT_EQ(kWs1Sid, made->computerScope->scopeObject->firstValue(AZ_SCOPE_NAME));

  // Children are the computers with a scope and a profile: a scope whose SID no profile of
  // the zone holds is passed over.
  zone->store->createMachineScope("S-1-5-21-3623811015-3361044348-30300820-9999");
  const struct {
    bool tree, computerRole, computer;
    std::vector<std::string> paths;
  } cases[] = {
      {true, true, true, {std::string(kWs1) + "@" + ZoneDn("Classic C")}},
      {false, false, true, {std::string(kWs1) + "@" + ZoneDn("Classic C")}},
      {true, true, false, {}},
  };
  for (const auto& c : cases) {
    std::list<std::shared_ptr<IZone>> out;
    zone->getChildren(out, c.tree, c.computerRole, c.computer);
    EXPECT_EQ(c.paths, Paths(out)) << c.tree << c.computerRole << c.computer;
    for (const auto& child : out) EXPECT_EQ(ZONE_TYPE_CLASSIC_COMPUTER, child->getZoneType());
  }

  // Opened by its path, the name kept as given.
  const std::string path = std::string("WS1.example.test@") + ZoneDn("Classic C");
  auto opened = std::dynamic_pointer_cast<ClassicMachineZone>(OpenZone(path));
  ASSERT_TRUE(opened);
  EXPECT_EQ(path, opened->getPath());
  EXPECT_EQ(ZONE_TYPE_CLASSIC_COMPUTER, opened->getZoneType());
  EXPECT_EQ(ZoneDn("Classic C"), opened->getParent(false));
  EXPECT_EQ(ZoneDn("Classic C"), opened->getParent(true));
  EXPECT_EQ("classic c", opened->getZoneName());
  EXPECT_EQ(2, opened->version);
  EXPECT_EQ(SCHEMA_TYPE_DYNAMIC, opened->getSchemaType());
  EXPECT_TRUE(kesh::DN::equal(made->computerScope->scopeObject->dn(),
                              opened->computerScope->scopeObject->dn()));
  EXPECT_EQ(opened->scope, opened->computerScope);
  EXPECT_TRUE(
      kesh::DN::equal(zone->store->application->dn(), opened->nullScope->scopeObject->dn()));

  // An assignment in the scope goes with it; the profile stays.
  std::shared_ptr<QVRole> role = zone->newRole("ops");
  zone->saveRole(role);
  std::shared_ptr<Assignment> assignment = opened->newAssignment("alice@example.test");
  assignment->setRole(*role);
  opened->saveAssignment(assignment);
  const std::string scopeDn = opened->computerScope->scopeObject->dn();
  opened->remove();
  EXPECT_FALSE(Exists(scopeDn));
  EXPECT_TRUE(Exists(profile));
  EXPECT_EQ("Scope " + std::string(kWs1Sid) + " not found",
            MessageOf<kesh::NotFoundException>([&] { OpenZone(path); }));
}

TEST_F(ClassicZoneTest, RestrictedEnvironmentsAndPamRightsThroughTheZone) {
  auto zone = NewClassic(ZoneDn("c"));
  zone->enableQV();
  std::list<std::shared_ptr<PamApp>> apps;
  zone->listPamApps(apps);
  EXPECT_EQ(14u, apps.size());

  std::shared_ptr<RSEnv> env = zone->newRestrictEnv("jail");
  zone->saveRestrictEnv(env);
  std::shared_ptr<RestrictCommand> command = zone->newRestrictCommand("ls", env);
  command->cmd = "ls -l";
  zone->saveRestrictCommand(command);
  std::list<std::shared_ptr<RestrictCommand>> commands;
  zone->listRestrictCommands(commands);
  ASSERT_EQ(1u, commands.size());
  EXPECT_EQ("ls -l", commands.front()->cmd);
  EXPECT_EQ("jail", zone->getRestrictEnv("jail")->getName());

  std::list<std::shared_ptr<RSEnv>> envs;
  zone->getRestrictEnvs(envs);
  ASSERT_EQ(1u, envs.size());
  EXPECT_EQ("jail", envs.front()->getName());
}

}  // namespace
