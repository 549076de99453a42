// The in-memory directory through ADBinding: reads, writes, DN forms, the global catalog,
// security descriptor flags and lost connections, on the example.test fixtures.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/memory/memdir.h"
#include "directory/library/security_descriptor.h"
#include "directory/library/sid.h"

namespace kesh {
namespace {

const char kDomainSid[] = "S-1-5-21-3623811015-3361044348-30300820";
const char kUsers[] = "CN=Users,DC=example,DC=test";

std::string Fixture(const char* name) { return std::string(ZS_FIXTURES_DIR) + "/" + name; }

// The LDAP result code of what `f` throws, or 0.
template <class F>
int RcOf(F f) {
  try {
    f();
  } catch (const LDAPException& e) {
    return e.rc();
  }
  return 0;
}

std::vector<std::string> Dns(PagedObjectList list) {
  std::vector<std::string> out;
  for (;;) {
    for (ADObject& o : list.page()) out.push_back(o.dn());
    if (list.lastPage()) break;
    list.nextPage();
  }
  return out;
}

class MemoryBindingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    memdir::Reset();
    memdir::LoadLdifFile(Fixture("example.ldif"));
    memdir::SetCCache("MEMORY:test", "Administrator@EXAMPLE.TEST");
    b = Connect("example.test");
  }

  static std::shared_ptr<ADBinding> Connect(const std::string& domain, bool gc = false) {
    auto binding = NewADBinding(domain, "MEMORY:test", gc, "", "", nullptr);
    binding->connect("", "", 0);
    return binding;
  }

  std::vector<std::string> Search(const std::string& filter, const std::string& base, int scope,
                                  int limit = 0, int pageSize = 100) {
    return Dns(b->search(pageSize, filter, base, nullptr, scope, limit, 0));
  }

  ADObject Fetch(const std::string& dn) { return b->fetch(dn, nullptr, AD_ALL_OBJECTS, 0); }

  std::shared_ptr<ADBinding> b;
};

TEST_F(MemoryBindingTest, RootDseTellsTheDomainFacts) {
  ADObject root = Fetch("");
  EXPECT_EQ(std::string(root["defaultNamingContext"]), "DC=example,DC=test");
  EXPECT_EQ(std::string(root["rootDomainNamingContext"]), "DC=example,DC=test");
  EXPECT_EQ(std::string(root["configurationNamingContext"]), "CN=Configuration,DC=example,DC=test");
  EXPECT_EQ(std::string(root["schemaNamingContext"]),
            "CN=Schema,CN=Configuration,DC=example,DC=test");
  EXPECT_EQ(std::string(root["isGlobalCatalogReady"]), "TRUE");
  const auto& controls = root["supportedControl"].values();
  EXPECT_NE(std::find(controls.begin(), controls.end(), "1.2.840.113556.1.4.319"), controls.end());
  EXPECT_EQ(b->server(), "dc1.example.test");
  EXPECT_EQ(b->domainLevel(), 4);
  EXPECT_EQ(b->forestLevel(), 4);
  EXPECT_EQ(b->domainName(), "example.test");
  EXPECT_EQ(b->ccacheName(), "MEMORY:test");
}

