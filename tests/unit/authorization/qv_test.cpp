// The authorization store against the in-memory directory: its layout in both variants,
// opening by version marker, scopes, and the time stamps written when the last handle goes.
#include "authorization/qv.h"

#include <gtest/gtest.h>

#include <cctype>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/sam_parser.h"
#include "directory/library/strings.h"
#include "memdir_session.h"

namespace {

using memtest::MessageOf;
using memtest::OperationsOf;

const char kZoneA[] = "CN=ZoneA,CN=Program Data,DC=example,DC=test";
const char kZoneB[] = "CN=ZoneB,CN=Program Data,DC=example,DC=test";

std::string Value(const kesh::ADObject& object, const char* name) {
  const kesh::ADAttribute* a = object.find(name);
  return a ? std::string(*a) : std::string();
}

bool HasClass(const kesh::ADObject& object, const std::string& cls) {
  const kesh::ADAttribute* a = object.find(AD_OBJECT_CLASS);
  if (!a) return false;
  for (const std::string& v : a->values())
    if (v == cls) return true;
  return false;
}

// example.test bound, with two containers to hold stores.
class QVStoreTest : public memtest::MemdirSession {
 protected:
  void SetUp() override {
    MemdirSession::SetUp();
    kesh::memdir::LoadLdif(std::string("dn: ") + kZoneA + "\nobjectClass: container\n\n" +
                           "dn: " + kZoneB + "\nobjectClass: container\n");
    binding_ = Bind("example.test");
  }

  kesh::ADObject Read(const std::string& dn) {
    return binding_->fetch(dn, nullptr, AD_ALL_OBJECTS);
  }
  size_t CountBelow(const std::string& dn) {
    return binding_->search(AD_ALL_OBJECTS, dn, nullptr, kesh::SCOPE_SUB, 0).size();
  }
  std::shared_ptr<QVStore> Create(int version, const char* zone = kZoneA) {
    return QVStore::Create(binding_, kesh::ADObject(zone), version);
  }
  std::shared_ptr<QVStore> Open(const char* zone = kZoneA) {
    return QVStore::Open(binding_, kesh::ADObject(zone));
  }
  // Sets the application's version marker directly in the directory.
  // An empty marker is a missing one: the directory holds no empty value.
  void SetMarker(QVStore& store, const std::string& marker) {
    kesh::ADObject app = Read(store.application->dn());
    if (marker.empty()) {
      app[AZ_APP_VERSION].reset();
    } else {
      app[AZ_APP_VERSION] = marker;
    }
    binding_->update(app, 2);
  }
};

TEST_F(QVStoreTest, CreateWritesTheLayoutOfEitherVariant) {
  for (int version : {1, 2}) {
    SCOPED_TRACE(version);
    SetUp();
    auto store = Create(version);
    EXPECT_EQ(store->version, version);
    EXPECT_EQ(dynamic_cast<QVClassicStore*>(store.get()) != nullptr, version == 1);
    const std::string g = store->applicationCn;
    EXPECT_EQ(kesh::Guid::fromRealMSString(g).toRealMSString(), g);  // a GUID in MS form

    const std::string am = std::string("CN=Authorization,") + kZoneA;
    const std::string app = "CN=" + g + "," + am;
    struct Expected {
      std::string dn, cls, description, appName, appVersion, major, minor;
    } expected[] = {
        {am, "msDS-AzAdminManager",
         "AzMan store created by Norvane ZoneSmith, store name: Authorization", "", "", "1", "0"},
        {"CN=AzGroupObjectContainer-Authorization," + am, "container", "", "", "", "", ""},
        {app, "msDS-AzApplication",
         "AzMan application created by Norvane ZoneSmith, application name: SystemAuthorization",
         "SystemAuthorization", "$KeshQVContainerVersion" + std::to_string(version), "", ""},
        {"CN=AzGroupObjectContainer-" + g + "," + app, "container", "", "", "", "", ""},
        {"CN=AzOpObjectContainer-" + g + "," + app, "container", "", "", "", "", ""},
        {"CN=AzRoleObjectContainer-" + g + "," + app, "container", "", "", "", "", ""},
        {"CN=AzTaskObjectContainer-" + g + "," + app, "container", "", "", "", "", ""},
    };
    for (const Expected& e : expected) {
      SCOPED_TRACE(e.dn);
      kesh::ADObject o = Read(e.dn);
      EXPECT_TRUE(HasClass(o, e.cls));
      EXPECT_EQ(Value(o, AD_DESCRIPTION), e.description);
      EXPECT_EQ(Value(o, AZ_APP_NAME), e.appName);
      EXPECT_EQ(Value(o, AZ_APP_VERSION), e.appVersion);
      EXPECT_EQ(Value(o, AZ_MAJOR_VERSION), e.major);
      EXPECT_EQ(Value(o, AZ_MINOR_VERSION), e.minor);
    }
    // Beside the layout, the predefined objects (default_objects_test): 14 PAM rights in a
    // classic store, 13 PAM rights and 7 roles in a hierarchical one.
    EXPECT_EQ(CountBelow(am), std::size(expected) + (version == 1 ? 14u : 20u));
    EXPECT_EQ(kesh::lower(store->application->dn()), kesh::lower(app));
    EXPECT_EQ(kesh::lower(store->adminManager->dn()), kesh::lower(am));
    EXPECT_EQ(kesh::lower(store->operationContainerDn()),
              kesh::lower("cn=AzOpObjectContainer-" + g + "," + app));
    EXPECT_EQ(kesh::lower(store->roleContainerDn()),
              kesh::lower("cn=AzRoleObjectContainer-" + g + "," + app));
    EXPECT_EQ(kesh::lower(store->taskContainerDn()),
              kesh::lower("cn=AzTaskObjectContainer-" + g + "," + app));
  }
}

TEST_F(QVStoreTest, OpenTakesTheVariantFromTheLastCharacterOfTheMarker) {
  struct Case {
    const char* marker;
    int version;
    bool classic;
  } cases[] = {
      {"$KeshQVContainerVersion1", 1, true},   {"$KeshQVContainerVersion2", 2, false},
      {"$KeshQVContainerVersion12", 2, false}, {"$KeshQVContainerVersion21", 1, true},
      {"$KeshQVContainerVersionX", 0, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.marker);
    SetUp();
    std::string cn = Create(2)->applicationCn;
    SetMarker(*Open(), c.marker);
    auto store = Open();
    EXPECT_EQ(store->version, c.version);
    EXPECT_EQ(dynamic_cast<QVClassicStore*>(store.get()) != nullptr, c.classic);
    EXPECT_EQ(store->applicationCn, cn);
    EXPECT_EQ(Value(*store->adminManager, AD_DESCRIPTION), QV_STORE_DESCRIPTION);
  }
  // Version 0 opens, and fails at its first scope.
  EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { Open()->openNullScope(); }),
            "Bad QV version number: 0");
}

