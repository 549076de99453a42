// The authorization side of zones: the store gate, "<name>/<zone>" lookups up the tree,
// assignments from their text forms, and the reference check of reparenting.
#include "authorization/zone_qv.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "authorization/assignment.h"
#include "authorization/qv.h"
#include "authorization/right.h"
#include "authorization/role.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "zones/zone_rig.h"

namespace {

// The message of whatever system exception `f` throws: the lookups mix bad data and not found.
const auto MessageOf = &memtest::MessageOf<KESHException>;

const char kAlice[] = "CN=Alice Able,CN=Users,DC=example,DC=test";
const char kUnixAdmins[] = "CN=UNIX Admins,CN=Users,DC=example,DC=test";

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

TEST(ZoneUsesQVTest, EveryOperationPassesTheGateFirst) {
  AllMixins zone;
  std::shared_ptr<QVRole> role;
  std::shared_ptr<PamApp> pam;
  std::shared_ptr<QVCommand> command;
  std::shared_ptr<RSEnv> env;
  std::shared_ptr<RestrictCommand> restrict;
  auto asg = std::make_shared<Assignment>();
  asg->roleDn = "CN=role-r,CN=x";
  std::list<std::shared_ptr<QVRole>> roles;
  std::list<std::shared_ptr<PamApp>> pams;
  std::list<std::shared_ptr<QVCommand>> commands;
  std::list<std::shared_ptr<RSEnv>> envs;
  std::list<std::shared_ptr<RestrictCommand>> restricts;
  std::list<std::shared_ptr<Assignment>> asgs;
  const std::function<void()> calls[] = {
      [&] { zone.findRole("r"); },
      [&] { zone.findRight("r/zone"); },
      [&] { zone.delegateQVRight("manage_role_assignments", kAlice); },
      [&] { zone.getAssignment("all ad users/r"); },
      [&] { zone.saveAssignment(asg); },
      [&] { zone.getAssignments("", asgs); },
      [&] { zone.deleteAssignment(asg); },
      [&] { zone.getRole("r"); },
      [&] { zone.saveRole(role); },
      [&] { zone.deleteRole(role); },
      [&] { zone.getRoles(roles); },
      [&] { zone.newRole("r"); },
      [&] { zone.listPamApps(pams); },
      [&] { zone.getPamApp("p"); },
      [&] { zone.deletePamApp(pam); },
      [&] { zone.savePamApp(pam); },
      [&] { zone.newPamApp("p"); },
      [&] { zone.listQVCommands(commands); },
      [&] { zone.getQVCommand("c"); },
      [&] { zone.deleteQVCommand(command); },
      [&] { zone.saveQVCommand(command); },
      [&] { zone.newQVCommand("c"); },
      [&] { zone.saveRestrictEnv(env); },
      [&] { zone.deleteRestrictEnv(env); },
      [&] { zone.getRestrictEnvs(envs); },
      [&] { zone.getRestrictEnv("e"); },
      [&] { zone.newRestrictEnv("e"); },
      [&] { zone.listRestrictCommands(restricts); },
      [&] { zone.getRestrictCommand("c"); },
      [&] { zone.newRestrictCommand("c", env); },
      [&] { zone.saveRestrictCommand(restrict); },
      [&] { zone.deleteRestrictCommand(restrict); },
  };
  int index = 0;
  for (const auto& call : calls) {
    EXPECT_EQ(MessageOf(call), "QV not enabled for this zone") << "call " << index++;
  }
  // Checks that come before the gate, and an operation that needs no store.
  EXPECT_EQ(MessageOf([&] { zone.findRole(""); }), "Role cannot be empty");
  EXPECT_EQ(MessageOf([&] { zone.findRight(""); }), "Right name cannot be empty");
  EXPECT_EQ(zone.newAssignment("All AD Users")->ptype, ALL_AD_USERS_PTYPE);
}

TEST(SplitZoneQualifiedTest, SplitsAtTheFirstSlash) {
  struct Case {
    const char* text;
    bool qualified;
    const char* name;
    const char* zone;
  } cases[] = {
      {"role1", false, "role1", "keep"},
      {"role1/ZoneA", true, "role1", "zonea"},
      {"role1/zoneA/extra", true, "role1", "zonea"},
      {"/Z", true, "", "z"},
      {"r/", true, "r", ""},
  };
  for (const Case& c : cases) {
    std::string name, zone = "keep";
    EXPECT_EQ(SplitZoneQualified(c.text, name, zone), c.qualified) << c.text;
    EXPECT_EQ(name, c.name) << c.text;
    EXPECT_EQ(zone, c.zone) << c.text;
  }
}

// Zones global <- linux <- web and global <- aix, all in lower case, and a root zone
// "other".
class ZoneQVTest : public zonetest::ZoneRig {
 protected:
  void SetUp() override {
    ZoneRig::SetUp();
    global = NewTree(ZoneDn("global"));
    linuxZone = Child("linux", global);
    web = Child("web", linuxZone);
    aix = Child("aix", global);
    other = NewTree(ZoneDn("other"));
  }