TEST_F(MemoryBindingTest, FetchedObjectsCarryDnCategoryAndBinaryValues) {
  ADObject alice = Fetch("cn=alice able,cn=users,dc=EXAMPLE,dc=test");
  EXPECT_EQ(alice.dn(), "CN=Alice Able,CN=Users,DC=example,DC=test");
  EXPECT_EQ(alice.category(), "Person");
  EXPECT_EQ(alice.sid().toMSString(), std::string(kDomainSid) + "-1101");
  EXPECT_TRUE(alice["objectSid"].binary());
  EXPECT_EQ(alice["objectGUID"].values().at(0).size(), 16u);
  EXPECT_FALSE(alice.guid().isNull());
  EXPECT_EQ(std::string(alice["whenCreated"]).size(), 17u);  // YYYYMMDDHHMMSS.0Z
  EXPECT_FALSE(alice["uSNChanged"].empty());
  EXPECT_FALSE(alice["objectClass"].changed());
  // The back link of the groups she is a member of.
  std::set<std::string> groups(alice["memberOf"].values().begin(),
                               alice["memberOf"].values().end());
  EXPECT_EQ(groups.count("CN=UNIX Admins,CN=Users,DC=example,DC=test"), 1u);
  EXPECT_EQ(groups.count("CN=Staff List,CN=Users,DC=example,DC=test"), 1u);

  EXPECT_EQ(Fetch("CN=Crowd,CN=Users,DC=example,DC=test").category(), "Group");
  EXPECT_EQ(Fetch("CN=WS1,CN=Computers,DC=example,DC=test").category(), "Computer");
  ADObject fsp = Fetch(
      "CN=S-1-5-21-1004336348-1177238915-682003330-1104,CN=ForeignSecurityPrincipals,DC=example,"
      "DC=test");
  EXPECT_EQ(fsp.category(), "Foreign-Security-Principal");
  EXPECT_EQ(fsp.sid().toMSString(), "S-1-5-21-1004336348-1177238915-682003330-1104");

  const char* only[] = {"sAMAccountName", nullptr};
  ADObject some = b->fetch(alice.dn(), only, AD_ALL_OBJECTS, 0);
  EXPECT_EQ(std::string(some["sAMAccountName"]), "alice");
  EXPECT_FALSE(some.attributeExists("displayName"));
  EXPECT_FALSE(some.attributeExists("_objectCategory"));
  EXPECT_EQ(some.dn(), alice.dn());
}

TEST_F(MemoryBindingTest, FetchFailures) {
  EXPECT_EQ(RcOf([&] { Fetch("CN=Nobody,CN=Users,DC=example,DC=test"); }), 32);
  EXPECT_EQ(RcOf([&] { b->fetch(kUsers, nullptr, "(cn=Computers)", 0); }), 32);
  EXPECT_EQ(RcOf([&] { b->fetch(kUsers, nullptr, "(cn=Users", 0); }), 87);
  EXPECT_EQ(RcOf([&] { Fetch("not a dn"); }), 34);
  // Another forest's object is not on this server.
  memdir::LoadLdifFile(Fixture("other.ldif"));
  EXPECT_EQ(RcOf([&] { Fetch("CN=Users,DC=other,DC=test"); }), 32);
}

TEST_F(MemoryBindingTest, SearchScopes) {
  struct Case {
    const char* label;
    std::string base;
    int scope;
    const char* filter;
    size_t count;
  };
  const Case cases[] = {
      {"base", kUsers, SCOPE_BASE, "(objectClass=*)", 1},
      {"one level of Users", kUsers, SCOPE_ONE, "(objectClass=*)", 16},
      {"one level, users only", kUsers, SCOPE_ONE, "(objectCategory=Person)", 6},
      {"subtree groups", "DC=example,DC=test", SCOPE_SUB, "(objectCategory=group)", 10},
      {"subtree stops at the configuration", "DC=example,DC=test", SCOPE_SUB,
       "(objectClass=classSchema)", 0},
      {"schema searched below its own head", "CN=Schema,CN=Configuration,DC=example,DC=test",
       SCOPE_SUB, "(objectClass=classSchema)", 25},
      {"empty base of a domain binding is its domain", "", SCOPE_SUB,
       "(lDAPDisplayName=posixAccount)", 0},
      {"empty base finds the domain's groups", "", SCOPE_SUB, "(objectCategory=group)", 10},
      {"computers by class chain", "", SCOPE_SUB, "(objectClass=computer)", 2},
      {"users include computers by class", "", SCOPE_SUB,
       "(&(objectClass=user)(!(objectClass=computer)))", 6},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Search(c.filter, c.base, c.scope).size(), c.count) << c.label;
  }
  EXPECT_EQ(RcOf([&] { Search("(objectClass=*)", "CN=Nowhere,DC=example,DC=test", SCOPE_SUB); }),
            32);
  EXPECT_EQ(Search("(objectClass=*)", "", SCOPE_BASE).size(), 1u) << "the root DSE";
}

