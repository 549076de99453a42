// The SFU layout on the in-memory directory: which attributes a load reads, what a save writes
// on the directory user or group, zone membership by NIS domain, listings, deletes, the name
// check of the commands and the refusals of local profiles and unix-name lookups.
//
// Each scenario that differs by version runs in a hierarchical SFU zone (version 9, created)
// and a classic one (version 2, a zone object of the test driven through GetSchema).
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/memory/memdir.h"
#include "schema/user.h"
#include "schema/zschema.h"
#include "zones/zone_rig.h"

namespace {

using zonetest::MessageOf;
namespace memdir = kesh::memdir;

const char kUsersBase[] = ",CN=Users,DC=example,DC=test";
const char kSidPrefix[] = "S-1-5-21-3623811015-3361044348-30300820-";

// A classic zone as the zone classes hold it: its object, binding and GetSchema's adapter.
class ClassicSfuZone : public NssZoneSupportZoneUserGroup {
 public:
  void remove() override {}
  std::string getPath() override { return object.dn(); }
  void saveZone() override {}
  ZoneType getZoneType() override { return ZONE_TYPE_CLASSIC3; }
  std::string getZoneName() override { return object.dn(); }
  IZoneSchema* getCurrentSchema() override { return schema.get(); }
};

struct Zone {
  std::shared_ptr<IZone> holder;
  NssZoneSupportZoneUserGroup* nss = nullptr;
  SchemaSfu* sfu = nullptr;
};

class SfuTest : public zonetest::ZoneRig {
 protected:
  // A zone of `version` (9 or 2) whose NIS domain is its cn `name`.
  Zone Open(const std::string& name, int version) {
    Zone z;
    const std::string dn = ZoneDn(name);
    if (version == 9) {
      std::shared_ptr<TreeZone> tree = NewTree(dn, SCHEMA_TYPE_SFU);
      z.holder = tree;
      z.nss = tree.get();
    } else {
      memdir::LoadLdif("dn: " + dn + "\nobjectClass: container\ndisplayName: $KeshZoneVersion" +
                       std::to_string(version) + "\ndescription: schema:SFU_3_0\ndescription: " +
                       "nisdomain:" + name + "\ndescription: sfudomain:example.test\n\n");
      auto classic = std::make_shared<ClassicSfuZone>();
      classic->object = binding_->fetch(dn, nullptr, AD_ALL_OBJECTS);
      classic->binding = binding_;
      classic->schema = GetSchema(classic->object);
      z.holder = classic;
      z.nss = classic.get();
    }
    z.sfu = dynamic_cast<SchemaSfu*>(z.nss->getSchema());
    EXPECT_NE(nullptr, z.sfu);
    EXPECT_EQ(version, z.sfu->version());
    EXPECT_EQ(name, z.sfu->nisDomain);
    return z;
  }

  // A directory user "CN=<sam>,CN=Users,..." with the LDIF lines `attrs`.
  static std::string AddUser(const std::string& sam, int rid, const std::string& attrs) {
    const std::string dn = "CN=" + sam + kUsersBase;
    memdir::LoadLdif("dn: " + dn +
                     "\nobjectClass: top\nobjectClass: person\nobjectClass: organizationalPerson"
                     "\nobjectClass: user\nsAMAccountName: " +
                     sam + "\nobjectSid: " + kSidPrefix + std::to_string(rid) + "\n" + attrs +
                     "\n");
    return dn;
  }
  static std::string AddGroup(const std::string& sam, int rid, const std::string& attrs) {
    const std::string dn = "CN=" + sam + kUsersBase;
    memdir::LoadLdif("dn: " + dn + "\nobjectClass: top\nobjectClass: group\nsAMAccountName: " +
                     sam + "\nobjectSid: " + kSidPrefix + std::to_string(rid) +
                     "\ngroupType: -2147483646\n" + attrs + "\n");
    return dn;
  }