TEST_F(QVStoreTest, OpenTakesTheLastApplicationOfThatName) {
  auto created = Create(2);
  kesh::ADObject second = kesh::LDAPBinding::createChild(*created->adminManager, "second", "cn");
  second[AD_OBJECT_CLASS] = AZ_CLASS_APPLICATION;
  second[AZ_APP_NAME] = QV_APPLICATION_NAME;
  second[AZ_APP_VERSION] = "$KeshQVContainerVersion1";
  binding_->add(second);
  std::string last;
  for (kesh::ADObject& child : binding_->children(*created->adminManager, nullptr)) {
    if (Value(child, AZ_APP_NAME) == QV_APPLICATION_NAME) last = Value(child, AD_CN);
  }
  auto store = Open();
  EXPECT_EQ(store->applicationCn, last);
  EXPECT_EQ(store->version, last == "second" ? 1 : 2);
}

TEST_F(QVStoreTest, OpenRefusals) {
  // No store at all: the directory's own failure.
  EXPECT_THROW(Open(), LDAPException);
  // An empty marker: substr of an empty text.
  auto store = Create(2);
  SetMarker(*store, "");
  EXPECT_THROW(Open(), std::out_of_range);
  // No child named SystemAuthorization.
  kesh::ADObject app = Read(store->application->dn());
  app[AZ_APP_NAME] = "OtherApplication";
  binding_->update(app, 2);
  EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { Open(); }),
            "Cannot find QV definition (corrupted zone?)");
}

