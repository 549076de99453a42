// The in-memory directory's agent through kesh::LocalRpcSession: answers for the domain of
// the "domain.name" setting while memdir::SetAgent runs it, on the example.test fixture
// (other.test loaded beside it).
#include "directory/library/local_rpc.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "directory/library/exceptions.h"
#include "directory/library/memory/memdir.h"
#include "directory/library/settings.h"
#include "directory/library/sid.h"
#include "message_of.h"

namespace kesh {
namespace {

const char kDomainSid[] = "S-1-5-21-3623811015-3361044348-30300820";

SID DomainSid(int rid) { return SID(std::string(kDomainSid) + "-" + std::to_string(rid)); }

using testutil::MessageOf;

class LocalRpcTest : public ::testing::Test {
 protected:
  void SetUp() override {
    memdir::Reset();
    memdir::LoadLdifFile(std::string(ZS_FIXTURES_DIR) + "/example.ldif");
    memdir::LoadLdifFile(std::string(ZS_FIXTURES_DIR) + "/other.ldif");
    memdir::SetSetting(SETTING_DOMAIN_NAME, "example.test");
    memdir::SetAgent(true);
  }
  void TearDown() override { memdir::Reset(); }
  LocalRpcSession agent{"/var/norvanedaemon/daemon", false, false};
};

TEST_F(LocalRpcTest, EveryQuestionFailsWhileTheAgentIsStopped) {
  memdir::SetAgent(false);
  std::vector<std::function<void()>> questions = {
      [&] { agent.ping(); },
      [&] { agent.getUser("alice@example.test", GROUP_MEMBERSHIP); },
      [&] { agent.getUser("alice", UNIX_ONLY); },
      [&] { agent.getGroup(DomainSid(512), 0); },
      [&] { agent.validateUserGroup("alice@example.test", {"unixadmins@example.test"}, true, 0); },
  };
  for (size_t i = 0; i < questions.size(); ++i) {
    EXPECT_FALSE(MessageOf<SystemException>(questions[i]).empty()) << i;
  }
  memdir::SetAgent(true);
  EXPECT_NO_THROW(agent.ping());
}

TEST_F(LocalRpcTest, UsersByPrincipalUpnAndUnixName) {
  struct Case {
    std::string name;
    int flags;
    std::string account;  // empty: "User not found"
  };
  const std::vector<Case> cases = {
      {"alice@example.test", GROUP_MEMBERSHIP, "alice"},
      {"ALICE@EXAMPLE.TEST", GROUP_MEMBERSHIP, "alice"},
      {"robert.baker@corp.example.test", GROUP_MEMBERSHIP, "bob"},
      {"bob@example.test", GROUP_MEMBERSHIP, "bob"},
      {"alice", UNIX_ONLY, "alice"},
      {"administrator", UNIX_ONLY, "Administrator"},
      {"alice", GROUP_MEMBERSHIP, ""},                     // a principal needs its domain
      {"alice@example.test", UNIX_ONLY, ""},               // a UNIX name has none
      {"Administrator@other.test", GROUP_MEMBERSHIP, ""},  // not the agent's domain
      {"unixadmins@example.test", GROUP_MEMBERSHIP, ""},   // a group
  };
  for (const Case& c : cases) {
    if (c.account.empty()) {
      EXPECT_EQ(MessageOf<NotFoundException>([&] { agent.getUser(c.name, c.flags); }),
                "User not found")
          << c.name;
    } else {
      EXPECT_EQ(agent.getUser(c.name, c.flags).account, c.account) << c.name;
    }
  }
}

TEST_F(LocalRpcTest, UserFieldsAndKerberosName) {
  LocalRpcUser alice = agent.getUser("alice", UNIX_ONLY);
  EXPECT_EQ(alice.domain, "example.test");
  EXPECT_EQ(alice.upn, "alice@example.test");
  EXPECT_EQ(alice.sid, DomainSid(1101));
  EXPECT_EQ(alice.uid, 10001u);
  EXPECT_EQ(alice.gid, 10000u);
  EXPECT_EQ(alice.unixName, "alice");
  EXPECT_EQ(alice.home, "/home/alice");
  EXPECT_EQ(alice.shell, "/bin/bash");
  EXPECT_TRUE(alice.groups.empty());
  EXPECT_EQ(ADUser::getWinKerberosName(agent.getUser("administrator", UNIX_ONLY)),
            "Administrator@EXAMPLE.TEST");
}

TEST_F(LocalRpcTest, GroupsBySid) {
  LocalRpcGroup admins = agent.getGroup(DomainSid(512), 0);
  EXPECT_EQ(admins.name, "Domain Admins@example.test");
  EXPECT_EQ(agent.getGroup(DomainSid(1200), 0).gid, 10000u);
  for (const SID& sid : {DomainSid(1101), DomainSid(4999), SID()}) {
    EXPECT_EQ(MessageOf<NotFoundException>([&] { agent.getGroup(sid, 0); }), "Group not found")
        << sid.toMSString();
  }
}

TEST_F(LocalRpcTest, MembershipOfAnyOrAllGroups) {
  struct Case {
    std::vector<std::string> groups;
    bool any;
    int expected;
  };
  // Alice: unixadmins, crowd, Domain Users (primary); staff-list is a distribution group.
  const std::vector<Case> cases = {
      {{"unixadmins@example.test"}, true, 1},
      {{"staff-list@example.test"}, true, 0},
      {{"unixadmins@example.test", "staff-list@example.test"}, true, 1},
      {{"unixadmins@example.test", "staff-list@example.test"}, false, 0},
      {{"unixadmins@example.test", "crowd@example.test", "Domain Users@example.test"}, false, 1},
      {{"nogroup@example.test", "crowd@example.test"}, true, 1},
      {{"nogroup@example.test", "crowd@example.test"}, false, 0},
      {{"unixadmins@other.test"}, true, 0},
      {{}, true, 0},
      {{}, false, 0},
  };
  for (size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(agent.validateUserGroup("alice@example.test", cases[i].groups, cases[i].any, 0),
              cases[i].expected)
        << i;
  }
  EXPECT_EQ(MessageOf<NotFoundException>([&] {
              agent.validateUserGroup("nobody@example.test", {"crowd@example.test"}, true, 0);
            }),
            "User not found");
}

}  // namespace
}  // namespace kesh
