// Roles against the in-memory directory: the time box text, roles of each store variant
// saved and read back, the classic environment rules, PAM rights in roles for local users,
// dangling rights, names, the setters of each variant, and deletion.
#include "authorization/role.h"

#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "authorization/qv.h"
#include "authorization/right.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/sam_parser.h"
#include "directory/library/strings.h"
#include "memdir_session.h"

namespace {

const auto MessageOf = &memtest::MessageOf<kesh::BadDataException>;

const char kZone[] = "CN=RoleZone,CN=Program Data,DC=example,DC=test";
const std::string kZeros(42, '0');

std::set<std::string> Lower(const std::vector<std::string>& values) {
  std::set<std::string> out;
  for (const std::string& v : values) out.insert(kesh::lower(v));
  return out;
}

std::set<std::string> NamesOf(const std::list<std::shared_ptr<QVRight>>& rights) {
  std::set<std::string> names;
  for (const auto& r : rights) names.insert(r->getName());
  return names;
}

TEST(TimeboxTest, ParsesExactly42HexDigits) {
  const std::string bad = "Timebox must be exactly 42 hex characters (21 bytes)";
  const struct {
    std::string text;
    std::string bytes;  // empty: refused
  } cases[] = {
      {kZeros, std::string(21, '\0')},
      {std::string(42, 'f'), std::string(21, '\xff')},
      {"AB" + std::string(40, 'c'), "\xab" + std::string(20, '\xcc')},
      {"", ""},
      {std::string(40, '0'), ""},
      {std::string(41, '0'), ""},
      {std::string(43, '0'), ""},
      {std::string(41, '0') + "g", ""},
      {" " + std::string(41, '0'), ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("[" + c.text + "]");
    if (c.bytes.empty()) {
      EXPECT_EQ(MessageOf([&] { ParseTimebox(c.text); }), bad);
    } else {
      EXPECT_EQ(ParseTimebox(c.text), c.bytes);
      EXPECT_EQ(TimeboxText(c.bytes), kesh::lower(c.text));
    }
  }
  std::string all;
  for (int i = 0; i < 21; ++i) all += char(i * 12 + 3);
  EXPECT_EQ(ParseTimebox(TimeboxText(all)), all);
  EXPECT_EQ(TimeboxText(""), kZeros);
}

// A store of each variant in a container of its own; the scope is the zone's.
class RoleTest : public memtest::MemdirSession {
 protected:
  void SetUp() override {
    MemdirSession::SetUp();
    kesh::memdir::LoadLdif(std::string("dn: ") + kZone + "\nobjectClass: container\n");
    binding_ = Bind("example.test");
  }
  std::shared_ptr<QVScope> Scope(int version) {
    store_ = QVStore::Create(binding_, kesh::ADObject(kZone), version);
    return store_->openNullScope();
  }
  kesh::ADObject Read(const std::string& dn) {
    return binding_->fetch(dn, nullptr, AD_ALL_OBJECTS);
  }
  // A saved PAM right for `app`.
  std::shared_ptr<PamApp> Pam(const std::string& app) {
    std::shared_ptr<PamApp> right = store_->newPamApp(app);
    right->setApp(app);
    store_->savePamApp(right);
    return right;
  }
  std::shared_ptr<QVCommand> Command(const std::string& name) {
    std::shared_ptr<QVCommand> command = store_->newQVCommand(name);
    command->cmd = "/bin/" + name;
    store_->saveQVCommand(command);
    return command;
  }
  std::vector<std::string> RoleNames(QVScope& scope) {
    std::list<std::shared_ptr<QVRole>> roles;
    scope.getRoles(roles);
    std::vector<std::string> names;
    for (const auto& r : roles) names.push_back(r->getName());
    return names;
  }

  std::shared_ptr<QVStore> store_;
};

TEST_F(RoleTest, RolesOfEachVariantSaveAndReadBack) {
  const std::string box = "0123456789abcdef" + std::string(26, 'e');
  for (int version : {1, 2}) {
    SCOPED_TRACE(version);
    SetUp();
    auto scope = Scope(version);
    auto a = Pam("app-a"), b = Pam("app-b");
    std::shared_ptr<QVRole> role = scope->newRole("  Ops Team ");
    EXPECT_EQ(role->getName(), "Ops Team");
    role->timebox = ParseTimebox(box);
    role->setDescription("operators");
    if (version == 2) {
      role->setSysrights(32 | sam::ALWAYS_PERMIT_LOGIN);  // audit required
      role->setVisible(false);
    }
    role->addRight(a);
    role->addRight(b);
    EXPECT_EQ(MessageOf([&] { role->addRight(a); }), "Right already in role");
    scope->saveRole(role);
    EXPECT_FALSE(role->isNew);

    kesh::ADObject stored = Read(role->object->dn());
    EXPECT_EQ(stored.firstValue(AD_CN), "role-Ops Team");
    EXPECT_EQ(Lower(ValuesOf(stored, AD_OBJECT_CLASS)).count("msds-aztask"), 1u);
    EXPECT_EQ(kesh::upper(stored.firstValue(AZ_TASK_IS_ROLE)), "TRUE");
    EXPECT_EQ(Lower(ValuesOf(stored, AZ_TASK_OPS)), Lower({a->object->dn(), b->object->dn()}));
    EXPECT_EQ(stored.firstValue(AD_DESCRIPTION), "operators");
    std::string timebox;
    unsigned sysrights = 99;
    bool allowLocalUser = true, visible = true;
    if (version == 1) {
      sam::SamParser::ParseV1RoleData(stored.firstValue(AZ_APP_DATA), timebox, sysrights);
    } else {
      sam::SamParser::ParseV2RoleData(stored.firstValue(AZ_APP_DATA), timebox, sysrights,
                                      allowLocalUser, visible);
      EXPECT_EQ(sysrights, 32u | 64u);
      EXPECT_FALSE(allowLocalUser);
      EXPECT_FALSE(visible);
    }
    EXPECT_EQ(TimeboxText(timebox), box);

    std::shared_ptr<QVRole> found = scope->findRole(" Ops Team");
    EXPECT_EQ(TimeboxText(found->timebox), box);
    EXPECT_EQ(found->getDescription(), "operators");
    // A classic role without environment reads 8 whatever was set.
    EXPECT_EQ(found->sysrights, version == 1 ? SYSRIGHTS_CLASSIC_NO_RS_ENV : 96u);
    std::list<std::shared_ptr<QVRight>> rights;
    found->getRoleRights(rights);
    EXPECT_EQ(NamesOf(rights), (std::set<std::string>{"app-a", "app-b"}));

    found->removeRight(a);
    found->removeRight(a);  // absent: no change
    scope->saveRole(found);
    EXPECT_EQ(Lower(ValuesOf(Read(found->object->dn()), AZ_TASK_OPS)), Lower({b->object->dn()}));
  }
}

TEST_F(RoleTest, ClassicSysrightsFollowTheEnvironmentLink) {
  auto scope = Scope(1);
  const struct {
    std::vector<std::string> envs;
    unsigned sysrights;
  } cases[] = {{{}, 8}, {{"CN=rs-a,CN=x"}, 0}, {{"CN=rs-a,CN=x", "CN=rs-b,CN=x"}, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.envs.size());
    kesh::ADObject object("CN=role-r,CN=x");
    object[AZ_APP_DATA] = sam::SamParser::WriteV1RoleData(ParseTimebox(kZeros));
    for (const std::string& env : c.envs) object[AZ_TASK_TASKS].addVal(env);
    auto role = QVRole::Create(object, scope, false);
    EXPECT_NE(dynamic_cast<QVClassicRole*>(role.get()), nullptr);
    EXPECT_EQ(role->sysrights, c.sysrights);
    EXPECT_FALSE(role->allowLocalUser);
    EXPECT_TRUE(role->visible);
  }
  EXPECT_EQ(scope->newRole("fresh")->sysrights, 0u);
}

TEST_F(RoleTest, ClassicCommandsAndEnvironmentExcludeEachOther) {
  auto scope = Scope(1);
  auto pam = Pam("app-a");
  auto ls = Command("ls");
  std::shared_ptr<RSEnv> env = store_->newRestrictEnv("jail");
  store_->saveRestrictEnv(env);

  auto role = scope->newRole("mixed");
  role->addRight(pam);
  role->addRight(ls);
  role->setRestrictEnv(env);  // drops the command, keeps the PAM right
  EXPECT_EQ(Lower(ValuesOf(*role->object, AZ_TASK_TASKS)), Lower({env->object->dn()}));
  EXPECT_EQ(Lower(ValuesOf(*role->object, AZ_TASK_OPS)), Lower({pam->object->dn()}));
  EXPECT_EQ(MessageOf([&] { role->setRestrictEnv(env); }),
            "Restricted environment already in role");
  scope->saveRole(role);

  std::shared_ptr<QVRole> found = scope->findRole("mixed");
  EXPECT_EQ(found->sysrights, 0u);
  std::shared_ptr<RSEnv> read;
  found->getRoleRestrictEnv(read);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->getName(), "jail");

  found->addRight(ls);  // a command clears the environment
  EXPECT_TRUE(ValuesOf(*found->object, AZ_TASK_TASKS).empty());
  scope->saveRole(found);
  EXPECT_TRUE(ValuesOf(Read(found->object->dn()), AZ_TASK_TASKS).empty());
  EXPECT_EQ(scope->findRole("mixed")->sysrights, SYSRIGHTS_CLASSIC_NO_RS_ENV);
  // The environment shares the container but is no role.
  EXPECT_EQ(RoleNames(*scope), std::vector<std::string>{"mixed"});
}

TEST_F(RoleTest, PamRightsStayOutOfRolesForLocalUsers) {
  auto scope = Scope(2);
  auto ssh = std::dynamic_pointer_cast<PamApp>(store_->findRight("pam-ssh"));
  ASSERT_TRUE(ssh);

  // New: taken in memory, refused at the save, nothing written.
  auto fresh = scope->newRole("locals");
  fresh->setAllowLocalUser(true);
  fresh->addRight(ssh);
  EXPECT_EQ(MessageOf([&] { scope->saveRole(fresh); }),
            "Cannot add ssh to current role. Current role supports local user role assignment "
            "while ssh does not");
  EXPECT_TRUE(fresh->isNew);
  EXPECT_FALSE(Exists(fresh->object->dn()));

  // Saved: refused at once, as in the predefined role that allows local users.
  fresh->removeRight(ssh);
  scope->saveRole(fresh);
  for (const char* name : {"locals", "always permit login"}) {
    SCOPED_TRACE(name);
    auto role = scope->findRole(name);
    EXPECT_TRUE(role->allowLocalUser);
    EXPECT_EQ(MessageOf([&] { role->addRight(ssh); }), "Right is not supported for this role");
    EXPECT_TRUE(ValuesOf(*role->object, AZ_TASK_OPS).empty());
  }
}

TEST_F(RoleTest, DanglingRightsVanishFromTheList) {
  auto scope = Scope(2);
  auto kept = Pam("kept"), gone = Pam("gone");
  auto role = scope->newRole("r");
  role->addRight(kept);
  role->addRight(gone);
  scope->saveRole(role);
  store_->deletePamApp(gone);
  std::list<std::shared_ptr<QVRight>> rights;
  scope->findRole("r")->getRoleRights(rights);
  EXPECT_EQ(NamesOf(rights), std::set<std::string>{"kept"});
}

TEST_F(RoleTest, NamesAreCheckedBeforeAnyChange) {
  const std::string forbidden =
      "These characters are not allowed in the name: [\\/:*?\"<>|[tab]+=,;#]";
  const std::string ngOnly = "Only alphanumeric, space, '_' and '-' is valid in the name";
  const struct {
    int version;
    std::string name;
    std::string message;  // empty: accepted
  } cases[] = {
      {1, "db admins.v2", ""},
      {1, std::string(58, 'n'), ""},
      {1, std::string(59, 'n'), "Length of the name cannot be greater than 58"},
      {1, "a/b", forbidden},
      {1, "a#b", forbidden},
      {1, "a\tb", forbidden},
      {1, "   ", "name cannot be empty or contains spaces only."},
      {1, "existing", "Role already in zone"},
      {2, "db admins_x-1", ""},
      {2, "db.admins", ngOnly},
      {2, "existing", "Role already in zone"},
  };
  for (int version : {1, 2}) {
    SetUp();
    auto scope = Scope(version);
    auto existing = scope->newRole("existing");
    scope->saveRole(existing);
    const std::vector<std::string> before = RoleNames(*scope);
    for (const auto& c : cases) {
      if (c.version != version) continue;
      SCOPED_TRACE(c.name);
      if (c.message.empty()) {
        EXPECT_EQ(scope->newRole(c.name)->getName(), c.name);
      } else {
        EXPECT_EQ(MessageOf([&] { scope->newRole(c.name); }), c.message);
      }
    }
    EXPECT_EQ(RoleNames(*scope), before);  // newRole writes nothing
  }
}

TEST_F(RoleTest, SettersOfEachVariant) {
  const std::string restricted =
      "Restricted command/environment is supported only in classic zones.";
  using Op = std::function<void(QVRole&)>;
  const struct {
    int version;
    const char* what;
    Op op;
    std::string message;  // empty: allowed on the new role
  } cases[] = {
      {1, "visible", [](QVRole& r) { r.setVisible(false); },
       "Classic zone does not support setting visible."},
      {1, "allowLocalUser", [](QVRole& r) { r.setAllowLocalUser(true); },
       "Classic zone does not support setting allowLocalUser."},
      {1, "sysrights", [](QVRole& r) { r.setSysrights(64); },
       "Operation not supported in classic zone."},
      {1, "clearRestrictEnv", [](QVRole& r) { r.clearRestrictEnv(); }, ""},
      {2, "visible", [](QVRole& r) { r.setVisible(false); }, ""},
      {2, "allowLocalUser", [](QVRole& r) { r.setAllowLocalUser(true); }, ""},
      {2, "sysrights", [](QVRole& r) { r.setSysrights(64); }, ""},
      {2, "clearRestrictEnv", [](QVRole& r) { r.clearRestrictEnv(); }, restricted},
      {2, "setRestrictEnv", [](QVRole& r) { r.setRestrictEnv(nullptr); }, restricted},
      {2, "getRoleRestrictEnv",
       [](QVRole& r) {
         std::shared_ptr<RSEnv> env;
         r.getRoleRestrictEnv(env);
       },
       restricted},
  };
  for (int version : {1, 2}) {
    SetUp();
    auto scope = Scope(version);
    for (const auto& c : cases) {
      if (c.version != version) continue;
      SCOPED_TRACE(c.what);
      auto role = scope->newRole(std::string("r-") + c.what);
      if (c.message.empty()) {
        c.op(*role);
      } else {
        EXPECT_EQ(MessageOf([&] { c.op(*role); }), c.message);
      }
    }
  }
  SetUp();
  auto role = Scope(2)->newRole("flags");
  EXPECT_TRUE(role->visible);
  EXPECT_FALSE(role->allowLocalUser);
  role->setVisible(false);
  role->setAllowLocalUser(true);
  role->setSysrights(512);
  EXPECT_EQ(std::make_tuple(role->visible, role->allowLocalUser, role->sysrights),
            std::make_tuple(false, true, 512u));
  store_->openNullScope()->saveRole(role);
  EXPECT_EQ(MessageOf([&] { role->setAllowLocalUser(false); }),
            "allowLocalUser can only be set during role creation");
}

TEST_F(RoleTest, DeleteNeedsASavedRole) {
  auto scope = Scope(2);
  auto role = scope->newRole("short lived");
  EXPECT_EQ(MessageOf([&] { scope->deleteRole(role); }), "Role has not been created");
  scope->saveRole(role);
  const std::string dn = role->object->dn();
  EXPECT_TRUE(Exists(dn));
  scope->deleteRole(role);
  EXPECT_FALSE(Exists(dn));
  EXPECT_THROW(scope->findRole("short lived"), LDAPException);
}

}  // namespace
