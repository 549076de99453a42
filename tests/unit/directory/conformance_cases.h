// The ADBinding conformance cases: the behaviour every backend of the directory library
// must show, run unchanged against the in-memory directory and against a Samba AD DC.
//
// A runner includes this file once and defines conformance::CurrentTarget(), which says
// where the directory is and how to get in. Every test works below an organizational unit
// of its own that it removes with the tree-delete control at the end, so runs against a
// long-lived directory leave nothing behind.
#ifndef ZONESMITH_TESTS_UNIT_DIRECTORY_CONFORMANCE_CASES_H_
#define ZONESMITH_TESTS_UNIT_DIRECTORY_CONFORMANCE_CASES_H_

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "directory/conformance_target.h"
#include "directory/library/adbinding.h"
#include "directory/library/adobject.h"
#include "directory/library/constants.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/kerberos.h"
#include "directory/library/shredder.h"
#include "directory/library/sid.h"

namespace conformance {

// --- The self-relative security descriptor, just enough to look at it and add an ACE. ----
inline uint32_t U32(const std::string& b, size_t at) {
  return static_cast<uint8_t>(b[at]) | static_cast<uint8_t>(b[at + 1]) << 8 |
         static_cast<uint8_t>(b[at + 2]) << 16 |
         static_cast<uint32_t>(static_cast<uint8_t>(b[at + 3])) << 24;
}
inline uint16_t U16(const std::string& b, size_t at) {
  return static_cast<uint16_t>(static_cast<uint8_t>(b[at]) | static_cast<uint8_t>(b[at + 1]) << 8);
}
inline uint8_t U8At(const std::string& b, size_t at) { return static_cast<uint8_t>(b[at]); }
inline void PutU16(std::string& b, uint16_t v) {
  b += static_cast<char>(v & 0xff);
  b += static_cast<char>(v >> 8);
}
inline void PutU32(std::string& b, uint32_t v) {
  for (int i = 0; i < 4; ++i) b += static_cast<char>((v >> (8 * i)) & 0xff);
}

struct SdParts {
  uint32_t owner = 0, group = 0, sacl = 0, dacl = 0;
};
inline SdParts SdOffsets(const std::string& sd) {
  SdParts p;
  if (sd.size() < 20) return p;
  p.owner = U32(sd, 4);
  p.group = U32(sd, 8);
  p.sacl = U32(sd, 12);
  p.dacl = U32(sd, 16);
  return p;
}

struct Ace {
  uint8_t type;
  uint32_t mask;
  std::string sid;  // binary
};

// The ACEs of the DACL of `sd` that are not object ACEs.
inline std::vector<Ace> DaclAces(const std::string& sd) {
  std::vector<Ace> aces;
  SdParts p = SdOffsets(sd);
  if (p.dacl == 0 || p.dacl + 8 > sd.size()) return aces;
  uint16_t count = U16(sd, p.dacl + 4);
  size_t at = p.dacl + 8;
  for (uint16_t i = 0; i < count && at + 8 <= sd.size(); ++i) {
    uint8_t type = static_cast<uint8_t>(sd[at]);
    uint16_t size = U16(sd, at + 2);
    if (type <= 1 && size >= 8)
      aces.push_back({type, U32(sd, at + 4), sd.substr(at + 8, size - 8)});
    at += size;
  }
  return aces;
}

// A descriptor of the DACL of `sd` with `ace` (allowed, no flags) added at the end, and
// the binary SID `owner` as its owner when one is given.
inline std::string WithExtraAce(const std::string& sd, uint32_t mask, const std::string& sid,
                                const std::string& owner = std::string()) {
  SdParts p = SdOffsets(sd);
  uint16_t aclSize = U16(sd, p.dacl + 2);
  uint16_t count = U16(sd, p.dacl + 4);
  std::string aces = sd.substr(p.dacl + 8, aclSize - 8);
  std::string ace;
  ace += '\0';  // ACCESS_ALLOWED_ACE_TYPE
  ace += '\0';  // no flags
  PutU16(ace, static_cast<uint16_t>(8 + sid.size()));
  PutU32(ace, mask);
  ace += sid;
  std::string out;
  out += '\x01';
  out += '\0';
  PutU16(out, U16(sd, 2));  // control as read: DACL present, self-relative
  PutU32(out, owner.empty() ? 0 : static_cast<uint32_t>(20));
  PutU32(out, 0);
  PutU32(out, 0);
  PutU32(out, static_cast<uint32_t>(20 + owner.size()));
  out += owner;
  out += sd[p.dacl];
  out += '\0';
  PutU16(out, static_cast<uint16_t>(8 + aces.size() + ace.size()));
  PutU16(out, static_cast<uint16_t>(count + 1));
  PutU16(out, 0);
  out += aces;
  out += ace;
  return out;
}

class ConformanceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!Usable(CurrentTarget())) return;
    target_ = &CurrentTarget();
    base_ = DN::dnFromDomain(target_->domain());
    binding_ = Connect(target_->adminCCache());
    scratch_ = "OU=" + UniqueName("zs-conformance") + "," + base_;
    ADObject ou(scratch_);
    ou[AD_OBJECT_CLASS] = "organizationalUnit";
    binding_->add(ou);
  }

  void TearDown() override {
    if (binding_ == nullptr || scratch_.empty()) return;
    try {
      if (!binding_->connected()) binding_->connect("", "", 0);
      ADObject ou(scratch_);
      binding_->remove(ou, true);
    } catch (const std::exception& e) {
      ADD_FAILURE() << "could not remove " << scratch_ << ": " << e.what();
    }
  }

  std::shared_ptr<ADBinding> Connect(const std::string& ccache, bool gc = false,
                                     const std::string& server = std::string()) {
    auto binding = kesh::NewADBinding(target_->domain(), ccache, gc, server, "", nullptr);
    binding->connect("", "", 0);
    return binding;
  }

  // A stored object of `objectClass` named CN=`cn` below `parent` (default: the scratch OU).
  ADObject Make(const std::string& cn, const char* objectClass = "container",
                const std::string& parent = std::string()) {
    ADObject object = LDAPBinding::createChild(parent.empty() ? scratch_ : parent, cn, "CN");
    object[AD_OBJECT_CLASS] = objectClass;
    if (std::string(objectClass) == "user" || std::string(objectClass) == "group") {
      object[AD_SAM_ACCOUNT_NAME] =
          "zs" + std::to_string(getpid() % 100000) + "-" + std::to_string(++accounts_);
    }
    binding_->add(object);
    return object;
  }

  ADObject Read(const std::string& dn, std::vector<const char*> attrs = {}) {
    if (attrs.empty()) return binding_->fetch(dn, nullptr, AD_ALL_OBJECTS, 0);
    attrs.push_back(nullptr);
    return binding_->fetch(dn, attrs.data(), AD_ALL_OBJECTS, 0);
  }

  // Every object of a paged search, and the size of each page.
  std::vector<ADObject> All(kesh::PagedObjectList list, std::vector<size_t>* pageSizes = nullptr) {
    std::vector<ADObject> all;
    for (;;) {
      if (pageSizes) pageSizes->push_back(list.page().size());
      for (ADObject& o : list.page()) all.push_back(o);
      if (list.lastPage()) break;
      list.nextPage();
    }
    return all;
  }

  Target* target_ = nullptr;
  std::string base_;
  std::string scratch_;
  std::shared_ptr<ADBinding> binding_;
  int accounts_ = 0;
};