TEST_F(MemoryBindingTest, PagingDeliversEveryEntryOnce) {
  std::vector<std::string> all = Search("(objectClass=*)", "DC=example,DC=test", SCOPE_SUB);
  ASSERT_GT(all.size(), 20u);
  PagedObjectList list =
      b->search(7, "(objectClass=*)", "DC=example,DC=test", nullptr, SCOPE_SUB, 0, 0);
  std::vector<std::string> paged;
  size_t pages = 0;
  for (;;) {
    ++pages;
    EXPECT_LE(list.page().size(), 7u);
    for (ADObject& o : list.page()) paged.push_back(o.dn());
    if (list.lastPage()) break;
    list.nextPage();
  }
  EXPECT_EQ(paged, all);
  EXPECT_EQ(pages, (all.size() + 6) / 7);
  // The subtree starts with the base, parents before children.
  EXPECT_EQ(all.front(), "DC=example,DC=test");
  auto users = std::find(all.begin(), all.end(), kUsers);
  auto alice = std::find(all.begin(), all.end(), "CN=Alice Able,CN=Users,DC=example,DC=test");
  EXPECT_LT(users, alice);
}

TEST_F(MemoryBindingTest, SizeLimitReturnsWhatFitsWithoutError) {
  std::vector<std::string> all = Search("(objectCategory=Person)", "", SCOPE_SUB);
  for (int limit : {1, 3, 5}) {
    std::vector<std::string> some = Search("(objectCategory=Person)", "", SCOPE_SUB, limit, 2);
    ASSERT_EQ(some.size(), static_cast<size_t>(limit));
    EXPECT_TRUE(std::equal(some.begin(), some.end(), all.begin())) << limit;
  }
  EXPECT_EQ(Search("(objectCategory=Person)", "", SCOPE_SUB, 100).size(), all.size());
}

TEST_F(MemoryBindingTest, RangedValuesAndGetAttributeValues) {
  memdir::SetRangeThreshold(4);
  ADObject crowd = Fetch("CN=Crowd,CN=Users,DC=example,DC=test");
  EXPECT_EQ(crowd["member"].size(), 4u);
  EXPECT_TRUE(crowd["member"].incomplete());
  b->getAttributeValues(crowd, "member", 0);
  EXPECT_EQ(crowd["member"].size(), 6u);
  EXPECT_FALSE(crowd["member"].incomplete());
  // A back link is ranged the same way.
  memdir::SetRangeThreshold(1);
  ADObject alice = Fetch("CN=Alice Able,CN=Users,DC=example,DC=test");
  EXPECT_TRUE(alice["memberOf"].incomplete());
  b->getAttributeValues(alice, "memberOf", 0);
  EXPECT_EQ(alice["memberOf"].size(), 3u);
  // Absent attribute: empty, no error.
  b->getAttributeValues(alice, "otherMailbox", 0);
  EXPECT_TRUE(alice["otherMailbox"].empty());
}

TEST_F(MemoryBindingTest, RangedValuesAtTheDefaultThreshold) {
  ADObject group = LDAPBinding::createChild(kUsers, "Big", "CN");
  group["objectClass"] = "group";
  group["sAMAccountName"] = "big";
  b->add(group);
  for (int i = 0; i < 1501; ++i) {
    ADObject u = LDAPBinding::createChild(kUsers, "u" + std::to_string(i), "CN");
    u["objectClass"] = "user";
    u["sAMAccountName"] = "u" + std::to_string(i);
    b->add(u);
    group["member"].reset();
    group["member"].addVal(u.dn());
    b->update(group, 0);
  }
  ADObject big = Fetch(group.dn());
  EXPECT_EQ(big["member"].size(), 1500u);
  EXPECT_TRUE(big["member"].incomplete());
  b->getAttributeValues(big, "member", 0);
  EXPECT_EQ(big["member"].size(), 1501u);
}

