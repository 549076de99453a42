#include "directory/zsm_util.h"

#include <gtest/gtest.h>
#include <pwd.h>

#include <memory>
#include <set>
#include <string>

#include "directory/ldap.h"
#include "directory/library/exceptions.h"
#include "directory/library/memory/memdir.h"
#include "directory/library/sid.h"
#include "directory/principal.h"
#include "directory/session.h"

namespace {

struct SidCase {
  const char* sid;
  uint32_t id;
};

TEST(SidToUnixId, Vectors) {
  const SidCase cases[] = {
      // Nine bits of the domain's last sub-authority above 22 bits of the RID.
      {"S-1-5-21-1-2-511-4194303", 2147483647u},
      {"S-1-5-21-1-2-1-500", (1u << 22) | 500},
      {"S-1-5-21-1004336348-1177238915-682003330-1001", 1619002345u},
      // Bits above the nine and the 22 are dropped.
      {"S-1-5-21-1-2-512-4194304", 0u},
      {"S-1-5-21-1-2-513-4194305", (1u << 22) | 1},
      // The first two domain sub-authorities do not count.
      {"S-1-5-21-4294967295-4294967295-7-8", (7u << 22) | 8},
  };
  for (const SidCase& c : cases) {
    EXPECT_EQ(SidToUnixId(kesh::SID(c.sid)), c.id) << c.sid;
  }
}

TEST(SidToUnixId, SidWithoutDomainPartIsRefused) {
  // Well-known SIDs, a domain SID without a RID, and a SID under another authority.
  for (const char* text : {"S-1-5-18", "S-1-5-32-544", "S-1-1-0", "S-1-5-21-1-2", "S-1-5-21-1-2-3",
                           "S-1-3-21-1-2-3-500"}) {
    try {
      SidToUnixId(kesh::SID(text));
      ADD_FAILURE() << text << ": no exception";
    } catch (const kesh::BadDataException& e) {
      EXPECT_EQ(std::string(text) + " is not a domain SID", e.what());
    }
  }
  EXPECT_THROW(SidToUnixId(kesh::SID()), kesh::BadDataException);
}

struct GuidCase {
  const char* guid;
  uint32_t id;
};

TEST(GuidToUnixId, Vectors) {
  const GuidCase cases[] = {
      {"6F9619FF-8B86-D011-B42D-00C04FC964FF", 0x6F9619FFu},
      {"6f9619ff-8b86-d011-b42d-00c04fc964ff", 0x6F9619FFu},
      {"{6F9619FF-8B86-D011-B42D-00C04FC964FF}", 0x6F9619FFu},
      // The top bit is dropped.
      {"ffffffff-ffff-ffff-ffff-ffffffffffff", 0x7fffffffu},
      {"80000000-0000-0000-0000-000000000000", 0u},
      {"80000001-0000-0000-0000-000000000000", 1u},
      // Only the first field counts.
      {"00000002-ffff-ffff-ffff-ffffffffffff", 2u},
  };
  for (const GuidCase& c : cases) {
    EXPECT_EQ(GuidToUnixId(c.guid), c.id) << c.guid;
  }
}

TEST(GuidToUnixId, MalformedGuids) {
  const char* bad[] = {
      "",
      "6F9619FF8B86D011B42D00C04FC964FF",       // no dashes
      "6F9619FF-8B86-D011-B42D-00C04FC964F",    // one digit short
      "6F9619FF-8B86-D011-B42D-00C04FC964FFF",  // one digit long
      "6F9619FG-8B86-D011-B42D-00C04FC964FF",   // not hex
      "6F9619FF-8B86-D011-B42D_00C04FC964FF",   // wrong separator
      "-6F9619F-8B86-D011-B42D-00C04FC964FF",
  };
  for (const char* text : bad) {
    try {
      GuidToUnixId(text);
      ADD_FAILURE() << "accepted " << text;
    } catch (const kesh::BadDataException& e) {
      EXPECT_STREQ(e.what(), "The given GUID is not in a valid GUID string format.") << text;
    }
  }
}

TEST(PasswdEnumerator, LoadsEveryField) {
  struct passwd pw = {};
  pw.pw_name = const_cast<char*>("alice");
  pw.pw_passwd = const_cast<char*>("x");
  pw.pw_uid = 4000000000u;  // above 2^31: stays unsigned
  pw.pw_gid = 100;
  pw.pw_gecos = const_cast<char*>("Alice A");
  pw.pw_dir = const_cast<char*>("/home/alice");
  pw.pw_shell = nullptr;
  std::shared_ptr<PasswdEntry> entry = PasswdEnumerator::loadPasswdEntry(&pw);
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->name, "alice");
  EXPECT_EQ(entry->passwd, "x");
  EXPECT_EQ(entry->uid, 4000000000u);
  EXPECT_EQ(entry->gid, 100u);
  EXPECT_EQ(entry->gecos, "Alice A");
  EXPECT_EQ(entry->dir, "/home/alice");
  EXPECT_EQ(entry->shell, "");
  EXPECT_FALSE(PasswdEnumerator::loadPasswdEntry(nullptr));
}

