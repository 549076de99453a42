#include "directory/library/sam_parser.h"

#include <gtest/gtest.h>

#include <climits>

#include "directory/library/exceptions.h"

namespace sam {
namespace {

// Texts that a naive codec would break on.
const std::vector<std::string> kHostile = {
    "",
    ";",
    "=",
    "\\",
    "a;b=c\\d",
    "\\x41",
    "ptype=a",
    "M\xc3\xbcller \xe2\x82\xac",      // valid UTF-8
    std::string("\xff\xfe\0\x01", 4),  // not UTF-8, with a NUL
    "line\nbreak\ttab\r",
    std::string(1000, ';'),
};

// 21 raw bytes with zeros, and the empty time box.
std::string TimeBox() {
  std::string box(21, '\0');
  for (int i = 0; i < 21; i += 3) box[i] = char(0xf0 + i % 16);
  return box;
}

bool IsPrintableText(const std::string& blob) {
  for (unsigned char c : blob) {
    if (c < 0x20 || c == 0x7f) return false;
  }
  return true;
}

TEST(SamParserTest, RoleData) {
  for (const std::string& box : {TimeBox(), std::string()}) {
    for (unsigned rights : {0u, 11u, 75u, 4294967295u}) {
      for (int bits = 0; bits < 4; ++bits) {
        SCOPED_TRACE(testing::Message() << box.size() << " " << rights << " " << bits);
        std::string blob = SamParser::WriteV2RoleData(box, rights, bits & 1, bits & 2);
        EXPECT_TRUE(IsPrintableText(blob)) << blob;
        std::string gotBox = "stale";
        unsigned gotRights = 1;
        bool local = !(bits & 1), visible = !(bits & 2);
        SamParser::ParseV2RoleData(blob, gotBox, gotRights, local, visible);
        EXPECT_EQ(gotBox, box);
        EXPECT_EQ(gotRights, rights);
        EXPECT_EQ(local, bool(bits & 1));
        EXPECT_EQ(visible, bool(bits & 2));
      }
    }
    std::string v1 = SamParser::WriteV1RoleData(box);
    std::string gotBox = "stale";
    unsigned rights = 99;
    SamParser::ParseV1RoleData(v1, gotBox, rights);
    EXPECT_EQ(gotBox, box);
    EXPECT_EQ(rights, 0u);
  }
  // A new role parses empty data: the defaults of a role.
  std::string box = "x";
  unsigned rights = 5;
  bool local = true, visible = false;
  SamParser::ParseV2RoleData("", box, rights, local, visible);
  EXPECT_EQ(box, "");
  EXPECT_EQ(rights, 0u);
  EXPECT_FALSE(local);
  EXPECT_TRUE(visible);
}

TEST(SamParserTest, AssignmentData) {
  const long times[][2] = {{0, 0}, {1700000000, 1800000000}, {LONG_MIN, LONG_MAX}, {-1, 1}};
  for (const auto& t : times) {
    long from = 7, to = 7;
    SamParser::ParseV1AssignmentData(SamParser::WriteV1AssignmentData(t[0], t[1]), from, to);
    EXPECT_EQ(from, t[0]);
    EXPECT_EQ(to, t[1]);
    for (const std::string& ptype : kHostile) {
      SCOPED_TRACE(ptype);
      std::string blob = SamParser::WriteV2AssignmentData(t[0], t[1], ptype);
      std::string got = "stale";
      SamParser::ParseV2AssignmentData(blob, from, to, got);
      EXPECT_EQ(from, t[0]);
      EXPECT_EQ(to, t[1]);
      EXPECT_EQ(got, ptype);
    }
  }
  // The search for all-users assignments relies on this text.
  for (const char* letter : {"a", "x", "u", "g", "#", "%"}) {
    std::string blob = SamParser::WriteV2AssignmentData(0, 0, letter);
    EXPECT_NE(blob.find(std::string("ptype=") + letter), std::string::npos) << blob;
  }
  // A principal-like value cannot fake the marker.
  EXPECT_EQ(SamParser::WriteV2AssignmentData(0, 0, "ptype=a").find("ptype=a"), std::string::npos);
}

TEST(SamParserTest, CommandData) {
  for (const std::string& text : kHostile) {
    SCOPED_TRACE(text);
    std::string blob =
        SamParser::WriteV2CommandData(text, -1, text + "r", text + "s", INT_MIN, 022, text + "k",
                                      text + "d", text + "p", text + "a", INT_MAX);
    EXPECT_TRUE(IsPrintableText(blob));
    std::string cmd, runas, shell, keep, del, path, add;
    int form = 0, pri = 0, umask = 0, flags = 0;
    SamParser::ParseV2CommandData(blob, cmd, form, runas, shell, pri, umask, keep, del, path, add,
                                  flags);
    EXPECT_EQ(cmd, text);
    EXPECT_EQ(form, -1);
    EXPECT_EQ(runas, text + "r");
    EXPECT_EQ(shell, text + "s");
    EXPECT_EQ(pri, INT_MIN);
    EXPECT_EQ(umask, 022);
    EXPECT_EQ(keep, text + "k");
    EXPECT_EQ(del, text + "d");
    EXPECT_EQ(path, text + "p");
    EXPECT_EQ(add, text + "a");
    EXPECT_EQ(flags, INT_MAX);

    std::string v1 = SamParser::WriteV1CommandData(text, 1, text + "r", 2, 3, text + "k",
                                                   text + "d", text + "p", text + "a", 4);
    SamParser::ParseV1CommandData(v1, cmd, form, runas, pri, umask, keep, del, path, add, flags);
    EXPECT_EQ(cmd, text);
    EXPECT_EQ(form, 1);
    EXPECT_EQ(runas, text + "r");
    EXPECT_EQ(pri, 2);
    EXPECT_EQ(umask, 3);
    EXPECT_EQ(keep, text + "k");
    EXPECT_EQ(del, text + "d");
    EXPECT_EQ(path, text + "p");
    EXPECT_EQ(add, text + "a");
    EXPECT_EQ(flags, 4);
  }
}

TEST(SamParserTest, PamScopeApplicationStore) {
  // The predefined PAM rights write the text literally.
  EXPECT_EQ(SamParser::WriteV2PamData("qvssh-*"), "app=qvssh-*");
  std::string app;
  SamParser::ParseV2PamData("app=*", app);
  EXPECT_EQ(app, "*");
  for (const std::string& text : kHostile) {
    SCOPED_TRACE(text);
    std::string got = "stale";
    SamParser::ParseV1PamData(SamParser::WriteV1PamData(text), got);
    EXPECT_EQ(got, text);
    got = "stale";
    SamParser::ParseV2PamData(SamParser::WriteV2PamData(text), got);
    EXPECT_EQ(got, text);
    got = "stale";
    SamParser::ParseV2ScopeData(SamParser::WriteV2ScopeData(text), got);
    EXPECT_EQ(got, text);
  }
  std::string group = "stale";
  SamParser::ParseV2ScopeData("", group);  // a scope that is no access zone
  EXPECT_EQ(group, "");

  for (bool enabled : {true, false}) {
    bool got = !enabled;
    SamParser::ParseV1ApplicationData(SamParser::WriteV1ApplicationData(enabled), got);
    EXPECT_EQ(got, enabled);
  }

  const Int64 values[] = {Int64(0), Int64::fromUnixTime(1700000000), Int64(INT64_MIN),
                          Int64(INT64_MAX)};
  for (const Int64& a : values) {
    for (const Int64& b : values) {
      Int64 x = 1, y = 1, z = 1;
      SamParser::ParseV2StoreData(SamParser::WriteV2StoreData(a, b, a), x, y, z);
      EXPECT_EQ(x.value(), a.value());
      EXPECT_EQ(y.value(), b.value());
      EXPECT_EQ(z.value(), a.value());
    }
  }
}

TEST(SamParserTest, MalformedBlobsAreRefusedAndLeaveTheOutputs) {
  struct Case {
    const char* label;
    std::string blob;
    const char* message;
  } cases[] = {
      {"no '='", "timebox", "Malformed role data: field without '=' near \"timebox\""},
      {"trailing ';'", "sysrights=1;", "Malformed role data: field without '=' near \"\""},
      {"empty key", "=1", "Malformed role data: empty key"},
      {"repeated key", "sysrights=1;sysrights=2", "Malformed role data: key sysrights repeated"},
      {"raw '=' in value", "sysrights=1=2",
       "Malformed role data: unescaped '=' in the value of sysrights"},
      {"lone backslash", "timebox=\\", "Malformed role data: lone '\\' at the end of timebox"},
      {"bad escape", "timebox=\\q", "Malformed role data: bad escape in the value of timebox"},
      {"short hex escape", "timebox=\\x4",
       "Malformed role data: bad escape in the value of timebox"},
      {"odd hex", "timebox=abc", "Malformed role data: bad hex digits for timebox"},
      {"hex with g", "timebox=0g", "Malformed role data: bad hex digits for timebox"},
      {"negative rights", "sysrights=-1", "Malformed role data: bad number for sysrights"},
      {"rights above 32 bits", "sysrights=4294967296",
       "Malformed role data: bad number for sysrights"},
      {"rights with blank", "sysrights= 1", "Malformed role data: bad number for sysrights"},
      {"flag of 2", "visible=2", "Malformed role data: bad flag for visible"},
      {"flag word", "allowlocaluser=true", "Malformed role data: bad flag for allowlocaluser"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    std::string box = "keep";
    unsigned rights = 42;
    bool local = true, visible = false;
    try {
      SamParser::ParseV2RoleData(c.blob, box, rights, local, visible);
      ADD_FAILURE() << "accepted";
    } catch (const kesh::BadDataException& e) {
      EXPECT_STREQ(e.what(), c.message);
    }
    EXPECT_EQ(box, "keep");
    EXPECT_EQ(rights, 42u);
    EXPECT_TRUE(local);
    EXPECT_FALSE(visible);
  }
  long from = 0, to = 0;
  EXPECT_THROW(SamParser::ParseV1AssignmentData("from=99999999999999999999", from, to),
               kesh::BadDataException);
  int form = 0, pri = 0, umask = 0, flags = 0;
  std::string s;
  EXPECT_THROW(
      SamParser::ParseV1CommandData("form=2147483648", s, form, s, pri, umask, s, s, s, s, flags),
      kesh::BadDataException);
  Int64 a, b, c;
  EXPECT_THROW(SamParser::ParseV2StoreData("role=1e5", a, b, c), kesh::BadDataException);
  // Keys a kind does not know are passed over.
  std::string group;
  SamParser::ParseV2ScopeData("future=1;group=g1", group);
  EXPECT_EQ(group, "g1");
}

TEST(SamParserTest, AuditLevels) {
  struct Case {
    unsigned rights;
    const char* level;
    bool alwaysPermit;
  } cases[] = {
      {0, "AuditIfPossible", false},         {16, "AuditNotRequested", false},
      {32, "AuditRequired", false},          {48, "Unknown", false},
      {75, "AuditIfPossible", true},         {107, "AuditRequired", true},
      {0xffffffcf, "AuditIfPossible", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.rights);
    EXPECT_EQ(AuditLevelToString(GetAuditLevelFromSysRights(c.rights)), c.level);
    EXPECT_EQ(IsAlwaysPermitLogin(c.rights), c.alwaysPermit);
  }
  EXPECT_EQ(AuditLevelToString(-1), "Unknown");
}

}  // namespace
}  // namespace sam