TEST_F(MemoryBindingTest, AddGeneratesWhatTheDirectoryOwns) {
  ADObject u = LDAPBinding::createChild(kUsers, "New, User", "CN");
  u["objectClass"] = "user";
  u["sAMAccountName"] = "newuser";
  b->add(u);
  EXPECT_FALSE(u["sAMAccountName"].changed());
  ADObject got = Fetch(u.dn());
  EXPECT_EQ(got.dn(), "CN=New\\, User,CN=Users,DC=example,DC=test");
  EXPECT_EQ(std::string(got["cn"]), "New, User");
  EXPECT_EQ(std::string(got["name"]), "New, User");
  EXPECT_EQ(got.category(), "Person");
  EXPECT_EQ(std::string(got["objectCategory"]),
            "CN=Person,CN=Schema,CN=Configuration,DC=example,DC=test");
  EXPECT_EQ(got["objectClass"].values(),
            (std::vector<std::string>{"top", "person", "organizationalPerson", "user"}));
  EXPECT_EQ(got.sid().domainSID().toMSString(), kDomainSid);
  EXPECT_GT(got.sid().getObjectRid(), 1300u) << "after the highest RID of the fixture";
  EXPECT_FALSE(got.attributeExists("nTSecurityDescriptor") &&
               got["nTSecurityDescriptor"].values().at(0).empty());

  ADObject second = LDAPBinding::createChild(kUsers, "Second", "CN");
  second["objectClass"] = "user";
  b->add(second);
  EXPECT_EQ(Fetch(second.dn()).sid().getObjectRid(), got.sid().getObjectRid() + 1);
  EXPECT_NE(Fetch(second.dn()).guid(), got.guid());

  ADObject container = LDAPBinding::createChild("OU=UNIX,DC=example,DC=test", "Zones", "CN");
  container["objectClass"] = "container";
  b->add(container);
  EXPECT_TRUE(Fetch(container.dn()).sid().isNull()) << "only security principals get a SID";
}

TEST_F(MemoryBindingTest, AddRefusals) {
  struct Case {
    const char* label;
    std::string dn;
    std::vector<std::pair<std::string, std::string>> attrs;
    int rc;
  };
  const Case cases[] = {
      {"exists", "CN=Alice Able,CN=Users,DC=example,DC=test", {{"objectClass", "user"}}, 68},
      {"exists in another case",
       "cn=ALICE ABLE,cn=users,dc=example,dc=test",
       {{"objectClass", "user"}},
       68},
      {"no parent", "CN=x,CN=Nowhere,DC=example,DC=test", {{"objectClass", "user"}}, 32},
      {"no class", "CN=x,CN=Users,DC=example,DC=test", {{"description", "d"}}, 65},
      {"account name taken",
       "CN=x,CN=Users,DC=example,DC=test",
       {{"objectClass", "user"}, {"sAMAccountName", "ALICE"}},
       68},
      {"GUID given",
       "CN=x,CN=Users,DC=example,DC=test",
       {{"objectClass", "user"}, {"objectGUID", std::string(16, 'x')}},
       53},
      {"member that does not exist",
       "CN=x,CN=Users,DC=example,DC=test",
       {{"objectClass", "group"}, {"member", "CN=Ghost,CN=Users,DC=example,DC=test"}},
       32},
      {"RDN value disagrees",
       "CN=x,CN=Users,DC=example,DC=test",
       {{"objectClass", "user"}, {"cn", "y"}},
       64},
      {"bad DN", "no equals sign", {{"objectClass", "user"}}, 34},
      // The directory holds no empty value.
      {"empty value",
       "CN=x,CN=Users,DC=example,DC=test",
       {{"objectClass", "container"}, {"description", ""}},
       21},
      // An organizational unit needs its ou, which a CN= RDN does not give.
      {"unit named by cn", "CN=x,DC=example,DC=test", {{"objectClass", "organizationalUnit"}}, 65},
  };
  for (const Case& c : cases) {
    ADObject o(c.dn);
    for (const auto& a : c.attrs) o[a.first].addVal(a.second);
    EXPECT_EQ(RcOf([&] { b->add(o); }), c.rc) << c.label;
  }
}