// --- The root DSE and the binding's own facts ------------------------------------------------

TEST_F(ConformanceTest, RootDseNamesTheDomainAndItsServer) {
  ADObject root = binding_->fetch("", nullptr, AD_ALL_OBJECTS, 0);
  EXPECT_TRUE(DN::equal(root["defaultNamingContext"], base_))
      << std::string(root["defaultNamingContext"]);
  EXPECT_TRUE(DN::equal(root["rootDomainNamingContext"], base_));
  EXPECT_FALSE(std::string(root["configurationNamingContext"]).empty());
  std::string host = root["dnsHostName"];
  EXPECT_FALSE(host.empty());
  EXPECT_EQ(binding_->server(), host);
  EXPECT_EQ(binding_->domainLevel(), root["domainFunctionality"].toInt());
  EXPECT_EQ(binding_->forestLevel(), root["forestFunctionality"].toInt());
  EXPECT_GE(binding_->domainLevel(), 2);  // Windows 2003 or later: what the system needs
  EXPECT_EQ(binding_->domainName(), target_->domain());
  EXPECT_EQ(binding_->ccacheName(), target_->adminCCache());
  EXPECT_TRUE(binding_->connected());
}

TEST_F(ConformanceTest, ExplicitServerAndGlobalCatalogAnswer) {
  auto direct = Connect(target_->adminCCache(), false, binding_->server());
  EXPECT_EQ(direct->server(), binding_->server());

  ADObject marked = Make(UniqueName("gc-visible"));
  auto gc = Connect(target_->adminCCache(), true);
  EXPECT_TRUE(gc->fetch("", nullptr, AD_ALL_OBJECTS, 0)["isGlobalCatalogReady"].toBool());
  const char* attrs[] = {AD_CN, nullptr};
  std::string filter = "(cn=" + DN::escapeLDAPFilter(DN::cnFromDn(marked.dn())) + ")";
  auto found = All(gc->search(100, filter, base_, attrs, kesh::SCOPE_SUB, 0, 0));
  ASSERT_EQ(found.size(), 1u);
  EXPECT_TRUE(DN::equal(found[0].dn(), marked.dn()));
}

