// Group profiles of the serviceConnectionPoint layouts on the in-memory directory: the
// stored form of zone and local groups in each layout and zone version, the checks before a
// save, lookups, listing, renames and deletion.
//
// Hierarchical zones (6 Dynamic, 7 RFC) are made with TreeZone. Classic zones (2 and 4
// Dynamic, 3 and 5 RFC) cannot be opened yet: they are zone objects of the fixture's own,
// whose adapter comes from GetSchema, driven through the zone-group mix-in.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "directory/library/dn.h"
#include "directory/library/strings.h"
#include "schema/keywords.h"
#include "schema/user.h"
#include "schema/zschema.h"
#include "zones/zone_rig.h"

namespace {

using memtest::OperationsOf;
using zonetest::MessageOf;
namespace memdir = kesh::memdir;

const char kUnixAdmins[] = "unixadmins@example.test";  // cn "UNIX Admins", gidNumber 10000
const char kUnixAdminsSid[] = "S-1-5-21-3623811015-3361044348-30300820-1200";
const char kRingA[] = "ring-a@example.test";
const char kCrowd[] = "crowd@example.test";

// A classic zone as the zone commands will hold it: the zone-group mix-in over the zone
// object and the adapter GetSchema gives for it. The IZone operations are not used here.
class ClassicZoneGroups : public NssZoneSupportZoneUserGroup {
 public:
  void remove() override {}
  std::string getPath() override { return object.dn(); }
  void saveZone() override {}
  ZoneType getZoneType() override { return ZONE_TYPE_CLASSIC4; }
  std::string getZoneName() override { return object.firstValue(AD_CN); }
};

struct Layout {
  const char* label;
  int version;
  SchemaType schema;
};
const Layout kLayouts[] = {
    {"dynamic6", 6, SCHEMA_TYPE_DYNAMIC}, {"rfc7", 7, SCHEMA_TYPE_RFC},
    {"dynamic2", 2, SCHEMA_TYPE_DYNAMIC}, {"dynamic4", 4, SCHEMA_TYPE_DYNAMIC},
    {"rfc3", 3, SCHEMA_TYPE_RFC},         {"rfc5", 5, SCHEMA_TYPE_RFC},
};

std::map<std::string, std::string> Keywords(const kesh::ADObject& object) {
  std::map<std::string, std::string> dict;
  CramDict(object.find(AD_KEYWORDS), dict);
  return dict;
}

class ScpGroupsTest : public zonetest::ZoneRig {
 protected:
  // The zone of `layout`, opened; its zone groups in `groups`, its local groups (tree
  // zones) in `locals`, its adapter in `schema`.
  struct Zone {
    std::shared_ptr<IZone> holder;
    IZoneSupportNssZoneGroup* groups = nullptr;
    IZoneSupportNssLocalGroup* locals = nullptr;
    SchemaScp* schema = nullptr;
    std::string dn;
  };

  Zone Open(const Layout& layout) {
    Zone zone;
    zone.dn = ZoneDn(layout.label);
    if (layout.version >= 6) {
      std::shared_ptr<TreeZone> tree = NewTree(zone.dn, layout.schema);
      zone.holder = tree;
      zone.groups = tree.get();
      zone.locals = tree.get();
      zone.schema = dynamic_cast<SchemaScp*>(tree->getSchema());
      return zone;
    }
    const std::string schemaText =
        layout.schema == SCHEMA_TYPE_RFC ? "KVR_RFC_2307" : "Dynamic_Schema_2_0";
    memdir::LoadLdif("dn: " + zone.dn + "\nobjectClass: container\ndisplayName: $KeshZoneVersion" +
                     std::to_string(layout.version) + "\ndescription: schema:" + schemaText +
                     "\n\ndn: CN=Groups," + zone.dn + "\nobjectClass: container\n\n" +
                     "dn: CN=LocalGroups," + zone.dn + "\nobjectClass: container\n\n");
    auto classic = std::make_shared<ClassicZoneGroups>();
    classic->object = GetADObjectByDN(zone.dn);
    classic->binding = binding_;
    classic->schema = GetSchema(classic->object);
    zone.holder = classic;
    zone.groups = classic.get();
    zone.schema = dynamic_cast<SchemaScp*>(classic->schema.get());
    return zone;
  }

