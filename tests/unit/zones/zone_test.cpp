// Zone paths, alias suffixes, the capability lattice of a hierarchical zone, and the
// dispatch of OpenZone and CreateZone with their messages in the order they are tested.
#include "zones/zone.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "authorization/zone_qv.h"
#include "zones/classic_zone.h"
#include "zones/ngzone.h"
#include "zones/zone_rig.h"

namespace {

using zonetest::MessageOf;
using zonetest::ZoneRig;
namespace memdir = kesh::memdir;

// --- ParseZonePath ------------------------------------------------------------------------

struct PathCase {
  const char* path;
  const char* computer;
  const char* dn;
  const char* access;
};

TEST(ParseZonePathTest, SplitsTheThreeForms) {
  const PathCase cases[] = {
      {"CN=z,DC=a", "", "CN=z,DC=a", ""},
      {"host1@CN=z,DC=a", "host1", "CN=z,DC=a", ""},
      // An "@" behind the first "=" belongs to the DN.
      {"CN=a@b,DC=x", "", "CN=a@b,DC=x", ""},
      {"CN=z,DC=a/role1", "", "CN=z,DC=a", "role1"},
      {"CN=z,DC=a/", "", "CN=z,DC=a", ""},
      {"@CN=z,DC=a", "", "CN=z,DC=a", ""},
      // In the computer form a "/" plays no part.
      {"host1@CN=z,DC=a/role", "host1", "CN=z,DC=a/role", ""},
      // An "@" behind the "=" does not make a computer name; the "/" cuts.
      {"CN=z,DC=a/r@x", "", "CN=z,DC=a", "r@x"},
      // A "/" inside a DN cuts the path there.
      {"CN=a/b,DC=x", "", "CN=a", "b,DC=x"},
  };
  for (const PathCase& c : cases) {
    std::string computer, dn, access;
    ParseZonePath(c.path, computer, dn, access);
    EXPECT_EQ(c.computer, computer) << c.path;
    EXPECT_EQ(c.dn, dn) << c.path;
    EXPECT_EQ(c.access, access) << c.path;
  }
}

TEST(ParseZonePathTest, RefusesWhatNamesNoZoneDn) {
  for (const char* path : {"", "host1", "host1@notadn", "host1@", "/role", "@", "x@y", "=z"}) {
    std::string computer, dn, access;
    EXPECT_EQ("Bad zone name format",
              MessageOf<kesh::BadDataException>([&] { ParseZonePath(path, computer, dn, access); }))
        << "'" << path << "'";
  }
}

TEST(ParseZonePathTest, RefusesAComputerNameWithAnAccessZoneName) {
  // Only the parts the path has are assigned; what a caller left in the others counts.
  std::string computer, dn, access = "role1";
  EXPECT_EQ("Bad zone name format", MessageOf<kesh::BadDataException>([&] {
              ParseZonePath("host1@CN=z,DC=a", computer, dn, access);
            }));
  computer = "h", dn = "", access = "";
  EXPECT_EQ("Bad zone name format", MessageOf<kesh::BadDataException>([&] {
              ParseZonePath("CN=z,DC=a/role1", computer, dn, access);
            }));
}

// --- ParseUpn -------------------------------------------------------------------------------

TEST(ParseUpnTest, SplitsTheAliasSuffix) {
  const struct {
    const char* name;
    int suffix;
    const char* user;
  } cases[] = {
      {"user1+2", 2, "user1"}, {"user1", 0, "user1"}, {"user1+12abc", 12, "user1"},
      {"+5", 5, ""},           {"u+-3", -3, "u"},     {"", 0, ""},
  };
  for (const auto& c : cases) {
    std::pair<int, std::string> result = ParseUpn(c.name, '+');
    EXPECT_EQ(c.suffix, result.first) << c.name;
    EXPECT_EQ(c.user, result.second) << c.name;
  }
}

TEST(ParseUpnTest, RefusesAnEmptyOrZeroSuffix) {
  for (const char* name : {"user1+", "user1+0", "user1+x", "a+b+3", "+"}) {
    EXPECT_EQ("Invalid alias suffix",
              MessageOf<kesh::BadDataException>([&] { ParseUpn(name, '+'); }))
        << name;
  }
}

// --- OpenZone and CreateZone on the directory -------------------------------------------------

class DispatchTest : public ZoneRig {
 protected:
  void SetUp() override {
    ZoneRig::SetUp();
    // A classic zone object, a computer zone object, and a domain at the first functional
    // level (win2k) with a unit of its own.
    memdir::LoadLdif(
        "dn: " + ZoneDn("classic") +
        "\nobjectClass: container\ndisplayName: $KeshZoneVersion4\n"
        "description: schema:Dynamic_Schema_2_0\n\n"
        "dn: " +
        ZoneDn("host.example:zone") +
        "\nobjectClass: container\ndisplayName: $KeshComputerZoneVersion1\n"
        "description: schema:Dynamic_Schema_2_0\n\n"
        "dn:\ndefaultNamingContext: DC=old,DC=test\nrootDomainNamingContext: DC=old,DC=test\n"
        "dnsHostName: dc1.old.test\ndomainFunctionality: 0\nforestFunctionality: 0\n\n"
        "dn: DC=old,DC=test\nobjectClass: top\nobjectClass: domain\nobjectClass: domainDNS\n"
        "dc: old\nobjectSid: S-1-5-21-1-2-3\n\n"
        "dn: OU=Zones,DC=old,DC=test\nobjectClass: organizationalUnit\n\n");
    Bind("old.test");
  }
};

TEST_F(DispatchTest, OpenZoneTellsTheKindByTheStoredVersion) {
  std::string tree = ZoneDn("tree");
  NewTree(tree);
  const struct {
    std::string path;
    const char* message;
  } refused[] = {
      {ZoneDn("host.example:zone"), "Unsupported zone type"},
      {ZoneDn("classic") + "/role", "Bad zone name format (az not supported)"},
      {"CN=Users,DC=example,DC=test", "CN=Users,DC=example,DC=test is not a zone"},
      {"host1", "Bad zone name format"},
  };
  for (const auto& c : refused) {
    EXPECT_EQ(c.message, MessageOf<kesh::BadDataException>([&] { OpenZone(c.path); })) << c.path;
  }
  // A missing zone or computer zone fails in the read of its object (a classic computer
  // zone in that of the classic zone's store); a missing access zone in the search for its
  // scope, after the tree zone opened.
  for (const std::string& path :
       {ZoneDn("missing"), "host.example@" + tree, "host9.example@" + ZoneDn("classic")}) {
    EXPECT_EQ(kesh::LDAP_RC_NO_SUCH_OBJECT, [&] {
      try {
        OpenZone(path);
      } catch (const LDAPException& e) {
        return e.rc();
      }
      return 0;
    }()) << path;
  }
  EXPECT_EQ("Scope role not found",
            MessageOf<kesh::NotFoundException>([&] { OpenZone(tree + "/role"); }));
  EXPECT_NE(nullptr, dynamic_cast<ClassicZone*>(OpenZone(ZoneDn("classic")).get()));
  // An empty access zone name or computer name names the zone itself.
  for (const std::string& path : {tree, tree + "/", "@" + tree}) {
    std::shared_ptr<IZone> zone = OpenZone(path);
    ASSERT_NE(nullptr, dynamic_cast<TreeZone*>(zone.get())) << path;
    EXPECT_EQ(tree, zone->getPath()) << path;
  }
}

TEST_F(DispatchTest, CreateZoneTestsInOrderAndWritesNothingWhenItRefuses) {
  const std::string z = ZoneDn("z");
  const std::string old = "CN=z,OU=Zones,DC=old,DC=test";
  const struct {
    std::string path;
    SchemaType schema;
    ZoneType type;
    const char* message;
  } cases[] = {
      {"host1", SCHEMA_TYPE_RFC, ZONE_TYPE_TREE, "Bad zone name format"},
      {"host1@notadn", SCHEMA_TYPE_RFC, ZONE_TYPE_COMPUTER, "Bad zone name format"},
      // The FQDN test comes before the type.
      {"host1@" + z, SCHEMA_TYPE_RFC, ZONE_TYPE_TREE, "Machine zone name must be FQDN"},
      {"host1.@" + z, SCHEMA_TYPE_RFC, ZONE_TYPE_COMPUTER, "Machine zone name must be FQDN"},
      {"a.b.@" + z, SCHEMA_TYPE_RFC, ZONE_TYPE_TREE, "Invalid zone type"},
      {"a.b@" + z, SCHEMA_TYPE_RFC, ZONE_TYPE_ACCESS, "Invalid zone type"},
      {z, SCHEMA_TYPE_RFC, ZONE_TYPE_ACCESS, "Invalid zone type"},
      {z, SCHEMA_TYPE_RFC, ZONE_TYPE_COMPUTER, "Invalid zone type"},
      {z + "/role", SCHEMA_TYPE_RFC, ZONE_TYPE_TREE, "Invalid zone type"},
      {"a.b@" + z, SCHEMA_TYPE_SFU, ZONE_TYPE_COMPUTER, "Machine zone can not be SFU zone"},
      // The domain level is tested for hierarchical, computer and access zones only, and
      // before the layout of a computer zone.
      {old, SCHEMA_TYPE_RFC, ZONE_TYPE_TREE, "Zone type not supported in win2k domain"},
      {"a.b@" + old, SCHEMA_TYPE_SFU, ZONE_TYPE_COMPUTER,
       "Zone type not supported in win2k domain"},
      {old + "/role", SCHEMA_TYPE_NONE, ZONE_TYPE_ACCESS,
       "Zone type not supported in win2k domain"},
  };
  std::string before = memdir::DumpLdif("", true);
  for (const auto& c : cases) {
    EXPECT_EQ(c.message, MessageOf<kesh::BadDataException>(
                             [&] { CreateZone(c.path, c.schema, c.type, false); }))
        << c.path << " type " << c.type;
  }
  EXPECT_EQ(before, memdir::DumpLdif("", true));

  // A classic computer zone is exempt from the domain level: its refusal is the classic
  // zone's own.
  const std::string oldClassic = "CN=c,OU=Zones,DC=old,DC=test";
  memdir::LoadLdif("dn: " + oldClassic +
                   "\nobjectClass: container\ndisplayName: $KeshZoneVersion4\n"
                   "description: schema:Dynamic_Schema_2_0\n\n");
  EXPECT_EQ("QV not enabled for this zone", MessageOf<kesh::BadDataException>([&] {
              CreateZone("a.b@" + oldClassic, SCHEMA_TYPE_RFC, ZONE_TYPE_CLASSIC_COMPUTER, false);
            }));
}

TEST_F(DispatchTest, CreateZoneOfATreeZoneAddsTheNisServerGroup) {
  std::string z = UnitDn("z");
  CreateZone("@" + z, SCHEMA_TYPE_RFC, ZONE_TYPE_TREE, true);
  kesh::ADObject group = GetADObjectByDN("CN=zone_nis_servers,CN=Computers," + z);
  EXPECT_EQ("zone_nis_servers", std::string(group[AD_DISPLAY_NAME]));
  EXPECT_TRUE(kesh::Guid::isValidGuidStringFormat(std::string(group[AD_SAM_ACCOUNT_NAME]).c_str()));
  EXPECT_EQ("organizationalUnit", GetADObjectByDN(z)[AD_OBJECT_CLASS].values().back());
  // A second one of the same group fails in the add.
  auto zone = OpenZone(z);
  EXPECT_THROW(dynamic_cast<IZoneJoinable*>(zone.get())->createNisServerGroup(), LDAPException);
}

TEST_F(DispatchTest, ANisServerGroupBelowTheSystemContainerIsRefusedAfterTheZoneIsWritten) {
  std::string z = "CN=sz,CN=System,DC=example,DC=test";
  EXPECT_EQ(
      "A computer in a zone under the default system container cannot act as a NIS "
      "server.",
      MessageOf<kesh::BadDataException>(
          [&] { CreateZone(z, SCHEMA_TYPE_DYNAMIC, ZONE_TYPE_TREE, false); }));
  // No rollback: the zone stays, without the group.
  EXPECT_TRUE(Exists("CN=Computers," + z));
  EXPECT_FALSE(Exists("CN=zone_nis_servers,CN=Computers," + z));
}

// --- GetAllChildren -------------------------------------------------------------------------

TEST_F(ZoneRig, GetAllChildrenWalksTheSubtreeDepthFirst) {
  auto root = NewTree(ZoneDn("root"));
  auto c1 = NewTree(ZoneDn("c1"));
  auto g1 = NewTree(ZoneDn("g1"));
  auto c2 = NewTree(ZoneDn("c2"));
  for (auto link : std::vector<std::pair<std::shared_ptr<TreeZone>, std::string>>{
           {c1, ZoneDn("root")}, {g1, ZoneDn("c1")}, {c2, ZoneDn("root")}}) {
    link.first->setParent(link.second);
    link.first->saveZone();
  }
  std::list<std::shared_ptr<IZone>> all;
  GetAllChildren(all, root);
  std::vector<std::string> paths;
  for (auto& zone : all) paths.push_back(zone->getPath());
  ASSERT_EQ(3u, paths.size());
  // Preorder: g1 right behind its parent c1, whichever child of root comes first.
  auto at = std::find(paths.begin(), paths.end(), ZoneDn("c1"));
  ASSERT_NE(paths.end(), at);
  ASSERT_NE(paths.end(), at + 1);
  EXPECT_EQ(ZoneDn("g1"), *(at + 1));
  EXPECT_NE(paths.end(), std::find(paths.begin(), paths.end(), ZoneDn("c2")));
  std::list<std::shared_ptr<IZone>> none;
  GetAllChildren(none, g1);
  EXPECT_TRUE(none.empty());
}

}  // namespace