// --- Add and fetch ---------------------------------------------------------------------------

TEST_F(ConformanceTest, AddedObjectReadsBackWithGeneratedAttributes) {
  ADObject c = LDAPBinding::createChild(scratch_, "alpha, with comma", "CN");
  c[AD_OBJECT_CLASS] = "container";
  c[AD_DESCRIPTION] = "first";
  binding_->add(c);
  EXPECT_FALSE(c[AD_DESCRIPTION].changed());

  ADObject got = Read(c.dn());
  EXPECT_TRUE(DN::equal(got.dn(), c.dn())) << got.dn();
  EXPECT_EQ(Values(got, AD_DESCRIPTION), std::vector<std::string>{"first"});
  EXPECT_EQ(std::string(got[AD_CN]), "alpha, with comma");
  EXPECT_EQ(got.category(), "Container");
  const kesh::ADAttribute* guid = got.find(AD_OBJECT_GUID);
  ASSERT_NE(guid, nullptr);
  EXPECT_TRUE(guid->binary());
  ASSERT_EQ(guid->size(), 1u);
  EXPECT_EQ(guid->values()[0].size(), 16u);
  EXPECT_FALSE(got.guid().isNull());
  EXPECT_FALSE(std::string(got[AD_WHEN_CREATED]).empty());
  EXPECT_FALSE(got[AD_DESCRIPTION].changed());

  ADObject few = Read(c.dn(), {AD_DESCRIPTION});
  EXPECT_TRUE(few.attributeExists(AD_DESCRIPTION, true));
  EXPECT_FALSE(few.attributeExists(AD_OBJECT_GUID));
  EXPECT_TRUE(DN::equal(few.dn(), c.dn()));
}

TEST_F(ConformanceTest, AccountsCarryDomainSidAndCategory) {
  ADObject domainObject = Read(base_, {AD_OBJECT_SID});
  ASSERT_FALSE(domainObject.sid().isNull());

  ADObject user = Make("zs user", "user");
  ADObject got = Read(user.dn());
  EXPECT_EQ(got.category(), "Person");
  ASSERT_FALSE(got.sid().isNull());
  EXPECT_TRUE(got[AD_OBJECT_SID].binary());
  EXPECT_EQ(got.sid().domainSID(), domainObject.sid());
  EXPECT_GE(got.sid().getObjectRid(), 1000u);

  ADObject group = Read(Make("zs group", "group").dn());
  EXPECT_EQ(group.category(), "Group");
  EXPECT_NE(group.sid(), got.sid());
}

TEST_F(ConformanceTest, FetchWithFilterThatDoesNotMatchIsNoSuchObject) {
  ADObject c = Make("filtered");
  EXPECT_NO_THROW(binding_->fetch(c.dn(), nullptr, "(objectClass=container)", 0));
  EXPECT_EQ(LdapErrorOf([&] { binding_->fetch(c.dn(), nullptr, "(objectClass=user)", 0); }),
            kesh::LDAP_RC_NO_SUCH_OBJECT);
}

// --- Special DN forms ------------------------------------------------------------------------

