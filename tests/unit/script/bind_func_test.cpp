// Credentials and `bind` against the in-memory directory, whose Kerberos stand-in keeps
// caches as names holding a principal and checks passwords against the fixture's.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "directory/cli_orlutils.h"
#include "directory/ldap.h"
#include "directory/library/exceptions.h"
#include "directory/library/kerberos.h"
#include "directory/library/memory/memdir.h"
#include "directory/library/settings.h"
#include "directory/library/thread_data.h"
#include "script/context.h"
#include "support/tcl_session.h"

namespace {

namespace memdir = kesh::memdir;

const char kUserCache[] = "FILE:/tmp/krb5cc_zs_test";

class CredentialsTest : public testing::Test {
 protected:
  void SetUp() override {
    memdir::Reset();
    memdir::LoadLdifFile(std::string(ZS_FIXTURES_DIR) + "/example.ldif");
  }
  void TearDown() override { memdir::Reset(); }

  // The calling user has a ticket of `principal` in his default cache.
  void GiveUserTicket(const std::string& principal) {
    memdir::SetCCache(kUserCache, principal);
    memdir::SetDefaultCCache(kUserCache);
  }

  // Runs `script`; answers "ok: <result>" or "error: <message>".
  std::string Run(const std::string& script) {
    std::string result;
    int code = session_.Eval(script, &result);
    return (code == TCL_OK ? "ok: " : "error: ") + result;
  }

  ContextTab& Tab() { return *GetContextTab(); }

