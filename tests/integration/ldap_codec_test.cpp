// The small encodings of the LDAP backend: the security descriptor flags control value and
// the numbering of client-side failures. No directory needed.
#include <gtest/gtest.h>

#include <string>

#include "directory/library/adbinding.h"
#include "directory/library/exceptions.h"
#include "directory/library/ldap/ldap_error.h"
#include "directory/library/ldap/ldap_session.h"

namespace {

std::string Hex(const std::string& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string out;
  for (unsigned char c : bytes) {
    out += digits[c >> 4];
    out += digits[c & 15];
  }
  return out;
}

TEST(SDFlagsControlTest, BerSequenceOfOneInteger) {
  struct {
    int flags;
    const char* ber;
  } cases[] = {
      {0, "3003020100"},
      {kesh::SD_FLAG_DACL, "3003020104"},
      {kesh::SD_FLAG_OWNER | kesh::SD_FLAG_GROUP | kesh::SD_FLAG_DACL, "3003020107"},
      {15, "300302010f"},
      {127, "300302017f"},
      {128,
       "30040202"
       "0080"},  // a leading zero keeps the integer positive
      {0x1234, "300402021234"},
      {0x10000, "30050203010000"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Hex(kesh::ldapbackend::EncodeSDFlags(c.flags)), c.ber) << c.flags;
  }
}

TEST(LdapErrorTest, ClientFailuresTakeTheirClassicNumbers) {
  struct {
    int libldap;
    int classic;
  } cases[] = {
      {LDAP_SERVER_DOWN, kesh::LDAP_RC_SERVER_DOWN},
      {LDAP_LOCAL_ERROR, 82},
      {LDAP_TIMEOUT, 85},
      {LDAP_FILTER_ERROR, kesh::LDAP_RC_FILTER_ERROR},
      {LDAP_CONNECT_ERROR, 91},
      {LDAP_CLIENT_LOOP, 96},
      {-17, 97},
      // Results of the server pass unchanged.
      {LDAP_SUCCESS, 0},
      {LDAP_NO_SUCH_OBJECT, kesh::LDAP_RC_NO_SUCH_OBJECT},
      {LDAP_ALREADY_EXISTS, kesh::LDAP_RC_ALREADY_EXISTS},
      {LDAP_UNWILLING_TO_PERFORM, kesh::LDAP_RC_UNWILLING_TO_PERFORM},
      {-18, -18},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(kesh::ldapbackend::ClassicResultCode(c.libldap), c.classic) << c.libldap;
  }
  EXPECT_TRUE(kesh::ldapbackend::IsConnectionLost(LDAP_SERVER_DOWN));
  EXPECT_TRUE(kesh::ldapbackend::IsConnectionLost(LDAP_CONNECT_ERROR));
  EXPECT_FALSE(kesh::ldapbackend::IsConnectionLost(LDAP_NO_SUCH_OBJECT));
  EXPECT_FALSE(kesh::ldapbackend::IsConnectionLost(LDAP_TIMEOUT));
}

TEST(LdapErrorTest, ExceptionCarriesCodeAndText) {
  try {
    kesh::ldapbackend::ThrowLdapError(__FILE__, __LINE__, nullptr, LDAP_NO_SUCH_OBJECT,
                                      "CN=x,DC=example,DC=test");
    FAIL() << "no exception";
  } catch (const LDAPException& e) {
    EXPECT_EQ(e.rc(), 32);
    EXPECT_STREQ(e.what(), "No such object: CN=x,DC=example,DC=test");
    EXPECT_EQ(e.className(), "LDAPException");
  }
}

TEST(BinaryAttributeTest, KnownBinaryNamesInAnyCase) {
  for (const char* name : {"objectSid", "OBJECTGUID", "nTSecurityDescriptor", "sIDHistory",
                           "userCertificate;binary", "msDS-GenerationId"}) {
    EXPECT_TRUE(kesh::ldapbackend::IsBinaryAttribute(name)) << name;
  }
  for (const char* name : {"cn", "member", "msDS-AzApplicationData", "objectSidX", "description"}) {
    EXPECT_FALSE(kesh::ldapbackend::IsBinaryAttribute(name)) << name;
  }
}

}  // namespace