TEST(PasswdEnumerator, RootByNameAndUid) {
  PasswdEnumerator passwd;
  std::shared_ptr<PasswdEntry> byName = passwd.getByName("root");
  ASSERT_TRUE(byName);
  EXPECT_EQ(byName->uid, 0u);
  std::shared_ptr<PasswdEntry> byUid = passwd.getByUid(0);
  ASSERT_TRUE(byUid);
  EXPECT_EQ(byUid->name, "root");
  EXPECT_FALSE(passwd.getByName("no-such-user-zs"));
}

}  // namespace

// --- group membership over the in-memory directory -------------------------------------------

namespace group_members {

namespace memdir = kesh::memdir;

const char kCCache[] = "MEMORY:zsm_util_test";
const char kUsers[] = "CN=Users,DC=example,DC=test";

class GroupMembersTest : public testing::Test {
 protected:
  void SetUp() override {
    memdir::Reset();
    memdir::LoadLdifFile(std::string(ZS_FIXTURES_DIR) + "/example.ldif");
    memdir::SetCCache(kCCache, "Administrator@EXAMPLE.TEST");
    auto binding = std::make_shared<MyBinding>(
        kesh::NewADBinding("example.test", kCCache, false, "", "", nullptr), kCCache);
    binding->binding->connect("", "", 0);
    tab_.bindings["example.test"] = binding;
  }
  void TearDown() override { memdir::Reset(); }

  // Groups "<prefix>0" .. "<prefix>(n-1)", each holding the next; the last holds alice,
  // and with `ring` the last also holds the first.
  static std::string Chain(const std::string& prefix, int n, bool ring) {
    std::string ldif;
    for (int i = 0; i < n; ++i) {
      ldif += "dn: CN=" + prefix + std::to_string(i) + "," + kUsers +
              "\nobjectClass: group\nsAMAccountName: " + prefix + std::to_string(i) + "\n";
      if (i + 1 < n) ldif += "member: CN=" + prefix + std::to_string(i + 1) + "," + kUsers + "\n";
      if (i + 1 == n) {
        ldif += std::string("member: CN=Alice Able,") + kUsers + "\n";
        if (ring) ldif += "member: CN=" + prefix + "0," + kUsers + "\n";
      }
      ldif += "\n";
    }
    return ldif;
  }

  kesh::ADObject Group(const std::string& cn) {
    return GetADObjectByDN("CN=" + cn + "," + std::string(kUsers));
  }

  ContextTab tab_;
  SessionScope scope_{&tab_};
};

// A nesting far deeper than a call stack could follow: the walk keeps its own list.
TEST_F(GroupMembersTest, DeepNestingIsWalkedWithoutRecursion) {
  const int kDepth = 35000;
  memdir::LoadLdif(Chain("deep", kDepth, false));
  EXPECT_EQ(std::set<std::string>{"alice@example.test"},
            GroupMembers(Group("deep0"), MEMBER_SAM_NAME, false));
  // Without recursion the member group itself is listed by DN.
  EXPECT_EQ(std::set<std::string>{"CN=deep1," + std::string(kUsers)},
            GroupMembers(Group("deep0"), MEMBER_DN, true));
}

TEST_F(GroupMembersTest, CyclesEndAndEveryNameFormIsGiven) {
  memdir::LoadLdif(Chain("ring", 3, true));
  for (const char* start : {"ring0", "ring1", "ring2"}) {
    EXPECT_EQ(std::set<std::string>{"alice@example.test"},
              GroupMembers(Group(start), MEMBER_SAM_NAME, false))
        << start;
  }
  EXPECT_EQ(std::set<std::string>{"alice@example.test"},
            GroupMembers(Group("ring2"), MEMBER_UPN, false));
  // A member group is no name of its own without -ad.
  EXPECT_TRUE(GroupMembers(Group("ring1"), MEMBER_SAM_NAME, true).empty());
}

}  // namespace group_members