TEST_F(MemoryBindingTest, UpdateModes) {
  const std::string dn = "CN=Alice Able,CN=Users,DC=example,DC=test";
  ADObject a = Fetch(dn);
  a["description"] = "first";
  b->update(a, 2);
  EXPECT_FALSE(a["description"].changed());
  EXPECT_EQ(Fetch(dn)["description"].values(), std::vector<std::string>{"first"});

  ADObject add(dn);
  add["description"].addVal("second");
  b->update(add, 0);
  EXPECT_EQ(Fetch(dn)["description"].values(), (std::vector<std::string>{"first", "second"}));
  add["description"].reset();
  add["description"].addVal("FIRST");
  EXPECT_EQ(RcOf([&] { b->update(add, 0); }), 20) << "values compare case-insensitively";

  ADObject del(dn);
  del["description"].addVal("First");
  b->update(del, 1);
  EXPECT_EQ(Fetch(dn)["description"].values(), std::vector<std::string>{"second"});
  del["description"].reset();
  del["description"].addVal("first");
  EXPECT_EQ(RcOf([&] { b->update(del, 1); }), 16) << "deleting a value that is not there";

  ADObject clear(dn);
  clear["description"].reset();
  b->update(clear, -1);
  EXPECT_FALSE(Fetch(dn).attributeExists("description"));
  b->update(clear, 2);  // replacing nothing by nothing is no error

  ADObject refused(dn);
  refused["memberOf"] = "CN=Domain Admins,CN=Users,DC=example,DC=test";
  EXPECT_EQ(RcOf([&] { b->update(refused, 2); }), 53) << "a back link is the directory's";
  ADObject rdn(dn);
  rdn["cn"] = "Someone Else";
  EXPECT_EQ(RcOf([&] { b->update(rdn, 2); }), 67);
  ADObject empty(dn);
  empty["description"] = "";
  EXPECT_EQ(RcOf([&] { b->update(empty, 2); }), 21) << "the directory holds no empty value";
  ADObject gone("CN=Nobody,CN=Users,DC=example,DC=test");
  gone["description"] = "x";
  EXPECT_EQ(RcOf([&] { b->update(gone, 2); }), 32);

  // Changing membership moves the back link.
  ADObject group = Fetch("CN=Ring A,CN=Users,DC=example,DC=test");
  group["member"].reset();
  group["member"].addVal(dn);
  b->update(group, 0);
  EXPECT_EQ(Fetch(dn)["memberOf"].size(), 4u);
}

TEST_F(MemoryBindingTest, RenameAndMoveCarryTheSubtreeAndTheLinks) {
  ADObject ou = LDAPBinding::createChild("DC=example,DC=test", "Staff", "OU");
  ou["objectClass"] = "organizationalUnit";
  b->add(ou);
  ADObject alice = Fetch("CN=Alice Able,CN=Users,DC=example,DC=test");
  Guid guid = alice.guid();
  b->move(alice, ou.dn());
  EXPECT_EQ(alice.dn(), "CN=Alice Able,OU=Staff,DC=example,DC=test");
  EXPECT_EQ(Fetch(guid.toDN()).dn(), alice.dn());
  EXPECT_EQ(RcOf([&] { Fetch("CN=Alice Able,CN=Users,DC=example,DC=test"); }), 32);
  ADObject admins = Fetch("CN=UNIX Admins,CN=Users,DC=example,DC=test");
  const auto& members = admins["member"].values();
  EXPECT_NE(std::find(members.begin(), members.end(), alice.dn()), members.end());

  b->rename(ou, "OU=People");
  EXPECT_EQ(ou.dn(), "OU=People,DC=example,DC=test");
  ADObject moved = Fetch(guid.toDN());
  EXPECT_EQ(moved.dn(), "CN=Alice Able,OU=People,DC=example,DC=test");
  EXPECT_EQ(std::string(Fetch(ou.dn())["ou"]), "People");
  EXPECT_EQ(Search("(sAMAccountName=alice)", "OU=People,DC=example,DC=test", SCOPE_SUB).size(), 1u);

  b->rename(moved, "CN=Alice Archer");
  EXPECT_EQ(std::string(Fetch(guid.toDN())["cn"]), "Alice Archer");
  EXPECT_EQ(RcOf([&] { b->rename(moved, "CN=Bob Baker"); }), 0);  // another parent: no clash
  ADObject bob = Fetch("CN=Bob Baker,CN=Users,DC=example,DC=test");
  EXPECT_EQ(RcOf([&] { b->move(bob, "OU=People,DC=example,DC=test"); }), 68);
  EXPECT_EQ(RcOf([&] { b->move(bob, "OU=Nowhere,DC=example,DC=test"); }), 32);
  ADObject people = Fetch("OU=People,DC=example,DC=test");
  EXPECT_EQ(RcOf([&] { b->move(people, "CN=Bob Baker,OU=People,DC=example,DC=test"); }), 53)
      << "not below itself";
}

