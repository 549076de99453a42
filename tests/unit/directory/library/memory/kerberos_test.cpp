// The Kerberos helpers and settings of the memory backend: passwords from the fixture,
// credential caches as names, the default and machine caches, the settings table.
#include "directory/library/kerberos.h"

#include <gtest/gtest.h>
#include <krb5/krb5.h>
#include <unistd.h>

#include <string>

#include "directory/library/adbinding.h"
#include "directory/library/exceptions.h"
#include "directory/library/memory/memdir.h"
#include "directory/library/settings.h"

namespace kesh {
namespace {

class MemoryKerberosTest : public ::testing::Test {
 protected:
  void SetUp() override {
    memdir::Reset();
    memdir::LoadLdifFile(std::string(ZS_FIXTURES_DIR) + "/example.ldif");
  }

  int Kinit(const std::string& principal, const std::string& password, std::string* error = nullptr,
            KerberosCreds* out = nullptr) {
    KerberosContext context;
    KerberosCreds creds;
    std::string text;
    int rc = getCredentials(context, principal, Shredder(password), creds, text,
                            DEFAULT_TICKET_LIFETIME, nullptr);
    if (error) *error = text;
    if (out) *out = creds;
    return rc;
  }
};

TEST_F(MemoryKerberosTest, PasswordsOfTheFixture) {
  const struct {
    const char* principal;
    const char* password;
    long rc;
    const char* error;
  } cases[] = {
      {"alice@EXAMPLE.TEST", "alice-pw", 0, ""},
      {"ALICE@example.test", "alice-pw", 0, ""},
      // A UPN suffix that is no realm does not reach a KDC.
      {"robert.baker@corp.example.test", "bob-pw", KRB5_REALM_CANT_RESOLVE,
       "Cannot resolve network address for KDC in requested realm"},
      {"bob@EXAMPLE.TEST", "bob-pw", 0, ""},
      {"WS1$@EXAMPLE.TEST", "ws1-machine-pw", 0, ""},
      {"alice@EXAMPLE.TEST", "Alice-pw", KRB5KDC_ERR_PREAUTH_FAILED, "Preauthentication failed"},
      {"dave@EXAMPLE.TEST", "x", KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN,
       "Client not found in Kerberos database"},
      {"alice@NOWHERE.TEST", "alice-pw", KRB5_REALM_CANT_RESOLVE,
       "Cannot resolve network address for KDC in requested realm"},
      {"alice", "alice-pw", KRB5_PARSE_MALFORMED, "Malformed representation of principal"},
  };
  for (const auto& c : cases) {
    std::string error;
    EXPECT_EQ(Kinit(c.principal, c.password, &error), c.rc) << c.principal;
    EXPECT_EQ(error, c.error) << c.principal;
  }
  memdir::SetSetting(SETTING_DOMAIN_NAME, "example.test");
  EXPECT_EQ(Kinit("alice", "alice-pw"), 0) << "the joined domain's realm by default";
}

TEST_F(MemoryKerberosTest, CachesHoldWhatStoreTGTPutThere) {
  KerberosContext context;
  KerberosCreds creds;
  ASSERT_EQ(Kinit("Alice@example.test", "alice-pw", nullptr, &creds), 0);
  EXPECT_EQ(creds.principal, "Alice@EXAMPLE.TEST");
  std::string cache = Krb5CredentialsCache::genUserCCache(context, 1000);
  EXPECT_EQ(cache.rfind("FILE:/tmp/krb5cc_1000", 0), 0u);
  storeTGT(context, creds.principal, cache, creds, 1000, 1000);
  EXPECT_EQ(Krb5CredentialsCache::getUPN(cache), "Alice@EXAMPLE.TEST");
  EXPECT_NE(Krb5CredentialsCache::genUserCCache(context, 1000), cache);

  auto b = NewADBinding("example.test", cache, false, "", "", nullptr);
  b->connect("", "", 0);
  EXPECT_TRUE(b->connected());

  Krb5CredentialsCache::clearCCache(cache, false);
  EXPECT_EQ(Krb5CredentialsCache::getUPN(cache), "");
  try {
    b->connect("", "", 0);
    ADD_FAILURE() << "connected without a ticket";
  } catch (const LDAPException& e) {
    EXPECT_EQ(e.rc(), 82);
  }
}

TEST_F(MemoryKerberosTest, DefaultAndMachineCaches) {
  EXPECT_EQ(Krb5CredentialsCache::findUserCCache(getuid(), true), "");
  memdir::SetDefaultCCache("FILE:/tmp/krb5cc_test");
  EXPECT_EQ(Krb5CredentialsCache::findUserCCache(getuid(), false), "") << "no such cache yet";
  memdir::SetCCache("FILE:/tmp/krb5cc_test", "");
  memdir::SetCCache("FILE:/tmp/krb5cc_test", "carol@EXAMPLE.TEST");
  EXPECT_EQ(Krb5CredentialsCache::findUserCCache(getuid(), true), "FILE:/tmp/krb5cc_test");
  Krb5CredentialsCache::clearCCache("FILE:/tmp/krb5cc_test", false);
  EXPECT_EQ(Krb5CredentialsCache::findUserCCache(getuid(), true), "") << "no ticket in it";
  EXPECT_EQ(Krb5CredentialsCache::findUserCCache(getuid(), false), "FILE:/tmp/krb5cc_test");
  Krb5CredentialsCache::clearCCache("FILE:/tmp/krb5cc_test", true);
  EXPECT_EQ(Krb5CredentialsCache::findUserCCache(getuid(), false), "");

  EXPECT_EQ(ADHelper::GetMachineCredCache(), "");
  memdir::SetMachineCCache("MEMORY:machine");
  EXPECT_EQ(ADHelper::GetMachineCredCache(), "MEMORY:machine");
}

TEST_F(MemoryKerberosTest, ChangingAPassword) {
  KerberosContext context;
  std::string error;
  EXPECT_EQ(
      setPasswordUsingCCache(context, "MEMORY:none", "alice@EXAMPLE.TEST", Shredder("n"), error),
      KRB5_FCC_NOFILE);
  memdir::SetCCache("MEMORY:admin", "Administrator@EXAMPLE.TEST");
  EXPECT_EQ(setPasswordUsingCCache(context, "MEMORY:admin", "alice@example.test",
                                   Shredder("new-pw"), error),
            0);
  EXPECT_EQ(Kinit("alice@EXAMPLE.TEST", "alice-pw"), KRB5KDC_ERR_PREAUTH_FAILED);
  EXPECT_EQ(Kinit("alice@EXAMPLE.TEST", "new-pw"), 0);
  Shredder password("new-pw");
  EXPECT_EQ(gic_with_password_callback(nullptr, &password, "alice@EXAMPLE.TEST"), 0);
  Shredder wrong("old");
  EXPECT_EQ(gic_with_password_callback(nullptr, &wrong, "alice@EXAMPLE.TEST"),
            KRB5KDC_ERR_PREAUTH_FAILED);
}

TEST_F(MemoryKerberosTest, PromptAnswersAndSettings) {
  memdir::QueuePasswordAnswer("one");
  memdir::QueuePasswordAnswer("two");
  EXPECT_EQ(std::string(kvr_getpass("pw: ")), "one");
  EXPECT_EQ(std::string(kvr_getpass("pw: ")), "two");

  EXPECT_EQ(GetSetting(SETTING_DOMAIN_NAME, "dflt", false), "dflt");
  EXPECT_EQ(loadSetting(SETTING_HOST_NAME, false, false), "");
  memdir::SetSetting(SETTING_DOMAIN_NAME, "example.test");
  memdir::SetSetting(SETTING_HOST_NAME, "ws1.example.test");
  EXPECT_EQ(GetSetting(SETTING_DOMAIN_NAME, "dflt", false), "example.test");
  EXPECT_EQ(loadSetting(SETTING_HOST_NAME, false, false), "ws1.example.test");
  memdir::SetSetting(SETTING_HOST_NAME, "");
  EXPECT_EQ(GetSetting(SETTING_HOST_NAME, "none", false), "none");
  memdir::Reset();
  EXPECT_EQ(GetSetting(SETTING_DOMAIN_NAME, "", false), "");
}

}  // namespace
}  // namespace kesh