TEST_F(QVStoreTest, ScopesCreateOpenListDelete) {
  auto store = Create(2);
  const std::string appDn = store->application->dn();
  kesh::ADObject s = store->createScope("web", "$KeshAccessZone1", "front ends");
  EXPECT_TRUE(HasClass(s, "msDS-AzScope"));
  const std::string sCn = kesh::LDAPBinding::RDN(s.dn()).substr(3);
  kesh::ADObject read = Read(s.dn());
  EXPECT_EQ(Value(read, AZ_SCOPE_NAME), "web");
  EXPECT_EQ(Value(read, AD_DISPLAY_NAME), "$KeshAccessZone1");
  EXPECT_EQ(Value(read, AD_DESCRIPTION), "front ends");
  for (const char* prefix :
       {"AzGroupObjectContainer-", "AzRoleObjectContainer-", "AzTaskObjectContainer-"}) {
    EXPECT_TRUE(HasClass(Read("cn=" + std::string(prefix) + sCn + "," + s.dn()), "container"))
        << prefix;
  }
  EXPECT_EQ(CountBelow(s.dn()), 4u);  // no operation container in a scope

  // Same name and displayName: refused; another displayName: a second scope of that name.
  EXPECT_EQ(
      MessageOf<kesh::BadDataException>([&] { store->createScope("web", "$KeshAccessZone1", ""); }),
      "Zone web already exists");
  kesh::ADObject s2 = store->createScope("web", "$KeshComputerZone1", "");
  EXPECT_EQ(Read(s2.dn()).find(AD_DESCRIPTION), nullptr);  // empty texts are not written

  struct Open {
    const char* name;
    const char* displayName;
    std::string dn;  // empty: "Scope <name> not found"
  } opens[] = {
      {"web", "$KeshAccessZone1", s.dn()},
      {"web", "$KeshComputerZone1", s2.dn()},
      {"web", "other", ""},
      {"w*", "", ""},  // the name is escaped
      {"db", "", ""},
  };
  for (const Open& o : opens) {
    SCOPED_TRACE(std::string(o.name) + "/" + o.displayName);
    if (o.dn.empty()) {
      EXPECT_EQ(MessageOf<kesh::NotFoundException>(
                    [&] { store->openAccessZoneScope(o.name, o.displayName); }),
                std::string("Scope ") + o.name + " not found");
    } else {
      auto scope = store->openAccessZoneScope(o.name, o.displayName);
      EXPECT_EQ(scope->scopeObject->dn(), o.dn);
      EXPECT_EQ(scope->store, store);
      EXPECT_EQ(scope->binding, binding_);
      EXPECT_NE(dynamic_cast<QVNGScope*>(scope.get()), nullptr);
    }
  }
  // Without a displayName the first scope of that name, whatever its displayName.
  const std::string any = store->openAccessZoneScope("web", "")->scopeObject->dn();
  EXPECT_TRUE(any == s.dn() || any == s2.dn());
  EXPECT_EQ(store->openNullScope()->scopeObject->dn(), appDn);

  std::list<std::shared_ptr<QVScope>> scopes;
  store->getScopes(scopes);
  EXPECT_EQ(scopes.size(), 2u);

  // Delete takes the first of that name with its containers; a miss names the scope.
  const size_t before = CountBelow(appDn);
  store->deleteScope("web");
  EXPECT_EQ(CountBelow(appDn), before - 4);
  store->deleteScope("web");
  EXPECT_EQ(CountBelow(appDn), before - 8);
  EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { store->deleteScope("web"); }),
            "Cannot find web");
  scopes.clear();
  store->getScopes(scopes);
  EXPECT_TRUE(scopes.empty());
}

TEST_F(QVStoreTest, MachineAndAccessZoneScopesByVariant) {
  auto classic = Create(1, kZoneA);
  auto ng = Create(2, kZoneB);

  auto cm = classic->createMachineScope("ws1");
  EXPECT_NE(dynamic_cast<QVClassicScope*>(cm.get()), nullptr);
  EXPECT_EQ(Value(*cm->scopeObject, AD_DESCRIPTION),
            "AzMan scope created by Norvane ZoneSmith extension, mapped to Norvane computer: ws1");
  EXPECT_EQ(cm->scopeObject->find(AD_DISPLAY_NAME), nullptr);
  EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { classic->createAccessZoneScope("az"); }),
            "Cannot create access zone in classic zone.");

  struct Case {
    std::function<std::shared_ptr<QVScope>()> create;
    const char* marker;
  } cases[] = {
      {[&] { return ng->createMachineScope("ws1"); }, "$KeshComputerZone1"},
      {[&] { return ng->createAccessZoneScope("az"); }, "$KeshAccessZone1"},
  };
  for (const Case& c : cases) {
    auto scope = c.create();
    EXPECT_NE(dynamic_cast<QVNGScope*>(scope.get()), nullptr);
    EXPECT_EQ(Value(*scope->scopeObject, AD_DISPLAY_NAME), c.marker);
    EXPECT_EQ(scope->scopeObject->find(AD_DESCRIPTION), nullptr);
  }
}

TEST_F(QVStoreTest, StoreFromDNOpensTheStoreOfAnotherZone) {
  auto a = Create(2, kZoneA);
  auto b = Create(1, kZoneB);
  const std::string rightInA = "CN=r1," + a->operationContainerDn();
  const std::string rightInB = "CN=r1," + b->operationContainerDn();
  EXPECT_EQ(a->storeFromDN(rightInA), a);
  auto other = a->storeFromDN(rightInB);
  EXPECT_NE(other, b);
  EXPECT_EQ(other->version, 1);
  EXPECT_EQ(other->application->dn(), b->application->dn());
}

