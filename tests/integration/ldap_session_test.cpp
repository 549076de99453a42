// One LDAP session to the local DC: the bind is protected by GSSAPI sealing, the root DSE
// is read, and a closed socket is noticed without a round trip.
#include "directory/library/ldap/ldap_session.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "samba_target.h"

namespace conformance {
namespace {

class LdapSessionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!Usable(dc_)) return;
    target_.host = Env("ZS_DC_HOST");
    target_.port = 389;
    options_.ccacheName = dc_.adminCCache();
  }
  SambaTarget dc_;
  kesh::ldapbackend::ServiceTarget target_;
  kesh::ldapbackend::SessionOptions options_;
};

TEST_F(LdapSessionTest, BindIsSealedAndReadsTheRootDse) {
  kesh::ldapbackend::LdapSession session(target_, options_);
  ber_len_t ssf = 0;
  ASSERT_EQ(ldap_get_option(session.handle(), LDAP_OPT_X_SASL_SSF, &ssf), LDAP_OPT_SUCCESS);
  EXPECT_GE(ssf, 56u) << "the connection is not sealed";
  EXPECT_EQ(session.dnsHostName(), Env("ZS_DC_HOST"));
  EXPECT_TRUE(
      DN::equal(session.rootDSE().find("defaultNamingContext")->values().at(0), Env("ZS_DC_BASE")));
  EXPECT_TRUE(session.alive());
}

TEST_F(LdapSessionTest, ClosedSocketIsNoticed) {
  kesh::ldapbackend::LdapSession session(target_, options_);
  int fd = -1;
  ASSERT_EQ(ldap_get_option(session.handle(), LDAP_OPT_DESC, &fd), LDAP_OPT_SUCCESS);
  ASSERT_TRUE(session.alive());
  shutdown(fd, SHUT_RDWR);
  EXPECT_FALSE(session.alive());
  EXPECT_FALSE(session.alive()) << "stays lost";
}

TEST_F(LdapSessionTest, CredentialsOfTheGivenCacheOnly) {
  options_.ccacheName = "MEMORY:" + UniqueName("zs-session-empty");
  try {
    kesh::ldapbackend::LdapSession session(target_, options_);
    FAIL() << "bound without a ticket";
  } catch (const LDAPException& e) {
    EXPECT_EQ(e.rc(), 82) << e.what();  // a local (GSSAPI) failure, not the server's
    EXPECT_NE(std::string(e.what()).find(Env("ZS_DC_HOST")), std::string::npos) << e.what();
  }
  // The process's own cache ($KRB5CCNAME) was not used, and is still the default.
  options_.ccacheName.clear();
  EXPECT_NO_THROW(kesh::ldapbackend::LdapSession(target_, options_));
}

}  // namespace
}  // namespace conformance
