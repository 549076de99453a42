// Rights of the authorization store against the in-memory directory: the name checks of
// both variants, each kind of right saved and read back through the directory, the type
// table of fetchRight, refusals that write nothing, restricted environments with their
// commands, a failed add, and a right of another zone's store.
#include "authorization/right.h"

#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <memory>
#include <string>

#include "authorization/qv.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/memory/memdir.h"
#include "directory/library/sam_parser.h"
#include "directory/library/strings.h"
#include "zones/zone_rig.h"

namespace {

using memtest::MessageOf;

constexpr int kClassic = 1;
constexpr int kHierarchical = 2;

class RightTest : public zonetest::ZoneRig {
 protected:
  // A new store of `version` below a fresh container of OU=Zones.
  std::shared_ptr<QVStore> NewStore(int version) {
    const std::string dn = ZoneDn("Store" + std::to_string(++stores_));
    kesh::memdir::LoadLdif("dn: " + dn + "\nobjectClass: container\n");
    return QVStore::Create(binding_, kesh::ADObject(dn), version);
  }
  kesh::ADObject Read(const std::string& dn) {
    return binding_->fetch(dn, nullptr, AD_ALL_OBJECTS);
  }
  // The store's objects as LDIF, to show that a refusal wrote nothing.
  std::string Dump(QVStore& store) {
    return kesh::memdir::DumpLdif(store.adminManager->dn(), true);
  }
  // A saved privileged command `name` running `cmd`.
  std::shared_ptr<QVCommand> SavedCommand(QVStore& store, const std::string& name) {
    auto command = store.newQVCommand(name);
    command->cmd = "/bin/" + name;
    store.saveQVCommand(command);
    return command;
  }
  // A saved restricted environment and a saved command in it.
  std::shared_ptr<RSEnv> SavedEnv(QVStore& store, const std::string& name) {
    auto env = store.newRestrictEnv(name);
    store.saveRestrictEnv(env);
    return env;
  }
  std::shared_ptr<RestrictCommand> SavedRSCommand(QVStore& store, std::shared_ptr<RSEnv>& env,
                                                  const std::string& name) {
    auto command = store.newRestrictCommand(name, env);
    command->cmd = name;
    store.saveRestrictCommand(command);
    return command;
  }
  static std::vector<std::string> Values(const kesh::ADObject& object, const char* name) {
    const kesh::ADAttribute* a = object.find(name);
    return a ? a->values() : std::vector<std::string>();
  }
  static bool HasValue(const kesh::ADObject& object, const char* name, const std::string& v) {
    for (const std::string& value : Values(object, name))
      if (kesh::lower(value) == kesh::lower(v)) return true;
    return false;
  }

  // The cn, class and operation ID of a stored right.
  static void ExpectStored(const kesh::ADObject& object, const std::string& cn, unsigned id) {
    EXPECT_EQ(object.firstValue(AD_CN), cn);
    EXPECT_TRUE(HasValue(object, AD_OBJECT_CLASS, "msDS-AzOperation"));
    EXPECT_EQ(object.firstValue(AZ_OPERATION_ID), std::to_string(id));
  }