TEST_F(MemoryBindingTest, RemoveLeafAndTree) {
  ADObject users = Fetch(kUsers);
  EXPECT_EQ(RcOf([&] { b->remove(users, false); }), 66);
  ADObject bob = Fetch("CN=Bob Baker,CN=Users,DC=example,DC=test");
  b->remove(bob, false);
  EXPECT_EQ(RcOf([&] { Fetch(bob.dn()); }), 32);
  EXPECT_EQ(Fetch("CN=UNIX Admins,CN=Users,DC=example,DC=test")["member"].size(), 2u)
      << "the deleted member left the group";
  EXPECT_EQ(RcOf([&] { b->remove(bob, false); }), 32);

  b->remove(users, true);
  EXPECT_EQ(Search("(objectClass=*)", "DC=example,DC=test", SCOPE_ONE).size(), 7u);
  EXPECT_TRUE(Search("(sAMAccountName=alice)", "", SCOPE_SUB).empty());
  EXPECT_EQ(Fetch("CN=WS1,CN=Computers,DC=example,DC=test")["memberOf"].size(), 0u);
}

TEST_F(MemoryBindingTest, DnForms) {
  ADObject system = Fetch("CN=System,DC=example,DC=test");
  Guid guid = system.guid();
  SID alice = Fetch("CN=Alice Able,CN=Users,DC=example,DC=test").sid();
  const std::pair<std::string, std::string> cases[] = {
      {"<GUID=" + guid.toString() + ">", system.dn()},
      {"<GUID=" + guid.toRealMSString() + ">", system.dn()},
      {"<WKGUID=AB1D30F3768811D1ADED00C04FD8D5CD,DC=example,DC=test>", system.dn()},
      {"<WKGUID=a9d1ca15768811d1aded00c04fd8d5cd,dc=example,dc=test>", kUsers},
      {"<SID=" + alice.toMSString() + ">", "CN=Alice Able,CN=Users,DC=example,DC=test"},
      {"<GUID=5d4c1b2a-3e6f-4a8b-9c0d-1e2f3a4b5c6d>", "DC=example,DC=test"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Fetch(c.first).dn(), c.second) << c.first;
  }
  EXPECT_EQ(Search("(cn=Alice Able)",
                   "<WKGUID=A9D1CA15768811D1ADED00C04FD8D5CD,DC=example,DC=test>", SCOPE_ONE)
                .size(),
            1u);
  EXPECT_EQ(RcOf([&] { Fetch("<GUID=" + Guid::generate().toString() + ">"); }), 32);
  EXPECT_EQ(RcOf([&] { Fetch("<WKGUID=00000000000000000000000000000000,DC=example,DC=test>"); }),
            32);
  EXPECT_EQ(RcOf([&] { Fetch("<SID=" + std::string(kDomainSid) + "-9999>"); }), 32);
}

TEST_F(MemoryBindingTest, GlobalCatalogSeesEveryDomainOfItsForestOnly) {
  memdir::LoadLdifFile(Fixture("child.ldif"));
  memdir::LoadLdifFile(Fixture("other.ldif"));
  auto gc = Connect("child.example.test", true);
  auto domainOnly = [&](const std::shared_ptr<ADBinding>& binding, const char* filter) {
    return Dns(binding->search(100, filter, "", nullptr, SCOPE_SUB, 0, 0));
  };
  std::vector<std::string> people =
      domainOnly(gc, "(&(objectCategory=Person)(userPrincipalName=*))");
  EXPECT_NE(std::find(people.begin(), people.end(),
                      "CN=Chris Child,CN=Users,DC=child,DC=example,DC=test"),
            people.end());
  EXPECT_NE(std::find(people.begin(), people.end(), "CN=Alice Able,CN=Users,DC=example,DC=test"),
            people.end());
  EXPECT_TRUE(domainOnly(gc, "(sAMAccountName=olivia)").empty()) << "another forest";
  // A plain binding to the forest root does not see the child domain, not even below its DN.
  EXPECT_TRUE(domainOnly(b, "(sAMAccountName=chris)").empty());
  EXPECT_TRUE(Search("(sAMAccountName=chris)", "DC=example,DC=test", SCOPE_SUB).empty());
  EXPECT_EQ(
      Dns(gc->search(100, "(sAMAccountName=chris)", "DC=example,DC=test", nullptr, SCOPE_SUB, 0, 0))
          .size(),
      1u);
  // The child domain has its own SIDs and root DSE; its forest is example.test.
  auto child = Connect("child.example.test");
  EXPECT_EQ(std::string(child->fetch("", nullptr, AD_ALL_OBJECTS, 0)["rootDomainNamingContext"]),
            "DC=example,DC=test");
  ADObject chris = child->fetch("CN=Chris Child,CN=Users,DC=child,DC=example,DC=test", nullptr,
                                AD_ALL_OBJECTS, 0);
  EXPECT_EQ(chris.category(), "Person");
  EXPECT_EQ(chris["memberOf"].size(), 1u);
  auto other = Connect("other.test", true);
  EXPECT_EQ(domainOnly(other, "(sAMAccountName=olivia)").size(), 1u);
  EXPECT_EQ(other->forestLevel(), 3);
}