  // A new zone linked to `parent`, read again from the directory.
  std::shared_ptr<TreeZone> Child(const std::string& name, std::shared_ptr<TreeZone>& parent) {
    std::shared_ptr<TreeZone> zone = NewTree(ZoneDn(name));
    zone->setParent(parent->getPath());
    zone->saveZone();
    return Reopen(ZoneDn(name));
  }

  std::shared_ptr<QVRole> SaveRole(TreeZone& zone, const std::string& name,
                                   std::shared_ptr<QVRight> right = nullptr) {
    std::shared_ptr<QVRole> role = zone.newRole(name);
    role->setAllowLocalUser(true);
    if (right) role->addRight(right);
    zone.saveRole(role);
    return zone.getRole(name);
  }

  std::shared_ptr<QVRight> SaveCommand(TreeZone& zone, const std::string& name) {
    std::shared_ptr<QVCommand> command = zone.newQVCommand(name);
    command->cmd = "/bin/" + name;
    zone.saveQVCommand(command);
    return zone.findRight("pc-" + name);
  }

  std::shared_ptr<Assignment> Assign(TreeZone& zone, const std::string& principal,
                                     const QVRole& role) {
    std::shared_ptr<Assignment> assignment = zone.newAssignment(principal);
    assignment->setRole(role);
    zone.saveAssignment(assignment);
    return assignment;
  }

  std::shared_ptr<TreeZone> global, linuxZone, web, aix, other;
};

TEST_F(ZoneQVTest, QualifiedNamesAreFoundInTheZoneAndItsAncestorsOnly) {
  std::string r1 = SaveRole(*linuxZone, "r1")->object->dn();
  std::string g1 = SaveRole(*global, "g1")->object->dn();
  std::string ls = SaveCommand(*global, "ls")->object->dn();
  std::string cat = SaveCommand(*linuxZone, "cat")->object->dn();
  struct Case {
    TreeZone* from;
    const char* text;
    bool right;
    std::string dn;  // empty: not found
  } cases[] = {
      {web.get(), "r1/linux", false, r1},
      {web.get(), "r1/LiNuX", false, r1},
      {web.get(), "r1/linux/ignored", false, r1},
      {web.get(), "g1/Global", false, g1},
      {linuxZone.get(), "r1", false, r1},
      {linuxZone.get(), "r1/linux", false, r1},
      {web.get(), "r1", false, ""},        // a plain name is the zone's own
      {aix.get(), "r1/linux", false, ""},  // a sibling is no ancestor
      {web.get(), "g1/linux", false, ""},  // the role is not in the zone named
      {other.get(), "g1/global", false, ""},
      {web.get(), "pc-ls/GLOBAL", true, ls},
      {aix.get(), "pc-ls/global", true, ls},
      {web.get(), "pc-cat/linux", true, cat},
      {aix.get(), "pc-cat/linux", true, ""},
      {web.get(), "pc-ls", true, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.text) + " from " + c.from->getZoneName());
    if (c.dn.empty()) {
      EXPECT_EQ(MessageOf([&] {
                  c.right ? (void)c.from->findRight(c.text) : (void)c.from->findRole(c.text);
                }),
                c.right ? "right not found" : "role not found");
    } else if (c.right) {
      EXPECT_EQ(c.from->findRight(c.text)->object->dn(), c.dn);
    } else {
      EXPECT_EQ(c.from->findRole(c.text)->object->dn(), c.dn);
    }
  }
}