  int stores_ = 0;
};

TEST_F(RightTest, NameChecksOfEachVariant) {
  auto classic = NewStore(kClassic);
  auto ng = NewStore(kHierarchical);
  auto& c = static_cast<QVClassicStore&>(*classic);
  using Check = std::function<void(const std::string&)>;
  const Check cPam = [&](const std::string& n) { c.checkPamName(n); };
  const Check cCommand = [&](const std::string& n) { c.checkQVCName(n); };
  const Check cRSCommand = [&](const std::string& n) { c.checkRSCName(n); };
  const Check cRSEnv = [&](const std::string& n) { c.checkRSEName(n); };
  const Check cRole = [&](const std::string& n) { c.checkRoleName(n); };
  const Check nPam = [&](const std::string& n) { ng->checkPamName(n); };
  const Check nCommand = [&](const std::string& n) { ng->checkQVCName(n); };
  const Check nRole = [&](const std::string& n) { ng->checkRoleName(n); };
  const Check env = CheckEnvString;

  const std::string empty = "name cannot be empty or contains spaces only.";
  const std::string chars = "These characters are not allowed in the name: [\\/:*?\"<>|[tab]+=,;#]";
  const std::string ngChars = "Only alphanumeric, space, '_' and '-' is valid in the name";
  const std::string length = "Length of the name cannot be greater than ";
  struct Case {
    const char* label;
    Check check;
    std::string name;
    std::string message;  // empty: accepted
  } cases[] = {
      {"classic command 60", cCommand, std::string(60, 'a'), ""},
      {"classic command 61", cCommand, std::string(61, 'a'), length + "60"},
      {"restricted command 29", cRSCommand, std::string(29, 'a'), ""},
      {"restricted command 30", cRSCommand, std::string(30, 'a'), length + "29"},
      {"environment 30", cRSEnv, std::string(30, 'a'), ""},
      {"environment 31", cRSEnv, std::string(31, 'a'), length + "30"},
      {"classic role 58", cRole, std::string(58, 'a'), ""},
      {"classic role 59", cRole, std::string(59, 'a'), length + "58"},
      {"classic dot", cCommand, "a.b", ""},
      {"classic blank and dash", cCommand, "my cmd-1_x", ""},
      {"classic tab", cCommand, "a\tb", chars},
      {"classic pam anything", cPam, "qvssh-*:/#", ""},
      {"classic pam empty", cPam, "", empty},
      {"classic empty", cCommand, "", empty},
      {"classic role empty", cRole, "", empty},
      {"hierarchical dot", nCommand, "a.b", ngChars},
      {"hierarchical pam dot", nPam, "login.x", ngChars},
      {"hierarchical role star", nRole, "a*", ngChars},
      {"hierarchical tab", nCommand, "a\tb", ngChars},
      {"hierarchical non-ASCII", nCommand, "caf\xc3\xa9", ngChars},
      {"hierarchical allowed", nCommand, "Az09 -_", ""},
      {"hierarchical no limit", nRole, std::string(200, 'x'), ""},
      {"hierarchical empty", nPam, "", empty},
      {"environment string", env, "PATH HOME", ""},
      {"environment string =", env, "A=B", "The environment string cannot contains character [=]"},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.label);
    if (k.message.empty()) {
      EXPECT_NO_THROW(k.check(k.name));
    } else {
      EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { k.check(k.name); }), k.message);
    }
  }
  // Every character of the classic set, alone in a name, for each classic limit.
  for (char ch : std::string("\\/:*?\"<>|[]\t+=,;#")) {
    SCOPED_TRACE(std::string(1, ch));
    for (const Check& check : {cCommand, cRSCommand, cRSEnv, cRole}) {
      EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { check(std::string("a") + ch); }), chars);
    }
  }
}

TEST_F(RightTest, NewRightsTrimTheirNamesAndRefuseBlankOnes) {
  for (int version : {kClassic, kHierarchical}) {
    SCOPED_TRACE(version);
    auto store = NewStore(version);
    EXPECT_EQ(store->newQVCommand("  ls \t")->name, "pc-ls");
    std::vector<std::function<void()>> blanks = {
        [&] { store->newQVCommand(" \t "); },
        [&] { store->newPamApp("   "); },
    };
    std::shared_ptr<RSEnv> env;
    if (version == kClassic) {
      env = SavedEnv(*store, "sh");
      EXPECT_EQ(store->newRestrictCommand(" ls ", env)->name, "rs-sh-ls");
      blanks.push_back([&] { store->newRestrictEnv("  "); });
      blanks.push_back([&] { store->newRestrictCommand("\t", env); });
    }
    const std::string before = Dump(*store);
    for (auto& f : blanks) {
      EXPECT_EQ(MessageOf<kesh::BadDataException>(f),
                "name cannot be empty or contains spaces only.");
    }
    EXPECT_EQ(Dump(*store), before);
  }
}