TEST_F(MemoryBindingTest, SearchBySidAndSidHistory) {
  const std::string sid = "S-1-5-21-1004336348-1177238915-682003330-1190";
  const std::string filter =
      "(&(!(objectCategory=ForeignSecurityPrincipal))(|(objectSid=" + SID(sid).toEscapedString() +
      ")(sidHistory=" + SID(sid).toEscapedString() + ")))";
  EXPECT_EQ(Search(filter, "", SCOPE_SUB),
            std::vector<std::string>{"CN=Carol Chen,CN=Users,DC=example,DC=test"});
  const std::string fsp = "S-1-5-21-1004336348-1177238915-682003330-1104";
  EXPECT_TRUE(Search("(&(!(objectCategory=ForeignSecurityPrincipal))(objectSid=" +
                         SID(fsp).toEscapedString() + "))",
                     "", SCOPE_SUB)
                  .empty());
  EXPECT_EQ(Search("(objectSid=" + fsp + ")", "", SCOPE_SUB).size(), 1u) << "SID text form";
}

TEST_F(MemoryBindingTest, SecurityDescriptorFlags) {
  const std::string dn = "CN=Alice Able,CN=Users,DC=example,DC=test";
  SecurityDescriptor full;
  full.parse(Fetch(dn)["nTSecurityDescriptor"].values().at(0));
  ASSERT_FALSE(full.owner.isNull());
  ASSERT_TRUE(full.hasDacl);

  b->setSDFlag(SD_FLAG_DACL);
  SecurityDescriptor daclOnly;
  daclOnly.parse(Fetch(dn)["nTSecurityDescriptor"].values().at(0));
  EXPECT_TRUE(daclOnly.owner.isNull());
  EXPECT_TRUE(daclOnly.group.isNull());
  EXPECT_EQ(daclOnly.dacl.aces.size(), full.dacl.aces.size());

  // Writing with DACL-only flags replaces the DACL and keeps the owner.
  SecurityDescriptor next;
  next.owner = SID(WELL_KNOWN_SID::EVERYONE);
  next.hasDacl = true;
  ACEntry ace;
  ace.mask = 0x10;
  ace.sid = SID(WELL_KNOWN_SID::AUTHENTICATED_USERS);
  next.dacl.addACE(ace);
  NetBuf buf;
  next.serialize(buf);
  ADObject o(dn);
  o["nTSecurityDescriptor"].addVal(buf.data(), true, true);
  b->update(o, 2);
  b->setSDFlag(SD_FLAG_OWNER | SD_FLAG_GROUP | SD_FLAG_DACL);
  SecurityDescriptor after;
  after.parse(Fetch(dn)["nTSecurityDescriptor"].values().at(0));
  EXPECT_EQ(after.owner, full.owner);
  ASSERT_EQ(after.dacl.aces.size(), 1u);
  EXPECT_EQ(after.dacl.aces[0].mask, 0x10u);

  // With the owner flag the owner is written too.
  o["nTSecurityDescriptor"].reset();
  o["nTSecurityDescriptor"].addVal(buf.data(), true, true);
  b->update(o, 2);
  after.parse(Fetch(dn)["nTSecurityDescriptor"].values().at(0));
  EXPECT_EQ(after.owner.toMSString(), WELL_KNOWN_SID::EVERYONE);
}

