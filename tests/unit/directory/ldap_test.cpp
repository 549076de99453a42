// MyBinding and the binding look-ups against the in-memory directory: the repeat after a
// lost connection, paging, the cache in front of reads, root facts and global catalogs.
#include "directory/ldap.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "directory/cache.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "memdir_session.h"

namespace {

namespace memdir = kesh::memdir;
using memtest::OperationsOf;

const char kUsers[] = "CN=Users,DC=example,DC=test";
const char kAlice[] = "CN=Alice Able,CN=Users,DC=example,DC=test";
const char kUnits[] = "OU=Units,DC=example,DC=test";

// A session with a binding to example.test as its Administrator; the cache is off.
class BindingTest : public memtest::MemdirSession {
 protected:
  void SetUp() override {
    MemdirSession::SetUp();
    binding_ = Bind("example.test");
  }

  // An OU with `n` child containers, loaded directly into the directory.
  void LoadUnits(int n) {
    std::string ldif = "dn: " + std::string(kUnits) + "\nobjectClass: organizationalUnit\n\n";
    for (int i = 0; i < n; ++i) {
      ldif += "dn: CN=c" + std::to_string(1000 + i) + "," + kUnits + "\nobjectClass: container\n\n";
    }
    memdir::LoadLdif(ldif);
  }
};

// --- The repeat after a lost connection -------------------------------------------------

// One operation of MyBinding on a fresh copy of Alice, for the table below.
struct Operation {
  const char* name;
  std::function<void(MyBinding&, kesh::ADObject&)> run;
};

std::vector<Operation> Operations() {
  return {
      {"fetch", [](MyBinding& b, kesh::ADObject&) { b.fetch(kAlice, nullptr, AD_ALL_OBJECTS); }},
      {"search",
       [](MyBinding& b, kesh::ADObject&) {
         b.search("(sAMAccountName=alice)", kUsers, nullptr, kesh::SCOPE_SUB, 0);
       }},
      {"update",
       [](MyBinding& b, kesh::ADObject& o) {
         o["description"] = "changed";
         b.update(o, 2);
       }},
      {"rename", [](MyBinding& b, kesh::ADObject& o) { b.rename(o, "CN=Alice Renamed"); }},
      {"move", [](MyBinding& b, kesh::ADObject& o) { b.move(o, "OU=UNIX,DC=example,DC=test"); }},
      {"getAttributeValues",
       [](MyBinding& b, kesh::ADObject& o) { b.getAttributeValues(o, "memberOf"); }},
  };
}

TEST_F(BindingTest, EachOperationIsRepeatedOnceAfterALostConnection) {
  for (const Operation& op : Operations()) {
    SCOPED_TRACE(op.name);
    SetUp();
    kesh::ADObject alice = binding_->binding->fetch(kAlice, nullptr, AD_ALL_OBJECTS, 0);
    // The client library reconnects by itself at the next operation.
    memdir::DropAfter(1, "", true);
    uint64_t operations = 0;
    EXPECT_NO_THROW(operations = OperationsOf([&] { op.run(*binding_, alice); }));
    EXPECT_EQ(2u, operations);
  }
}

TEST_F(BindingTest, ASecondFailureReachesTheCaller) {
  kesh::ADObject alice = binding_->fetch(kAlice, nullptr, AD_ALL_OBJECTS);
  // The connection stays down: the repeat of update (which does not reconnect) fails too.
  memdir::DropAfter(1, "", false);
  alice["description"] = "changed";
  uint64_t operations = OperationsOf([&] {
    try {
      binding_->update(alice, 2);
      ADD_FAILURE() << "update succeeded on a dead connection";
    } catch (const LDAPException& e) {
      EXPECT_EQ(kesh::LDAP_RC_SERVER_DOWN, e.rc());
    }
  });
  EXPECT_EQ(2u, operations);
  binding_->binding->connect("", "", 0);
  EXPECT_FALSE(
      binding_->binding->fetch(kAlice, nullptr, AD_ALL_OBJECTS, 0).attributeExists("description"));
}

TEST_F(BindingTest, SearchAndAttributeReadsReconnectBeforeTheirRepeat) {
  kesh::ADObject alice = binding_->fetch(kAlice, nullptr, AD_ALL_OBJECTS);
  memdir::DropAfter(1, "", false);
  kesh::ADObjectList found;
  EXPECT_EQ(2u, OperationsOf([&] {
              found = binding_->search("(sAMAccountName=alice)", "", nullptr, kesh::SCOPE_SUB, 0);
            }));
  ASSERT_EQ(1u, found.size());
  EXPECT_EQ(kAlice, found[0].dn());

  memdir::DropAfter(1, "", false);
  EXPECT_EQ(2u, OperationsOf([&] { binding_->getAttributeValues(alice, "memberOf"); }));
  EXPECT_FALSE(alice["memberOf"].empty());
}

TEST_F(BindingTest, AnErrorOnALiveConnectionIsNotRepeated) {
  kesh::ADObject ghost("CN=Ghost,CN=Users,DC=example,DC=test");
  ghost["description"] = "x";
  uint64_t operations = OperationsOf([&] {
    try {
      binding_->update(ghost, 2);
      ADD_FAILURE() << "update of a missing object succeeded";
    } catch (const LDAPException& e) {
      EXPECT_EQ(kesh::LDAP_RC_NO_SUCH_OBJECT, e.rc());
    }
  });
  EXPECT_EQ(1u, operations);
}

TEST_F(BindingTest, TheRepeatOfRemoveAddsTheObject) {
  kesh::ADObject alice = binding_->fetch(kAlice, nullptr, AD_ALL_OBJECTS);
  memdir::DropAfter(1, "", true);
  // The first attempt is lost before it deletes anything; the repeat adds the object, which
  // still exists, so the directory answers "already exists".
  try {
    binding_->remove(alice, false);
    ADD_FAILURE() << "remove's repeat did not reach add";
  } catch (const LDAPException& e) {
    EXPECT_EQ(kesh::LDAP_RC_ALREADY_EXISTS, e.rc()) << e.what();
  }
  EXPECT_TRUE(Exists(kAlice));

  // After the first attempt deleted the object and only then lost the connection, the
  // repeat puts a copy back. Here: delete it for real, then let remove's repeat run.
  kesh::ADObject unit("OU=Gone,DC=example,DC=test");
  unit["objectClass"] = "organizationalUnit";
  binding_->add(unit);
  binding_->binding->remove(unit, false);
  memdir::DropAfter(1, "", true);
  EXPECT_NO_THROW(binding_->remove(unit, false));
  EXPECT_TRUE(Exists("OU=Gone,DC=example,DC=test"));
}

// --- Paging and limits ------------------------------------------------------------------------

TEST_F(BindingTest, SearchWalksPagesOfAHundred) {
  LoadUnits(250);
  kesh::ADObjectList found;
  // The first page comes with the search, then two more pages.
  EXPECT_EQ(3u, OperationsOf([&] {
              found =
                  binding_->search("(objectClass=container)", kUnits, nullptr, kesh::SCOPE_ONE, 0);
            }));
  EXPECT_EQ(250u, found.size());
  EXPECT_EQ("CN=c1000,OU=Units,DC=example,DC=test", found[0].dn());
  EXPECT_EQ("CN=c1249,OU=Units,DC=example,DC=test", found[249].dn());
}

TEST_F(BindingTest, LimitStopsAtOnceAndStillCaches) {
  LoadUnits(150);
  TurnCacheOn();
  const char* const cnOnly[] = {"cn", nullptr};
  kesh::ADObjectList found;
  EXPECT_EQ(1u, OperationsOf([&] {
              found =
                  binding_->search("(objectClass=container)", kUnits, cnOnly, kesh::SCOPE_ONE, 1);
            }));
  ASSERT_EQ(1u, found.size());
  // The one object found was stored: a fetch with the same attribute list needs no call.
  kesh::ADObject again;
  EXPECT_EQ(0u,
            OperationsOf([&] { again = binding_->fetch(found[0].dn(), cnOnly, AD_ALL_OBJECTS); }));
  EXPECT_EQ(found[0].dn(), again.dn());
  // Limit 120 crosses a page boundary and stops inside the second page.
  EXPECT_EQ(2u, OperationsOf([&] {
              found = binding_->search("(objectClass=container)", kUnits, nullptr, kesh::SCOPE_ONE,
                                       120);
            }));
  EXPECT_EQ(120u, found.size());
}

// --- The cache in front of reads ----------------------------------------------------------

TEST_F(BindingTest, FetchIsAnsweredFromTheCacheUntilTheObjectChanges) {
  TurnCacheOn();
  EXPECT_EQ(1u, OperationsOf([&] { binding_->fetch(kAlice, nullptr, AD_ALL_OBJECTS); }));
  EXPECT_EQ(0u, OperationsOf([&] { binding_->fetch(kAlice, nullptr, AD_ALL_OBJECTS); }));
  // Another attribute list is another entry.
  const char* const sam[] = {"sAMAccountName", nullptr};
  EXPECT_EQ(1u, OperationsOf([&] { binding_->fetch(kAlice, sam, AD_ALL_OBJECTS); }));

  kesh::ADObject alice = binding_->fetch(kAlice, nullptr, AD_ALL_OBJECTS);
  alice["description"] = "changed";
  binding_->update(alice, 2);
  kesh::ADObject fresh;
  EXPECT_EQ(1u, OperationsOf([&] { fresh = binding_->fetch(kAlice, nullptr, AD_ALL_OBJECTS); }));
  EXPECT_EQ("changed", std::string(fresh["description"]));
  EXPECT_EQ(1u, OperationsOf([&] { binding_->fetch(kAlice, sam, AD_ALL_OBJECTS); }));
}

TEST_F(BindingTest, EveryWriteDropsTheCacheEntryEvenWhenItFails) {
  TurnCacheOn();
  kesh::ADObject alice = binding_->fetch(kAlice, nullptr, AD_ALL_OBJECTS);
  ASSERT_EQ(0u, OperationsOf([&] { binding_->fetch(kAlice, nullptr, AD_ALL_OBJECTS); }));
  kesh::ADObject copy = alice.clone();
  EXPECT_THROW(binding_->add(copy), LDAPException);  // exists already
  EXPECT_EQ(1u, OperationsOf([&] { binding_->fetch(kAlice, nullptr, AD_ALL_OBJECTS); }));
}

TEST_F(BindingTest, MoveToThePresentParentInAnotherCaseDoesNotReachTheDirectory) {
  kesh::ADObject alice = binding_->fetch(kAlice, nullptr, AD_ALL_OBJECTS);
  EXPECT_EQ(0u, OperationsOf([&] { binding_->move(alice, "cn=users,dc=EXAMPLE,dc=test"); }));
  EXPECT_EQ(kAlice, alice.dn());
  EXPECT_EQ(1u, OperationsOf([&] { binding_->move(alice, "OU=UNIX,DC=example,DC=test"); }));
  EXPECT_EQ("CN=Alice Able,OU=UNIX,DC=example,DC=test", alice.dn());
}

TEST_F(BindingTest, RootDseIsCachedPerDomain) {
  memtest::LoadFixture("other.ldif");
  Bind("other.test");
  TurnCacheOn();
  std::shared_ptr<MyBinding> other = GetBinding("other.test");
  EXPECT_EQ("dc1.example.test",
            std::string(binding_->fetch("", nullptr, AD_ALL_OBJECTS)["dnsHostName"]));
  EXPECT_EQ("dc1.other.test",
            std::string(other->fetch("", nullptr, AD_ALL_OBJECTS)["dnsHostName"]));
  EXPECT_EQ(0u, OperationsOf([&] {
              EXPECT_EQ("dc1.other.test",
                        std::string(other->fetch("", nullptr, AD_ALL_OBJECTS)["dnsHostName"]));
            }));
}

// --- Root facts, look-ups ----------------------------------------------------------------------

TEST_F(BindingTest, RootFactsAreReadOnceOnDemand) {
  EXPECT_TRUE(binding_->forest.empty());
  EXPECT_TRUE(binding_->domainSid.isNull());
  EXPECT_EQ("S-1-5-21-3623811015-3361044348-30300820", binding_->getDomainSid().toMSString());
  EXPECT_EQ("example.test", binding_->forest);
  EXPECT_EQ(0u, OperationsOf([&] { EXPECT_EQ("example.test", binding_->getForest()); }));
}

TEST_F(BindingTest, ChildDomainNamesItsForestRoot) {
  memtest::LoadFixture("child.ldif");
  Bind("child.example.test");
  EXPECT_EQ("example.test", GetBinding("Child.Example.Test")->getForest());
}

TEST_F(BindingTest, GetBindingIgnoresCaseAndNamesTheDomainAsAsked) {
  EXPECT_EQ(binding_, GetBinding("EXAMPLE.Test"));
  try {
    GetBinding("Nowhere.Test");
    ADD_FAILURE();
  } catch (const kesh::NotFoundException& e) {
    EXPECT_STREQ("No binding for domain Nowhere.Test", e.what());
  }
  EXPECT_EQ(binding_, GetBindingForDN("CN=X,DC=Example,DC=TEST"));
  EXPECT_EQ(kAlice, GetADObjectByDN(kAlice).dn());
}

TEST_F(BindingTest, GlobalCatalogFoundByForestOfADomain) {
  memtest::LoadFixture("child.ldif");
  try {
    GetGCBinding("");
    ADD_FAILURE();
  } catch (const kesh::NotFoundException& e) {
    EXPECT_STREQ("No binding for GC", e.what());
  }
  Bind("example.test", true);
  Bind("child.example.test");
  std::shared_ptr<MyBinding> gc = tab_.gcBindings.at("example.test");
  EXPECT_NE(gc, binding_);
  EXPECT_EQ(gc, GetGCBinding(""));
  EXPECT_EQ(gc, GetGCBinding("Example.Test"));
  // The child domain has no global catalog binding of its own: its forest's is used.
  EXPECT_EQ(gc, GetGCBinding("child.example.test"));
  try {
    GetGCBinding("Unbound.Test");
    ADD_FAILURE();
  } catch (const kesh::NotFoundException& e) {
    EXPECT_STREQ("No binding for domain Unbound.Test", e.what());
  }
  memtest::LoadFixture("other.ldif");
  Bind("other.test");
  try {
    GetGCBinding("Other.Test");
    ADD_FAILURE();
  } catch (const kesh::NotFoundException& e) {
    EXPECT_STREQ("No binding for GC in forest Other.Test", e.what());
  }
}

// --- Free functions -------------------------------------------------------------------------

TEST_F(BindingTest, GetAttributeValuesReadsTheRestOfARangedAttribute) {
  memdir::SetRangeThreshold(2);
  kesh::ADObject crowd =
      binding_->fetch("CN=Crowd,CN=Users,DC=example,DC=test", nullptr, AD_ALL_OBJECTS);
  ASSERT_TRUE(crowd["member"].incomplete());
  size_t partial = crowd["member"].size();
  kesh::ADAttribute& members = GetAttributeValues(crowd, "member");
  EXPECT_FALSE(members.incomplete());
  EXPECT_GT(members.size(), partial);
  EXPECT_FALSE(members.changed()) << "reading values is no change to save";
  // A complete attribute is answered without a directory call.
  EXPECT_EQ(0u, OperationsOf([&] { GetAttributeValues(crowd, "member"); }));
}

TEST_F(BindingTest, GetAttributeValuesSwallowsFailures) {
  kesh::ADObject stranger("CN=Someone,DC=nowhere,DC=test");
  kesh::ADAttribute& values = GetAttributeValues(stranger, "member");
  EXPECT_TRUE(values.empty());
  EXPECT_FALSE(values.changed());
}

TEST_F(BindingTest, DeleteTreeRemovesDescendantsButNotTheObject) {
  memdir::LoadLdif(
      "dn: OU=Top,DC=example,DC=test\nobjectClass: organizationalUnit\n\n"
      "dn: OU=Mid,OU=Top,DC=example,DC=test\nobjectClass: organizationalUnit\n\n"
      "dn: CN=Leaf,OU=Mid,OU=Top,DC=example,DC=test\nobjectClass: container\n\n"
      "dn: CN=Side,OU=Top,DC=example,DC=test\nobjectClass: container\n\n");
  kesh::ADObject top = binding_->fetch("OU=Top,DC=example,DC=test", nullptr, AD_ALL_OBJECTS);
  DeleteTree(binding_, top);
  EXPECT_TRUE(Exists("OU=Top,DC=example,DC=test"));
  EXPECT_FALSE(Exists("OU=Mid,OU=Top,DC=example,DC=test"));
  EXPECT_FALSE(Exists("CN=Leaf,OU=Mid,OU=Top,DC=example,DC=test"));
  EXPECT_FALSE(Exists("CN=Side,OU=Top,DC=example,DC=test"));
}

TEST_F(BindingTest, BindInfoFields) {
  struct Case {
    const char* field;
    const char* expected;
  } cases[] = {
      {"forest", "example.test"},
      {"server", "dc1.example.test"},
      {"sid", "S-1-5-21-3623811015-3361044348-30300820"},
      {"domain_level", "4"},
      {"forest_level", "4"},
  };
  for (const Case& c : cases) EXPECT_EQ(c.expected, BindInfo("Example.Test", c.field)) << c.field;
  for (const char* bad : {"Forest", "", "sid "}) {
    try {
      BindInfo("example.test", bad);
      ADD_FAILURE() << bad;
    } catch (const kesh::BadDataException& e) {
      EXPECT_STREQ("Uknown binding field", e.what());
    }
  }
  EXPECT_THROW(BindInfo("nowhere.test", "forest"), kesh::NotFoundException);
}

TEST_F(BindingTest, SetTimeoutAppliesToLaterBindings) {
  SetTimeout(10);
  EXPECT_EQ(10, tab_.ldapTimeout);
  EXPECT_EQ(binding_, GetBinding("example.test"));
}

}  // namespace