TEST_F(RightTest, CommandsRoundTripThroughTheDirectory) {
  for (int version : {kClassic, kHierarchical}) {
    SCOPED_TRACE(version);
    auto store = NewStore(version);
    auto command = store->newQVCommand("backup");
    EXPECT_TRUE(command->isNew);
    EXPECT_EQ(command->umask, 63);
    EXPECT_EQ(command->flags, 16);
    command->cmd = "/usr/bin/tar *";
    command->form = 1;
    command->qvdo_runas = "root;op";
    command->qvsh_runas = version == kClassic ? "" : "backup";
    command->pri = -5;
    command->umask = 18;
    command->setKeepEnv("PATH HOME");
    command->setDelEnv("LD_PRELOAD");
    command->path = "/usr/bin";
    command->add = "x=1";
    command->flags = 3;
    command->setDescription("nightly");
    store->saveQVCommand(command);
    EXPECT_FALSE(command->isNew);

    const kesh::ADObject stored = Read(command->object->dn());
    ExpectStored(stored, "pc-backup", version == kClassic ? 0x1000001u : 0x5000001u);
    std::string cmd, runas, shellRunas, keep, del, path, add;
    int form = 0, pri = 0, umask = 0, flags = 0;
    if (version == kClassic) {
      sam::SamParser::ParseV1CommandData(stored.firstValue(AZ_APP_DATA), cmd, form, runas, pri,
                                         umask, keep, del, path, add, flags);
    } else {
      sam::SamParser::ParseV2CommandData(stored.firstValue(AZ_APP_DATA), cmd, form, runas,
                                         shellRunas, pri, umask, keep, del, path, add, flags);
    }
    EXPECT_EQ(cmd, "/usr/bin/tar *");
    EXPECT_EQ(form, 1);
    EXPECT_EQ(runas, "root;op");
    EXPECT_EQ(shellRunas, command->qvsh_runas);
    EXPECT_EQ(pri, -5);
    EXPECT_EQ(umask, 18);
    EXPECT_EQ(keep, "PATH HOME");
    EXPECT_EQ(del, "LD_PRELOAD");
    EXPECT_EQ(path, "/usr/bin");
    EXPECT_EQ(add, "x=1");
    EXPECT_EQ(flags, 3);

    // Read back as a right of the store: the same fields, and the directory's times.
    auto read = std::dynamic_pointer_cast<QVCommand>(store->findRight("pc-backup"));
    ASSERT_TRUE(read);
    EXPECT_FALSE(read->isNew);
    EXPECT_EQ(read->getName(), "backup");
    EXPECT_EQ(read->getType(),
              version == kClassic ? RIGHT_TYPE_CLASSIC_COMMAND : RIGHT_TYPE_NG_COMMAND);
    EXPECT_EQ(read->getDescription(), "nightly");
    EXPECT_NE(read->getCreateTime(), "");
    EXPECT_NE(read->getModifyTime(), "");
    EXPECT_EQ(read->getZoneName(), "Store" + std::to_string(stores_));
    EXPECT_EQ(
        read->cmd + "|" + read->qvdo_runas + "|" + read->qvsh_runas + "|" + read->keepEnv + "|" +
            read->delEnv + "|" + read->path + "|" + read->add,
        "/usr/bin/tar *|root;op|" + command->qvsh_runas + "|PATH HOME|LD_PRELOAD|/usr/bin|x=1");
    EXPECT_EQ(std::vector<int>({read->form, read->pri, read->umask, read->flags}),
              std::vector<int>({1, -5, 18, 3}));

    // An update replaces the data; the listing holds the command once.
    read->cmd = "/bin/true";
    store->saveQVCommand(read);
    std::list<std::shared_ptr<QVCommand>> listed;
    store->listQVCommands(listed);
    ASSERT_EQ(listed.size(), 1u);
    EXPECT_EQ(listed.front()->cmd, "/bin/true");
    EXPECT_EQ(store->getQVCommand(read->object->dn())->cmd, "/bin/true");

    store->deleteQVCommand(read);
    EXPECT_FALSE(Exists(read->object->dn()));
  }
}

