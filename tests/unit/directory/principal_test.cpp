// Principal resolution against the in-memory directory: example.test (forest example.test)
// and other.test (a forest of its own), loaded from the shared fixtures.
#include "directory/principal.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "directory/cache.h"
#include "directory/library/dn.h"
#include "memdir_session.h"

namespace {

using memtest::MessageOf;

// The ticket of example.test's Administrator, once the test binds the domain.
const std::string kCCache = memtest::CCacheOf("example.test");
const char kExampleSid[] = "S-1-5-21-3623811015-3361044348-30300820";
const char kOtherSid[] = "S-1-5-21-1004336348-1177238915-682003330";

// No binding until the test makes one.
class PrincipalTest : public memtest::MemdirSession {
 protected:
  void SetUp() override {
    MemdirSession::SetUp();
    memtest::LoadFixture("other.ldif");
  }
};

TEST_F(PrincipalTest, NamesWithoutDomainAreRefused) {
  Bind("example.test");
  struct Case {
    std::function<void()> call;
    const char* message;
  } cases[] = {
      {[] { GetADUser("alice"); }, "User name must include domain"},
      {[] { GetADGroup("unixadmins"); }, "Group name must include domain"},
      {[] { GetADComputer("WS1"); }, "Computer name must include domain"},
      {[] { GetComputer("WS1"); }, "Machine name must include domain"},
      {[] { ChangeUserPassword("alice", "x", kCCache); }, "User name must include domain"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(MessageOf<kesh::BadDataException>(c.call), c.message);
  }
  // GetPrincipal swallows the refusals of the three look-ups.
  EXPECT_EQ(MessageOf<kesh::NotFoundException>([] { GetPrincipal("alice"); }),
            "Principal not found: alice");
}

TEST_F(PrincipalTest, UserByUpnThenBySamAccountName) {
  Bind("example.test");
  EXPECT_EQ(GetADUser("alice@example.test").dn(), "CN=Alice Able,CN=Users,DC=example,DC=test");
  // Bob's UPN is robert.baker@corp.example.test: found by the second filter only.
  EXPECT_EQ(GetADUser("bob@example.test").dn(), "CN=Bob Baker,CN=Users,DC=example,DC=test");
  EXPECT_EQ(GetADUser("robert.baker@corp.example.test").dn(),
            "CN=Bob Baker,CN=Users,DC=example,DC=test");
  // A computer account passes in its own domain.
  EXPECT_EQ(GetADUser("WS1$@example.test").dn(), "CN=WS1,CN=Computers,DC=example,DC=test");
  // A group does not.
  EXPECT_EQ(MessageOf<kesh::NotFoundException>([] { GetADUser("unixadmins@example.test"); }),
            "could not find unixadmins@example.test");
}

TEST_F(PrincipalTest, FilterValuesAreEscaped) {
  Bind("example.test");
  // Unescaped, "*" would match every account and "(" would break the filter.
  for (const char* name : {"*@example.test", "a*@example.test", "al(ice@example.test",
                           "alice)(sAMAccountName=*@example.test", "\\2a@example.test"}) {
    EXPECT_EQ(MessageOf<kesh::NotFoundException>([&] { GetADUser(name); }),
              std::string("could not find ") + name)
        << name;
    EXPECT_EQ(MessageOf<kesh::NotFoundException>([&] { GetADGroup(name); }),
              std::string("could not find ") + name)
        << name;
  }
  // A name with the special characters in it is found as written.
  EXPECT_EQ(GetADUser("starry@example.test").dn(),
            "CN=Star*(Paren)\\\\Back,CN=Users,DC=example,DC=test");
}

TEST_F(PrincipalTest, GlobalCatalogFindsOtherForestByUpnOnly) {
  Bind("example.test");
  EXPECT_EQ(MessageOf<kesh::NotFoundException>([] { GetADUser("olivia@other.test"); }),
            "could not find olivia@other.test");
  Bind("other.test", true);
  EXPECT_EQ(GetADUser("olivia@other.test").dn(), "CN=Olivia Olsen,CN=Users,DC=other,DC=test");
  // The scans ask for the UPN: a sAMAccountName form of another domain is not found.
  kesh::memdir::LoadLdif(
      "dn: CN=Oscar,CN=Users,DC=other,DC=test\nobjectClass: user\nsAMAccountName: oscar\n"
      "userPrincipalName: oscar.o@other.test\n");
  EXPECT_EQ(MessageOf<kesh::NotFoundException>([] { GetADUser("oscar@other.test"); }),
            "could not find oscar@other.test");
}

TEST_F(PrincipalTest, ScansAskForPersons) {
  // Without a binding of its own domain a computer is not found: the scans want "Person".
  Bind("example.test", true);
  EXPECT_EQ(MessageOf<kesh::NotFoundException>([] { GetADUser("WS1$@example.test"); }),
            "could not find WS1$@example.test");
  EXPECT_EQ(GetADUser("alice@example.test").dn(), "CN=Alice Able,CN=Users,DC=example,DC=test");
}

TEST_F(PrincipalTest, GroupAndComputerLookups) {
  Bind("example.test");
  EXPECT_EQ(GetADGroup("unixadmins@example.test").dn(),
            "CN=UNIX Admins,CN=Users,DC=example,DC=test");
  EXPECT_EQ(MessageOf<kesh::NotFoundException>([] { GetADGroup("alice@example.test"); }),
            "alice@example.test is not a group");
  EXPECT_EQ(MessageOf<kesh::NotFoundException>([] { GetADGroup("nobody@example.test"); }),
            "could not find nobody@example.test");
  EXPECT_EQ(MessageOf<kesh::NotFoundException>([] { GetADGroup("x@nowhere.test"); }),
            "No binding for domain nowhere.test");
  EXPECT_EQ(GetADComputer("WS1$@example.test").dn(), "CN=WS1,CN=Computers,DC=example,DC=test");
  EXPECT_EQ(MessageOf<kesh::NotFoundException>([] { GetADComputer("alice@example.test"); }),
            "alice@example.test is not a computer");
  // GetComputer adds the dollar sign and does not look at the category.
  EXPECT_EQ(GetComputer("ws1@example.test").dn(), "CN=WS1,CN=Computers,DC=example,DC=test");
  EXPECT_EQ(MessageOf<kesh::NotFoundException>([] { GetComputer("alice@example.test"); }),
            "could not find alice@example.test");
}

TEST_F(PrincipalTest, PrincipalPrefersUsers) {
  Bind("example.test");
  EXPECT_EQ(GetPrincipal("alice@example.test").category(), "Person");
  EXPECT_EQ(GetPrincipal("unixadmins@example.test").category(), "Group");
  EXPECT_EQ(GetPrincipal("WS1$@example.test").category(), "Computer");
  EXPECT_EQ(MessageOf<kesh::NotFoundException>([] { GetPrincipal("ghost@example.test"); }),
            "Principal not found: ghost@example.test");
}

TEST_F(PrincipalTest, BySidInDomainHistoryAndGlobalCatalog) {
  Bind("example.test");
  kesh::SID alice(std::string(kExampleSid) + "-1101");
  EXPECT_EQ(GetPrincipalBySid(alice).dn(), "CN=Alice Able,CN=Users,DC=example,DC=test");
  // Carol carries a SID of other.test in her sIDHistory; it is found through a global
  // catalog binding, since no domain binding has that domain SID.
  kesh::SID history(std::string(kOtherSid) + "-1190");
  EXPECT_EQ(MessageOf<kesh::NotFoundException>([&] { GetPrincipalBySid(history); }),
            std::string("could not find ") + kOtherSid + "-1190");
  Bind("example.test", true);
  EXPECT_EQ(GetPrincipalBySid(history).dn(), "CN=Carol Chen,CN=Users,DC=example,DC=test");
  // The foreign security principal in example.test with Olivia's SID is never the answer.
  kesh::SID olivia(std::string(kOtherSid) + "-1104");
  EXPECT_EQ(MessageOf<kesh::NotFoundException>([&] { GetPrincipalBySid(olivia); }),
            std::string("could not find ") + kOtherSid + "-1104");
  Bind("other.test");
  EXPECT_EQ(GetPrincipalBySid(olivia).dn(), "CN=Olivia Olsen,CN=Users,DC=other,DC=test");
}

TEST_F(PrincipalTest, UserSidsAreOwnThenHistory) {
  Bind("example.test");
  std::vector<kesh::SID> carol = GetUserSids(GetADUser("carol@example.test"));
  ASSERT_EQ(carol.size(), 2u);
  EXPECT_EQ(carol[0].toMSString(), std::string(kExampleSid) + "-1103");
  EXPECT_EQ(carol[1].toMSString(), std::string(kOtherSid) + "-1190");
  kesh::ADObject damaged = GetADUser("alice@example.test").clone();
  damaged["sIDHistory"].addVal("no sid", false, true);
  EXPECT_EQ(GetUserSids(damaged).size(), 1u);
  EXPECT_TRUE(GetUserSids(kesh::ADObject()).empty());
}

// The batched lookup answers exactly what GetPrincipalBySid answers for the SIDs it holds,
// leaves the rest (histories, foreign principals, unknown domains) to it, and spends one
// search per batch of SIDs of one domain binding.
TEST_F(PrincipalTest, PrefetchBySidAnswersInBatches) {
  // A bound domain knows its SID, as after `bind`.
  Bind("example.test")->getRoot();
  Bind("other.test")->getRoot();
  std::vector<kesh::SID> sids;
  for (const char* rid : {"-1101", "-1102", "-500", "-512", "-9999"}) {
    sids.emplace_back(std::string(kExampleSid) + rid);
  }
  sids.emplace_back(std::string(kOtherSid) + "-1104");  // Olivia, and an FSP in example.test
  sids.emplace_back(std::string(kOtherSid) + "-1190");  // only in Carol's history
  sids.emplace_back("S-1-5-21-1-2-3-1000");             // a domain nobody binds
  std::map<std::string, kesh::ADObject> found;
  const uint64_t ops = memtest::OperationsOf([&] { found = PrefetchPrincipalsBySid(sids); });
  EXPECT_EQ(ops, 2u);  // one search in each bound domain
  std::vector<std::string> keys;
  for (const auto& entry : found) keys.push_back(entry.first);
  EXPECT_EQ(keys, (std::vector<std::string>{
                      std::string(kOtherSid) + "-1104", std::string(kExampleSid) + "-1101",
                      std::string(kExampleSid) + "-1102", std::string(kExampleSid) + "-500",
                      std::string(kExampleSid) + "-512"}));
  for (auto& entry : found) {
    kesh::SID sid(entry.first);
    EXPECT_EQ(entry.second.dn(), GetPrincipalBySid(sid).dn());
  }

  // 250 SIDs of one domain: three batches.
  std::vector<kesh::SID> many;
  for (int rid = 3000; rid < 3250; ++rid) {
    many.emplace_back(std::string(kExampleSid) + "-" + std::to_string(rid));
  }
  EXPECT_EQ(memtest::OperationsOf([&] { EXPECT_TRUE(PrefetchPrincipalsBySid(many).empty()); }), 3u);
}

TEST_F(PrincipalTest, PrefetchObjectsByDnBatchesEachBoundDomain) {
  Bind("example.test");
  Bind("other.test");
  const std::vector<std::string> dns = {
      "CN=Alice Able,CN=Users,DC=example,DC=test", "cn=domain admins,cn=users,dc=example,dc=test",
      "CN=Olivia Olsen,CN=Users,DC=other,DC=test",
      "CN=Nobody,CN=Users,DC=example,DC=test",  // not in the directory
      "CN=Somebody,DC=unbound,DC=test"};        // a domain nobody binds
  static const char* const kAttrs[] = {AD_SAM_ACCOUNT_NAME, AD_OBJECT_CATEGORY, nullptr};
  std::map<std::string, kesh::ADObject> found;
  EXPECT_EQ(memtest::OperationsOf([&] { found = PrefetchObjectsByDn(dns, kAttrs); }), 2u);
  std::vector<std::string> keys;
  for (const auto& entry : found) keys.push_back(entry.first);
  EXPECT_EQ(keys, (std::vector<std::string>{"cn=alice able,cn=users,dc=example,dc=test",
                                            "cn=domain admins,cn=users,dc=example,dc=test",
                                            "cn=olivia olsen,cn=users,dc=other,dc=test"}));
  for (auto& entry : found) {
    kesh::ADObject alone = GetADObjectByDN(entry.first);
    EXPECT_EQ(entry.second.firstValue(AD_SAM_ACCOUNT_NAME), alone.firstValue(AD_SAM_ACCOUNT_NAME));
    EXPECT_EQ(entry.second.category(), alone.category());
  }

  // 250 DNs of one domain: ten batches.
  std::vector<std::string> many;
  for (int i = 0; i < 250; ++i) many.push_back("CN=u" + std::to_string(i) + ",DC=example,DC=test");
  EXPECT_EQ(memtest::OperationsOf([&] { EXPECT_TRUE(PrefetchObjectsByDn(many, kAttrs).empty()); }),
            10u);
}

TEST_F(PrincipalTest, InternalGetObjectBySidAnswersEmpty) {
  auto binding = Bind("example.test");
  kesh::SID none(std::string(kExampleSid) + "-9999");
  EXPECT_TRUE(InternalGetObjectBySid(binding, none).empty());
}

TEST_F(PrincipalTest, ForeignSecurityPrincipalNames) {
  Bind("example.test");
  kesh::ADObject fsp = GetADObjectByDN(
      "CN=S-1-5-21-1004336348-1177238915-682003330-1104,CN=ForeignSecurityPrincipals,"
      "DC=example,DC=test");
  // Unresolved: the star form.
  EXPECT_EQ(GetUserName(fsp, false), "*S-1-5-21-1004336348-1177238915-682003330-1104");
  EXPECT_TRUE(LookupForeignUser(fsp).sameAs(fsp));
  // With a binding that reaches other.test: the real user.
  Bind("other.test");
  EXPECT_EQ(LookupForeignUser(fsp).dn(), "CN=Olivia Olsen,CN=Users,DC=other,DC=test");
  EXPECT_EQ(GetUserName(fsp, false), "olivia@other.test");
  // An object outside ForeignSecurityPrincipals is left alone.
  kesh::ADObject alice = GetADUser("alice@example.test");
  EXPECT_TRUE(LookupForeignUser(alice).sameAs(alice));
}

TEST_F(PrincipalTest, UserAndGroupNameForms) {
  Bind("example.test");
  kesh::ADObject bob = GetADUser("bob@example.test");
  EXPECT_EQ(GetUserName(bob, false), "bob@example.test");
  EXPECT_EQ(GetUserName(bob, true), "robert.baker@corp.example.test");
  kesh::ADObject ws1 = GetADComputer("WS1$@example.test");
  EXPECT_EQ(GetUserName(ws1, true), "WS1$@example.test");  // no UPN: the SAM form
  EXPECT_EQ(GetGroupName(GetADGroup("unixadmins@example.test")), "unixadmins@example.test");
  kesh::ADObject bare("CN=x,OU=A,DC=Example,DC=TEST");
  EXPECT_EQ(GetUserName(bare, true), "?@example.test");
  EXPECT_EQ(GetGroupName(bare), "?@example.test");
}

TEST_F(PrincipalTest, IsGroupIsFalseOnFailure) {
  Bind("example.test");
  EXPECT_TRUE(IsGroup("CN=UNIX Admins,CN=Users,DC=example,DC=test"));
  EXPECT_FALSE(IsGroup("CN=Alice Able,CN=Users,DC=example,DC=test"));
  EXPECT_FALSE(IsGroup("CN=Nobody,CN=Users,DC=example,DC=test"));
  EXPECT_FALSE(IsGroup("CN=x,DC=nowhere,DC=test"));
}

TEST_F(PrincipalTest, ScanBindingsLooksAtFirstObjectOnly) {
  auto example = Bind("example.test");
  auto other = Bind("other.test");
  std::vector<std::shared_ptr<MyBinding>> both = {example, other};
  // Both domains have an Administrator; the first binding answers.
  kesh::ADObject found = ScanBindings(both, "(sAMAccountName=Administrator)", "Person");
  EXPECT_EQ(found.dn(), "CN=Administrator,CN=Users,DC=example,DC=test");
  std::vector<std::shared_ptr<MyBinding>> reversed = {other, example};
  EXPECT_EQ(ScanBindings(reversed, "(sAMAccountName=Administrator)", "Person").dn(),
            "CN=Administrator,CN=Users,DC=other,DC=test");
  // The first object of a result is not a Group: the binding is passed over.
  EXPECT_TRUE(
      ScanBindings(both, "(|(sAMAccountName=alice)(sAMAccountName=unixadmins))", "Group").empty());
  std::vector<std::shared_ptr<MyBinding>> bindings;
  GetBindings(bindings);
  ASSERT_EQ(bindings.size(), 2u);
  EXPECT_EQ(bindings[0], example);  // key order
  bindings.clear();
  GetGCBindings(bindings);
  EXPECT_TRUE(bindings.empty());
}

TEST_F(PrincipalTest, UserLookupAsksTheCacheFirst) {
  Bind("example.test");
  TurnCacheOn();
  GetADUser("alice@example.test");
  const uint64_t before = kesh::memdir::OperationCount();
  EXPECT_EQ(GetADUser("alice@example.test").dn(), "CN=Alice Able,CN=Users,DC=example,DC=test");
  kesh::SID alice(std::string(kExampleSid) + "-1101");
  EXPECT_EQ(GetPrincipalBySid(alice).dn(), "CN=Alice Able,CN=Users,DC=example,DC=test");
  EXPECT_EQ(kesh::memdir::OperationCount(), before);
}

TEST_F(PrincipalTest, FindScpBySid) {
  auto binding = Bind("example.test");
  kesh::memdir::LoadLdif(
      "dn: CN=Zone1,OU=UNIX,DC=example,DC=test\nobjectClass: container\n\n"
      "dn: CN=Users,CN=Zone1,OU=UNIX,DC=example,DC=test\nobjectClass: container\n\n"
      "dn: CN=Groups,CN=Zone1,OU=UNIX,DC=example,DC=test\nobjectClass: container\n\n"
      "dn: CN=p1,CN=Users,CN=Zone1,OU=UNIX,DC=example,DC=test\n"
      "objectClass: serviceConnectionPoint\n"
      "keywords: parentLink:S-1-5-21-3623811015-3361044348-30300820-1101\n\n"
      "dn: CN=p2,CN=Users,CN=Zone1,OU=UNIX,DC=example,DC=test\n"
      "objectClass: serviceConnectionPoint\n"
      "managedBy: CN=Bob Baker,CN=Users,DC=example,DC=test\n");
  kesh::ADObject zone = GetADObjectByDN("CN=Zone1,OU=UNIX,DC=example,DC=test");
  kesh::SID alice(std::string(kExampleSid) + "-1101");
  EXPECT_EQ(FindScpBySid(binding, zone, alice, "Users", "").dn(),
            "CN=p1,CN=Users,CN=Zone1,OU=UNIX,DC=example,DC=test");
  kesh::SID bob(std::string(kExampleSid) + "-1102");
  EXPECT_EQ(
      FindScpBySid(binding, zone, bob, "Users", "CN=Bob Baker,CN=Users,DC=example,DC=test").dn(),
      "CN=p2,CN=Users,CN=Zone1,OU=UNIX,DC=example,DC=test");
  // Neither link: not found, also when the DN is a pattern.
  kesh::SID carol(std::string(kExampleSid) + "-1103");
  EXPECT_EQ(MessageOf<kesh::NotFoundException>(
                [&] { FindScpBySid(binding, zone, carol, "Users", "CN=Carol*"); }),
            "could not find zone entry");
  // The container below the zone is the base: another container holds nothing.
  EXPECT_EQ(
      MessageOf<kesh::NotFoundException>([&] { FindScpBySid(binding, zone, alice, "Groups", ""); }),
      "could not find zone entry");
}

// The managedBy branch of a linked-profile search is searched only when the manager can
// manage something below the base; the answers are those of the one combined search.
TEST_F(PrincipalTest, FindLinkedBelowSearchesManagersOnlyWhenTheyManage) {
  auto binding = Bind("example.test");
  binding->getRoot();
  const std::string users = "CN=Users,CN=Zone1,OU=UNIX,DC=example,DC=test";
  kesh::memdir::LoadLdif(
      "dn: CN=Zone1,OU=UNIX,DC=example,DC=test\nobjectClass: container\n\n"
      "dn: " +
      users +
      "\nobjectClass: container\n\n"
      "dn: CN=p1," +
      users +
      "\nobjectClass: serviceConnectionPoint\n"
      "keywords: parentLink:" +
      kExampleSid +
      "-1101\nkeywords: altIndex:2\n\n"
      "dn: CN=p2," +
      users +
      "\nobjectClass: serviceConnectionPoint\n"
      "managedBy: CN=Bob Baker,CN=Users,DC=example,DC=test\n\n"
      "dn: CN=p3," +
      users +
      "\nobjectClass: serviceConnectionPoint\n"
      "managedBy: CN=Olivia Olsen,CN=Users,DC=other,DC=test\n");
  struct Case {
    const char* rid;
    const char* condition;
    std::string manager;
    const char* found;  // cn of the answer, "" for none
    uint64_t calls;
  } cases[] = {
      {"-1101", "(keywords=altIndex:2)", "", "p1", 1},   // by SID, alias condition met
      {"-1101", "(!(keywords=altIndex:*))", "", "", 1},  // no DN: no manager to ask
      {"-1102", "", "CN=Bob Baker,CN=Users,DC=example,DC=test", "p2", 3},
      {"-1103", "", "CN=Carol Chen,CN=Users,DC=example,DC=test", "", 2},    // manages nothing
      {"-1104", "", "CN=Olivia Olsen,CN=Users,DC=other,DC=test", "p3", 2},  // other domain
  };
  for (const Case& c : cases) {
    kesh::SID sid(std::string(kExampleSid) + c.rid);
    kesh::ADObject found;
    const uint64_t calls = memtest::OperationsOf(
        [&] { found = FindLinkedBelow(binding, users, c.condition, sid, c.manager); });
    EXPECT_EQ(found.empty() ? "" : kesh::DN::cnFromDn(found.dn()), c.found) << c.rid;
    EXPECT_EQ(calls, c.calls) << c.rid;
  }
}

TEST_F(PrincipalTest, ChangeUserPasswordNeedsBindingAndRights) {
  EXPECT_EQ(MessageOf<kesh::NotFoundException>(
                [] { ChangeUserPassword("alice@example.test", "n3w-Pass", kCCache); }),
            "No binding for domain example.test");
  Bind("example.test");
  ChangeUserPassword("alice@example.test", "n3w-Pass", kCCache);
  EXPECT_EQ(MessageOf<kesh::BadDataException>(
                [] { ChangeUserPassword("alice@example.test", "x", "MEMORY:no-such-cache"); }),
            "Cannot change password");
}

}  // namespace