TEST_F(QVStoreTest, TimeStampsAreWrittenWhenTheLastHandleGoes) {
  for (int version : {1, 2}) {
    SCOPED_TRACE(version);
    SetUp();
    const time_t before = time(nullptr);
    auto store = Create(version);
    const std::string am = store->adminManager->dn();
    auto scope = store->openNullScope();
    store.reset();  // the scope keeps it alive: nothing written yet
    EXPECT_EQ(Read(am).find(AD_WBEM_PATH), nullptr);
    EXPECT_EQ(Read(am).find(AZ_APP_DATA), nullptr);
    scope.reset();
    const time_t after = time(nullptr);

    kesh::ADObject written = Read(am);
    std::vector<Int64> times;
    if (version == 1) {
      const std::string path = Value(written, AD_WBEM_PATH);
      ASSERT_EQ(path.rfind("smartrefresh:", 0), 0u) << path;
      times.push_back(Int64::parse(path.substr(13)));
      EXPECT_EQ(written.find(AZ_APP_DATA), nullptr);
    } else {
      Int64 a, r, g;
      sam::SamParser::ParseV2StoreData(Value(written, AZ_APP_DATA), a, r, g);
      times = {a, r, g};
      EXPECT_EQ(written.find(AD_WBEM_PATH), nullptr);
    }
    for (const Int64& t : times) {
      EXPECT_GE(t.toUnixTime(), before);
      EXPECT_LE(t.toUnixTime(), after);
      EXPECT_EQ(t.value(), int64_t(t.toUnixTime()) * 10000000 + 116444736000000000LL);
    }

    // Read back through a store that was only opened: the same times, and no write.
    auto opened = Open();
    opened->getOriginalTimestamp();
    if (version == 1) {
      EXPECT_EQ(static_cast<QVClassicStore&>(*opened).assignmentTime, times[0].toUnixTime());
    } else {
      auto& ng = static_cast<QVNGStore&>(*opened);
      EXPECT_EQ(ng.assignmentTime, times[0].toUnixTime());
      EXPECT_EQ(ng.roleTime, times[1].toUnixTime());
      EXPECT_EQ(ng.rightTime, times[2].toUnixTime());
    }
    EXPECT_EQ(OperationsOf([&] {
                opened->openNullScope();
                opened.reset();
              }),
              0u);
  }
}

TEST_F(QVStoreTest, HierarchicalStoreWritesEachKindItsOwnTime) {
  // Only the flagged kinds take the present time; a time never read goes out as the file
  // time of the Unix epoch, which reads back as 0.
  struct Case {
    void (QVStore::*mark)();
    int flagged;  // index into assignment, role, right
  } cases[] = {{&QVStore::asgUpdated, 0}, {&QVStore::roleUpdated, 1}, {&QVStore::rightUpdated, 2}};
  Create(2).reset();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.flagged);
    auto store = Open();
    ((*store).*c.mark)();
    const std::string am = store->adminManager->dn();
    store.reset();
    Int64 t[3];
    sam::SamParser::ParseV2StoreData(Value(Read(am), AZ_APP_DATA), t[0], t[1], t[2]);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(t[i].value() == Int64::kUnixEpochAsFileTime, i != c.flagged) << i;
      EXPECT_EQ(t[i].toUnixTime() != 0, i == c.flagged) << i;
    }
  }
}

TEST_F(QVStoreTest, ScopeVersionsAndAccessZoneGroup) {
  auto classic = Create(1, kZoneA);
  auto ng = Create(2, kZoneB);
  struct Case {
    std::function<void()> make;
    const char* message;  // empty: accepted
  } cases[] = {
      {[&] { QVClassicScope(classic, 1); }, ""},
      {[&] { QVClassicScope(classic, 0); }, "Bad QV version number: 0"},
      {[&] { QVClassicScope(classic, 2); }, "Bad QV version number: 2"},
      {[&] { QVNGScope(ng, 2); }, ""},
      {[&] { QVNGScope(ng, 7); }, ""},
      {[&] { QVNGScope(ng, 1); }, "Bad QV version number: 1"},
      {[&] { QVNGScope(ng, -3); }, "Bad QV version number: -3"},
  };
  for (const Case& c : cases) {
    if (*c.message) {
      EXPECT_EQ(MessageOf<kesh::BadDataException>(c.make), c.message);
    } else {
      EXPECT_NO_THROW(c.make());
    }
  }

  EXPECT_EQ(
      MessageOf<kesh::BadDataException>([&] { classic->openNullScope()->getAccessZoneGroup(); }),
      "Classic zone has no access zone group");
  auto az = ng->createAccessZoneScope("az");
  EXPECT_EQ(az->getAccessZoneGroup(), "");
  kesh::ADObject object = Read(az->scopeObject->dn());
  object[AZ_APP_DATA] =
      sam::SamParser::WriteV2ScopeData("CN=Web Servers,CN=Users,DC=example,DC=test");
  binding_->update(object, 2);
  EXPECT_EQ(ng->openAccessZoneScope("az", "")->getAccessZoneGroup(),
            "CN=Web Servers,CN=Users,DC=example,DC=test");
}

}  // namespace