TEST_F(RightTest, PamRightsRoundTripThroughTheDirectory) {
  for (int version : {kClassic, kHierarchical}) {
    SCOPED_TRACE(version);
    auto store = NewStore(version);
    auto app = store->newPamApp(" zsx-login ");
    app->setApp("  zsx-login-*  ");
    EXPECT_EQ(app->appString, "zsx-login-*");
    store->savePamApp(app);

    const kesh::ADObject stored = Read(app->object->dn());
    const std::string cn = stored.firstValue(AD_CN);
    std::string parsed;
    if (version == kClassic) {
      // The cn is "pam-" and a GUID; the name shows the application instead.
      ASSERT_EQ(cn.rfind("pam-", 0), 0u);
      EXPECT_EQ(kesh::Guid::fromRealMSString(cn.substr(4)).toRealMSString(), cn.substr(4));
      ExpectStored(stored, cn, 0x2000001u);
      sam::SamParser::ParseV1PamData(stored.firstValue(AZ_APP_DATA), parsed);
    } else {
      ExpectStored(stored, "pam-zsx-login", 0x2000001u);
      sam::SamParser::ParseV2PamData(stored.firstValue(AZ_APP_DATA), parsed);
    }
    EXPECT_EQ(parsed, "zsx-login-*");

    auto read = store->getPamApp(app->object->dn());
    EXPECT_EQ(read->appString, "zsx-login-*");
    EXPECT_EQ(read->name, version == kClassic ? "pam-zsx-login-*" : "pam-zsx-login");
    EXPECT_EQ(read->getName(), version == kClassic ? "zsx-login-*" : "zsx-login");
    auto found = std::dynamic_pointer_cast<PamApp>(store->findRight(cn));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->appString, "zsx-login-*");

    std::list<std::shared_ptr<PamApp>> listed;
    store->listPamApps(listed);
    int matches = 0;
    for (auto& p : listed) matches += p->appString == "zsx-login-*";
    EXPECT_EQ(matches, 1);

    store->deletePamApp(read);
    EXPECT_FALSE(Exists(read->object->dn()));
  }
}

TEST_F(RightTest, RestrictedCommandsRoundTripThroughTheDirectory) {
  auto store = NewStore(kClassic);
  auto env = SavedEnv(*store, "rsh");
  auto command = store->newRestrictCommand("ls", env);
  EXPECT_EQ(command->name, "rs-rsh-ls");
  EXPECT_EQ(std::vector<int>({command->pri, command->umask, command->flags}),
            std::vector<int>({0, 63, 0}));
  command->cmd = "ls -l";
  command->qvsh_runas = "$";
  command->qvdo_runas = "never written";
  command->path = "USERPATH";
  command->umask = 22;
  store->saveRestrictCommand(command);

  const kesh::ADObject stored = Read(command->object->dn());
  ExpectStored(stored, "rs-rsh-ls", 0x4000001u);
  std::string cmd, runas, keep, del, path, add;
  int form = 0, pri = 0, umask = 0, flags = 0;
  sam::SamParser::ParseV1CommandData(stored.firstValue(AZ_APP_DATA), cmd, form, runas, pri, umask,
                                     keep, del, path, add, flags);
  EXPECT_EQ(cmd + "|" + runas + "|" + path, "ls -l|$|USERPATH");
  EXPECT_EQ(umask, 22);

  auto read = store->getRestrictCommand(command->object->dn());
  EXPECT_EQ(read->getName(), "rsh-ls");
  EXPECT_EQ(read->qvsh_runas, "$");
  EXPECT_EQ(read->qvdo_runas, "");
  EXPECT_FALSE(read->rsEnv);

  // Restricted data read by a store of another version is refused.
  auto ng = NewStore(kHierarchical);
  EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { RestrictCommand(stored, ng, false); }),
            "The command data are not supported in classic zone.");
}