  static std::string Text(const kesh::ADObject& object, const char* name) {
    return object.attributeExists(name) ? object.firstValue(name) : "<none>";
  }
  // The attributes a save of a directory user writes, '|'-separated.
  static std::string Texts(const kesh::ADObject& object) {
    std::string out;
    for (const char* name : {"uidNumber", "gidNumber", "uid", "loginShell", "unixHomeDirectory",
                             "gecos", "description", "msSFU30NisDomain", "msSFU30UidNumber"}) {
      out += (out.empty() ? "" : "|") + Text(object, name);
    }
    return out;
  }
  // uid:gid:unixName:shell:home:gecos as the commands show them.
  static std::string Fields(const NssUser& u) {
    return JoinFields({FieldText(u.uid), FieldText(u.gid), FieldText(u.unixName),
                       FieldText(u.shell), FieldText(u.home), FieldText(u.gecos)});
  }
};

const char kSfuAttrs[] =
    "msSFU30UidNumber: 501\nmsSFU30GidNumber: 502\nmsSFU30Name: sfuname\n"
    "msSFU30LoginShell: /bin/zsh\nmsSFU30HomeDirectory: /u/sfu\nmsSFU30Gecos: Sfu Gecos\n";
const char kRfcAttrs[] =
    "uidNumber: 601\ngidNumber: 602\nuid: rfcname\nloginShell: /bin/sh\n"
    "unixHomeDirectory: /u/rfc\ngecos: Rfc Gecos\ndescription: Desc Text\n";

TEST_F(SfuTest, LoadTakesFirstChoiceElseSecondElseRefuses) {
  struct Case {
    const char* label;
    int version;
    std::string attrs;
    const char* fields;  // empty: the load is refused
    bool writesRfc;
  };
  const Case cases[] = {
      {"sfu only", 9, kSfuAttrs, "501:502:sfuname:/bin/zsh:/u/sfu:Sfu Gecos", true},
      {"one sfu attribute hides the rfc ones", 9, std::string("msSFU30Name: only\n") + kRfcAttrs,
       "-:-:only:-:-:-", true},
      {"rfc only, tree: gecos", 9, kRfcAttrs, "601:602:rfcname:/bin/sh:/u/rfc:Rfc Gecos", true},
      {"rfc only, classic: description", 2, kRfcAttrs, "601:602:rfcname:/bin/sh:/u/rfc:Desc Text",
       true},
      {"rfc gecos alone counts in a tree zone", 9, "gecos: G\n", "-:-:-:-:-:G", true},
      {"description alone counts in a classic zone", 2, "description: D\n", "-:-:-:-:-:D", true},
      {"neither", 9, "description: D\n", "", false},
      {"neither, classic", 2, "gecos: G\n", "", false},
  };
  int rid = 2000;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    Zone z = Open("nis" + std::to_string(rid), c.version);
    const std::string sam = "u" + std::to_string(rid);
    const std::string dn =
        AddUser(sam, rid++, c.attrs + "msSFU30NisDomain: " + z.sfu->nisDomain + "\n");
    auto user = std::make_shared<NssZoneUser>();
    if (c.fields[0] == '\0') {
      EXPECT_EQ("Zone user has incomplete attributes: " + dn,
                MessageOf<kesh::BadDataException>(
                    [&] { z.sfu->loadZUser(sam + "@example.test", user, false); }));
    } else {
      z.sfu->loadZUser(sam + "@example.test", user, false);
      EXPECT_EQ(c.fields, Fields(*user));
      EXPECT_EQ(sam + "@example.test", user->accountName);
      EXPECT_EQ(dn, user->adUser.dn());
      EXPECT_EQ(dn, user->scp.dn());
      EXPECT_FALSE(user->isNew);
    }
    EXPECT_EQ(c.writesRfc, z.sfu->writesRfcAttributes);
  }
}

TEST_F(SfuTest, SaveWritesRfcNamesAndNisDomainOnTheDirectoryUser) {
  struct Case {
    int version;
    uint32_t gid;
    const char* storedGid;
    const char* storedGecos;
  };
  const Case cases[] = {
      {9, GID_SAME_AS_UID, "2147483648", "Bob B"},
      {9, 77, "77", "Bob B"},
      {2, GID_SAME_AS_UID, "4242", "<none>"},  // classic: gid takes the uid, gecos unwritten
      {2, 77, "77", "<none>"},
  };
  int n = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.version) + "/" + std::to_string(c.gid));
    const std::string tag = std::to_string(n);
    Zone z = Open("save" + tag, c.version);
    const std::string dn = AddUser("saver" + tag, 2050 + n++, "description: D\n");
    std::shared_ptr<NssZoneUser> user = z.nss->newNssZUser("saver" + tag + "@example.test");
    ASSERT_TRUE(user->isNew);
    user->uid.set(4242);
    user->gid.set(c.gid);
    user->unixName.set("login" + tag);
    user->shell.set("/bin/ksh");
    user->home.set("/home/x");
    user->gecos.set("Bob B");
    z.nss->saveNssZUser(user);
    EXPECT_FALSE(user->isNew);
    EXPECT_EQ(std::string("4242|") + c.storedGid + "|login" + tag + "|/bin/ksh|/home/x|" +
                  c.storedGecos + "|D|" + z.sfu->nisDomain + "|<none>",
              Texts(Stored(dn)));
    // No profile object is made below the zone.
    EXPECT_EQ(0u, binding_
                      ->search("(displayName=$KeshUserVersion*)", ZoneDn("save" + tag), nullptr,
                               kesh::SCOPE_SUB, 0)
                      .size());

    // Unset fields clear their attributes on the next save; the load sees the rest.
    std::shared_ptr<NssZoneUser> again = z.nss->getNssZUser("saver" + tag + "@example.test", false);
    EXPECT_EQ("login" + tag, FieldText(again->unixName));
    again->shell.clear();
    again->home.clear();
    z.sfu->saveZUser(again);  // the adapter alone: the classic check wants every field
    EXPECT_EQ(std::string("4242|") + c.storedGid + "|login" + tag + "|<none>|<none>|" +
                  c.storedGecos + "|D|" + z.sfu->nisDomain + "|<none>",
              Texts(Stored(dn)));
  }
}