TEST_F(MemoryBindingTest, LostConnection) {
  memdir::DropAfter(2, "", false);
  Fetch(kUsers);
  EXPECT_TRUE(b->connected());
  EXPECT_EQ(RcOf([&] { Fetch(kUsers); }), 81);
  EXPECT_FALSE(b->connected());
  EXPECT_EQ(RcOf([&] { Fetch(kUsers); }), 81) << "down until connect";
  EXPECT_EQ(RcOf([&] { Search("(cn=*)", kUsers, SCOPE_ONE); }), 81);
  b->connect("", "", 0);
  EXPECT_TRUE(b->connected());
  EXPECT_EQ(Fetch(kUsers).dn(), kUsers);

  // With automatic reconnection the next operation works again.
  memdir::DropAfter(1, "", true);
  EXPECT_EQ(RcOf([&] { Fetch(kUsers); }), 81);
  EXPECT_FALSE(b->connected());
  EXPECT_EQ(Fetch(kUsers).dn(), kUsers);
  EXPECT_TRUE(b->connected());

  // Only the bindings of one domain; the count is of that domain's operations.
  memdir::LoadLdifFile(Fixture("other.ldif"));
  memdir::SetCCache("MEMORY:other", "Administrator@OTHER.TEST");
  auto other = NewADBinding("other.test", "MEMORY:other", false, "", "", nullptr);
  other->connect("", "", 0);
  memdir::DropAfter(2, "other.test", false);
  Fetch(kUsers);
  Fetch(kUsers);
  other->fetch("", nullptr, AD_ALL_OBJECTS, 0);
  EXPECT_EQ(RcOf([&] { other->fetch("", nullptr, AD_ALL_OBJECTS, 0); }), 81);
  EXPECT_TRUE(b->connected());
  EXPECT_FALSE(other->connected());

  // A page after the drop fails like any operation.
  memdir::DropAfter(2, "", false);
  PagedObjectList list = b->search(2, "(objectClass=*)", kUsers, nullptr, SCOPE_ONE, 0, 0);
  EXPECT_EQ(RcOf([&] { list.nextPage(); }), 81);
}

TEST_F(MemoryBindingTest, ConnectFailures) {
  auto nowhere = NewADBinding("nowhere.test", "MEMORY:test", false, "", "", nullptr);
  EXPECT_FALSE(nowhere->connected());
  EXPECT_EQ(RcOf([&] { nowhere->connect("", "", 0); }), 81);
  EXPECT_EQ(RcOf([&] { nowhere->fetch("", nullptr, AD_ALL_OBJECTS, 0); }), 81);
  auto unconnected = NewADBinding("example.test", "MEMORY:test", false, "", "", nullptr);
  EXPECT_EQ(RcOf([&] { unconnected->fetch("", nullptr, AD_ALL_OBJECTS, 0); }), 81);
  EXPECT_EQ(unconnected->server(), "");
  auto wrongServer =
      NewADBinding("example.test", "MEMORY:test", false, "dc9.example.test", "", nullptr);
  EXPECT_EQ(RcOf([&] { wrongServer->connect("", "", 0); }), 81);
  auto named = NewADBinding("example.test", "MEMORY:test", false, "DC1.example.test", "", nullptr);
  named->connect("", "", 0);
  EXPECT_EQ(named->server(), "dc1.example.test") << "as the directory reports it";
  auto noTicket = NewADBinding("example.test", "MEMORY:none", false, "", "", nullptr);
  EXPECT_EQ(RcOf([&] { noTicket->connect("", "", 0); }), 82);
}

TEST_F(MemoryBindingTest, OperationsAreCounted) {
  uint64_t before = memdir::OperationCount();
  Fetch(kUsers);
  PagedObjectList list = b->search(3, "(objectClass=*)", kUsers, nullptr, SCOPE_ONE, 0, 0);
  list.nextPage();
  b->connected();
  EXPECT_EQ(memdir::OperationCount() - before, 3u) << "fetch, search, one further page";
}

}  // namespace
}  // namespace kesh