TEST_F(ConformanceTest, GuidSidAndWellKnownGuidDnsResolve) {
  ADObject c = Read(Make("guided").dn());
  ADObject byGuid = Read(c.guid().toDN());
  EXPECT_TRUE(DN::equal(byGuid.dn(), c.dn())) << byGuid.dn();
  EXPECT_EQ(byGuid.guid(), c.guid());

  ADObject user = Read(Make("sided", "user").dn());
  ADObject bySid = Read("<SID=" + user.sid().toMSString() + ">");
  EXPECT_TRUE(DN::equal(bySid.dn(), user.dn())) << bySid.dn();

  struct {
    const char* wkguid;
    std::string expected;
  } wellKnown[] = {
      {"A9D1CA15768811D1ADED00C04FD8D5CD", "CN=Users," + base_},
      {AD_GUID_SYSTEM_CONTAINER, "CN=System," + base_},
      {"AA312825768811D1ADED00C04FD8D5CD", "CN=Computers," + base_},
  };
  for (const auto& w : wellKnown) {
    ADObject o = Read(std::string("<WKGUID=") + w.wkguid + "," + base_ + ">");
    EXPECT_TRUE(DN::equal(o.dn(), w.expected)) << w.wkguid << " -> " << o.dn();
  }
}

// --- Update in every mode --------------------------------------------------------------------

TEST_F(ConformanceTest, UpdateModesAddDeleteReplaceAndClear) {
  ADObject c = Make("updated");
  c[AD_DESCRIPTION] = "a";
  binding_->update(c, 2);

  struct Step {
    const char* label;
    int mode;
    std::vector<std::string> values;  // set on the attribute before the update
    std::set<std::string> expected;   // description afterwards
  } steps[] = {
      {"add a value", 0, {"b"}, {"a", "b"}},
      {"add two values", 0, {"c", "d"}, {"a", "b", "c", "d"}},
      {"delete values", 1, {"a", "c"}, {"b", "d"}},
      {"replace", 2, {"x", "y"}, {"x", "y"}},
      {"replace, mode -1", -1, {"z"}, {"z"}},
      {"replace without values clears", 2, {}, {}},
  };
  for (const Step& step : steps) {
    ADObject change(c.dn());
    change[AD_DESCRIPTION].reset();
    for (const std::string& v : step.values) change[AD_DESCRIPTION].addVal(v);
    binding_->update(change, step.mode);
    EXPECT_FALSE(change[AD_DESCRIPTION].changed()) << step.label;
    std::vector<std::string> now = Values(Read(c.dn()), AD_DESCRIPTION);
    EXPECT_EQ(std::set<std::string>(now.begin(), now.end()), step.expected) << step.label;
  }
}

TEST_F(ConformanceTest, UpdateSendsOnlyChangedAttributes) {
  ADObject c = Make("partly");
  ADObject got = Read(c.dn());  // objectGUID, whenCreated, ... all unchanged
  got[AD_DESCRIPTION] = "changed";
  binding_->update(got, 2);
  ADObject after = Read(c.dn());
  EXPECT_EQ(std::string(after[AD_DESCRIPTION]), "changed");
  EXPECT_EQ(after.guid(), got.guid());

  // Nothing changed: no request, no error.
  EXPECT_NO_THROW(binding_->update(after, 2));
}

// --- Rename, move, remove --------------------------------------------------------------------

TEST_F(ConformanceTest, RenameAndMoveFollowTheDn) {
  ADObject c = Make("before");
  std::string oldDn = c.dn();
  binding_->rename(c, "CN=after");
  EXPECT_TRUE(DN::equal(c.dn(), "CN=after," + scratch_)) << c.dn();
  EXPECT_EQ(LdapErrorOf([&] { Read(oldDn); }), kesh::LDAP_RC_NO_SUCH_OBJECT);
  EXPECT_EQ(std::string(Read(c.dn())[AD_NAME]), "after");

  ADObject target = Make("target");
  binding_->move(c, target.dn());
  EXPECT_TRUE(DN::equal(c.dn(), "CN=after," + target.dn())) << c.dn();
  EXPECT_TRUE(DN::equal(Read(c.dn()).dn(), c.dn()));
  EXPECT_EQ(LdapErrorOf([&] { Read("CN=after," + scratch_); }), kesh::LDAP_RC_NO_SUCH_OBJECT);
}