  TclSession session_;
};

// --- DetermineCredentials -------------------------------------------------------------------

TEST_F(CredentialsTest, DetermineCredentialsChoosesCacheOrPassword) {
  struct Case {
    const char* label;
    const char* user;
    const char* password;
    const char* userTicket;  // principal in the default cache, or null for none
    const char* domain;
    bool prompt;
    const char* answer;  // what the prompt reads, or null
    // Expected:
    bool useCache;
    const char* user2;
    const char* ccName;
    const char* password2;
  } cases[] = {
      {"password without user is Administrator's", "", "pw", nullptr, "", false, nullptr, false,
       "Administrator", "", "pw"},
      {"discovered cache, no domain to test it on", "", "", "alice@EXAMPLE.TEST", "", false,
       nullptr, true, "alice@EXAMPLE.TEST", kUserCache, ""},
      {"discovered cache that works for the domain", "", "", "alice@EXAMPLE.TEST", "example.test",
       false, nullptr, true, "alice@EXAMPLE.TEST", kUserCache, ""},
      {"cache that does not work: Administrator is prompted for", "", "", "alice@EXAMPLE.TEST",
       "nowhere.test", true, "secret", false, "Administrator@NOWHERE.TEST", "", "secret"},
      {"no cache: Administrator is prompted for", "", "", nullptr, "example.test", true, "s3",
       false, "Administrator@EXAMPLE.TEST", "", "s3"},
      {"user with a password is used directly", "bob@example.test", "bob-pw", nullptr,
       "example.test", true, nullptr, false, "bob@example.test", "", "bob-pw"},
      {"user ending in @ gets the domain as realm", "bob@", "", nullptr, "example.test", true, "x",
       false, "bob@EXAMPLE.TEST", "", "x"},
      {"user's realm is upper-cased", "bob@example.test", "", nullptr, "example.test", true, "y",
       false, "bob@EXAMPLE.TEST", "", "y"},
      {"user without realm gets one", "bob", "", nullptr, "example.test", true, "z", false,
       "bob@EXAMPLE.TEST", "", "z"},
      {"no domain: the user stays as given", "bob", "", nullptr, "", true, "w", false, "bob", "",
       "w"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    SetUp();
    if (c.userTicket) GiveUserTicket(c.userTicket);
    if (c.answer) memdir::QueuePasswordAnswer(c.answer);
    std::string user = c.user;
    Shredder password = c.password;
    std::string ccName;
    EXPECT_EQ(c.useCache, kesh::DetermineCredentials(user, password, ccName, c.domain, c.prompt));
    EXPECT_EQ(c.user2, user);
    EXPECT_EQ(c.ccName, ccName);
    EXPECT_EQ(c.password2, std::string(password));
  }
}

TEST_F(CredentialsTest, DetermineCredentialsWithoutAnythingToUse) {
  struct Case {
    const char* label;
    const char* userTicket;
    const char* domain;
  } cases[] = {
      {"no cache", nullptr, ""},
      {"a cache that fails on the domain", "alice@EXAMPLE.TEST", "nowhere.test"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    SetUp();
    if (c.userTicket) GiveUserTicket(c.userTicket);
    std::string user;
    Shredder password;
    std::string ccName;
    try {
      kesh::DetermineCredentials(user, password, ccName, c.domain, false);
      ADD_FAILURE() << "no exception";
    } catch (const kesh::BadDataException& e) {
      EXPECT_STREQ(
          "no ticket: run kinit or give a user: No credentials found, need user and password",
          e.what());
    }
  }
}

// --- Caches and bindings ------------------------------------------------------------------------

TEST_F(CredentialsTest, PasswordGoesIntoTheTaggedMemoryCache) {
  int tag = 0;
  Shredder password("alice-pw");
  std::string ccName = kesh::getUserCCName("alice@example.test", &password, &tag, nullptr, false);
  char expected[64];
  snprintf(expected, sizeof(expected), "MEMORY:%p", static_cast<void*>(&tag));
  EXPECT_EQ(expected, ccName);
  EXPECT_EQ("alice@EXAMPLE.TEST", kesh::Krb5CredentialsCache::getUPN(ccName));

  // Without a tag a file cache of the calling user is made.
  std::string fileCache =
      kesh::getUserCCName("alice@example.test", &password, nullptr, nullptr, false);
  EXPECT_EQ(0u, fileCache.find("FILE:")) << fileCache;
  EXPECT_EQ("alice@EXAMPLE.TEST", kesh::Krb5CredentialsCache::getUPN(fileCache));
}

TEST_F(CredentialsTest, WrongPasswordIsAKerberosError) {
  Shredder password("wrong");
  try {
    kesh::getUserCCName("alice@example.test", &password, nullptr, nullptr, false);
    ADD_FAILURE();
  } catch (const KerberosException& e) {
    EXPECT_STREQ(
        "wrong password for alice@EXAMPLE.TEST: get user credentials:Preauthentication failed",
        e.what());
    EXPECT_NE(0, e.rc());
  }
}

TEST_F(CredentialsTest, NoMachineCacheIsNoCredentialCache) {
  Shredder password;
  std::string ccName;
  try {
    kesh::getBindingPtr(kesh::CCN_MACHINE, "example.test", "", password, ccName, "", false, false,
                        nullptr);
    ADD_FAILURE();
  } catch (const BaseException& e) {
    EXPECT_STREQ("No credential cache found", e.what());
    EXPECT_EQ(1008, e.rc());
  }
}

TEST_F(CredentialsTest, BindingPtrConnectsAndForgetsThePassword) {
  Shredder password("bob-pw");
  std::string ccName;
  int tag = 0;
  std::shared_ptr<kesh::ADBinding> binding = kesh::getBindingPtr(
      kesh::CCN_USER, "example.test", "bob@example.test", password, ccName, "", false, false, &tag);
  EXPECT_TRUE(binding->connected());
  EXPECT_EQ("dc1.example.test", binding->server());
  EXPECT_EQ(ccName, binding->ccacheName());
  EXPECT_EQ(nullptr, binding->passwordCallback);
  EXPECT_EQ(nullptr, binding->passwordCallbackData);
  EXPECT_EQ("bob@EXAMPLE.TEST", kesh::getBindingUser(binding));
}

TEST_F(CredentialsTest, SetSDFlagChangesOnlyWhatDiffers) {
  Shredder password("bob-pw");
  std::string ccName;
  int tag = 0;
  std::shared_ptr<kesh::ADBinding> binding = kesh::getBindingPtr(
      kesh::CCN_USER, "example.test", "bob@example.test", password, ccName, "", false, false, &tag);
  EXPECT_EQ(7, binding->sdFlags);
  kesh::setSDFlag(binding, false);
  EXPECT_EQ(4, binding->sdFlags);
  EXPECT_TRUE(binding->connected());
  kesh::setSDFlag(binding, true);
  EXPECT_EQ(7, binding->sdFlags);
}

// --- Server checks -------------------------------------------------------------------------------

TEST_F(CredentialsTest, VerifyServerCodes) {
  GiveUserTicket("alice@EXAMPLE.TEST");
  // A read-only DC that is no global catalog, of its own domain.
  memdir::LoadLdif(
      "dn:\ndefaultNamingContext: DC=branch,DC=test\nrootDomainNamingContext: DC=branch,DC=test\n"
      "dnsHostName: rodc.branch.test\nisGlobalCatalogReady: FALSE\n"
      "supportedCapabilities: 1.2.840.113556.1.4.800\n"
      "supportedCapabilities: 1.2.840.113556.1.4.1920\n\n"
      "dn: DC=branch,DC=test\nobjectClass: domainDNS\ndc: branch\nobjectSid: S-1-5-21-7-8-9\n\n");
  struct Case {
    const char* server;
    bool gc, writable, notIp;
    const char* domain;
    int code;
  } cases[] = {
      {"", true, true, true, "x", 0},
      {"10.0.0.1", false, false, true, "", 5},
      {"dc1.example.test", false, false, true, "", 0},
      {"dc1.example.test", true, true, true, "EXAMPLE.test", 0},
      {"dc9.example.test", false, false, false, "", 1},
      {"rodc.branch.test", true, false, false, "", 2},
      {"rodc.branch.test", false, true, false, "", 3},
      {"rodc.branch.test", false, false, false, "BRANCH.TEST", 0},
      {"dc1.example.test", false, false, false, "other.test", 6},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.code, kesh::VerifyServer(c.server, c.gc, c.writable, c.notIp, c.domain))
        << c.server << " " << c.domain;
  }
}

TEST_F(CredentialsTest, ValidateServerTellsWhy) {
  testing::internal::CaptureStderr();
  EXPECT_FALSE(kesh::ValidateServer(nullptr, "10.1.2.3", false, false, true, ""));
  EXPECT_EQ(
      "Server '10.1.2.3' appears to be an IP address\n"
      "Server must be a fully qualified DNS name\n"
      "Example: dc1.example.test\n",
      testing::internal::GetCapturedStderr());
  GiveUserTicket("alice@EXAMPLE.TEST");
  testing::internal::CaptureStderr();
  EXPECT_TRUE(kesh::ValidateServer(nullptr, "dc1.example.test", false, false, true, ""));
  EXPECT_FALSE(kesh::ValidateServer(nullptr, "dc1.example.test", false, false, true, "x.test"));
  EXPECT_EQ(
      "Server 'dc1.example.test' does not host AD domain 'x.test\n"
      "Please select a server that does\n"
      "Example: dc1.example.test\n",
      testing::internal::GetCapturedStderr());
}

// --- bind
// ------------------------------------------------------------------------------------------

TEST_F(CredentialsTest, BindRefusals) {
  struct Case {
    const char* script;
    const char* answer;
  } cases[] = {
      {"bind",
       "error: wrong # args: should be [-gc] [-write] [-machine] <[server@]domain> [<user> "
       "[<password>]]"},
      {"bind -bogus example.test",
       "error: wrong # args: should be [-gc] [-write] [-machine] <[server@]domain> [<user> "
       "[<password>]]"},
      {"bind -machine example.test", "error: -machine requires that the machine be joined"},
      {"bind example.test",
       "error: no ticket: run kinit or give a user: No credentials found, need user and password"},
      {"bind example.test alice wrong",
       "error: wrong password for alice@EXAMPLE.TEST: get user credentials:Preauthentication "
       "failed"},
      {"bind example.test nobody pw",
       "error: no user nobody@EXAMPLE.TEST in the domain: get user credentials:Client not found in "
       "Kerberos database"},
      {"bind dc2.example.test@example.test alice alice-pw", "error: Can't contact LDAP server"},
  };
  for (const Case& c : cases) EXPECT_EQ(c.answer, Run(c.script)) << c.script;
  memdir::SetSetting(kesh::SETTING_DOMAIN_NAME, "example.test");
  EXPECT_EQ("error: -machine and <username> cannot be specified together",
            Run("bind -machine example.test alice"));
  // Nothing was entered into the session by any of them.
  EXPECT_TRUE(Tab().bindings.empty());
  EXPECT_TRUE(Tab().gcBindings.empty());
}

TEST_F(CredentialsTest, BindWithPasswordUsesAMemoryCacheOfTheBinding) {
  EXPECT_EQ("ok: ", Run("bind Example.TEST alice alice-pw"));
  ASSERT_EQ(1u, Tab().bindings.count("example.test"));
  std::shared_ptr<MyBinding> binding = Tab().bindings.at("example.test");
  EXPECT_EQ(0u, binding->ccName.find("MEMORY:"));
  EXPECT_EQ("alice@EXAMPLE.TEST", kesh::Krb5CredentialsCache::getUPN(binding->ccName));
  EXPECT_EQ(binding->ccName, binding->binding->ccacheName());
  EXPECT_EQ("example.test", binding->binding->domainName());

  // A second domain with another user gets a cache of its own.
  memdir::LoadLdifFile(std::string(ZS_FIXTURES_DIR) + "/other.ldif");
  EXPECT_EQ("ok: ", Run("bind other.test olivia olivia-pw"));
  std::shared_ptr<MyBinding> other = Tab().bindings.at("other.test");
  EXPECT_NE(binding->ccName, other->ccName);
  EXPECT_EQ("alice@EXAMPLE.TEST", kesh::Krb5CredentialsCache::getUPN(binding->ccName));
  EXPECT_EQ("olivia@OTHER.TEST", kesh::Krb5CredentialsCache::getUPN(other->ccName));
}

TEST_F(CredentialsTest, BindPromptsForAMissingPassword) {
  memdir::QueuePasswordAnswer("bob-pw");
  EXPECT_EQ("ok: ", Run("bind example.test bob"));
  EXPECT_EQ("bob@EXAMPLE.TEST",
            kesh::Krb5CredentialsCache::getUPN(Tab().bindings.at("example.test")->ccName));
}

TEST_F(CredentialsTest, BindWithoutUserTakesTheCallersCacheUntested) {
  GiveUserTicket("carol@EXAMPLE.TEST");
  EXPECT_EQ("ok: ", Run("bind example.test"));
  EXPECT_EQ(kUserCache, Tab().bindings.at("example.test")->ccName);
}

TEST_F(CredentialsTest, BindToANamedServerChecksTheNameExactly) {
  EXPECT_EQ("ok: ", Run("bind DC1.Example.Test@Example.Test alice alice-pw"));
  EXPECT_EQ("dc1.example.test", Tab().bindings.at("example.test")->server());

  // A server that reports its name with capitals fails the check, after connecting.
  memdir::LoadLdif(
      "dn:\ndefaultNamingContext: DC=upper,DC=test\nrootDomainNamingContext: DC=upper,DC=test\n"
      "dnsHostName: DC1.Upper.Test\n\n"
      "dn: DC=upper,DC=test\nobjectClass: domainDNS\ndc: upper\n"
      "objectSid: S-1-5-21-1-2-3\n\n"
      "dn: CN=Uma,DC=upper,DC=test\nobjectClass: user\nsAMAccountName: uma\n"
      "userPassword: uma-pw\n\n");
  EXPECT_EQ("error: could not connect to specified server: dc1.upper.test",
            Run("bind dc1.upper.test@upper.test uma uma-pw"));
  EXPECT_EQ(0u, Tab().bindings.count("upper.test"));
}

TEST_F(CredentialsTest, RebindExchangesTheConnectionInPlace) {
  ASSERT_EQ("ok: ", Run("bind example.test alice alice-pw"));
  std::shared_ptr<MyBinding> first = Tab().bindings.at("example.test");
  std::shared_ptr<kesh::ADBinding> firstConnection = first->binding;
  ASSERT_EQ("ok: ", Run("bind EXAMPLE.test bob bob-pw"));
  EXPECT_EQ(1u, Tab().bindings.size());
  EXPECT_EQ(first, Tab().bindings.at("example.test"));
  EXPECT_NE(firstConnection, first->binding);
  EXPECT_EQ("bob@EXAMPLE.TEST", kesh::getBindingUser(first->binding));

  // A failed rebind leaves the binding as it was.
  std::shared_ptr<kesh::ADBinding> second = first->binding;
  EXPECT_EQ(
      "error: wrong password for carol@EXAMPLE.TEST: get user credentials:Preauthentication failed",
      Run("bind example.test carol wrong"));
  EXPECT_EQ(second, first->binding);

  // So does one that fails after it obtained a ticket (here: no such server to connect to):
  // the binding's cache still holds its own user's ticket, for the next reconnect.
  const std::string bobCache = first->ccName;
  EXPECT_EQ("error: Can't contact LDAP server",
            Run("bind elsewhere.example.test@example.test carol carol-pw"));
  EXPECT_EQ(second, first->binding);
  EXPECT_EQ(bobCache, first->ccName);
  EXPECT_EQ("bob@EXAMPLE.TEST", kesh::Krb5CredentialsCache::getUPN(first->ccName));
}

TEST_F(CredentialsTest, BindGcAndMachine) {
  ASSERT_EQ("ok: ", Run("bind -gc example.test alice alice-pw"));
  EXPECT_EQ(0u, Tab().bindings.size());
  ASSERT_EQ(1u, Tab().gcBindings.count("example.test"));

  memdir::SetSetting(kesh::SETTING_DOMAIN_NAME, "example.test");
  memdir::SetCCache("MEMORY:machine", "WS1$@EXAMPLE.TEST");
  memdir::SetMachineCCache("MEMORY:machine");
  ASSERT_EQ("ok: ", Run("bind -machine example.test"));
  EXPECT_EQ("MEMORY:machine", Tab().bindings.at("example.test")->ccName);
  // -gc is not passed on with -machine, but the binding is still stored as a catalog's.
  memdir::LoadLdifFile(std::string(ZS_FIXTURES_DIR) + "/child.ldif");
  ASSERT_EQ("ok: ", Run("bind -machine -gc child.example.test"));
  ASSERT_EQ(1u, Tab().gcBindings.count("child.example.test"));
  EXPECT_EQ("MEMORY:machine", Tab().gcBindings.at("child.example.test")->ccName);
}

TEST_F(CredentialsTest, BindAppliesTheTimeoutAndTheWritableFlag) {
  ASSERT_EQ("ok: ", Run("set_ldap_timeout 10"));
  EXPECT_EQ(10, Tab().ldapTimeout);
  EXPECT_EQ("error: expected integer but got \"ten\"", Run("set_ldap_timeout ten"));
  ASSERT_EQ("ok: ", Run("bind -write example.test alice alice-pw"));
  EXPECT_TRUE(kesh::ThreadData::get().writable);
  ASSERT_EQ("ok: ", Run("bind example.test alice alice-pw"));
  EXPECT_FALSE(kesh::ThreadData::get().writable);
}

}  // namespace
