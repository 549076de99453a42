// Hierarchical zones on the in-memory directory: the object tree a new zone writes in each
// layout, the parent link (saved, followed, unusable), children of each kind with broken
// computer zones, NSS variables, reparenting and removal.
#include "zones/ngzone.h"

#include <gtest/gtest.h>

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "authorization/qv.h"
#include "directory/library/dn.h"
#include "directory/library/sam_parser.h"
#include "schema/keywords.h"
#include "schema/zschema.h"
#include "zones/access_zone.h"
#include "zones/machine_zone.h"
#include "zones/zone_rig.h"

namespace {

using memtest::OperationsOf;
using zonetest::Dictionary;
using zonetest::MessageOf;
using zonetest::Paths;
using zonetest::ZoneRig;
namespace memdir = kesh::memdir;

using NGZoneTest = ZoneRig;

// A computer zone of `zone` whose scope has been deleted: it fails to open with
// kesh::NotFoundException.
void BrokenComputerZone(const std::shared_ptr<TreeZone>& zone, const std::string& computer) {
  testing::internal::CaptureStderr();  // the warning of a computer without a profile
  MachineZone::Create(zone, computer, SCHEMA_TYPE_DYNAMIC);
  testing::internal::GetCapturedStderr();
  zone->store->deleteScope(computer);
}

TEST_F(NGZoneTest, CreateWritesTheZoneItsContainersAndStoreInEachLayout) {
  const struct {
    SchemaType schema;
    bool ou;
    const char* cn;
    const char* name;
    const char* marker;
    const char* schemaText;
  } layouts[] = {
      {SCHEMA_TYPE_DYNAMIC, false, "Std Zone", "std zone", "$KeshZoneVersion6",
       "Dynamic_Schema_2_0"},
      {SCHEMA_TYPE_RFC, true, "Rfc Zone", "rfc zone", "$KeshZoneVersion7", "KVR_RFC_2307"},
      {SCHEMA_TYPE_SFU, false, "Sfu Zone", "sfu zone", "$KeshZoneVersion9", "SFU_3_0"},
  };
  for (const auto& l : layouts) {
    std::string dn = l.ou ? UnitDn(l.cn) : ZoneDn(l.cn);
    // An extended DN is reduced to the plain DN.
    std::shared_ptr<IZone> zone =
        TreeZone::Create(binding_, "<GUID=0123456789abcdef0123456789abcdef>;" + dn, l.schema, l.ou);
    kesh::ADObject object = GetADObjectByDN(dn);
    EXPECT_EQ(l.ou ? "organizationalUnit" : "container", object[AD_OBJECT_CLASS].values().back())
        << l.cn;
    EXPECT_EQ(l.marker, std::string(object[AD_DISPLAY_NAME])) << l.cn;
    EXPECT_EQ(l.schemaText, Dictionary(object)["schema"]) << l.cn;
    // The six containers, added in their order, then the store.
    long lastUsn = 0;
    for (const char* cn :
         {"Computers", "Groups", "LocalGroups", "Users", "LocalUsers", "NisMaps"}) {
      kesh::ADObject child = GetADObjectByDN(std::string("CN=") + cn + "," + dn);
      EXPECT_EQ("container", child[AD_OBJECT_CLASS].values().back()) << cn;
      long usn = std::stol(std::string(child["uSNCreated"]));
      EXPECT_LT(lastUsn, usn) << cn;
      lastUsn = usn;
    }
    EXPECT_TRUE(Exists("CN=Authorization," + dn)) << l.cn;

    EXPECT_EQ(l.schema, zone->getSchemaType()) << l.cn;
    EXPECT_EQ(dn, zone->getPath());
    EXPECT_EQ(l.name, zone->getZoneName());
    auto tree = std::dynamic_pointer_cast<TreeZone>(zone);
    EXPECT_EQ("", tree->getParent(false));
    EXPECT_EQ("", tree->getParent(true));
    EXPECT_TRUE(tree->store && tree->scope) << l.cn;
  }
}

TEST_F(NGZoneTest, ContainersAreReadAndTheNisContainerRepairedOnUse) {
  auto zone = NewTree(ZoneDn("z"));
  EXPECT_TRUE(kesh::DN::equal("CN=Users," + ZoneDn("z"), zone->getZUserContainer().dn()));
  EXPECT_TRUE(kesh::DN::equal("CN=Groups," + ZoneDn("z"), zone->getZGroupContainer().dn()));
  EXPECT_TRUE(kesh::DN::equal("CN=Computers," + ZoneDn("z"), zone->getComputerContainer().dn()));
  kesh::ADObject nis = GetADObjectByDN("CN=NisMaps," + ZoneDn("z"));
  binding_->remove(nis, true);
  EXPECT_TRUE(kesh::DN::equal("CN=NisMaps," + ZoneDn("z"), zone->getNisContainer().dn()));
  EXPECT_TRUE(Exists("CN=NisMaps," + ZoneDn("z")));
}

TEST_F(NGZoneTest, LocalGroupsOfAnSfuZoneAreRefusedBeforeAnyRead) {
  auto zone = NewTree(ZoneDn("sfu"), SCHEMA_TYPE_SFU);
  IZoneSupportNssLocalGroup* local = zone.get();
  EXPECT_EQ(0u, OperationsOf([&] {
              EXPECT_EQ("SFU Zone does not support local group",
                        MessageOf<kesh::BadDataException>([&] {
                          local->getGroups("", [](std::shared_ptr<NssGroup>&) { return true; });
                        }));
            }));
}

TEST_F(NGZoneTest, TheParentLinkIsWrittenBySaveZoneAndFollowedOnOpen) {
  auto parent = NewTree(ZoneDn("parent"));
  auto child = NewTree(ZoneDn("child"));
  child->setParent(ZoneDn("parent"));
  // In memory only until saved.
  EXPECT_EQ(ZoneDn("parent"), child->getParent(false));
  EXPECT_EQ("", child->getParent(true));
  EXPECT_EQ("", Dictionary(GetADObjectByDN(ZoneDn("child")))["parentLink"]);
  child->saveZone();

  std::string link = parent->object.guid().toRealMSString() + "@example.test";
  auto reopened = Reopen(ZoneDn("child"));
  EXPECT_EQ(link, reopened->getParent(true));
  EXPECT_TRUE(kesh::DN::equal(ZoneDn("parent"), reopened->getParent(false)));
  std::list<std::shared_ptr<IZone>> children;
  parent->getChildren(children, true, false, false);
  EXPECT_EQ(std::vector<std::string>{ZoneDn("child")}, Paths(children));

  // Clearing the parent removes the key.
  reopened->setParent("");
  reopened->saveZone();
  EXPECT_EQ(0u, Dictionary(GetADObjectByDN(ZoneDn("child"))).count("parentLink"));
  children.clear();
  parent->getChildren(children, true, false, false);
  EXPECT_TRUE(children.empty());
}

TEST_F(NGZoneTest, AnUnusableParentLinkOpensARootZoneAndKeepsTheLink) {
  auto parent = NewTree(ZoneDn("parent"));
  std::string guid = parent->object.guid().toRealMSString();
  NewTree(ZoneDn("child"));
  const std::string links[] = {
      "no-at-sign",                                         // malformed
      "S-1-5-21-1-2-3-1101",                                // a computer zone's SID link
      guid + "@unbound.test",                               // a domain the session is not bound to
      "not-a-guid@example.test",                            // no GUID
      "01234567-89ab-cdef-0123-456789abcdef@example.test",  // no such object
  };
  for (const std::string& link : links) {
    kesh::ADObject object = GetADObjectByDN(ZoneDn("child"));
    SetCramAttr(object, AD_DESCRIPTION, "parentLink", link);
    binding_->update(object, 2);
    auto zone = Reopen(ZoneDn("child"));
    EXPECT_EQ("", zone->getParent(false)) << link;
    EXPECT_EQ(link, zone->getParent(true)) << link;
  }
  // A deleted parent: the same.
  auto child = Reopen(ZoneDn("child"));
  child->setParent(ZoneDn("parent"));
  child->saveZone();
  parent->remove();
  auto orphan = Reopen(ZoneDn("child"));
  EXPECT_EQ("", orphan->getParent(false));
  EXPECT_EQ(guid + "@example.test", orphan->getParent(true));
}

TEST_F(NGZoneTest, GetChildrenWithNoKindReadsNothing) {
  auto zone = NewTree(ZoneDn("z"));
  std::list<std::shared_ptr<IZone>> out;
  EXPECT_EQ(0u, OperationsOf([&] { zone->getChildren(out, false, false, false); }));
  EXPECT_TRUE(out.empty());
}

TEST_F(NGZoneTest, BrokenComputerZonesAreReportedAndTheHealthyChildrenThrown) {
  // The healthy child's path holds a "%s" and runs past 511 bytes: the message keeps the
  // "%" as it is and is cut there.
  std::string unit = "OU=" + std::string(600, 'u') + "," + zonetest::kZones;
  memdir::LoadLdif("dn: " + unit + "\nobjectClass: organizationalUnit\n\n");
  std::string childDn = "CN=50%s off," + unit;
  auto zone = NewTree(ZoneDn("z"));
  auto child = NewTree(childDn);
  child->setParent(ZoneDn("z"));
  child->saveZone();
  // A computer zone whose scope is gone is broken; a zone computer profile is no zone.
  BrokenComputerZone(zone, "host.example");
  memdir::LoadLdif("dn: CN=host2.example,CN=Computers," + ZoneDn("z") +
                   "\nobjectClass: container\n\n");

  std::list<std::shared_ptr<IZone>> out;
  testing::internal::CaptureStderr();
  std::string message =
      MessageOf<kesh::NotFoundException>([&] { zone->getChildren(out, true, true, true); });
  EXPECT_EQ("Cannot open the below zones:\nhost.example@" + ZoneDn("z") +
                "\nThe healthy child zones can be catched or found in $::errorInfo\n",
            testing::internal::GetCapturedStderr());
  EXPECT_EQ(childDn.substr(0, 511), message);
  EXPECT_EQ(std::vector<std::string>{childDn}, Paths(out));
}

TEST_F(NGZoneTest, ComputerRolesAreTheScopesWithAGroup) {
  auto zone = NewTree(ZoneDn("z"));
  zone->store->createMachineScope("host.example");
  std::shared_ptr<QVScope> role = zone->store->createAccessZoneScope("role1");
  std::list<std::shared_ptr<IZone>> out;
  // Scopes without a group are passed over.
  zone->getChildren(out, false, true, false);
  EXPECT_TRUE(out.empty());
  (*role->scopeObject)["msDS-AzApplicationData"] = sam::SamParser::WriteV2ScopeData("staff");
  binding_->update(*role->scopeObject, 2);
  zone->getChildren(out, false, true, false);
  EXPECT_EQ(std::vector<std::string>{ZoneDn("z") + "/role1"}, Paths(out));
  EXPECT_EQ("staff", dynamic_cast<AccessZone&>(*out.front()).getGroup());
}

TEST_F(NGZoneTest, NssVariablesReplaceEveryPercentKeyAndNothingElse) {
  auto zone = NewTree(ZoneDn("z"));
  std::map<std::string, std::string> others = Dictionary(zone->object);
  std::map<std::string, std::string> vars = {{"", "no name"}, {"home", "/h:x"}, {"gone", ""}};
  zone->setNssVars(vars);
  zone->saveZone();

  auto reopened = Reopen(ZoneDn("z"));
  std::map<std::string, std::string> out = {{"kept", "as it was"}};
  reopened->getNssVars(out);
  EXPECT_EQ((std::map<std::string, std::string>{
                {"", "no name"}, {"home", "/h:x"}, {"kept", "as it was"}}),
            out);

  std::map<std::string, std::string> none;
  reopened->setNssVars(none);
  reopened->saveZone();
  EXPECT_EQ(others, Dictionary(GetADObjectByDN(ZoneDn("z"))));
}

TEST_F(NGZoneTest, RemoveDeletesTheZoneWithEverythingBelow) {
  auto zone = NewTree(ZoneDn("z"));
  zone->remove();
  EXPECT_FALSE(Exists(ZoneDn("z")));
  EXPECT_TRUE(Exists(zonetest::kZones));
}

TEST_F(NGZoneTest, SetParentRefusesAndKeepsTheParentItHad) {
  memtest::LoadFixture("other.ldif");
  std::shared_ptr<MyBinding> other = Bind("other.test");
  NewTree("CN=foreign,DC=other,DC=test", SCHEMA_TYPE_DYNAMIC, other);
  NewTree(ZoneDn("parent"));
  auto zone = NewTree(ZoneDn("z"));
  zone->setParent(ZoneDn("parent"));
  const struct {
    std::string path;
    const char* message;
  } refused[] = {
      {"CN=foreign,DC=other,DC=test", "Parent and child zone should be in the same forest"},
      {"CN=Users,DC=example,DC=test", "CN=Users,DC=example,DC=test is not a zone"},
      {"host1", "Bad zone name format"},
  };
  for (const auto& c : refused) {
    EXPECT_EQ(c.message, MessageOf<kesh::BadDataException>([&] { zone->setParent(c.path); }))
        << c.path;
    EXPECT_EQ(ZoneDn("parent"), zone->getParent(false)) << c.path;
  }
}

TEST_F(NGZoneTest, OnlyAZoneThatHasAParentIsCheckedBeforeReparenting) {
  // The subtree check reads the subtree: a broken computer zone below stops it.
  NewTree(ZoneDn("parent"));
  auto zone = NewTree(ZoneDn("z"));
  BrokenComputerZone(zone, "host.example");
  zone->setParent(ZoneDn("parent"));  // a root zone gets its first parent: no check
  EXPECT_EQ(ZoneDn("parent"), zone->getParent(false));
  testing::internal::CaptureStderr();
  EXPECT_THROW(zone->setParent(""), kesh::NotFoundException);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(ZoneDn("parent"), zone->getParent(false));
}

}  // namespace
