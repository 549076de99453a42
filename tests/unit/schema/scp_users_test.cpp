// Zone users and local users in the RFC and Dynamic layouts, on the in-memory directory:
// the stored form per layout and version, the lookups, aliases, the cn rules, foreign and
// unresolvable users, the checks before a save, failed saves, deletes and listings.
//
// Every scenario runs in each zone version of the two layouts: the hierarchical zones 6
// (Dynamic) and 7 (RFC) are created; the classic versions 2 to 5 are zone objects of a
// fixture, driven through the adapter that GetSchema gives them.
#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/memory/memdir.h"
#include "directory/library/strings.h"
#include "schema/keywords.h"
#include "schema/user.h"
#include "schema/zschema.h"
#include "zones/zone_rig.h"

namespace {

using memtest::OperationsOf;
using zonetest::MessageOf;
using Values = std::vector<std::string>;
namespace memdir = kesh::memdir;

const char kDave[] = "dave@example.test";
const char kDaveDn[] = "CN=Dave Disabled,CN=Users,DC=example,DC=test";
const char kDaveSid[] = "S-1-5-21-3623811015-3361044348-30300820-1104";
const char kUnknownSid[] = "S-1-5-21-1-2-3-999";
const std::string kUserClasses =
    "objectClass: top\nobjectClass: person\nobjectClass: organizationalPerson\n"
    "objectClass: user\n";

// A classic zone as the zone classes would hold it: its object, binding and the adapter
// that GetSchema chose, with the user mix-ins on top.
class ClassicZone : public NssZoneSupportZoneUserGroup, public NssZoneSupportLocalUserGroup {
 public:
  void remove() override {}
  std::string getPath() override { return object.dn(); }
  void saveZone() override {}
  ZoneType getZoneType() override { return ZONE_TYPE_CLASSIC4; }
  std::string getZoneName() override { return object.dn(); }
  IZoneSchema* getCurrentSchema() override { return schema.get(); }
};

struct Layout {
  const char* name;
  SchemaType type;
  int version;
  bool tree() const { return version > 5; }
  bool rfc() const { return type == SCHEMA_TYPE_RFC; }
};

const Layout kLayouts[] = {
    {"Dynamic2", SCHEMA_TYPE_DYNAMIC, 2}, {"Rfc3", SCHEMA_TYPE_RFC, 3},
    {"Dynamic4", SCHEMA_TYPE_DYNAMIC, 4}, {"Rfc5", SCHEMA_TYPE_RFC, 5},
    {"Dynamic6", SCHEMA_TYPE_DYNAMIC, 6}, {"Rfc7", SCHEMA_TYPE_RFC, 7},
};

// One zone of a layout, opened.
struct Zone {
  std::shared_ptr<IZone> holder;
  NssZone* nss = nullptr;
  IZoneSupportNssZoneUser* users = nullptr;
  IZoneSupportNssLocalUser* locals = nullptr;
  IZoneSchema* schema = nullptr;
  std::string dn;
  std::string usersDn() const { return "CN=Users," + dn; }
  std::string localUsersDn() const { return "CN=LocalUsers," + dn; }
};

class ScpUsersTest : public zonetest::ZoneRig {
 protected:
  void SetUp() override {
    ZoneRig::SetUp();
    memtest::LoadFixture("other.ldif");
    Bind("other.test");
  }

  Zone Open(const Layout& l) {
    Zone z;
    z.dn = ZoneDn(l.name);
    if (l.tree()) {
      std::shared_ptr<TreeZone> tree = NewTree(z.dn, l.type);
      z.holder = tree;
      z.nss = tree.get();
      z.users = tree.get();
      z.locals = tree.get();
    } else {
      memdir::LoadLdif("dn: " + z.dn + "\nobjectClass: container\ndisplayName: $KeshZoneVersion" +
                       std::to_string(l.version) + "\ndescription: schema:" +
                       (l.rfc() ? "KVR_RFC_2307" : "Dynamic_Schema_2_0") + "\n\ndn: CN=Users," +
                       z.dn + "\nobjectClass: container\n\n" + "dn: CN=LocalUsers," + z.dn +
                       "\nobjectClass: container\n\n");
      auto classic = std::make_shared<ClassicZone>();
      classic->object = binding_->fetch(z.dn, nullptr, AD_ALL_OBJECTS);
      classic->binding = binding_;
      classic->schema = GetSchema(classic->object);
      z.holder = classic;
      z.nss = classic.get();
      z.users = classic.get();
      z.locals = classic.get();
    }
    z.schema = z.nss->getSchema();
    EXPECT_EQ(l.version, z.schema->version()) << l.name;
    return z;
  }