  // A new zone group of `name` with the fields given (a negative gid: not set; an empty
  // unix name: not set).
  static std::shared_ptr<NssGroup> NewGroup(Zone& zone, const std::string& name, long gid,
                                            const std::string& unixName) {
    std::shared_ptr<NssGroup> group = zone.groups->newZGroup(name);
    if (gid >= 0) group->gid.set(static_cast<uint32_t>(gid));
    if (!unixName.empty()) group->unixName.set(unixName);
    return group;
  }
};

TEST_F(ScpGroupsTest, ZoneGroupStoredFormAndReadBackInEachLayout) {
  const struct {
    const char* cn;
    std::vector<std::string> classes;
    const char* marker;
  } expected[] = {
      {"UNIX Admins@example.test", {"serviceConnectionPoint"}, "$KeshGroupVersion4"},
      {"unixadmins@example.test", {"serviceConnectionPoint", "posixAccount"}, "$KeshGroupVersion5"},
      {"uadm", {"serviceConnectionPoint"}, "$KeshGroupVersion2"},
      {"uadm", {"serviceConnectionPoint"}, "$KeshGroupVersion2"},
      {"uadm", {"serviceConnectionPoint", "posixAccount"}, "$KeshGroupVersion3"},
      {"uadm", {"serviceConnectionPoint", "posixAccount"}, "$KeshGroupVersion3"},
  };
  for (size_t i = 0; i < std::size(kLayouts); ++i) {
    const Layout& l = kLayouts[i];
    const bool rfc = l.schema == SCHEMA_TYPE_RFC;
    Zone zone = Open(l);
    std::shared_ptr<NssGroup> group = NewGroup(zone, kUnixAdmins, 1234, "uadm");
    EXPECT_EQ(kUnixAdmins, group->accountName) << l.label;
    group->required = true;
    ASSERT_NO_THROW(zone.groups->saveGroup(group)) << l.label;

    const std::string dn = std::string("CN=") + expected[i].cn + ",CN=Groups," + zone.dn;
    kesh::ADObject stored = GetADObjectByDN(dn);
    const std::vector<std::string>& classes = stored[AD_OBJECT_CLASS].values();
    for (const std::string& c : expected[i].classes) {
      EXPECT_NE(classes.end(), std::find(classes.begin(), classes.end(), c)) << l.label << c;
    }
    EXPECT_EQ(expected[i].marker, stored.firstValue(AD_DISPLAY_NAME)) << l.label;
    std::map<std::string, std::string> keywords = Keywords(stored);
    std::map<std::string, std::string> want = {{"parentLink", kUnixAdminsSid},
                                               {"required", "True"}};
    if (!rfc) want["gid"] = "1234";
    if (l.version >= 6) want["login"] = "uadm";
    EXPECT_EQ(want, keywords) << l.label;
    EXPECT_EQ(rfc ? "1234" : "", stored.firstValue("gidNumber")) << l.label;
    EXPECT_FALSE(group->isNew) << l.label;
    EXPECT_TRUE(kesh::DN::equal(dn, group->scp.dn())) << l.label;

    // Found again by directory name, by "*<sid>" and by unix name, with the same fields.
    for (const auto& [name, byUnixName] : std::vector<std::pair<std::string, bool>>{
             {kUnixAdmins, false}, {std::string("*") + kUnixAdminsSid, false}, {"uadm", true}}) {
      std::shared_ptr<NssGroup> loaded;
      ASSERT_NO_THROW(loaded = zone.groups->getZGroup(name, byUnixName)) << l.label << name;
      EXPECT_TRUE(kesh::DN::equal(dn, loaded->scp.dn())) << l.label << name;
      EXPECT_EQ(kUnixAdmins, loaded->accountName) << l.label << name;
      EXPECT_TRUE(loaded->gid.isSet && loaded->gid.value == 1234) << l.label << name;
      EXPECT_EQ("uadm", loaded->unixName.value) << l.label << name;
      EXPECT_TRUE(loaded->required) << l.label << name;
      EXPECT_FALSE(loaded->isNew) << l.label << name;
    }
    for (const auto& [name, byUnixName] : std::vector<std::pair<std::string, bool>>{
             {kRingA, false}, {"nobody", true}, {"*S-1-5-21-1-2-3-4", false}, {"*junk", false}}) {
      EXPECT_EQ("Group not in current zone", MessageOf<kesh::NotFoundException>(
                                                 [&] { zone.groups->getZGroup(name, byUnixName); }))
          << l.label << name;
    }
    EXPECT_EQ("Group already exists",
              MessageOf<kesh::BadDataException>([&] { zone.groups->newZGroup(kUnixAdmins); }))
        << l.label;
  }
}

TEST_F(ScpGroupsTest, GidAndNameRulesByVersion) {
  const char kMissing[] = "Some group profile fields are missing";
  const char kNone[] = "At least one group profile field required";
  for (const Layout& l : kLayouts) {
    Zone zone = Open(l);
    const bool classic = l.version < 6;
    const struct {
      const char* group;
      long gid;
      const char* unixName;
      const char* message;  // "" saves
    } cases[] = {
        {kRingA, -1, "", classic ? kMissing : kNone},
        {kRingA, -1, "ringa", classic ? kMissing : ""},
        {kCrowd, 4321, "", classic ? kMissing : ""},
    };
    for (const auto& c : cases) {
      std::shared_ptr<NssGroup> group = NewGroup(zone, c.group, c.gid, c.unixName);
      if (*c.message == '\0') {
        EXPECT_NO_THROW(zone.groups->saveGroup(group)) << l.label << c.unixName;
        EXPECT_EQ(c.gid >= 0, zone.groups->getZGroup(c.group, false)->gid.isSet) << l.label;
        continue;
      }
      const uint64_t writes = OperationsOf([&] {
        EXPECT_EQ(c.message,
                  MessageOf<kesh::BadDataException>([&] { zone.groups->saveGroup(group); }))
            << l.label << c.unixName;
      });
      EXPECT_EQ(0u, writes) << l.label;
      EXPECT_TRUE(group->isNew) << l.label;
    }
    // Below 6 the RFC adapter refuses an incomplete zone group on its own as well.
    if (classic && l.schema == SCHEMA_TYPE_RFC) {
      std::shared_ptr<NssGroup> group = NewGroup(zone, kRingA, 7, "");
      const uint64_t operations = OperationsOf([&] {
        EXPECT_EQ(kMissing,
                  MessageOf<kesh::BadDataException>([&] { zone.schema->saveGroup(group); }))
            << l.label;
      });
      EXPECT_EQ(0u, operations) << l.label;
    }
  }
}

TEST_F(ScpGroupsTest, NewZoneGroupRefusals) {
  Zone zone = Open(kLayouts[0]);
  const struct {
    const char* name;
    const char* message;
  } refused[] = {
      {"staff-list@example.test",
       "Error: staff-list@example.test is a distribution group.  Only security groups can be "
       "added to the zone"},
      {"unixadmins", "Group name must include domain"},
  };
  for (const auto& r : refused) {
    EXPECT_EQ(r.message,
              MessageOf<kesh::BadDataException>([&] { zone.groups->newZGroup(r.name); }));
  }
  EXPECT_EQ("could not find nosuch@example.test", MessageOf<kesh::NotFoundException>([&] {
              zone.groups->newZGroup("nosuch@example.test");
            }));
}

TEST_F(ScpGroupsTest, DuplicateUnixNameButNotItsOwn) {
  for (const Layout& l : kLayouts) {
    Zone zone = Open(l);
    std::shared_ptr<NssGroup> first = NewGroup(zone, kRingA, 100, "shared");
    ASSERT_NO_THROW(zone.groups->saveGroup(first)) << l.label;
    std::shared_ptr<NssGroup> second = NewGroup(zone, kCrowd, 101, "shared");
    EXPECT_EQ("Duplicate Unix name",
              MessageOf<kesh::BadDataException>([&] { zone.groups->saveGroup(second); }))
        << l.label;
    EXPECT_TRUE(second->isNew) << l.label;

    // The profile that holds the name saves under it, its DN written in another case.
    std::shared_ptr<NssGroup> again = zone.groups->getZGroup(kRingA, false);
    again->scp[AD_DN] = kesh::lower(again->scp.dn());
    again->gid.set(102);
    EXPECT_NO_THROW(zone.groups->saveGroup(again)) << l.label;
    EXPECT_EQ(102u, zone.groups->getZGroup("shared", true)->gid.value) << l.label;
  }
}

TEST_F(ScpGroupsTest, LongNamesBecomeTheGuidInTreeZones) {
  const std::string longName(60, 'x');
  memdir::LoadLdif("dn: CN=" + longName + ",CN=Users,DC=example,DC=test\nobjectClass: group\n" +
                   "sAMAccountName: " + longName +
                   "\nobjectSid: S-1-5-21-3623811015-3361044348-30300820-1301\n"
                   "groupType: -2147483646\n\n");
  const std::string guid =
      GetADObjectByDN("CN=" + longName + ",CN=Users,DC=example,DC=test").guid().toRealMSString();
  for (const Layout& l : kLayouts) {
    Zone zone = Open(l);
    std::shared_ptr<NssGroup> group = NewGroup(zone, longName + "@example.test", 5, "long");
    ASSERT_NO_THROW(zone.groups->saveGroup(group)) << l.label;
    const std::string cn = l.version >= 6 ? guid : "long";
    EXPECT_TRUE(Exists("CN=" + cn + ",CN=Groups," + zone.dn)) << l.label;
  }
}

// Callbacks of getGroups (plain function pointers): one stops at the second group, one
// collects the names.
int gVisited = 0;
bool gStopAt2(std::shared_ptr<NssGroup>&) { return ++gVisited == 2; }
std::vector<std::string> gNames;
bool gCollect(std::shared_ptr<NssGroup>& group) {
  gNames.push_back(group->accountName);
  return false;
}

TEST_F(ScpGroupsTest, ListingResolvesGroupsInBatchesAndStopsWhenAsked) {
  std::string ldif;
  for (int i = 0; i < 20; ++i) {
    ldif += "dn: CN=Batch " + std::to_string(i) + ",CN=Users,DC=example,DC=test\n" +
            "objectClass: group\nsAMAccountName: batch" + std::to_string(i) +
            "\nobjectSid: S-1-5-21-3623811015-3361044348-30300820-" + std::to_string(2000 + i) +
            "\ngroupType: -2147483646\n\n";
  }
  memdir::LoadLdif(ldif);
  for (const Layout& l : {kLayouts[0], kLayouts[1], kLayouts[2], kLayouts[4]}) {
    Zone zone = Open(l);
    std::vector<std::string> want;
    for (int i = 0; i < 20; ++i) {
      const std::string name = "batch" + std::to_string(i) + "@example.test";
      std::shared_ptr<NssGroup> group = NewGroup(zone, name, 3000 + i, "b" + std::to_string(i));
      zone.groups->saveGroup(group);
      want.push_back(name);
    }
    // A profile whose group is gone is named by its link.
    memdir::LoadLdif("dn: CN=gone,CN=Groups," + zone.dn +
                     "\nobjectClass: serviceConnectionPoint\nkeywords: parentLink:S-1-5-21-9-9-9-1"
                     "\nkeywords: gid:1\n\n");
    want.push_back("*S-1-5-21-9-9-9-1");
    // One linked by managedBy alone: followed below version 4, else named by its empty link.
    memdir::LoadLdif("dn: CN=managed,CN=Groups," + zone.dn +
                     "\nobjectClass: serviceConnectionPoint\nmanagedBy: CN=Ring A,CN=Users,"
                     "DC=example,DC=test\nkeywords: gid:2\n\n");
    want.push_back(l.version < 4 ? kRingA : "*");
    std::sort(want.begin(), want.end());

    gNames.clear();
    const uint64_t operations =
        OperationsOf([&] { zone.groups->getGroups("(objectClass=*)", gCollect); });
    std::sort(gNames.begin(), gNames.end());
    EXPECT_EQ(want, gNames) << l.label;
    RecordProperty(std::string(l.label) + "_listing_operations", static_cast<int>(operations));
    EXPECT_LE(operations, 4u) << l.label;

    gVisited = 0;
    zone.groups->getGroups("(objectClass=*)", gStopAt2);
    EXPECT_EQ(2, gVisited) << l.label;
  }
}

TEST_F(ScpGroupsTest, ClassicRenameFollowsTheUnixName) {
  for (const Layout& l : {kLayouts[2], kLayouts[3], kLayouts[4], kLayouts[5]}) {
    Zone zone = Open(l);
    std::shared_ptr<NssGroup> group = NewGroup(zone, kRingA, 10, "before");
    ASSERT_NO_THROW(zone.groups->saveGroup(group)) << l.label;
    group = zone.groups->getZGroup(kRingA, false);
    group->unixName.set("after");
    ASSERT_NO_THROW(zone.groups->saveGroup(group)) << l.label;
    EXPECT_FALSE(Exists("CN=before,CN=Groups," + zone.dn)) << l.label;
    kesh::ADObject renamed = GetADObjectByDN("CN=after,CN=Groups," + zone.dn);
    EXPECT_EQ("10", l.schema == SCHEMA_TYPE_RFC ? renamed.firstValue("gidNumber")
                                                : Keywords(renamed)["gid"])
        << l.label;
    EXPECT_EQ("after", zone.groups->getZGroup("after", true)->unixName.value) << l.label;

    // The object gone behind the profile's back: the save refuses and keeps the profile.
    kesh::ADObject scp = group->scp;
    binding_->remove(renamed, false);
    group->gid.set(11);
    EXPECT_EQ("Scp has been deleted",
              MessageOf<kesh::BadDataException>([&] { zone.groups->saveGroup(group); }))
        << l.label;
    EXPECT_TRUE(scp.sameAs(group->scp)) << l.label;
    EXPECT_FALSE(group->isNew) << l.label;
  }
}

TEST_F(ScpGroupsTest, LocalGroupsInTreeZones) {
  const std::string kFlagMessage =
      "Invalid value. Accepted value are 1 (for \"enable\"),3 (for \"remove\").";
  for (const Layout& l : {kLayouts[0], kLayouts[1]}) {
    const bool rfc = l.schema == SCHEMA_TYPE_RFC;
    Zone zone = Open(l);
    const std::string container = "CN=LocalGroups," + zone.dn;
    for (const char* bad : {"a/b", "a:b"}) {
      EXPECT_EQ("value not allowed",
                MessageOf<kesh::BadDataException>([&] { zone.locals->newLocalGroup(bad); }))
          << l.label << bad;
    }
    std::shared_ptr<NssGroup> group = zone.locals->newLocalGroup("Devs");
    EXPECT_EQ(kFlagMessage,
              MessageOf<kesh::BadDataException>([&] { group->profileFlag.value.set("2"); }));
    group->profileFlag.value.set("1");
    group->profileFlag.isSet = true;
    group->members.set("alice,bob");
    group->gid.set(600);
    ASSERT_NO_THROW(zone.locals->saveGroup(group)) << l.label;

    kesh::ADObject stored = GetADObjectByDN("CN=Devs," + container);
    EXPECT_EQ(rfc ? "$KeshLocalGroupVersion2" : "$KeshLocalGroupVersion1",
              stored.firstValue(AD_DISPLAY_NAME));
    const std::vector<std::string>& classes = stored[AD_OBJECT_CLASS].values();
    EXPECT_EQ(rfc, std::find(classes.begin(), classes.end(), "posixAccount") != classes.end());
    std::map<std::string, std::string> want = {
        {"login", "Devs"}, {"member", "alice,bob"}, {"profileflag", "1"}};
    if (!rfc) want["gid"] = "600";
    EXPECT_EQ(want, Keywords(stored)) << l.label;
    EXPECT_EQ(rfc ? "600" : "", stored.firstValue("gidNumber")) << l.label;
    std::map<std::string, std::string> stamp;
    CramDict(GetADObjectByDN(container).find(AD_DESCRIPTION), stamp);
    EXPECT_EQ(1u, stamp.count("lastupdatetime")) << l.label;

    std::shared_ptr<NssGroup> loaded = zone.locals->getLocalGroup("Devs");
    EXPECT_EQ("Devs", loaded->unixName.value);
    EXPECT_EQ("alice,bob", loaded->members.value);
    EXPECT_EQ("1", loaded->profileFlag.value.get());
    EXPECT_EQ(600u, loaded->gid.value);
    EXPECT_EQ("Group already exists",
              MessageOf<kesh::BadDataException>([&] { zone.locals->newLocalGroup("Devs"); }));
    // A second save updates the same object in place, the classes and marker again with it.
    loaded->members.set("carol");
    ASSERT_NO_THROW(zone.locals->saveGroup(loaded)) << l.label;
    EXPECT_EQ("carol", Keywords(GetADObjectByDN("CN=Devs," + container))["member"]) << l.label;
    // A zone group of the same unix name is no clash: the containers are apart.
    std::shared_ptr<NssGroup> zoneGroup = NewGroup(zone, kRingA, -1, "Devs");
    EXPECT_NO_THROW(zone.groups->saveGroup(zoneGroup)) << l.label;
    EXPECT_EQ("Duplicate Unix name", MessageOf<kesh::BadDataException>([&] {
                std::shared_ptr<NssGroup> twin = zone.locals->newLocalGroup("Other");
                twin->unixName.set("Devs");
                zone.locals->saveGroup(twin);
              }))
        << l.label;

    // Deleting a local group touches the container's time stamp, a zone group does not.
    kesh::ADObject old = GetADObjectByDN(container);
    old[AD_DESCRIPTION] = "lastupdatetime:0";
    binding_->update(old, MyBinding::UPDATE_REPLACE);
    zone.groups->deleteGroup(zoneGroup);
    EXPECT_EQ("lastupdatetime:0", GetADObjectByDN(container).firstValue(AD_DESCRIPTION));
    zone.locals->deleteGroup(loaded);
    EXPECT_FALSE(Exists("CN=Devs," + container)) << l.label;
    EXPECT_NE("lastupdatetime:0", GetADObjectByDN(container).firstValue(AD_DESCRIPTION));
    EXPECT_EQ("Group not in current zone",
              MessageOf<kesh::NotFoundException>([&] { zone.locals->getLocalGroup("Devs"); }));
    std::shared_ptr<NssGroup> fresh = zone.locals->newLocalGroup("Fresh");
    EXPECT_EQ("Group has not been created",
              MessageOf<kesh::BadDataException>([&] { zone.locals->deleteGroup(fresh); }));
  }
  std::shared_ptr<TreeZone> sfu = NewTree(ZoneDn("sfu9"), SCHEMA_TYPE_SFU);
  EXPECT_EQ("SFU Zone does not support local group",
            MessageOf<kesh::BadDataException>([&] { sfu->newLocalGroup("Devs"); }));
}

}  // namespace
