#include "directory/library/guid.h"

#include <gtest/gtest.h>

#include <set>

#include "directory/library/exceptions.h"
#include "test_bytes.h"

namespace kesh {
namespace {

// The schemaIDGUID of the user class, as Microsoft documents it, and its stored bytes.
const char kUserClassText[] = "bf967aba-0de6-11d0-a285-00aa003049e2";
const std::string kUserClassBytes = Bytes({0xba, 0x7a, 0x96, 0xbf, 0xe6, 0x0d, 0xd0, 0x11, 0xa2,
                                           0x85, 0x00, 0xaa, 0x00, 0x30, 0x49, 0xe2});

TEST(GuidTest, MicrosoftTextAndStoredBytes) {
  Guid guid = Guid::fromRealMSString(kUserClassText);
  EXPECT_EQ(guid.toBytes(), kUserClassBytes);
  EXPECT_EQ(guid.toRealMSString(), kUserClassText);
  EXPECT_EQ(guid.toString(), "BA7A96BFE60DD011A28500AA003049E2");
  EXPECT_EQ(guid.toEscapedString(),
            "\\ba\\7a\\96\\bf\\e6\\0d\\d0\\11\\a2\\85\\00\\aa\\00\\30\\49\\e2");
  EXPECT_EQ(guid.toDN(), "<GUID=BA7A96BFE60DD011A28500AA003049E2>");
  EXPECT_EQ(Guid::fromBytes(kUserClassBytes), guid);
}

TEST(GuidTest, WellKnownSystemContainerGuid) {
  // The WKGUID of the System container is written in storage order.
  Guid guid = Guid::fromString("AB1D30F3768811D1ADED00C04FD8D5CD");
  EXPECT_EQ(guid.toRealMSString(), "f3301dab-8876-d111-aded-00c04fd8d5cd");
  EXPECT_EQ(Guid::fromRealMSString("F3301DAB-8876-D111-ADED-00C04FD8D5CD"), guid);
}

TEST(GuidTest, AcceptedTextForms) {
  const Guid expected = Guid::fromBytes(kUserClassBytes);
  struct Case {
    const char* label;
    Guid (*parse)(const std::string&);
    const char* text;
  } cases[] = {
      {"dashed", Guid::fromRealMSString, "bf967aba-0de6-11d0-a285-00aa003049e2"},
      {"dashed upper", Guid::fromRealMSString, "BF967ABA-0DE6-11D0-A285-00AA003049E2"},
      {"braced", Guid::fromRealMSString, "{bf967aba-0de6-11d0-a285-00aa003049e2}"},
      {"plain", Guid::fromString, "BA7A96BFE60DD011A28500AA003049E2"},
      {"plain lower", Guid::fromString, "ba7a96bfe60dd011a28500aa003049e2"},
      {"hex value", Guid::fromHexValue, "ba7a96bfe60dd011a28500aa003049e2"},
      {"escaped hex value", Guid::fromHexValue,
       "\\ba\\7a\\96\\bf\\e6\\0d\\d0\\11\\a2\\85\\00\\aa\\00\\30\\49\\e2"},
      {"extended DN, plain", Guid::fromExtendedDN,
       "<GUID=BA7A96BFE60DD011A28500AA003049E2>;<SID=0105>;CN=User,CN=Schema"},
      {"extended DN, dashed", Guid::fromExtendedDN,
       "<guid=bf967aba-0de6-11d0-a285-00aa003049e2>;CN=User,CN=Schema"},
      {"extended DN after SID", Guid::fromExtendedDN,
       "<SID=S-1-5-11>;<GUID=bf967aba-0de6-11d0-a285-00aa003049e2>"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(c.parse(c.text), expected);
  }
}

TEST(GuidTest, RefusedTextForms) {
  struct Case {
    const char* label;
    Guid (*parse)(const std::string&);
    std::string text;
    const char* message;
  } cases[] = {
      {"empty", Guid::fromRealMSString, "", "Invalid GUID string: "},
      {"no dashes", Guid::fromRealMSString, "bf967aba0de611d0a28500aa003049e2",
       "Invalid GUID string: bf967aba0de611d0a28500aa003049e2"},
      {"dash misplaced", Guid::fromRealMSString, "bf967ab-a0de6-11d0-a285-00aa003049e2",
       "Invalid GUID string: bf967ab-a0de6-11d0-a285-00aa003049e2"},
      {"bad digit", Guid::fromRealMSString, "bf967abg-0de6-11d0-a285-00aa003049e2",
       "Invalid GUID string: bf967abg-0de6-11d0-a285-00aa003049e2"},
      {"one brace", Guid::fromRealMSString, "{bf967aba-0de6-11d0-a285-00aa003049e2",
       "Invalid GUID string: {bf967aba-0de6-11d0-a285-00aa003049e2"},
      {"too long", Guid::fromRealMSString, "bf967aba-0de6-11d0-a285-00aa003049e20",
       "Invalid GUID string: bf967aba-0de6-11d0-a285-00aa003049e20"},
      {"embedded NUL", Guid::fromRealMSString,
       std::string("bf967aba-0de6-11d0-a285-00aa003049e2\0", 37),
       "Invalid GUID string: bf967aba-0de6-11d0-a285-00aa003049e2"},
      {"31 digits", Guid::fromString, "BA7A96BFE60DD011A28500AA003049E",
       "Invalid GUID string: BA7A96BFE60DD011A28500AA003049E"},
      {"33 digits", Guid::fromString, "BA7A96BFE60DD011A28500AA003049E20",
       "Invalid GUID string: BA7A96BFE60DD011A28500AA003049E20"},
      {"plain with dashes", Guid::fromString, "bf967aba-0de6-11d0-a285-00aa003049e2",
       "Invalid GUID string: bf967aba-0de6-11d0-a285-00aa003049e2"},
      {"escaped, one slash missing", Guid::fromHexValue,
       "\\ba\\7a\\96\\bf\\e6\\0d\\d0\\11\\a2\\85\\00\\aa\\00\\30\\49xe2",
       "Invalid GUID hex value: \\ba\\7a\\96\\bf\\e6\\0d\\d0\\11\\a2\\85\\00\\aa\\00\\30\\49xe2"},
      {"no GUID part", Guid::fromExtendedDN, "<SID=S-1-5-11>;CN=x",
       "No GUID in extended DN: <SID=S-1-5-11>;CN=x"},
      {"unclosed GUID part", Guid::fromExtendedDN, "<GUID=BA7A96BFE60DD011A28500AA003049E2",
       "No GUID in extended DN: <GUID=BA7A96BFE60DD011A28500AA003049E2"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    try {
      c.parse(c.text);
      ADD_FAILURE() << "accepted";
    } catch (const BadDataException& e) {
      EXPECT_STREQ(e.what(), c.message);
    }
  }
  EXPECT_THROW(Guid::fromBytes(std::string(15, 'x')), BadDataException);
  EXPECT_THROW(Guid::fromBytes(std::string(17, 'x')), BadDataException);
}

TEST(GuidTest, ValidStringFormat) {
  struct Case {
    const char* text;
    bool valid;
  } cases[] = {
      {"bf967aba-0de6-11d0-a285-00aa003049e2", true},
      {"{BF967ABA-0DE6-11D0-A285-00AA003049E2}", true},
      {"00000000-0000-0000-0000-000000000000", true},
      {"bf967aba-0de6-11d0-a285-00aa003049e", false},
      {"bf967aba-0de6-11d0-a285-00aa003049e2}", false},
      {"{bf967aba-0de6-11d0-a285-00aa003049e2", false},
      {"bf967aba+0de6-11d0-a285-00aa003049e2", false},
      {"bf967aba-0de6-11d0-a285-00aa003049ez", false},
      {"BA7A96BFE60DD011A28500AA003049E2", false},
      {"", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(Guid::isValidGuidStringFormat(c.text), c.valid);
  }
  EXPECT_FALSE(Guid::isValidGuidStringFormat(nullptr));
}

TEST(GuidTest, NullAndGenerated) {
  EXPECT_TRUE(NULL_GUID.isNull());
  EXPECT_TRUE(Guid().isNull());
  EXPECT_EQ(NULL_GUID.toRealMSString(), "00000000-0000-0000-0000-000000000000");
  std::set<Guid> seen;
  for (int i = 0; i < 100; ++i) {
    Guid guid = Guid::generate();
    EXPECT_FALSE(guid.isNull());
    // A random GUID shows version 4 and the RFC variant in the Microsoft text.
    std::string text = guid.toRealMSString();
    EXPECT_EQ(text[14], '4') << text;
    EXPECT_NE(std::string("89ab").find(text[19]), std::string::npos) << text;
    EXPECT_TRUE(seen.insert(guid).second);
  }
}

}  // namespace
}  // namespace kesh