TEST_F(ZoneQVTest, NewAssignmentTellsThePrincipalKind) {
  struct Case {
    const char* text;
    const char* ptype;   // null: refused with `expect`
    const char* expect;  // the principal, or the message
  } cases[] = {
      {"#1000@localhost", LOCAL_USER_PTYPE, "#1000@localhost"},
      {"jdoe@localhost", LOCAL_USER_PTYPE, "jdoe@localhost"},
      {"%grp@localhost", LOCAL_GROUP_PTYPE, "%grp@localhost"},
      {"#10x0@localhost", nullptr, "Error:invalid uid number in local upn: #10x0@localhost"},
      {"All AD Users", ALL_AD_USERS_PTYPE, ALL_AD_USERS},
      {"ALL unix USERS", ALL_LOCAL_USERS_PTYPE, ALL_UNIX_USERS},
      {"alice@example.test", AD_USER_PTYPE, kAlice},
      {"unixadmins@example.test", AD_GROUP_PTYPE, kUnixAdmins},
      {"staff-list@example.test", nullptr,
       "Error: staff-list@example.test is a distribution group."},
      {"nobody@example.test", nullptr, "Principal not found: nobody@example.test"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    if (c.ptype == nullptr) {
      EXPECT_EQ(MessageOf([&] { linuxZone->newAssignment(c.text); }), c.expect);
      continue;
    }
    std::shared_ptr<Assignment> assignment = linuxZone->newAssignment(c.text);
    EXPECT_EQ(assignment->ptype, c.ptype);
    EXPECT_EQ(assignment->principal, c.expect);
    EXPECT_TRUE(assignment->isNew);
    EXPECT_TRUE(assignment->object->dn().empty());
    EXPECT_EQ(assignment->from, 0);
    EXPECT_EQ(assignment->to, 0);
  }
}

TEST_F(ZoneQVTest, GetAssignmentReadsEveryTextForm) {
  std::shared_ptr<QVRole> r1 = SaveRole(*linuxZone, "r1");
  std::shared_ptr<QVRole> g1 = SaveRole(*global, "g1");
  std::string alice = Assign(*linuxZone, "alice@example.test", *r1)->object->dn();
  std::string all = Assign(*linuxZone, "all ad users", *r1)->object->dn();
  std::string local = Assign(*linuxZone, "#1000@localhost", *r1)->object->dn();
  std::string group = Assign(*linuxZone, "%grp@localhost", *r1)->object->dn();
  std::string admins = Assign(*linuxZone, "unixadmins@example.test", *g1)->object->dn();
  const std::string aliceCn = kesh::DN::cnFromDn(alice);
  struct Case {
    std::string text;
    std::string expect;  // the DN of the assignment found, or the message
  } cases[] = {
      {"alice@example.test/r1", alice},
      {"alice@example.test/R1/LINUX", alice},
      {"All AD Users/r1", all},
      {"#1000@localhost/r1", local},
      {"%grp@localhost/r1", group},
      {"unixadmins@example.test/g1/global", admins},
      {"!" + aliceCn, alice},
      {"#1001@localhost/r1", "User role not found"},
      {"bob@example.test/r1", "User role not found"},
      {"alice@example.test/g1/global", "User role not found"},
      {"*S-1-5-21-1004336348-1177238915-682003330-1104/r1", "User role not found"},
      {"alice@example.test/nosuch", "role not found"},
      {"all unix users/", "Assignment not found"},
      {"!CRA_nosuch", "could not find assignment entry"},
      {"", "No assignment specified"},
      {"alice@example.test", "No role specified"},
      {"alice/r1", "Bad assignment format"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    if (c.expect.find('=') == std::string::npos) {
      EXPECT_EQ(MessageOf([&] { linuxZone->getAssignment(c.text); }), c.expect);
    } else {
      EXPECT_EQ(linuxZone->getAssignment(c.text)->object->dn(), c.expect);
    }
  }
  // Every assignment of the scope, whatever the filter.
  std::list<std::shared_ptr<Assignment>> listed;
  linuxZone->getAssignments("no such filter", listed);
  EXPECT_EQ(listed.size(), 5u);
}

TEST_F(ZoneQVTest, SaveAndDeleteCheckTheAssignmentFirst) {
  std::shared_ptr<Assignment> assignment = linuxZone->newAssignment("alice@example.test");
  EXPECT_EQ(MessageOf([&] { linuxZone->saveAssignment(assignment); }), "must set user role");
  EXPECT_EQ(MessageOf([&] { linuxZone->deleteAssignment(assignment); }),
            "User role is not selected");

  assignment->setRole(*SaveRole(*linuxZone, "r1"));
  linuxZone->saveAssignment(assignment);
  EXPECT_FALSE(assignment->isNew);
  EXPECT_EQ(assignment->scope, linuxZone->scope);
  ASSERT_TRUE(Exists(assignment->object->dn()));
  assignment->to = 2000000000;
  linuxZone->saveAssignment(assignment);  // an update now
  EXPECT_EQ(linuxZone->getAssignment("alice@example.test/r1")->to, 2000000000);
  linuxZone->deleteAssignment(assignment);
  EXPECT_FALSE(Exists(assignment->object->dn()));
}

TEST_F(ZoneQVTest, ReparentingRefusesReferencesOutOfTheSubtree) {
  std::shared_ptr<QVRole> shared = SaveRole(*global, "gr");
  std::shared_ptr<QVRight> ls = SaveCommand(*global, "ls");
  const std::string globalDn = global->getPath();
  const std::string assignmentRefusal =
      "Cannot reparent zone: assignment for alice@example.test in linux refers to gr/global";

  // An assignment in the subtree using a role above it; every new parent is refused and the
  // parent stays.
  std::shared_ptr<Assignment> assignment = Assign(*linuxZone, "alice@example.test", *shared);
  for (const std::string& parent : {std::string(), other->getPath()}) {
    EXPECT_EQ(MessageOf([&] { linuxZone->setParent(parent); }), assignmentRefusal) << parent;
    EXPECT_EQ(linuxZone->getParent(false), globalDn);
  }
  // The same from the grandchild's parent: web's assignments are linux's subtree too.
  linuxZone->deleteAssignment(assignment);
  std::shared_ptr<Assignment> below = Assign(*web, "all ad users", *shared);
  EXPECT_EQ(MessageOf([&] { linuxZone->setParent(""); }),
            "Cannot reparent zone: assignment for all ad users in web refers to gr/global");
  web->deleteAssignment(below);

  // A role in the subtree using a right above it; assignments are checked first.
  std::shared_ptr<QVRole> local = SaveRole(*linuxZone, "lr", ls);
  std::shared_ptr<Assignment> inside = Assign(*web, "alice@example.test", *local);
  EXPECT_EQ(MessageOf([&] { linuxZone->setParent(""); }),
            "Cannot reparent zone: role lr in linux refers to ls/global");
  // web uses linux's role: moving web alone leaves it behind, moving linux takes it along.
  EXPECT_EQ(MessageOf([&] { web->setParent(""); }),
            "Cannot reparent zone: assignment for alice@example.test in web refers to lr/linux");

  local->removeRight(ls);
  linuxZone->saveRole(local);
  linuxZone->setParent(other->getPath());
  EXPECT_EQ(linuxZone->getParent(false), other->getPath());
  linuxZone->setParent("");
  EXPECT_EQ(linuxZone->getParent(false), "");
  (void)inside;
}

TEST_F(ZoneQVTest, ARootZoneGettingAParentIsNotChecked) {
  std::shared_ptr<QVRole> shared = SaveRole(*global, "gr");
  // A role given in `other` that lies outside it: only a zone with a parent is checked.
  Assign(*other, "alice@example.test", *shared);
  other->setParent(aix->getPath());
  EXPECT_EQ(other->getParent(false), aix->getPath());
  EXPECT_EQ(MessageOf([&] { other->setParent(""); }),
            "Cannot reparent zone: assignment for alice@example.test in other refers to gr/global");
}

}  // namespace