  // A new profile with every field a classic zone needs.
  std::shared_ptr<NssZoneUser> NewFull(Zone& z, const std::string& name, const std::string& login,
                                       uint32_t uid) {
    std::shared_ptr<NssZoneUser> user = z.users->newNssZUser(name);
    user->uid.set(uid);
    user->gid.set(uid);
    user->unixName.set(login);
    user->shell.set("/bin/sh");
    user->home.set("/home/" + login);
    return user;
  }

  void SetDescription(const std::string& dn, const std::string& text) {
    kesh::ADObject object(dn);
    object[AD_DESCRIPTION] = text;
    binding_->update(object, MyBinding::UPDATE_REPLACE);
  }

  // Adds profile objects below Users of `z` as another program might have written them.
  void LoadRawProfile(const Zone& z, const std::string& cn, const std::string& extra) {
    memdir::LoadLdif("dn: CN=" + cn + "," + z.usersDn() +
                     "\nobjectClass: serviceConnectionPoint\ndisplayName: $KeshUserVersion4\n" +
                     extra + "\n");
  }
};

// What a full save writes, per layout and version, and what a load reads back.
TEST_F(ScpUsersTest, StoredFormAndLoadPerLayoutAndVersion) {
  const struct Expected {
    const char* cn;
    const char* marker;
    Values classes;  // of ours
    Values keywords;
    Values uidNumber, gidNumber, uid, gecos;  // RFC attributes
    bool managedBy;
  } expected[] = {
      {"dave",
       "$KeshUserVersion2",
       {"serviceConnectionPoint"},
       {"aix.admin:true", "gid:501", "home:/home/dave", std::string("parentLink:") + kDaveSid,
        "shell:/bin/sh", "uid:501", "unix_enabled:True"},
       {},
       {},
       {},
       {},
       true},
      {"dave",
       "$KeshUserVersion3",
       {"posixAccount", "serviceConnectionPoint"},
       {"aix.admin:true", std::string("parentLink:") + kDaveSid, "unix_enabled:True"},
       {"501"},
       {"501"},
       {"dave"},
       {},
       true},
      {"dave",
       "$KeshUserVersion2",
       {"serviceConnectionPoint"},
       {"aix.admin:true", "gid:501", "home:/home/dave", std::string("parentLink:") + kDaveSid,
        "shell:/bin/sh", "uid:501", "unix_enabled:True"},
       {},
       {},
       {},
       {},
       false},
      {"dave",
       "$KeshUserVersion3",
       {"posixAccount", "serviceConnectionPoint"},
       {"aix.admin:true", std::string("parentLink:") + kDaveSid, "unix_enabled:True"},
       {"501"},
       {"501"},
       {"dave"},
       {},
       false},
      {"dave@example.test",
       "$KeshUserVersion4",
       {"serviceConnectionPoint"},
       {"aix.admin:true", "gecos:Dave D", "gid:2147483648", "home:/home/dave", "login:dave",
        std::string("parentLink:") + kDaveSid, "shell:/bin/sh", "uid:501"},
       {},
       {},
       {},
       {},
       false},
      {"dave@example.test",
       "$KeshUserVersion5",
       {"posixAccount", "serviceConnectionPoint"},
       {"aix.admin:true", std::string("parentLink:") + kDaveSid},
       {"501"},
       {"2147483648"},
       {"dave"},
       {"Dave D"},
       false},
  };
  for (size_t i = 0; i < 6; ++i) {
    const Layout& l = kLayouts[i];
    const Expected& e = expected[i];
    Zone z = Open(l);
    std::shared_ptr<NssZoneUser> user = z.users->newNssZUser(kDave);
    EXPECT_EQ("dave@example.test", user->accountName) << l.name;
    EXPECT_TRUE(user->isNew && !user->foreign) << l.name;
    user->uid.set(501);
    user->gid.set(GID_SAME_AS_UID);  // the uid's number in classic zones
    user->unixName.set("dave");
    user->shell.set("/bin/sh");
    user->home.set("/home/dave");
    user->gecos.set("Dave D");
    user->enabled = true;
    user->extended[ADMIN_ATTR] = "true";
    z.users->saveNssZUser(user);
    EXPECT_FALSE(user->isNew) << l.name;
    EXPECT_EQ(l.tree() ? GID_SAME_AS_UID : 501u, user->gid.value) << l.name;

    const std::string dn = "CN=" + std::string(e.cn) + "," + z.usersDn();
    EXPECT_TRUE(kesh::DN::equal(dn, user->scp.dn())) << l.name << " " << user->scp.dn();
    kesh::ADObject stored = Stored(dn);
    // The directory adds the superclasses of serviceConnectionPoint; the rest is ours.
    Values classes;
    for (const std::string& c : ValuesOf(stored, AD_OBJECT_CLASS)) {
      if (c == "posixAccount" || c == "serviceConnectionPoint") classes.push_back(c);
    }
    EXPECT_EQ(e.classes, classes) << l.name;
    EXPECT_EQ(e.marker, stored.firstValue(AD_DISPLAY_NAME)) << l.name;
    EXPECT_EQ(e.keywords, ValuesOf(stored, AD_KEYWORDS)) << l.name;
    EXPECT_EQ(e.uidNumber, ValuesOf(stored, "uidNumber")) << l.name;
    EXPECT_EQ(e.gidNumber, ValuesOf(stored, "gidNumber")) << l.name;
    EXPECT_EQ(e.uid, ValuesOf(stored, "uid")) << l.name;
    EXPECT_EQ(l.rfc() ? Values{"/bin/sh"} : Values{}, ValuesOf(stored, "loginShell")) << l.name;
    EXPECT_EQ(l.rfc() ? Values{"/home/dave"} : Values{}, ValuesOf(stored, "unixHomeDirectory"))
        << l.name;
    EXPECT_EQ(e.gecos, ValuesOf(stored, "gecos")) << l.name;
    EXPECT_EQ(e.managedBy ? Values{kDaveDn} : Values{}, ValuesOf(stored, AD_MANAGED_BY)) << l.name;

    std::shared_ptr<NssZoneUser> loaded = z.users->getNssZUser(kDave, false);
    EXPECT_EQ(501u, loaded->uid.value) << l.name;
    EXPECT_EQ(user->gid.value, loaded->gid.value) << l.name;
    EXPECT_EQ("dave", loaded->unixName.value) << l.name;
    EXPECT_EQ("/bin/sh", loaded->shell.value) << l.name;
    EXPECT_EQ("/home/dave", loaded->home.value) << l.name;
    // Classic zones show the directory user's description as gecos.
    EXPECT_EQ(l.tree() ? "Dave D" : "Account disabled", loaded->gecos.value) << l.name;
    EXPECT_EQ(!l.tree(), loaded->enabled) << l.name;
    EXPECT_EQ("true", loaded->extended[ADMIN_ATTR]) << l.name;
    EXPECT_EQ(kDaveSid, loaded->parentLink) << l.name;
    EXPECT_EQ("dave@example.test", loaded->accountName) << l.name;
    EXPECT_EQ("dave@example.test", loaded->upn) << l.name;
    EXPECT_FALSE(loaded->isNew) << l.name;

    // An unset field: RFC clears its attribute, Dynamic leaves its keyword out.
    loaded->uid.clear();
    z.schema->saveZUser(loaded);
    kesh::ADObject cleared = Stored(dn);
    EXPECT_FALSE(cleared.attributeExists("uidNumber", true)) << l.name;
    Values keywords = ValuesOf(cleared, AD_KEYWORDS);
    EXPECT_EQ(keywords.end(), std::find(keywords.begin(), keywords.end(), "uid:501")) << l.name;
    EXPECT_EQ(e.marker, cleared.firstValue(AD_DISPLAY_NAME)) << l.name;
  }
}

// By directory name (UPN or sAMAccountName), by "*<sid>", by login name; each finds the
// one profile, and a user without a profile is not in the zone.
TEST_F(ScpUsersTest, FindByDirectoryNameSidAndUnixName) {
  for (const Layout& l : kLayouts) {
    Zone z = Open(l);
    std::shared_ptr<NssZoneUser> bob = NewFull(z, "bob@example.test", "bobby", 600);
    z.users->saveNssZUser(bob);
    const struct {
      std::string name;
      bool byUnixName;
    } names[] = {{"robert.baker@corp.example.test", false},
                 {"bob@example.test", false},
                 {"*S-1-5-21-3623811015-3361044348-30300820-1102", false},
                 {"bobby", true}};
    for (const auto& n : names) {
      std::shared_ptr<NssZoneUser> found = z.users->getNssZUser(n.name, n.byUnixName);
      EXPECT_TRUE(kesh::DN::equal(bob->scp.dn(), found->scp.dn())) << l.name << " " << n.name;
      EXPECT_EQ("bob@example.test", found->accountName) << l.name << " " << n.name;
      EXPECT_EQ("robert.baker@corp.example.test", found->upn) << l.name << " " << n.name;
    }
    for (const std::string& missing :
         {std::string("carol@example.test"), std::string("*") + kUnknownSid,
          std::string("*not-a-sid"), std::string("bob@example.test+1")}) {
      EXPECT_EQ("NssUser not in current zone",
                MessageOf<kesh::NotFoundException>([&] { z.users->getNssZUser(missing, false); }))
          << l.name << " " << missing;
    }
    EXPECT_EQ("NssUser not in current zone",
              MessageOf<kesh::NotFoundException>([&] { z.users->getNssZUser("alice", true); }))
        << l.name;
    EXPECT_EQ("User already exists",
              MessageOf<kesh::BadDataException>([&] { z.users->newNssZUser("bob@example.test"); }))
        << l.name;
  }
}

// "+2" makes the second alias: its own GUID and number, a cn with ":2" in tree zones that
// later saves keep, and a main profile search that does not see it.
TEST_F(ScpUsersTest, AliasIsAProfileOfItsOwn) {
  for (const Layout& l : kLayouts) {
    Zone z = Open(l);
    std::shared_ptr<NssZoneUser> alias = NewFull(z, "carol@example.test+2", "carol2", 700);
    EXPECT_EQ(2, alias->altIndex) << l.name;
    EXPECT_EQ(36u, alias->altGuid.size()) << l.name << " " << alias->altGuid;
    z.users->saveNssZUser(alias);
    const std::string cn = l.tree() ? "carol@example.test:2" : "carol2";
    EXPECT_TRUE(kesh::DN::equal("CN=" + cn + "," + z.usersDn(), alias->scp.dn()))
        << l.name << " " << alias->scp.dn();
    Values keywords = ValuesOf(Stored(alias->scp.dn()), AD_KEYWORDS);
    EXPECT_NE(keywords.end(), std::find(keywords.begin(), keywords.end(), "altIndex:2"));
    EXPECT_NE(keywords.end(),
              std::find(keywords.begin(), keywords.end(), "altGuid:" + alias->altGuid));

    EXPECT_EQ("NssUser not in current zone", MessageOf<kesh::NotFoundException>([&] {
                z.users->getNssZUser("carol@example.test", false);
              }))
        << l.name;
    std::shared_ptr<NssZoneUser> loaded = z.users->getNssZUser("carol@example.test+2", false);
    EXPECT_EQ(2, loaded->altIndex) << l.name;
    EXPECT_EQ(alias->altGuid, loaded->altGuid) << l.name;
    loaded->shell.set("/bin/zsh");
    z.users->saveNssZUser(loaded);
    EXPECT_TRUE(kesh::DN::equal(alias->scp.dn(), loaded->scp.dn())) << l.name;
    EXPECT_EQ("/bin/zsh", z.users->getNssZUser("carol@example.test+2", false)->shell.value)
        << l.name;

    // The main profile comes beside it.
    std::shared_ptr<NssZoneUser> main = NewFull(z, "carol@example.test", "carol", 701);
    EXPECT_EQ(0, main->altIndex);
    z.users->saveNssZUser(main);
    EXPECT_FALSE(kesh::DN::equal(main->scp.dn(), alias->scp.dn())) << l.name;
  }
}

// In tree zones a cn of more than 64 characters becomes the directory user's GUID; 64 are
// kept.
TEST_F(ScpUsersTest, LongNameBecomesGuidCnInTreeZones) {
  const std::string sam64(64 - std::string("@example.test").size(), 'a');
  const std::string sam65(sam64.size() + 1, 'b');
  memdir::LoadLdif("dn: CN=Long64,CN=Users,DC=example,DC=test\n" + kUserClasses +
                   "sAMAccountName: " + sam64 +
                   "\nobjectSid: S-1-5-21-3623811015-3361044348-30300820-1301\n\n"
                   "dn: CN=Long65,CN=Users,DC=example,DC=test\n" +
                   kUserClasses + "sAMAccountName: " + sam65 +
                   "\nobjectSid: S-1-5-21-3623811015-3361044348-30300820-1302\n\n");
  for (const Layout& l : kLayouts) {
    if (!l.tree()) continue;
    Zone z = Open(l);
    std::shared_ptr<NssZoneUser> kept = z.users->newNssZUser(sam64 + "@example.test");
    kept->uid.set(1);
    z.users->saveNssZUser(kept);
    EXPECT_EQ(sam64 + "@example.test", kesh::DN::cnFromDn(kept->scp.dn())) << l.name;

    std::shared_ptr<NssZoneUser> guid = z.users->newNssZUser(sam65 + "@example.test");
    guid->uid.set(2);
    z.users->saveNssZUser(guid);
    EXPECT_EQ(kesh::lower(guid->adUser.guid().toRealMSString()), kesh::DN::cnFromDn(guid->scp.dn()))
        << l.name;
    EXPECT_EQ(sam65 + "@example.test",
              z.users->getNssZUser(sam65 + "@example.test", false)->accountName)
        << l.name;
  }
}

// A user of another forest is foreign: keywords upn and foreign, and no managedBy even in
// the older classic zones.
TEST_F(ScpUsersTest, UserOfAnotherForestIsForeign) {
  for (const Layout& l : kLayouts) {
    Zone z = Open(l);
    std::shared_ptr<NssZoneUser> olivia = NewFull(z, "olivia@other.test", "olivia", 800);
    EXPECT_TRUE(olivia->foreign) << l.name;
    z.users->saveNssZUser(olivia);
    kesh::ADObject stored = Stored(olivia->scp.dn());
    Values keywords = ValuesOf(stored, AD_KEYWORDS);
    for (const char* k : {"upn:olivia@other.test", "foreign:True"}) {
      EXPECT_NE(keywords.end(), std::find(keywords.begin(), keywords.end(), k)) << l.name << k;
    }
    EXPECT_FALSE(stored.attributeExists(AD_MANAGED_BY)) << l.name;
    std::shared_ptr<NssZoneUser> loaded = z.users->getNssZUser("olivia@other.test", false);
    EXPECT_TRUE(loaded->foreign) << l.name;
    EXPECT_EQ("olivia@other.test", loaded->storedUpn) << l.name;
    EXPECT_EQ("olivia@other.test", loaded->accountName) << l.name;

    std::shared_ptr<NssZoneUser> own = z.users->newNssZUser("alice@example.test");
    EXPECT_FALSE(own->foreign) << l.name;
  }
}

// Profiles whose directory user cannot be found are named by their link; below version 4
// managedBy links a profile without parentLink.
TEST_F(ScpUsersTest, UnresolvableProfilesAndManagedByLinks) {
  for (const Layout& l : kLayouts) {
    Zone z = Open(l);
    LoadRawProfile(z, "gone", std::string("keywords: parentLink:") + kUnknownSid + "\n");
    LoadRawProfile(z, "nolink", "keywords: uid:5\n");
    LoadRawProfile(z, "managed", std::string("managedBy: ") + kDaveDn + "\n");
    std::list<std::shared_ptr<NssZoneUser>> users;
    z.users->getNssZUsers("(objectClass=*)", users);
    std::map<std::string, std::string> nameByCn;
    for (const auto& u : users) nameByCn[kesh::DN::cnFromDn(u->scp.dn())] = u->accountName;
    const std::string managed = l.version < 4 ? "dave@example.test" : "*<unknown user>";
    EXPECT_EQ((std::map<std::string, std::string>{{"gone", std::string("*") + kUnknownSid},
                                                  {"managed", managed},
                                                  {"nolink", "*<unknown user>"}}),
              nameByCn)
        << l.name;
    std::shared_ptr<NssZoneUser> gone = z.users->getNssZUser(std::string("*") + kUnknownSid, false);
    EXPECT_EQ(std::string("*") + kUnknownSid, gone->upn) << l.name;
    EXPECT_TRUE(gone->adUser.empty()) << l.name;
  }
}

// The checks before a save, with their messages; nothing is written for a refused profile.
TEST_F(ScpUsersTest, ChecksBeforeSave) {
  for (const Layout& l : kLayouts) {
    Zone z = Open(l);
    std::shared_ptr<NssZoneUser> alice = NewFull(z, "alice@example.test", "alice", 900);
    z.users->saveNssZUser(alice);

    std::shared_ptr<NssZoneUser> four = NewFull(z, "carol@example.test", "carol", 901);
    four->home.clear();
    std::shared_ptr<NssZoneUser> none = z.users->newNssZUser("carol@example.test");
    const struct {
      std::shared_ptr<NssZoneUser> user;
      const char* message;  // "" saves
    } cases[] = {
        {four, l.tree() ? "" : "Some user profile fields are missing"},
        {none, l.tree() ? "At least one user profile field needed"
                        : "Some user profile fields are missing"},
        {NewFull(z, "carol@example.test", "alice", 902), "Duplicate Unix name"},
        {NewFull(z, "carol@example.test", "car@ol", 903), "unix name should not include '@' "},
        {NewFull(z, "carol@example.test", "bob", 904),
         "Duplicate uname with AD user name in the same domain"},
    };
    for (const auto& c : cases) {
      if (*c.message == '\0') {
        EXPECT_NO_THROW(checkNssUser(c.user, z.schema)) << l.name;
        continue;
      }
      EXPECT_EQ(c.message,
                MessageOf<kesh::BadDataException>([&] { z.users->saveNssZUser(c.user); }))
          << l.name;
      EXPECT_TRUE(c.user->isNew && c.user->scp.empty()) << l.name;
    }
    std::list<std::shared_ptr<NssZoneUser>> users;
    z.users->getNssZUsers("(objectClass=*)", users);
    EXPECT_EQ(1u, users.size()) << l.name;

    // Gecos alone is enough in a tree zone, not in a classic one.
    std::shared_ptr<NssZoneUser> gecosOnly = z.users->newNssZUser("carol@example.test");
    gecosOnly->gecos.set("Carol");
    if (l.tree()) {
      EXPECT_NO_THROW(checkNssUser(gecosOnly, z.schema)) << l.name;
    } else {
      EXPECT_EQ("Some user profile fields are missing",
                MessageOf<kesh::BadDataException>([&] { checkNssUser(gecosOnly, z.schema); }))
          << l.name;
    }

    // Its own name passes, also when the stored DN differs in case; its own sAMAccountName
    // is no namesake.
    std::shared_ptr<NssZoneUser> again = z.users->getNssZUser("alice@example.test", false);
    again->scp = kesh::ADObject(kesh::upper(again->scp.dn()));
    EXPECT_NO_THROW(checkNssUser(again, z.schema)) << l.name;
  }
}

// A save that fails in the directory leaves the profile as it was.
TEST_F(ScpUsersTest, FailedSaveLeavesProfileUnchanged) {
  for (const Layout& l : kLayouts) {
    Zone z = Open(l);
    std::shared_ptr<NssZoneUser> user = NewFull(z, "alice@example.test", "alice", 1000);
    // A new profile is not looked up: the add is the first operation.
    memdir::DropAfter(1, "", false);
    EXPECT_THROW(z.schema->saveZUser(user), LDAPException) << l.name;
    memdir::DropAfter(0, "", false);
    binding_->binding->connect("", "", 0);
    EXPECT_TRUE(user->isNew) << l.name;
    EXPECT_TRUE(user->scp.empty()) << l.name;
    EXPECT_EQ("alice@example.test", user->accountName) << l.name;
    EXPECT_FALSE(
        Exists("CN=" + std::string(l.tree() ? "alice@example.test" : "alice") + "," + z.usersDn()))
        << l.name;

    z.users->saveNssZUser(user);
    kesh::ADObject before = user->scp;
    user->shell.set("/bin/ksh");
    memdir::DropAfter(2, "", false);
    EXPECT_THROW(z.schema->saveZUser(user), LDAPException) << l.name;
    memdir::DropAfter(0, "", false);
    binding_->binding->connect("", "", 0);
    EXPECT_FALSE(user->isNew) << l.name;
    EXPECT_TRUE(user->scp.sameAs(before)) << l.name;
    EXPECT_EQ("/bin/sh", z.users->getNssZUser("alice", true)->shell.value) << l.name;
  }
}

// Saving or deleting a profile whose object is gone; deleting touches the time stamp of
// LocalUsers for local users only.
TEST_F(ScpUsersTest, DeleteAndDeletedProfiles) {
  for (const Layout& l : kLayouts) {
    Zone z = Open(l);
    const std::string stamp = "lastupdatetime:1";
    SetDescription(z.localUsersDn(), stamp);
    std::shared_ptr<NssZoneUser> alice = NewFull(z, "alice@example.test", "alice", 1100);
    EXPECT_EQ("Zone user has not been created",
              MessageOf<kesh::BadDataException>([&] { z.users->deleteNssZUser(alice); }))
        << l.name;
    z.users->saveNssZUser(alice);
    const std::string dn = alice->scp.dn();
    z.users->deleteNssZUser(alice);
    EXPECT_FALSE(Exists(dn)) << l.name;
    EXPECT_EQ(stamp, Stored(z.localUsersDn()).firstValue(AD_DESCRIPTION)) << l.name;
    EXPECT_EQ("Scp has been deleted",
              MessageOf<kesh::BadDataException>([&] { z.users->saveNssZUser(alice); }))
        << l.name;
    EXPECT_FALSE(Exists(dn)) << l.name;

    if (!l.tree()) continue;
    std::shared_ptr<NssLocalUser> local = z.locals->newNssLocalUser("svc");
    local->uid.set(50);
    z.locals->saveNssLocalUser(local);
    SetDescription(z.localUsersDn(), stamp);
    const std::string localDn = local->scp.dn();
    z.locals->deleteNssLocalUser(local);
    EXPECT_FALSE(Exists(localDn)) << l.name;
    EXPECT_NE(stamp, Stored(z.localUsersDn()).firstValue(AD_DESCRIPTION)) << l.name;
    EXPECT_EQ("Scp has been deleted",
              MessageOf<kesh::BadDataException>([&] { z.locals->saveNssLocalUser(local); }))
        << l.name;
  }
}

// Local users of tree zones: the stored form, the name rules and the time stamp.
TEST_F(ScpUsersTest, LocalUsers) {
  for (const Layout& l : kLayouts) {
    if (!l.tree()) continue;
    Zone z = Open(l);
    for (const char* bad : {"a:b", "a/b"}) {
      EXPECT_EQ("value not allowed",
                MessageOf<kesh::BadDataException>([&] { z.locals->newNssLocalUser(bad); }))
          << l.name;
    }
    std::shared_ptr<NssLocalUser> svc = z.locals->newNssLocalUser("svc");
    svc->uid.set(70);
    svc->home.set("/srv");
    svc->profileFlag.isSet = true;
    svc->profileFlag.value.set("2");
    z.locals->saveNssLocalUser(svc);
    EXPECT_FALSE(svc->isNew);
    kesh::ADObject stored = Stored("CN=svc," + z.localUsersDn());
    EXPECT_EQ(l.rfc() ? "$KeshLocalUserVersion2" : "$KeshLocalUserVersion1",
              stored.firstValue(AD_DISPLAY_NAME))
        << l.name;
    EXPECT_EQ(l.rfc() ? Values({"profileflag:2"})
                      : Values({"home:/srv", "login:svc", "profileflag:2", "uid:70"}),
              ValuesOf(stored, AD_KEYWORDS))
        << l.name;
    EXPECT_EQ(l.rfc() ? Values{"svc"} : Values{}, ValuesOf(stored, "uid")) << l.name;
    EXPECT_NE("", Stored(z.localUsersDn()).firstValue(AD_DESCRIPTION)) << l.name;
    EXPECT_EQ("User already exists",
              MessageOf<kesh::BadDataException>([&] { z.locals->newNssLocalUser("svc"); }))
        << l.name;

    std::shared_ptr<NssLocalUser> loaded = z.locals->getNssLocalUser("svc");
    EXPECT_EQ("svc", loaded->unixName.value) << l.name;
    EXPECT_EQ(70u, loaded->uid.value) << l.name;
    EXPECT_EQ("/srv", loaded->home.value) << l.name;
    EXPECT_EQ("2", loaded->profileFlag.value.get()) << l.name;
    EXPECT_FALSE(loaded->gid.isSet) << l.name;
    EXPECT_EQ("LocalUser not in current zone",
              MessageOf<kesh::NotFoundException>([&] { z.locals->getNssLocalUser("nobody"); }))
        << l.name;

    const std::string name64(64, 'x');
    std::shared_ptr<NssLocalUser> fits = z.locals->newNssLocalUser(name64);
    fits->uid.set(71);
    z.locals->saveNssLocalUser(fits);
    std::shared_ptr<NssLocalUser> tooLong = z.locals->newNssLocalUser(name64 + "x");
    tooLong->uid.set(72);
    EXPECT_EQ("User name length has exceeded the limit",
              MessageOf<kesh::BadDataException>([&] { z.locals->saveNssLocalUser(tooLong); }))
        << l.name;
    EXPECT_TRUE(tooLong->isNew) << l.name;

    std::shared_ptr<NssLocalUser> twin = z.locals->newNssLocalUser("svc2");
    twin->unixName.set("svc");
    EXPECT_EQ("Duplicate Unix name",
              MessageOf<kesh::BadDataException>([&] { z.locals->saveNssLocalUser(twin); }))
        << l.name;

    std::list<std::shared_ptr<NssLocalUser>> list;
    z.locals->getNssLocalUsers("(objectClass=*)", list);
    Values names;
    for (const auto& u : list) names.push_back(u->getUserName());
    std::sort(names.begin(), names.end());
    EXPECT_EQ((Values{"svc", name64}), names) << l.name;
  }
}

// A listing resolves its directory users in a constant number of calls, with the results
// of loading each profile on its own; nothing of the batch outlives the listing.
TEST_F(ScpUsersTest, ListingResolvesUsersInBatches) {
  const int kProfiles = 20;
  std::string ldif;
  for (int i = 0; i < kProfiles; ++i) {
    const std::string n = std::to_string(100 + i);
    ldif += "dn: CN=Lister" + n + ",CN=Users,DC=example,DC=test\n" + kUserClasses +
            "sAMAccountName: lister" + n + "\nobjectSid: S-1-5-21-3623811015-3361044348-30300820-" +
            std::to_string(2000 + i) + "\n\n";
  }
  memdir::LoadLdif(ldif);
  // Each binding reads its domain's facts once, at first use; that is not the listing's.
  binding_->getDomainSid();
  GetBinding("other.test")->getDomainSid();
  for (const Layout& l : kLayouts) {
    Zone z = Open(l);
    for (int i = 0; i < kProfiles; ++i) {
      LoadRawProfile(z, "p" + std::to_string(i),
                     "keywords: parentLink:S-1-5-21-3623811015-3361044348-30300820-" +
                         std::to_string(2000 + i) + "\nkeywords: uid:" + std::to_string(i) + "\n");
    }
    LoadRawProfile(z, "history",
                   "keywords: parentLink:S-1-5-21-1004336348-1177238915-682003330-1190\n");
    LoadRawProfile(z, "gone", std::string("keywords: parentLink:") + kUnknownSid + "\n");

    std::list<std::shared_ptr<NssZoneUser>> users;
    const uint64_t calls = OperationsOf([&] { z.users->getNssZUsers("(objectClass=*)", users); });
    // The search, one batch for example.test, and the two links the batch cannot answer.
    // The search; one batch for each of the two domains; GetPrincipalBySid for the SID of a
    // history, which the batch does not answer (the unknown domain's SID asks no binding).
    EXPECT_EQ(4u, calls) << l.name;
    ASSERT_EQ(static_cast<size_t>(kProfiles + 2), users.size()) << l.name;
    for (const auto& listed : users) {
      std::string cn = kesh::DN::cnFromDn(listed->scp.dn());
      std::shared_ptr<NssZoneUser> single = z.users->getNssZUser("*" + listed->parentLink, false);
      EXPECT_EQ(single->accountName, listed->accountName) << l.name << " " << cn;
      EXPECT_EQ(single->upn, listed->upn) << l.name << " " << cn;
      EXPECT_EQ(single->adUser.dn(), listed->adUser.dn()) << l.name << " " << cn;
    }
    // A user deleted after the listing is not answered from what the listing read.
    kesh::ADObject lister("CN=Lister100,CN=Users,DC=example,DC=test");
    binding_->binding->remove(lister, false);
    EXPECT_EQ(
        "*S-1-5-21-3623811015-3361044348-30300820-2000",
        z.users->getNssZUser("*S-1-5-21-3623811015-3361044348-30300820-2000", false)->accountName)
        << l.name;
    memdir::LoadLdif("dn: CN=Lister100,CN=Users,DC=example,DC=test\n" + std::string(kUserClasses) +
                     "sAMAccountName: lister100\n"
                     "objectSid: S-1-5-21-3623811015-3361044348-30300820-2000\n\n");
  }
}

// The directory calls of new_zone_user and save_zone_user (uid, gid, home, shell; no unix
// name) in a hierarchical RFC zone, once the binding knows its forest (which costs the
// first use of a binding two reads: the root DSE and the domain object).
TEST_F(ScpUsersTest, CallsOfNewAndSaveInRfcTree) {
  Zone z = Open(kLayouts[5]);
  binding_->getForest();
  std::shared_ptr<NssZoneUser> user;
  // newNssZUser: GetADUser by UPN, once, then the test for a profile: the parentLink search
  // below Users and the managedObjects of the user, who manages nothing there.
  const uint64_t newCalls =
      OperationsOf([&] { user = z.users->newNssZUser("alice@example.test"); });
  user->uid.set(1);
  user->gid.set(1);
  user->home.set("/home/a");
  user->shell.set("/bin/sh");
  // saveNssZUser: the checks read nothing without a unix name, and a new profile has no
  // present object to look up: the add and the read back.
  const uint64_t saveCalls = OperationsOf([&] { z.users->saveNssZUser(user); });
  EXPECT_EQ(3u, newCalls);
  EXPECT_EQ(2u, saveCalls);
}

}  // namespace