TEST_F(SfuTest, GroupSaveLoadAndDeleteOnlyTakesTheUserOrGroupOutOfTheZone) {
  Zone z = Open("nisdel", 9);
  std::shared_ptr<NssGroup> group = z.nss->newZGroup("Domain Users@example.test");
  group->gid.set(7001);
  z.nss->saveGroup(group);
  EXPECT_FALSE(group->isNew);
  const std::string groupDn = "CN=Domain Users,CN=Users,DC=example,DC=test";
  EXPECT_EQ("7001", Text(Stored(groupDn), "gidNumber"));
  EXPECT_EQ("nisdel", Text(Stored(groupDn), "msSFU30NisDomain"));
  std::shared_ptr<NssGroup> loaded = z.nss->getZGroup("Domain Users@example.test", false);
  EXPECT_EQ("7001", FieldText(loaded->gid));
  EXPECT_EQ("Domain Users", FieldText(loaded->unixName));
  EXPECT_EQ("Domain Users@example.test", loaded->accountName);
  // The first choice wins for a group as well.
  const std::string sfuGroup =
      AddGroup("sfugroup", 2301, "gidNumber: 1\nmsSFU30GidNumber: 2\nmsSFU30NisDomain: nisdel\n");
  EXPECT_EQ("2", FieldText(z.nss->getZGroup("sfugroup@example.test", false)->gid));
  EXPECT_EQ(sfuGroup, z.sfu->findUnixGroup("sfugroup", false).dn());

  const std::string userDn =
      AddUser("deluser", 2201, std::string(kRfcAttrs) + "msSFU30NisDomain: nisdel\n");
  std::shared_ptr<NssZoneUser> user = z.nss->getNssZUser("deluser@example.test", false);
  std::shared_ptr<NssUser> asUser = user;
  z.nss->deleteNssZUser(asUser);
  z.sfu->deleteGroup(loaded);
  for (const std::string& dn : {userDn, groupDn}) {
    ASSERT_TRUE(Exists(dn)) << dn;
    EXPECT_EQ("<none>", Text(Stored(dn), "msSFU30NisDomain")) << dn;
  }
  EXPECT_EQ("601", Text(Stored(userDn), "uidNumber"));
  EXPECT_EQ("7001", Text(Stored(groupDn), "gidNumber"));

  std::shared_ptr<NssUser> fresh = z.nss->newNssZUser("bob@example.test");
  EXPECT_EQ("Zone user has not been created",
            MessageOf<kesh::BadDataException>([&] { z.sfu->deleteUser(fresh); }));
  std::shared_ptr<NssGroup> freshGroup = z.nss->newZGroup("Domain Users@example.test");
  EXPECT_EQ("Zone group has not been created",
            MessageOf<kesh::BadDataException>([&] { z.sfu->deleteGroup(freshGroup); }));
}

TEST_F(SfuTest, ListingsTakeTheZonesNisDomainOnly) {
  Zone z = Open("nislist", 9);
  z.sfu->nisDomain = "nis*";  // a filter character in the domain must not widen the search
  AddUser("in1", 2401, "uid: in1\nmsSFU30NisDomain: nis*\n");
  AddUser("in2", 2402, "uidNumber: 5\nmsSFU30NisDomain: nis*\n");
  AddUser("out1", 2403, "uid: out1\nmsSFU30NisDomain: nisX\n");
  AddUser("out2", 2404, "uid: out2\n");
  AddGroup("gin", 2405, "gidNumber: 3\nmsSFU30NisDomain: nis*\n");
  AddGroup("gout", 2406, "gidNumber: 4\nmsSFU30NisDomain: nisY\n");

  std::list<std::shared_ptr<NssZoneUser>> users;
  z.sfu->getZoneUsers("(ignored=*)", users);
  std::vector<std::string> names;
  for (const auto& u : users) names.push_back(u->accountName);
  std::sort(names.begin(), names.end());
  EXPECT_EQ((std::vector<std::string>{"in1@example.test", "in2@example.test"}), names);

  std::list<std::shared_ptr<NssGroup>> groups;
  z.sfu->getGroups("(ignored=*)", groups, MakeZGroup, false);
  ASSERT_EQ(1u, groups.size());
  EXPECT_EQ("gin@example.test", groups.front()->accountName);

  EXPECT_EQ("CN=in1" + std::string(kUsersBase), z.sfu->findUnixUser("in1", false).dn());
  EXPECT_EQ("user not found",
            MessageOf<kesh::NotFoundException>([&] { z.sfu->findUnixUser("out1", false); }));
}