TEST_F(RightTest, FetchRightTellsTheClassByOperationType) {
  for (int version : {kClassic, kHierarchical}) {
    SCOPED_TRACE(version);
    auto store = NewStore(version);
    struct Case {
      unsigned id;
      const char* kind;  // "" for an unknown type
    } cases[] = {
        {0x1000001, version == kClassic ? "command" : ""},
        {0x2000001, "pam"},
        {0x3000001, ""},
        {0x4000001, version == kClassic ? "restricted" : ""},
        {0x5000001, version == kClassic ? "" : "command"},
    };
    for (const Case& c : cases) {
      SCOPED_TRACE(c.id);
      const std::string cn = "r" + std::to_string(c.id);
      kesh::ADObject object =
          kesh::LDAPBinding::createChild(store->operationContainerDn(), cn, "cn");
      object[AD_OBJECT_CLASS] = AZ_CLASS_OPERATION;
      object[AZ_OPERATION_ID] = c.id;
      binding_->add(object);
      if (*c.kind == 0) {
        EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { store->findRight(cn); }),
                  "unknown right type");
        continue;
      }
      std::shared_ptr<QVRight> right = store->findRight(cn);
      const std::string kind = std::dynamic_pointer_cast<RestrictCommand>(right) ? "restricted"
                               : std::dynamic_pointer_cast<QVCommand>(right)     ? "command"
                               : std::dynamic_pointer_cast<PamApp>(right)        ? "pam"
                                                                                 : "?";
      EXPECT_EQ(kind, c.kind);
      EXPECT_EQ(right->getType(), c.id & RIGHT_TYPE_MASK);
      EXPECT_EQ(right->store, store);
    }
    // A missing cn passes the directory's not-found through.
    try {
      store->findRight("pc-missing");
      ADD_FAILURE() << "found";
    } catch (const LDAPException& e) {
      EXPECT_EQ(e.rc(), kesh::LDAP_RC_NO_SUCH_OBJECT);
    }
  }
}