TEST_F(ConformanceTest, RemoveLeafAndTree) {
  ADObject leaf = Make("leaf");
  binding_->remove(leaf, false);
  EXPECT_EQ(LdapErrorOf([&] { Read(leaf.dn()); }), kesh::LDAP_RC_NO_SUCH_OBJECT);

  ADObject parent = Make("parent");
  ADObject child = Make("child", "container", parent.dn());
  ADObject grandchild = Make("grandchild", "container", child.dn());
  EXPECT_EQ(LdapErrorOf([&] { binding_->remove(parent, false); }),
            kesh::LDAP_RC_NOT_ALLOWED_ON_NONLEAF);
  EXPECT_NO_THROW(Read(grandchild.dn()));
  binding_->remove(parent, true);
  for (const ADObject& gone : {parent, child, grandchild}) {
    EXPECT_EQ(LdapErrorOf([&] { Read(gone.dn()); }), kesh::LDAP_RC_NO_SUCH_OBJECT) << gone.dn();
  }
}

// Each error names the operation and the DN, then the result's text.
TEST_F(ConformanceTest, ErrorsCarryTheLdapResultCodeAndNameOperationAndDn) {
  ADObject existing = Make("existing");
  Make("leaf", "container", existing.dn());
  std::string missing = "CN=missing," + scratch_;
  struct {
    const char* label;
    std::function<void()> operation;
    int rc;
    std::string text;    // how the message begins
    bool whole = false;  // the message is the text, nothing more (no other request's text)
  } cases[] = {
      {"fetch of a missing object", [&] { Read(missing); }, kesh::LDAP_RC_NO_SUCH_OBJECT,
       "search " + missing + ": No such object"},
      {"add of an existing object",
       [&] {
         ADObject again(existing.dn());
         again[AD_OBJECT_CLASS] = "container";
         binding_->add(again);
       },
       kesh::LDAP_RC_ALREADY_EXISTS, "add " + existing.dn() + ": Already exists"},
      {"remove of a missing object",
       [&] {
         ADObject m(missing);
         binding_->remove(m, false);
       },
       kesh::LDAP_RC_NO_SUCH_OBJECT, "delete " + missing + ": No such object"},
      {"remove of an object with children",
       [&] {
         ADObject m(existing.dn());
         binding_->remove(m, false);
       },
       kesh::LDAP_RC_NOT_ALLOWED_ON_NONLEAF,
       "delete " + existing.dn() + ": Operation not allowed on non-leaf"},
      {"update of a missing object",
       [&] {
         ADObject m(missing);
         m[AD_DESCRIPTION] = "x";
         binding_->update(m, 2);
       },
       kesh::LDAP_RC_NO_SUCH_OBJECT, "modify " + missing + ": No such object"},
      {"delete of a value that is not there",
       [&] {
         ADObject m(existing.dn());
         m[AD_DESCRIPTION] = "never set";
         binding_->update(m, 1);
       },
       kesh::LDAP_RC_NO_SUCH_ATTRIBUTE, "modify " + existing.dn() + ": No such attribute"},
      {"rename of a missing object",
       [&] {
         ADObject m(missing);
         binding_->rename(m, "CN=other");
       },
       kesh::LDAP_RC_NO_SUCH_OBJECT, "rename " + missing + ": No such object"},
      {"search with a malformed filter",
       [&] { binding_->search(100, "(cn=x", scratch_, nullptr, kesh::SCOPE_SUB, 0, 0); },
       kesh::LDAP_RC_FILTER_ERROR, "search " + scratch_ + ": Bad search filter", true},
      {"search below a missing base",
       [&] { binding_->search(100, AD_ALL_OBJECTS, missing, nullptr, kesh::SCOPE_SUB, 0, 0); },
       kesh::LDAP_RC_NO_SUCH_OBJECT, "search " + missing + ": No such object"},
  };
  for (const auto& c : cases) {
    std::string message;
    EXPECT_EQ(LdapErrorOf(c.operation, &message), c.rc) << c.label;
    EXPECT_EQ(c.whole ? message : message.substr(0, c.text.size()), c.text) << c.label;
  }
  EXPECT_TRUE(binding_->connected());
}

