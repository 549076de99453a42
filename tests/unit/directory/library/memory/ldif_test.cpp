// LDIF reading and writing of the in-memory directory, and the fixtures' round trip.
#include "directory/library/memory/ldif.h"

#include <gtest/gtest.h>

#include <string>

#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/memory/memdir.h"

namespace kesh {
namespace memdir {
namespace {

std::string Fixture(const char* name) { return std::string(ZS_FIXTURES_DIR) + "/" + name; }

TEST(LdifTest, ReadsTheContentForm) {
  const std::string text =
      "version: 1\n"
      "# a comment\n"
      "#  that goes on\n"
      " and on\n"
      "dn: CN=A,DC=x\r\n"
      "changetype: add\n"
      "description: first \n"
      "description:: AAEC/w==\n"
      "displayName: folded \n"
      " over two lines\n"
      "empty:\n"
      "\n"
      "\n"
      "dn:: Q049QsOpLERDPXg=\n"
      "cn:B\n";
  std::vector<LdifRecord> r = ParseLdif(text);
  ASSERT_EQ(r.size(), 2u);
  EXPECT_EQ(r[0].dn, "CN=A,DC=x");
  EXPECT_EQ(r[0].line, 5);
  ASSERT_EQ(r[0].values.size(), 4u);
  EXPECT_EQ(r[0].values[0].second, "first ");
  EXPECT_EQ(r[0].values[1].second, std::string("\x00\x01\x02\xff", 4));
  EXPECT_TRUE(r[0].encoded[1]);
  EXPECT_EQ(r[0].values[2].second, "folded over two lines");
  EXPECT_EQ(r[0].values[3].second, "");
  EXPECT_EQ(r[1].dn, "CN=B\xc3\xa9,DC=x");
  EXPECT_EQ(r[1].values[0], (std::pair<std::string, std::string>("cn", "B")));
}

TEST(LdifTest, RefusesWhatItCannotRead) {
  const struct {
    const char* text;
    const char* message;
  } cases[] = {
      {"cn: x\n", "LDIF line 1: a record must start with dn:"},
      {" continued\n", "LDIF line 1: continuation of nothing"},
      {"dn: CN=a\nnovalue\n", "LDIF line 2: no attribute name"},
      {"dn: CN=a\ncn:: ***\n", "LDIF line 2: bad base64 value"},
      {"dn: CN=a\nphoto:< file:///etc/passwd\n", "LDIF line 2: values from URLs are not supported"},
      {"dn: CN=a\nchangetype: modify\n", "LDIF line 2: only changetype add is supported"},
      {"dn: CN=a\ncn: a\n-\n", "LDIF line 3: no attribute name"},
      {"dn: CN=a\ncn: a\ndn: CN=b\n", "LDIF line 3: unexpected dn"},
      // A name is a type and options: a carriage return in it did not survive a fold.
      {"dn: CN=a\nc\rn: a\n", "LDIF line 2: bad attribute name"},
      {"dn: CN=a\nc n: a\n", "LDIF line 2: bad attribute name"},
      {"dn: CN=a\n-cn: a\n", "LDIF line 2: bad attribute name"},
  };
  for (const auto& c : cases) {
    try {
      ParseLdif(c.text);
      ADD_FAILURE() << "accepted " << c.text;
    } catch (const BadDataException& e) {
      EXPECT_STREQ(e.what(), c.message) << c.text;
    }
  }
}

TEST(LdifTest, Base64) {
  const std::string cases[] = {"", "a", "ab", "abc", "abcd", std::string("\0\xff\x10", 3)};
  for (const std::string& c : cases) EXPECT_EQ(Base64Decode(Base64Encode(c)), c);
  EXPECT_EQ(Base64Encode("Man"), "TWFu");
  EXPECT_EQ(Base64Encode("Ma"), "TWE=");
  EXPECT_EQ(Base64Encode("M"), "TQ==");
}

TEST(LdifTest, WritesUnsafeValuesInBase64AndFoldsLongLines) {
  std::string text =
      FormatLdifRecord("CN=x,DC=y", {{"description", " leading blank"},
                                     {"cn", "x"},
                                     {"info", std::string(100, 'z')},
                                     {"objectSid", SID("S-1-5-21-1-2-3-500").toBytes()},
                                     {"nTSecurityDescriptor", std::string("\x01\x00", 2)}});
  EXPECT_NE(text.find("description:: IGxlYWRpbmcgYmxhbms=\n"), std::string::npos);
  EXPECT_NE(text.find("cn: x\n"), std::string::npos);
  EXPECT_NE(text.find("objectSid: S-1-5-21-1-2-3-500\n"), std::string::npos);
  EXPECT_NE(text.find("nTSecurityDescriptor:: AQA=\n"), std::string::npos);
  for (size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos;
       start = end + 1) {
    EXPECT_LE(end - start, 76u);
  }
  std::vector<LdifRecord> back = ParseLdif(text);
  ASSERT_EQ(back.size(), 1u);
  EXPECT_EQ(back[0].values[2].second, std::string(100, 'z'));
}

class LdifDirectoryTest : public ::testing::Test {
 protected:
  void SetUp() override { Reset(); }
};

TEST_F(LdifDirectoryTest, FixturesRoundTrip) {
  LoadLdifFile(Fixture("example.ldif"));
  LoadLdifFile(Fixture("child.ldif"));
  LoadLdifFile(Fixture("other.ldif"));
  const std::string first = DumpLdif("", false);
  Reset();
  LoadLdif(first);
  EXPECT_EQ(DumpLdif("", false), first);
  // Generated values survive the trip: the same GUID still names the System container.
  SetCCache("MEMORY:t", "Administrator@EXAMPLE.TEST");
  auto b = NewADBinding("example.test", "MEMORY:t", false, "", "", nullptr);
  b->connect("", "", 0);
  ADObject system = b->fetch("<WKGUID=AB1D30F3768811D1ADED00C04FD8D5CD,DC=example,DC=test>",
                             nullptr, AD_ALL_OBJECTS, 0);
  EXPECT_EQ(system.dn(), "CN=System,DC=example,DC=test");
  EXPECT_NE(first.find("objectGUID: " + system.guid().toRealMSString()), std::string::npos);
}

TEST_F(LdifDirectoryTest, DumpOfOneObjectAndSubtree) {
  LoadLdifFile(Fixture("example.ldif"));
  std::string one = DumpLdif("cn=system,dc=example,dc=test", false);
  EXPECT_EQ(
      one.rfind("dn: CN=System,DC=example,DC=test\nobjectClass: top\nobjectClass: container\n", 0),
      0u);
  std::string tree = DumpLdif("CN=Users,DC=example,DC=test", true);
  size_t records = 0;
  for (size_t p = 0; (p = tree.find("\ndn: ", p)) != std::string::npos; ++p) ++records;
  EXPECT_EQ(records + 1, 17u);
  EXPECT_THROW(DumpLdif("CN=Nothing,DC=example,DC=test", false), LDAPException);
}

TEST_F(LdifDirectoryTest, LoaderErrorsNameTheEntry) {
  LoadLdifFile(Fixture("example.ldif"));
  const struct {
    const char* text;
    int rc;
    const char* message;
  } cases[] = {
      {"dn: CN=x,CN=Nowhere,DC=example,DC=test\nobjectClass: user\n", 32,
       "add CN=x,CN=Nowhere,DC=example,DC=test: No such object: parent "
       "CN=Nowhere,DC=example,DC=test does not exist (LDIF line 1)"},
      {"dn: CN=Users,DC=example,DC=test\nobjectClass: container\n", 68,
       "add CN=Users,DC=example,DC=test: Already exists (LDIF line 1)"},
      {"\n\ndn: CN=y,CN=Users,DC=example,DC=test\ndescription: no class\n", 65,
       "add CN=y,CN=Users,DC=example,DC=test: Object class violation: no objectClass (LDIF line "
       "3)"},
      // LDIF keeps "dn" for the entry's name: no attribute may have it, so no RDN either.
      {"dn: dn=x,CN=Users,DC=example,DC=test\nobjectClass: container\n", 64,
       "add dn=x,CN=Users,DC=example,DC=test: Naming violation: dn names no attribute (LDIF "
       "line 1)"},
      // A second head with the DNS name of a loaded domain took that domain's place.
      {"dn: CN=Head,DC=example,DC=test\nobjectClass: domainDNS\n", 68,
       "add CN=Head,DC=example,DC=test: Already exists: domain example.test (LDIF line 1)"},
  };
  for (const auto& c : cases) {
    try {
      LoadLdif(c.text);
      ADD_FAILURE() << "loaded " << c.text;
    } catch (const LDAPException& e) {
      EXPECT_EQ(e.rc(), c.rc) << c.text;
      EXPECT_STREQ(e.what(), c.message);
    }
  }
  EXPECT_THROW(LoadLdif("dn:\ndnsHostName: x\n"), BadDataException) << "root DSE without NC";
  EXPECT_THROW(LoadLdifFile(Fixture("no-such-file.ldif")), BadDataException);
  EXPECT_THROW(LoadLdif("dn: CN=z,CN=Users,DC=example,DC=test\nobjectClass: user\n"
                        "objectSid: S-1-5-x\n"),
               BadDataException);
}

}  // namespace
}  // namespace memdir
}  // namespace kesh