TEST_F(RightTest, RefusalsWriteNothing) {
  auto classic = NewStore(kClassic);
  auto ng = NewStore(kHierarchical);
  for (auto store : {classic, ng}) SavedCommand(*store, "ls");
  auto env = SavedEnv(*classic, "rsh");
  SavedRSCommand(*classic, env, "ls");
  auto newEnv = classic->newRestrictEnv("fresh");
  auto inNewEnv = classic->newRestrictCommand("cat", newEnv);
  inNewEnv->cmd = "cat";
  auto newCommand = ng->newQVCommand("new");
  auto blankCommand = ng->newQVCommand("blank");
  blankCommand->cmd = " \t ";
  auto newPam = ng->newPamApp("noapp");  // a hierarchical PAM right starts without application
  auto newRSCommand = classic->newRestrictCommand("new", env);
  std::shared_ptr<RSEnv> ngEnv;

  const std::string notClassic =
      "Restricted command/environment is supported only in classic zones.";
  struct Case {
    const char* label;
    std::function<void()> f;
    std::string message;
  } cases[] = {
      {"duplicate classic command", [&] { classic->newQVCommand("ls"); }, "Right already in zone"},
      {"duplicate hierarchical command", [&] { ng->newQVCommand(" ls"); }, "Right already in zone"},
      {"duplicate restricted command", [&] { classic->newRestrictCommand("ls", env); },
       "Right already in zone"},
      {"duplicate environment", [&] { classic->newRestrictEnv("rsh"); },
       "Restricted environment already in zone"},
      {"keep with =", [&] { newCommand->setKeepEnv("A=1"); },
       "The environment string cannot contains character [=]"},
      {"del with =", [&] { newCommand->setDelEnv("="); },
       "The environment string cannot contains character [=]"},
      {"blank command", [&] { ng->saveQVCommand(blankCommand); }, "Command cannot be empty"},
      {"no application", [&] { ng->savePamApp(newPam); }, "Must set PAM application string"},
      {"environment not saved", [&] { classic->saveRestrictCommand(inNewEnv); },
       "Restricted environment is not saved yet. Please save it before adding restricted "
       "commands"},
      {"blank restricted command", [&] { classic->saveRestrictCommand(newRSCommand); },
       "Command cannot be empty"},
      {"delete new command", [&] { ng->deleteQVCommand(newCommand); },
       "QV command has not been created"},
      {"delete new PAM right", [&] { ng->deletePamApp(newPam); }, "PamApp has not been created"},
      {"delete new restricted command", [&] { classic->deleteRestrictCommand(newRSCommand); },
       "Restricted command has not been created"},
      {"delete new environment", [&] { classic->deleteRestrictEnv(newEnv); },
       "Restricted environment has not been created"},
      {"hierarchical newRestrictEnv", [&] { ng->newRestrictEnv("e"); }, notClassic},
      {"hierarchical getRestrictEnv", [&] { ng->getRestrictEnv("e"); }, notClassic},
      {"hierarchical fetchRestrictEnv", [&] { ng->fetchRestrictEnv(env->object->dn()); },
       notClassic},
      {"hierarchical getRestrictEnvs",
       [&] {
         std::list<std::shared_ptr<RSEnv>> l;
         ng->getRestrictEnvs(l);
       },
       notClassic},
      {"hierarchical saveRestrictEnv", [&] { ng->saveRestrictEnv(env); }, notClassic},
      {"hierarchical deleteRestrictEnv", [&] { ng->deleteRestrictEnv(env); }, notClassic},
      {"hierarchical newRestrictCommand", [&] { ng->newRestrictCommand("c", env); }, notClassic},
      {"hierarchical getRestrictCommand", [&] { ng->getRestrictCommand(env->object->dn()); },
       notClassic},
      {"hierarchical listRestrictCommands",
       [&] {
         std::list<std::shared_ptr<RestrictCommand>> l;
         ng->listRestrictCommands(l);
       },
       notClassic},
      {"hierarchical saveRestrictCommand", [&] { ng->saveRestrictCommand(inNewEnv); }, notClassic},
      {"hierarchical deleteRestrictCommand", [&] { ng->deleteRestrictCommand(newRSCommand); },
       notClassic},
  };
  const std::string before = Dump(*classic) + Dump(*ng);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(MessageOf<kesh::BadDataException>(c.f), c.message);
  }
  EXPECT_EQ(Dump(*classic) + Dump(*ng), before);
  EXPECT_TRUE(newCommand->keepEnv.empty() && newCommand->delEnv.empty());
}

TEST_F(RightTest, ClassicPamRightsAreKnownByTheirApplication) {
  auto store = NewStore(kClassic);
  // The holder of "sshd": the predefined one when the store has it, else a new one.
  std::shared_ptr<PamApp> holder;
  std::list<std::shared_ptr<PamApp>> apps;
  store->listPamApps(apps);
  for (auto& app : apps)
    if (app->appString == "sshd") holder = app;
  if (!holder) {
    holder = store->newPamApp("sshd");
    store->savePamApp(holder);
  }
  auto second = store->newPamApp("sshd");
  const std::string before = Dump(*store);
  EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { store->savePamApp(second); }),
            "PAM application [sshd] already exists.");
  EXPECT_EQ(Dump(*store), before);
  EXPECT_TRUE(second->isNew);

  holder->setDescription("ssh logins");
  store->savePamApp(holder);
  EXPECT_EQ(Read(holder->object->dn()).firstValue(AD_DESCRIPTION), "ssh logins");
}