// As AD: no object below a parent that does not exist, neither added nor moved there.
TEST_F(ConformanceTest, ParentMustExist) {
  std::string nowhere = "CN=nowhere," + scratch_;
  ADObject orphan = LDAPBinding::createChild(nowhere, "orphan", "CN");
  orphan[AD_OBJECT_CLASS] = "container";
  EXPECT_EQ(LdapErrorOf([&] { binding_->add(orphan); }), kesh::LDAP_RC_NO_SUCH_OBJECT);
  EXPECT_EQ(LdapErrorOf([&] { Read(orphan.dn()); }), kesh::LDAP_RC_NO_SUCH_OBJECT);

  ADObject mover = Make("mover");
  const std::string before = mover.dn();
  // AD answers noSuchObject; Samba 4.17 answers "other" (80) with "parent does not exist".
  int rc = LdapErrorOf([&] { binding_->move(mover, nowhere); });
  EXPECT_TRUE(rc == kesh::LDAP_RC_NO_SUCH_OBJECT || rc == 80) << rc;
  EXPECT_EQ(mover.dn(), before);
  EXPECT_TRUE(DN::equal(Read(before).dn(), before));
  EXPECT_EQ(LdapErrorOf([&] { Read("CN=mover," + nowhere); }), kesh::LDAP_RC_NO_SUCH_OBJECT);
}

// "1.1" asks for no attribute: every entry comes with its DN alone.
TEST_F(ConformanceTest, NoAttributesAsksForTheDnOnly) {
  ADObject c = Make("bare");
  c[AD_DESCRIPTION] = "not asked for";
  binding_->update(c, 2);
  const char* none[] = {"1.1", nullptr};

  ADObject read = binding_->fetch(c.dn(), none, AD_ALL_OBJECTS, 0);
  EXPECT_TRUE(DN::equal(read.dn(), c.dn())) << read.dn();
  std::vector<std::string> names;
  for (const auto& a : read.attributes()) names.push_back(a.first);
  EXPECT_EQ(names, std::vector<std::string>{AD_DN});

  auto found = All(binding_->search(100, AD_ALL_OBJECTS, scratch_, none, kesh::SCOPE_SUB, 0, 0));
  std::set<std::string> dns;
  for (ADObject& o : found) {
    dns.insert(DN::normalize(o.dn()));
    EXPECT_EQ(o.attributes().size(), 1u) << o.dn();
  }
  EXPECT_EQ(dns, (std::set<std::string>{DN::normalize(scratch_), DN::normalize(c.dn())}));
}

// --- Searches --------------------------------------------------------------------------------

TEST_F(ConformanceTest, PagedSearchReturnsEveryObjectOnce) {
  ADObject holder = Make("paged");
  for (int i = 0; i < 250; ++i) {
    ADObject o = LDAPBinding::createChild(holder.dn(), "item-" + std::to_string(i), "CN");
    o[AD_OBJECT_CLASS] = "container";
    o[AD_DESCRIPTION] = "page item";
    binding_->add(o);
  }
  const char* attrs[] = {AD_CN, AD_DESCRIPTION, nullptr};
  std::vector<size_t> pages;
  auto all = All(
      binding_->search(100, "(objectClass=container)", holder.dn(), attrs, kesh::SCOPE_ONE, 0, 0),
      &pages);
  EXPECT_EQ(pages, (std::vector<size_t>{100, 100, 50}));
  std::set<std::string> names;
  for (ADObject& o : all) {
    names.insert(o[AD_CN]);
    EXPECT_EQ(std::string(o[AD_DESCRIPTION]), "page item");
    EXPECT_FALSE(o.attributeExists(AD_OBJECT_GUID));
  }
  EXPECT_EQ(names.size(), 250u);
  EXPECT_EQ(names.count("item-0") + names.count("item-249"), 2u);

  // Subtree from higher up, by filter; the base itself is found in base scope.
  EXPECT_EQ(
      All(binding_->search(100, "(description=page item)", scratch_, attrs, kesh::SCOPE_SUB, 0, 0))
          .size(),
      250u);
  auto base =
      All(binding_->search(100, AD_ALL_OBJECTS, holder.dn(), attrs, kesh::SCOPE_BASE, 0, 0));
  ASSERT_EQ(base.size(), 1u);
  EXPECT_TRUE(DN::equal(base[0].dn(), holder.dn()));

  // A size limit ends the search after that many objects, without an error.
  std::vector<size_t> limited;
  auto some = All(
      binding_->search(100, "(objectClass=container)", holder.dn(), attrs, kesh::SCOPE_ONE, 10, 0),
      &limited);
  EXPECT_EQ(some.size(), 10u);
  EXPECT_EQ(limited.size(), 1u);
}

