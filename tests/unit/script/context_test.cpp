// The session: frames, accessors, clearing, and the show command.
#include "script/context.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "directory/cache.h"
#include "script/zonesmithlib.h"
#include "support/tcl_session.h"
#include "zones/zone.h"

namespace {

// A zone that only answers its name; enough for the session, which never looks further.
class FakeZone : public IZone {
 public:
  explicit FakeZone(std::string name) : name_(std::move(name)) {}
  void remove() override {}
  std::string getPath() override { return "CN=" + name_; }
  void saveZone() override {}
  SchemaType getSchemaType() override { return SCHEMA_TYPE_DYNAMIC; }
  ZoneType getZoneType() override { return ZONE_TYPE_TREE; }
  std::string getZoneName() override { return name_; }
  void delegateRight(const std::string&, std::string) override {}

 private:
  const std::string name_;
};

// A capability the fake zone does not have.
class IOtherCapability {
 public:
  virtual ~IOtherCapability() = default;
};

class OtherZone : public FakeZone, public IOtherCapability {
 public:
  using FakeZone::FakeZone;
};

class ContextTest : public ::testing::Test {
 protected:
  ContextTab& tab() { return *GetContextTab(); }
  TclSession session_;
};

std::string BadDataMessage(const std::function<void()>& call) {
  try {
    call();
  } catch (const kesh::BadDataException& e) {
    return e.rc() == 0 ? e.what() : "wrong result code";
  } catch (const std::exception& e) {
    return std::string("other exception: ") + e.what();
  }
  return "no exception";
}

TEST_F(ContextTest, TheSessionIsTheInterpretersAssociatedData) {
  EXPECT_EQ(Tcl_GetAssocData(session_.interp(), "zonesmith", nullptr), &tab());
  EXPECT_EQ(session_.interp(), SessionInterp().get());
  EXPECT_EQ(300, tab().ldapTimeout);
  EXPECT_EQ(">", tab().prompt);
  EXPECT_FALSE(tab().interactive);
  EXPECT_TRUE(tab().object.empty());
  ASSERT_NE(nullptr, tab().cache);
  EXPECT_FALSE(tab().cache->enabled);
}

// A session installed on the thread wins over the interpreter's; when its scope ends the
// interpreter's session is found again.
TEST_F(ContextTest, AnInstalledSessionTakesPrecedenceForItsScope) {
  ContextTab* interpreters = &tab();
  {
    ContextTab own;
    SessionScope scope(&own);
    EXPECT_EQ(&own, GetContextTab());
    {
      ContextTab inner;
      SessionScope nested(&inner);
      EXPECT_EQ(&inner, GetContextTab());
    }
    EXPECT_EQ(&own, GetContextTab());
  }
  EXPECT_EQ(interpreters, GetContextTab());
}

TEST_F(ContextTest, AccessorsOfEmptySlotsFailWithTheirMessages) {
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[] { GetCurrentZone(); }, "Must set current zone"},
      {[] { CheckZone(); }, "Must set current zone"},
      {[] { GetCurrentNssZUser(); }, "Must set current zone user"},
      {[] { CheckNssUser(); }, "Must set current zone user"},
      {[] { GetCurrentNssLocalUser(); }, "Must set current local user"},
      {[] { GetCurrentAssignment(); }, "Must set current user role"},
      {[] { CheckAssignment(); }, "Must set current user role"},
      {[] { GetCurrentZGroup(); }, "Must set current zone group"},
      {[] { GetCurrentLocalGroup(); }, "Must set current local group"},
      {[] { GetCurrentRole(); }, "Must set current role"},
      {[] { CheckCurrentRole(); }, "Must set current role"},
      {[] { GetCurrentRSEnv(); }, "Must set current restricted environment"},
      {[] { CheckCurrentRSEnv(); }, "Must set current restricted environment"},
      {[] { GetCurrentPamApp(); }, "Must set current pam app"},
      {[] { GetCurrentQVCommand(); }, "Must set current qv command"},
      {[] { GetCurrentRestrictCommand(); }, "Must set current restrict command"},
      {[] { GetCurrentNisMap(); }, "Must set current map"},
      {[] { GetCurrentZoneComputer(); }, "Must set current computer"},
      {[] { CheckCurrentZoneComputer(); }, "Must set current computer"},
      {[] { CheckObject(); }, "Must set current object"},
      {[] { GetCurrentZone<IZone>(); }, "Must set current zone"},
      {[] { TestCurrentZone<FakeZone>(); }, "Must set current zone"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.second, BadDataMessage(c.first)) << c.second;
}

TEST_F(ContextTest, ZoneAccessorsCastToTheCapability) {
  auto zone = std::make_shared<FakeZone>("alpha");
  tab().zone = zone;
  EXPECT_EQ(zone, GetCurrentZone());
  EXPECT_EQ(zone.get(), GetCurrentZone<FakeZone>());
  EXPECT_TRUE(TestCurrentZone<FakeZone>());
  EXPECT_FALSE(TestCurrentZone<OtherZone>());
  EXPECT_EQ("Wrong zone type", BadDataMessage([] { GetCurrentZone<IOtherCapability>(); }));
  tab().zone = std::make_shared<OtherZone>("beta");
  EXPECT_NE(nullptr, GetCurrentZone<IOtherCapability>());
  EXPECT_TRUE(TestCurrentZone<OtherZone>());
}