TEST_F(RightTest, RestrictedEnvironmentsHoldTheirCommands) {
  auto store = NewStore(kClassic);
  auto env = SavedEnv(*store, "rsh");
  EXPECT_EQ(env->getName(), "rsh");
  auto ls = SavedRSCommand(*store, env, "ls");
  auto cat = SavedRSCommand(*store, env, "cat");
  EXPECT_EQ(ls->rsEnv, env);

  ls->cmd = "ls -a";  // an update does not link the command again
  store->saveRestrictCommand(ls);
  const std::string envDn = env->object->dn();
  EXPECT_EQ(Values(Read(envDn), AZ_TASK_OPS).size(), 2u);
  for (auto& c : {ls, cat}) EXPECT_TRUE(HasValue(Read(envDn), AZ_TASK_OPS, c->object->dn()));
  EXPECT_EQ(MessageOf<kesh::BadDataException>([&] { env->addCommand(ls); }),
            "Restricted command already in this environment");

  std::list<std::shared_ptr<QVRight>> held;
  env->getRestrictEnvCmds(held);
  EXPECT_EQ(held.size(), 2u);
  std::list<std::shared_ptr<RestrictCommand>> listed;
  store->listRestrictCommands(listed);
  EXPECT_EQ(listed.size(), 2u);

  // A role in the task container and a task flagged as role stay out of the listing.
  for (const char* task : {"role-admin", "rs-flagged"}) {
    kesh::ADObject object = kesh::LDAPBinding::createChild(store->taskContainerDn(), task, "cn");
    object[AD_OBJECT_CLASS] = AZ_CLASS_TASK;
    object[AZ_TASK_IS_ROLE] = true;
    binding_->add(object);
  }
  std::list<std::shared_ptr<RSEnv>> envs;
  store->getRestrictEnvs(envs);
  ASSERT_EQ(envs.size(), 1u);
  EXPECT_EQ(envs.front()->getName(), "rsh");
  EXPECT_EQ(store->getRestrictEnv(" rsh ")->object->dn(), Read(envDn).dn());
  EXPECT_EQ(store->fetchRestrictEnv(envDn)->store, store);

  // Deleting a command writes nothing to its environment: the one operation is the remove,
  // and the directory itself drops the link to the deleted object.
  const std::vector<std::string> links = Values(*env->object, AZ_TASK_OPS);
  EXPECT_EQ(memtest::OperationsOf([&] { store->deleteRestrictCommand(ls); }), 1u);
  EXPECT_FALSE(Exists(ls->object->dn()));
  EXPECT_EQ(Values(*env->object, AZ_TASK_OPS), links);
  EXPECT_EQ(Values(Read(envDn), AZ_TASK_OPS).size(), 1u);

  // Deleting the environment deletes the commands it still reaches, then itself.
  auto reread = store->getRestrictEnv("rsh");
  store->deleteRestrictEnv(reread);
  EXPECT_FALSE(Exists(cat->object->dn()));
  EXPECT_FALSE(Exists(envDn));
}

TEST_F(RightTest, FailedAddLeavesTheRightNew) {
  for (int version : {kClassic, kHierarchical}) {
    SCOPED_TRACE(version);
    auto store = NewStore(version);
    auto command = store->newQVCommand("retry");
    command->cmd = "/bin/retry";
    // A new right is not looked up again: the add is the first operation.
    kesh::memdir::DropAfter(1, "", false);
    EXPECT_THROW(store->saveQVCommand(command), LDAPException);
    kesh::memdir::DropAfter(0, "", false);
    binding_->binding->connect("", "", 0);
    EXPECT_TRUE(command->isNew);
    EXPECT_FALSE(Exists(command->object->dn()));
    store->saveQVCommand(command);
    EXPECT_FALSE(command->isNew);
    EXPECT_TRUE(Exists(command->object->dn()));
  }
}

TEST_F(RightTest, RightOfAnotherZoneIsFetchedWithThatZonesStore) {
  auto parent = NewTree(ZoneDn("Parent"));
  auto child = NewTree(ZoneDn("Child"));
  auto command = SavedCommand(*parent->store, "reboot");
  std::shared_ptr<QVRight> right = child->store->fetchRight(command->object->dn());
  ASSERT_TRUE(std::dynamic_pointer_cast<QVCommand>(right));
  EXPECT_EQ(right->store->application->dn(), parent->store->application->dn());
  EXPECT_NE(right->store, child->store);
  EXPECT_EQ(right->getZoneName(), "Parent");
  EXPECT_EQ(right->getName(), "reboot");
}

}  // namespace