TEST_F(ConformanceTest, RangedValuesAreCompletedOnRequest) {
  // More members than one ranged answer holds (AD's window is 1500 values), so that
  // completing them takes more than one request whatever the server.
  const int count = std::max(target_->rangeSize(), 1500) + 100;
  ADObject holder = Make("members");
  std::set<std::string> dns;
  ADObject group = Make("big group", "group");
  ADObject change(group.dn());
  change[AD_GROUP_MEMBERS].reset();
  for (int i = 0; i < count; ++i) {
    ADObject o = LDAPBinding::createChild(holder.dn(), "m" + std::to_string(i), "CN");
    o[AD_OBJECT_CLASS] = "container";
    binding_->add(o);
    dns.insert(DN::normalize(o.dn()));
    change[AD_GROUP_MEMBERS].addVal(o.dn());
  }
  binding_->update(change, 0);

  ADObject got = Read(group.dn(), {AD_GROUP_MEMBERS, AD_CN});
  ASSERT_TRUE(got.attributeExists(AD_GROUP_MEMBERS));
  if (target_->rangeSize() > 0) {
    EXPECT_TRUE(got[AD_GROUP_MEMBERS].incomplete());
    EXPECT_EQ(static_cast<int>(got[AD_GROUP_MEMBERS].size()), target_->rangeSize());
  } else {
    EXPECT_FALSE(got[AD_GROUP_MEMBERS].incomplete());
    EXPECT_EQ(static_cast<int>(got[AD_GROUP_MEMBERS].size()), count);
  }
  EXPECT_FALSE(got[AD_CN].incomplete());

  // Completing replaces whatever part the object holds by all values.
  got[AD_GROUP_MEMBERS].setValues({"CN=stale"});
  got[AD_GROUP_MEMBERS].setIncomplete(true);
  binding_->getAttributeValues(got, AD_GROUP_MEMBERS, 0);
  EXPECT_FALSE(got[AD_GROUP_MEMBERS].incomplete());
  EXPECT_FALSE(got[AD_GROUP_MEMBERS].changed());
  std::set<std::string> read;
  for (const std::string& v : got[AD_GROUP_MEMBERS].values()) read.insert(DN::normalize(v));
  EXPECT_EQ(read.size(), got[AD_GROUP_MEMBERS].size()) << "a value came twice";
  EXPECT_EQ(read, dns);

  // An attribute the object does not have completes to nothing.
  ADObject small = Read(Make("no description", "group").dn());
  binding_->getAttributeValues(small, AD_DESCRIPTION, 0);
  EXPECT_TRUE(Values(small, AD_DESCRIPTION).empty());
}

// --- Security descriptors --------------------------------------------------------------------

TEST_F(ConformanceTest, SecurityDescriptorFlagsSelectTheParts) {
  ADObject c = Make("secured");
  struct {
    int flags;
    bool owner, group, dacl;
  } cases[] = {
      {kesh::SD_FLAG_DACL, false, false, true},
      {kesh::SD_FLAG_OWNER | kesh::SD_FLAG_GROUP | kesh::SD_FLAG_DACL, true, true, true},
  };
  // The flags reach the server with the next read, on the same connection.
  for (const auto& k : cases) {
    binding_->setSDFlag(k.flags);
    ADObject got = Read(c.dn(), {AD_NT_SECDESC});
    ASSERT_TRUE(got.attributeExists(AD_NT_SECDESC, true)) << k.flags;
    EXPECT_TRUE(got[AD_NT_SECDESC].binary());
    SdParts p = SdOffsets(got[AD_NT_SECDESC]);
    EXPECT_EQ(p.owner != 0, k.owner) << k.flags;
    EXPECT_EQ(p.group != 0, k.group) << k.flags;
    EXPECT_EQ(p.dacl != 0, k.dacl) << k.flags;
    EXPECT_EQ(p.sacl, 0u) << k.flags;
  }
}