TEST_F(SfuTest, CheckUserGroupName) {
  Zone z = Open("nischeck", 9);
  ASSERT_EQ("example.test", z.sfu->getSfuDomain());
  struct Case {
    const char* name;
    const char* message;  // empty: accepted
  };
  const Case cases[] = {
      {"bob", "User/Group name must include domain"},
      {"", "User/Group name must include domain"},
      {"bob@other.test", "User/Group is not from SfuDomain"},
      {"bob@example.test.evil", "User/Group is not from SfuDomain"},
      {"bob@example.test+1", "User/Group is not from SfuDomain"},
      {"bob@example.test", ""},
      {"Bob@EXAMPLE.Test", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    uint64_t operations = memtest::OperationsOf([&] {
      try {
        z.sfu->checkUserGroupName(c.name);
        EXPECT_STREQ("", c.message);
      } catch (const kesh::BadDataException& e) {
        EXPECT_STREQ(c.message, e.what());
      }
    });
    EXPECT_EQ(0u, operations);
  }
}

TEST_F(SfuTest, RefusalsOfOtherNisDomainsUnixNamesAndLocalProfiles) {
  Zone z = Open("nisa", 9);
  AddUser("other", 2101, std::string(kRfcAttrs) + "msSFU30NisDomain: nisb\n");
  AddUser("none", 2102, kRfcAttrs);
  AddGroup("grpb", 2103, "msSFU30NisDomain: nisb\n");
  auto user = std::make_shared<NssZoneUser>();
  auto group = std::shared_ptr<NssGroup>(MakeZGroup());
  auto local = std::make_shared<NssLocalUser>();
  std::list<std::shared_ptr<NssLocalUser>> locals;
  std::shared_ptr<NssGroup> localGroup(MakeLocalGroup());
  std::list<std::shared_ptr<NssGroup>> groups;
  const char kUser[] = "SFU Zone does not support local user";
  const char kGroup[] = "SFU Zone does not support local group";
  // NotFoundException for a name the zone does not hold, BadDataException before any
  // directory call for what the layout cannot do.
  const struct {
    bool notFound;
    const char* message;
    std::function<void()> call;
  } cases[] = {
      {true, "User not found in zone",
       [&] { z.sfu->loadZUser("other@example.test", user, false); }},
      {true, "User not found in zone", [&] { z.sfu->loadZUser("none@example.test", user, false); }},
      {true, "It has not been supported to load user by unix name under SFU schema",
       [&] { z.sfu->loadZUser("rfcname", user, true); }},
      {true, "Group not found in zone",
       [&] { z.sfu->loadGroup("grpb@example.test", group, false); }},
      {true, "It has not been supported to load group by unix name under SFU schema",
       [&] { z.sfu->loadGroup("grpb", group, true); }},
      {true, "user not found", [&] { z.sfu->findUnixUser("rfcname", false); }},
      {true, "group not found", [&] { z.sfu->findUnixGroup("grpb", false); }},
      {false, kUser, [&] { z.sfu->loadLocalUser("x", local); }},
      {false, kUser, [&] { z.sfu->saveLocalUser(local); }},
      {false, kUser, [&] { z.sfu->getLocalUsers("", locals); }},
      {false, kUser, [&] { z.sfu->findUnixUser("x", true); }},
      {false, kGroup, [&] { z.sfu->loadGroup("x@example.test", localGroup, false); }},
      {false, kGroup, [&] { z.sfu->saveGroup(localGroup); }},
      {false, kGroup, [&] { z.sfu->getGroups("", groups, MakeLocalGroup, true); }},
      {false, kGroup, [&] { z.sfu->findUnixGroup("x", true); }},
  };
  for (const auto& c : cases) {
    if (c.notFound) {
      EXPECT_EQ(c.message, MessageOf<kesh::NotFoundException>(c.call));
      continue;
    }
    uint64_t operations = memtest::OperationsOf(
        [&] { EXPECT_EQ(c.message, MessageOf<kesh::BadDataException>(c.call)); });
    EXPECT_EQ(0u, operations) << c.message;
  }
}

}  // namespace
