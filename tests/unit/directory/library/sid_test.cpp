#include "directory/library/sid.h"

#include <gtest/gtest.h>

#include "directory/library/exceptions.h"
#include "test_bytes.h"

namespace kesh {
namespace {

struct GoodSid {
  const char* text;
  std::string bytes;
  const char* escaped;  // null: not checked
};

TEST(SidTest, TextAndBinaryFormsOfKnownSids) {
  const GoodSid cases[] = {
      {"S-1-1-0", Bytes({1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0}),
       "\\01\\01\\00\\00\\00\\00\\00\\01\\00\\00\\00\\00"},
      {"S-1-5-32-544", Bytes({1, 2, 0, 0, 0, 0, 0, 5, 32, 0, 0, 0, 0x20, 2, 0, 0}),
       "\\01\\02\\00\\00\\00\\00\\00\\05\\20\\00\\00\\00\\20\\02\\00\\00"},
      {"S-1-5-18", Bytes({1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0}), nullptr},
      {"S-1-5", Bytes({1, 0, 0, 0, 0, 0, 0, 5}), "\\01\\00\\00\\00\\00\\00\\00\\05"},
      {"S-1-5-21-1004336348-1177238915-682003330-512",
       Bytes({1,    5,    0,    0,    0,    0,    0,    5,    21,   0,    0,    0,    0xdc, 0xf4,
              0xdc, 0x3b, 0x83, 0x3d, 0x2b, 0x46, 0x82, 0x8b, 0xa6, 0x28, 0x00, 0x02, 0,    0}),
       nullptr},
      {"S-1-5-21-4294967295", Bytes({1, 2, 0, 0, 0, 0, 0, 5, 21, 0, 0, 0, 0xff, 0xff, 0xff, 0xff}),
       nullptr},
      {"S-1-0x123456789ABC-7", Bytes({1, 1, 0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc, 7, 0, 0, 0}),
       nullptr},
      {"S-1-1-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15",
       Bytes({1, 15, 0,  0, 0, 0, 0,  1, 1, 0, 0,  0, 2, 0, 0,  0, 3, 0, 0,  0, 4, 0,  0,
              0, 5,  0,  0, 0, 6, 0,  0, 0, 7, 0,  0, 0, 8, 0,  0, 0, 9, 0,  0, 0, 10, 0,
              0, 0,  11, 0, 0, 0, 12, 0, 0, 0, 13, 0, 0, 0, 14, 0, 0, 0, 15, 0, 0, 0}),
       nullptr},
  };
  for (const GoodSid& c : cases) {
    SCOPED_TRACE(c.text);
    SID sid(c.text);
    EXPECT_EQ(sid.toBytes(), c.bytes);
    EXPECT_EQ(sid.toMSString(), c.text);
    SID fromBytes = SID::fromBytes(c.bytes);
    EXPECT_EQ(fromBytes.toMSString(), c.text);
    EXPECT_EQ(fromBytes, sid);
    if (c.escaped) {
      EXPECT_EQ(sid.toEscapedString(), c.escaped);
    }
  }
}

TEST(SidTest, LowerCaseAndDecimalAuthorityAreRead) {
  EXPECT_EQ(SID("s-1-5-11").toMSString(), "S-1-5-11");
  // Authorities below 2^32 are written in decimal, whatever form was read.
  EXPECT_EQ(SID("S-1-0x5-11").toMSString(), "S-1-5-11");
  EXPECT_EQ(SID("S-1-281474976710655-1").toMSString(), "S-1-0xFFFFFFFFFFFF-1");
}

TEST(SidTest, MalformedTextIsRefused) {
  const char* cases[] = {
      "",
      "S",
      "S-",
      "S-1",
      "S-1-",
      "X-1-5-32",
      "S-2-5-32",             // revision other than 1
      "S-1-5-",               // trailing dash
      "S-1-5--32",            // empty sub-authority
      "S-1-5-32-",            //
      "S-1-5-4294967296",     // sub-authority above 32 bits
      "S-1-281474976710656",  // authority above 48 bits
      "S-1-5-21-a",
      "S-1-5-21-1 ",
      " S-1-5-21",
      "S-1-5--1",
      "S-1-1-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15-16",  // 16 sub-authorities
  };
  for (const char* text : cases) {
    SCOPED_TRACE(text);
    try {
      SID sid(text);
      ADD_FAILURE() << "accepted: " << sid.toMSString();
    } catch (const BadDataException& e) {
      EXPECT_EQ(std::string(e.what()), std::string("Invalid SID string: ") + text);
      EXPECT_EQ(e.className(), "kesh::BadDataException");
    }
  }
}

TEST(SidTest, FromMSStringLeavesSidUnchangedOnError) {
  SID sid("S-1-5-32-544");
  EXPECT_THROW(sid.fromMSString("S-1-5-x"), BadDataException);
  EXPECT_EQ(sid.toMSString(), "S-1-5-32-544");
  sid.fromMSString("S-1-5-11");
  EXPECT_EQ(sid.toMSString(), "S-1-5-11");
}

TEST(SidTest, MalformedBinaryIsRefused) {
  struct Case {
    const char* label;
    std::string bytes;
    const char* message;
  } cases[] = {
      {"empty", "", "Invalid binary SID: 0 bytes"},
      {"short header", Bytes({1, 0, 0, 0, 0, 0, 5}), "Invalid binary SID: 7 bytes"},
      {"count too high", Bytes({1, 1, 0, 0, 0, 0, 0, 5}),
       "Invalid binary SID: 8 bytes for 1 sub-authorities"},
      {"trailing byte", Bytes({1, 0, 0, 0, 0, 0, 0, 5, 0}),
       "Invalid binary SID: 9 bytes for 0 sub-authorities"},
      {"count 16", Bytes({1, 16, 0, 0, 0, 0, 0, 5}) + std::string(64, '\0'),
       "Invalid binary SID: 72 bytes for 16 sub-authorities"},
      // Its text would be "S-0-15", which no reader takes: only revision 1 exists.
      {"revision 0", Bytes({0, 0, 0, 0, 0, 0, 0, 15}), "Invalid binary SID: revision 0"},
      {"revision 2", Bytes({2, 1, 0, 0, 0, 0, 0, 5, 7, 0, 0, 0}), "Invalid binary SID: revision 2"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    try {
      SID::fromBytes(c.bytes);
      ADD_FAILURE() << "accepted";
    } catch (const BadDataException& e) {
      EXPECT_STREQ(e.what(), c.message);
    }
  }
}

TEST(SidTest, DomainAndRid) {
  SID user("S-1-5-21-1004336348-1177238915-682003330-1105");
  EXPECT_EQ(user.getObjectRid(), 1105u);
  EXPECT_EQ(user.subAuthorityCount(), 5);
  EXPECT_EQ(user.identifierAuthority(), 5u);
  EXPECT_EQ(user.getSubAuthority(0), 21u);
  EXPECT_EQ(user.getSubAuthority(3), 682003330u);
  EXPECT_THROW(user.getSubAuthority(5), BadDataException);
  EXPECT_THROW(user.getSubAuthority(-1), BadDataException);

  SID domain = user.domainSID();
  EXPECT_EQ(domain.toMSString(), "S-1-5-21-1004336348-1177238915-682003330");
  EXPECT_EQ(SID::fromBytes(domain.toBytes()), domain);  // the count byte follows

  SID admins = domain;
  admins.setObjectRid(512);  // replaces the last sub-authority
  EXPECT_EQ(admins.toMSString(), "S-1-5-21-1004336348-1177238915-512");
  user.setObjectRid(4294967295u);
  EXPECT_EQ(user.toMSString(), "S-1-5-21-1004336348-1177238915-682003330-4294967295");

  SID bare("S-1-5");
  EXPECT_TRUE(bare.domainSID().isNull());
  EXPECT_EQ(bare.getObjectRid(), 0u);
  bare.setObjectRid(7);  // appends
  EXPECT_EQ(bare.toMSString(), "S-1-5-7");
}

TEST(SidTest, NullSid) {
  SID sid;
  EXPECT_TRUE(sid.isNull());
  EXPECT_EQ(sid.toMSString(), "");
  EXPECT_EQ(sid.toEscapedString(), "");
  EXPECT_EQ(sid.getObjectRid(), 0u);
  EXPECT_TRUE(sid.domainSID().isNull());
  EXPECT_THROW(sid.setObjectRid(1), BadDataException);
  SID other("S-1-1-0");
  EXPECT_NE(sid, other);
  other.setNull();
  EXPECT_TRUE(other.isNull());
  EXPECT_EQ(sid, other);
}

TEST(SidTest, WellKnownSidsAreMicrosoftsValues) {
  struct Case {
    const char* name;
    const char* value;
    const char* expected;
  } cases[] = {
      {"ACCOUNT_OPERATORS", WELL_KNOWN_SID::ACCOUNT_OPERATORS, "S-1-5-32-548"},
      {"ADMINISTRATORS", WELL_KNOWN_SID::ADMINISTRATORS, "S-1-5-32-544"},
      {"ANONYMOUS", WELL_KNOWN_SID::ANONYMOUS, "S-1-5-7"},
      {"AUTHENTICATED_USERS", WELL_KNOWN_SID::AUTHENTICATED_USERS, "S-1-5-11"},
      {"BACKUP_OPERATORS", WELL_KNOWN_SID::BACKUP_OPERATORS, "S-1-5-32-551"},
      {"CREATOR_GROUP", WELL_KNOWN_SID::CREATOR_GROUP, "S-1-3-1"},
      {"CREATOR_OWNER", WELL_KNOWN_SID::CREATOR_OWNER, "S-1-3-0"},
      {"ENTERPRISE_DOMAIN_CONTROLLERS", WELL_KNOWN_SID::ENTERPRISE_DOMAIN_CONTROLLERS, "S-1-5-9"},
      {"EVERYONE", WELL_KNOWN_SID::EVERYONE, "S-1-1-0"},
      {"GUESTS", WELL_KNOWN_SID::GUESTS, "S-1-5-32-546"},
      {"INTERACTIVE", WELL_KNOWN_SID::INTERACTIVE, "S-1-5-4"},
      {"LOCAL_SERVICE", WELL_KNOWN_SID::LOCAL_SERVICE, "S-1-5-19"},
      {"LOCAL_SYSTEM", WELL_KNOWN_SID::LOCAL_SYSTEM, "S-1-5-18"},
      {"NETWORK", WELL_KNOWN_SID::NETWORK, "S-1-5-2"},
      {"NETWORK_CONFIGURATION_OPERATORS", WELL_KNOWN_SID::NETWORK_CONFIGURATION_OPERATORS,
       "S-1-5-32-556"},
      {"NETWORK_SERVICE", WELL_KNOWN_SID::NETWORK_SERVICE, "S-1-5-20"},
      {"OWNER_RIGHTS", WELL_KNOWN_SID::OWNER_RIGHTS, "S-1-3-4"},
      {"PERFORMANCE_MONITOR_USERS", WELL_KNOWN_SID::PERFORMANCE_MONITOR_USERS, "S-1-5-32-558"},
      {"POWER_USERS", WELL_KNOWN_SID::POWER_USERS, "S-1-5-32-547"},
      {"PRE_WINDOWS_2000_COMPATIBLE_ACCESS", WELL_KNOWN_SID::PRE_WINDOWS_2000_COMPATIBLE_ACCESS,
       "S-1-5-32-554"},
      {"PRINCIPAL_SELF", WELL_KNOWN_SID::PRINCIPAL_SELF, "S-1-5-10"},
      {"PRINT_OPERATORS", WELL_KNOWN_SID::PRINT_OPERATORS, "S-1-5-32-550"},
      {"REMOTE_DESKTOP_USERS", WELL_KNOWN_SID::REMOTE_DESKTOP_USERS, "S-1-5-32-555"},
      {"REPLICATORS", WELL_KNOWN_SID::REPLICATORS, "S-1-5-32-552"},
      {"RESTRICTED_CODE", WELL_KNOWN_SID::RESTRICTED_CODE, "S-1-5-12"},
      {"SERVER_OPERATORS", WELL_KNOWN_SID::SERVER_OPERATORS, "S-1-5-32-549"},
      {"SERVICE", WELL_KNOWN_SID::SERVICE, "S-1-5-6"},
      {"USERS", WELL_KNOWN_SID::USERS, "S-1-5-32-545"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_STREQ(c.value, c.expected);
    EXPECT_EQ(SID(c.value).toMSString(), c.expected);  // each parses
  }
  EXPECT_EQ(WELL_KNOWN_RID::ADMINISTRATOR, 500u);
  EXPECT_EQ(WELL_KNOWN_RID::DOMAIN_ADMINS, 512u);
  EXPECT_EQ(WELL_KNOWN_RID::DOMAIN_USERS, 513u);
  EXPECT_EQ(WELL_KNOWN_RID::ENTERPRISE_ADMINS, 519u);
  EXPECT_EQ(WELL_KNOWN_RID::RAS_IAS_SERVERS, 553u);
}

}  // namespace
}  // namespace kesh