TEST_F(ConformanceTest, DaclWrittenBackWithDaclFlagKeepsOwner) {
  ADObject c = Make("acl");
  std::string full = Read(c.dn(), {AD_NT_SECDESC})[AD_NT_SECDESC];
  SdParts fullParts = SdOffsets(full);
  ASSERT_NE(fullParts.owner, 0u);
  const std::string owner = full.substr(fullParts.owner, 8 + 4 * U8At(full, fullParts.owner + 1));

  // The flags change on the connection that read with all parts: the write sends the DACL
  // alone, so the other owner in the descriptor is not written.
  binding_->setSDFlag(kesh::SD_FLAG_DACL);
  std::string sd = Read(c.dn(), {AD_NT_SECDESC})[AD_NT_SECDESC];
  ASSERT_NE(SdOffsets(sd).dacl, 0u);
  const std::string printOperators = kesh::SID(kesh::WELL_KNOWN_SID::PRINT_OPERATORS).toBytes();
  ASSERT_NE(printOperators, owner);
  const uint32_t readProperty = 0x10;
  ADObject change(c.dn());
  change[AD_NT_SECDESC].reset();
  change[AD_NT_SECDESC].addVal(WithExtraAce(sd, readProperty, printOperators, printOperators), true,
                               true);
  binding_->update(change, 2);

  std::string after = Read(c.dn(), {AD_NT_SECDESC})[AD_NT_SECDESC];
  bool found = false;
  for (const Ace& ace : DaclAces(after)) {
    found |= ace.type == 0 && ace.sid == printOperators && (ace.mask & readProperty);
  }
  EXPECT_TRUE(found) << "the added ACE is not in the DACL";

  binding_->setSDFlag(kesh::SD_FLAG_OWNER | kesh::SD_FLAG_GROUP | kesh::SD_FLAG_DACL);
  std::string now = Read(c.dn(), {AD_NT_SECDESC})[AD_NT_SECDESC];
  SdParts parts = SdOffsets(now);
  ASSERT_NE(parts.owner, 0u);
  EXPECT_NE(parts.group, 0u);
  EXPECT_EQ(now.substr(parts.owner, owner.size()), owner) << "the owner changed";
}

// --- Credentials -----------------------------------------------------------------------------

TEST_F(ConformanceTest, PasswordIntoMemoryCacheBinds) {
  kesh::KerberosContext context;
  kesh::KerberosCreds creds;
  std::string error;
  ASSERT_EQ(kesh::getCredentials(context, target_->adminPrincipal(), target_->adminPassword(),
                                 creds, error, kesh::DEFAULT_TICKET_LIFETIME, nullptr),
            0)
      << error;
  std::string cache = "MEMORY:" + UniqueName("zs-conformance");
  kesh::storeTGT(context, target_->adminPrincipal(), cache, creds, getuid(), getgid());
  EXPECT_EQ(kesh::Krb5CredentialsCache::getUPN(cache), target_->adminPrincipal());

  auto binding = Connect(cache);
  EXPECT_TRUE(binding->connected());
  EXPECT_EQ(binding->ccacheName(), cache);
  EXPECT_TRUE(
      DN::equal(binding->fetch("", nullptr, AD_ALL_OBJECTS, 0)["defaultNamingContext"], base_));
  kesh::Krb5CredentialsCache::clearCCache(cache, true);

  kesh::KerberosCreds wrong;
  error.clear();
  EXPECT_NE(kesh::getCredentials(context, target_->adminPrincipal(), Shredder("not the password"),
                                 wrong, error, kesh::DEFAULT_TICKET_LIFETIME, nullptr),
            0);
  EXPECT_FALSE(error.empty());
}

TEST_F(ConformanceTest, CacheWithoutTicketFailsCleanly) {
  std::string cache = "MEMORY:" + UniqueName("zs-empty");
  auto binding = kesh::NewADBinding(target_->domain(), cache, false, "", "", nullptr);
  EXPECT_THROW(binding->connect("", "", 0), KESHException);
  EXPECT_FALSE(binding->connected());
  EXPECT_THROW(binding->fetch("", nullptr, AD_ALL_OBJECTS, 0), KESHException);
  EXPECT_FALSE(binding->connected());
  EXPECT_EQ(kesh::Krb5CredentialsCache::getUPN(cache), "");
}

}  // namespace conformance

#endif  // ZONESMITH_TESTS_UNIT_DIRECTORY_CONFORMANCE_CASES_H_