TEST_F(ContextTest, CheckObjectWantsAnObjectWithData) {
  tab().object = kesh::ADObject("CN=x,DC=example,DC=test");
  EXPECT_NO_THROW(CheckObject());
}

TEST_F(ContextTest, ClearZoneLeavesObjectBindingsAndZoneCacheAlone) {
  auto zone = std::make_shared<FakeZone>("alpha");
  tab().zone = zone;
  tab().zones["cn=alpha"] = zone;
  tab().bindings["example.test"] = nullptr;
  tab().object = kesh::ADObject("CN=x,DC=example,DC=test");
  ClearZone();
  EXPECT_EQ(nullptr, tab().zone);
  EXPECT_EQ(1u, tab().zones.size());
  EXPECT_EQ(1u, tab().bindings.size());
  EXPECT_FALSE(tab().object.empty());
  // The zone is still alive through the zone cache.
  EXPECT_EQ(2, zone.use_count());
}

TEST_F(ContextTest, PopRestoresTheFrameAndSharesTheObjects) {
  auto alpha = std::make_shared<FakeZone>("alpha");
  tab().zone = alpha;
  tab().zones["cn=alpha"] = alpha;
  tab().object = kesh::ADObject("CN=x,DC=example,DC=test");
  tab().ldapTimeout = 60;
  Push();

  // Work after push: another zone, a new map entry, a changed object and settings.
  auto beta = std::make_shared<FakeZone>("beta");
  tab().zone = beta;
  tab().zones["cn=beta"] = beta;
  tab().object["description"] = "changed after push";
  tab().ldapTimeout = 5;
  tab().quit = true;
  tab().flags[2] = true;
  tab().cache->enabled = true;

  Pop();
  EXPECT_EQ(alpha, tab().zone);
  EXPECT_EQ(1u, tab().zones.count("cn=alpha"));
  EXPECT_EQ(0u, tab().zones.count("cn=beta"));
  EXPECT_EQ(60, tab().ldapTimeout);
  EXPECT_FALSE(tab().quit);
  EXPECT_FALSE(tab().flags[2]);
  // The same object: the change made after push is still in it.
  EXPECT_EQ("changed after push", std::string(tab().object["description"]));
  // The cache lies outside the frames.
  EXPECT_TRUE(tab().cache->enabled);
  // The zone selected in between is no longer held by the session.
  EXPECT_EQ(1, beta.use_count());
  EXPECT_TRUE(tab().stack.empty());
}

TEST_F(ContextTest, FailedPopChangesNothing) {
  tab().ldapTimeout = 42;
  EXPECT_EQ("Context stack is empty", BadDataMessage([] { Pop(); }));
  EXPECT_EQ(42, tab().ldapTimeout);
}

TEST_F(ContextTest, SetVerboseIsOnlyOn) {
  tab().SetVerbose("on");
  EXPECT_TRUE(tab().verbose);
  tab().SetVerbose("ON");
  EXPECT_FALSE(tab().verbose);
  tab().SetVerbose("yes");
  EXPECT_FALSE(tab().verbose);
}

TEST_F(ContextTest, ShowPrintsTheCurrentZoneAndObject) {
  tab().zone = std::make_shared<FakeZone>("alpha");
  tab().object = kesh::ADObject("CN=x,DC=example,DC=test");
  EXPECT_EQ("Current zone:\n\talpha\n", session_.EvalCapturingStdout("show zone"));
  EXPECT_EQ("Current AD object:\n\tCN=x,DC=example,DC=test\n",
            session_.EvalCapturingStdout("show object"));
  EXPECT_EQ("Bindings:\nCurrent zone:\n\talpha\nCurrent AD object:\n\tCN=x,DC=example,DC=test\n",
            session_.EvalCapturingStdout("show"));
  EXPECT_EQ("", session_.EvalCapturingStdout("show user"));
}

TEST_F(ContextTest, DeletingTheInterpreterReleasesTheSession) {
  auto zone = std::make_shared<FakeZone>("alpha");
  {
    TclSession other;
    ContextTab* otherTab = GetContextTab();
    otherTab->zone = zone;
    otherTab->Push();
    otherTab->Push();
    EXPECT_EQ(4, zone.use_count());
  }
  // The current frame and both saved frames are gone.
  EXPECT_EQ(1, zone.use_count());
}

TEST_F(ContextTest, LoadingAgainStartsAFreshSession) {
  auto zone = std::make_shared<FakeZone>("alpha");
  tab().zone = zone;
  Push();
  Tcl::interpreter wrapper(session_.interp(), false);
  Zonesmith_cpptcl_Init(wrapper);
  session_.MakeCurrent();
  EXPECT_EQ(1, zone.use_count());
  EXPECT_EQ(nullptr, tab().zone);
  EXPECT_TRUE(tab().stack.empty());
}

}  // namespace
