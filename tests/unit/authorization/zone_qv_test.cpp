// The authorization mix-ins of zones: the store gate, and the refusal of every operation
// until roles, rights and assignments land.
#include "authorization/zone_qv.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "authorization/qv.h"
#include "directory/library/exceptions.h"
#include "memdir_session.h"

namespace {

// Every refusal of the mix-ins is a BadDataException.
const auto MessageOf = &memtest::MessageOf<kesh::BadDataException>;

// A zone class composing all four mix-ins over one store and one scope.
class AllMixins : public AssignmentSupport,
                  public RoleManagement,
                  public RightsManagement,
                  public RSManagement {};

TEST(ZoneUsesQVTest, CheckForClassicNeedsStoreAndScope) {
  // Handles with no directory behind them: the gate looks only at whether they are set.
  auto store = std::make_shared<QVNGStore>(2);
  auto scope = std::make_shared<QVNGScope>(store, 2);
  struct Case {
    bool withStore, withScope;
    const char* message;  // null: the gate lets the zone through
  } cases[] = {
      {false, false, "QV not enabled for this zone"},
      {true, false, "QV not enabled for this zone"},
      {false, true, "QV not enabled for this zone"},
      {true, true, nullptr},
  };
  for (const Case& c : cases) {
    AllMixins zone;
    if (c.withStore) zone.store = store;
    if (c.withScope) zone.scope = scope;
    for (bool flag : {false, true}) {
      if (c.message) {
        EXPECT_EQ(MessageOf([&] { zone.checkForClassic(flag); }), c.message)
            << c.withStore << c.withScope << flag;
      } else {
        EXPECT_NO_THROW(zone.checkForClassic(flag)) << flag;
      }
    }
  }
}

TEST(ZoneUsesQVTest, EveryOperationRefusesAfterTheGate) {
  AllMixins zone;
  std::shared_ptr<QVRole> role;
  std::shared_ptr<PamApp> pam;
  std::shared_ptr<QVCommand> command;
  std::shared_ptr<RSEnv> env;
  std::shared_ptr<RestrictCommand> restrict;
  std::shared_ptr<Assignment> asg;
  std::list<std::shared_ptr<QVRole>> roles;
  std::list<std::shared_ptr<PamApp>> pams;
  std::list<std::shared_ptr<QVCommand>> commands;
  std::list<std::shared_ptr<RSEnv>> envs;
  std::list<std::shared_ptr<RestrictCommand>> restricts;
  std::list<std::shared_ptr<Assignment>> asgs;
  struct Case {
    const char* operation;
    std::function<void()> call;
  } cases[] = {
      {"findRole", [&] { zone.findRole("r"); }},
      {"findRight", [&] { zone.findRight("r"); }},
      {"getAssignment", [&] { zone.getAssignment("a"); }},
      {"saveAssignment", [&] { zone.saveAssignment(asg); }},
      {"getAssignments", [&] { zone.getAssignments("", asgs); }},
      {"deleteAssignment", [&] { zone.deleteAssignment(asg); }},
      {"getRole", [&] { zone.getRole("r"); }},
      {"saveRole", [&] { zone.saveRole(role); }},
      {"deleteRole", [&] { zone.deleteRole(role); }},
      {"getRoles", [&] { zone.getRoles(roles); }},
      {"newRole", [&] { zone.newRole("r"); }},
      {"listPamApps", [&] { zone.listPamApps(pams); }},
      {"getPamApp", [&] { zone.getPamApp("p"); }},
      {"deletePamApp", [&] { zone.deletePamApp(pam); }},
      {"savePamApp", [&] { zone.savePamApp(pam); }},
      {"newPamApp", [&] { zone.newPamApp("p"); }},
      {"listQVCommands", [&] { zone.listQVCommands(commands); }},
      {"getQVCommand", [&] { zone.getQVCommand("c"); }},
      {"deleteQVCommand", [&] { zone.deleteQVCommand(command); }},
      {"saveQVCommand", [&] { zone.saveQVCommand(command); }},
      {"newQVCommand", [&] { zone.newQVCommand("c"); }},
      {"saveRestrictEnv", [&] { zone.saveRestrictEnv(env); }},
      {"deleteRestrictEnv", [&] { zone.deleteRestrictEnv(env); }},
      {"getRestrictEnvs", [&] { zone.getRestrictEnvs(envs); }},
      {"getRestrictEnv", [&] { zone.getRestrictEnv("e"); }},
      {"newRestrictEnv", [&] { zone.newRestrictEnv("e"); }},
      {"listRestrictCommands", [&] { zone.listRestrictCommands(restricts); }},
      {"getRestrictCommand", [&] { zone.getRestrictCommand("c"); }},
      {"newRestrictCommand", [&] { zone.newRestrictCommand("c", env); }},
      {"saveRestrictCommand", [&] { zone.saveRestrictCommand(restrict); }},
      {"deleteRestrictCommand", [&] { zone.deleteRestrictCommand(restrict); }},
  };
  // Without a store the gate answers; with one, the operation names itself.
  for (const Case& c : cases) {
    EXPECT_EQ(MessageOf(c.call), "QV not enabled for this zone") << c.operation;
  }
  zone.store = std::make_shared<QVNGStore>(2);
  zone.scope = std::make_shared<QVNGScope>(zone.store, 2);
  for (const Case& c : cases) {
    EXPECT_EQ(MessageOf(c.call), std::string(c.operation) + " is not available yet");
  }

  // Checks that come before the gate, and an operation that needs no store.
  AllMixins bare;
  EXPECT_EQ(MessageOf([&] { bare.findRole(""); }), "Role cannot be empty");
  EXPECT_EQ(MessageOf([&] { bare.findRight(""); }), "Right name cannot be empty");
  EXPECT_EQ(MessageOf([&] { bare.newAssignment("all ad users"); }),
            "newAssignment is not available yet");
}

}  // namespace
