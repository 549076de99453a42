#include "directory/library/strings.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <ctime>

namespace kesh {
namespace {

TEST(StringsTest, CaseAndTrim) {
  EXPECT_EQ(lower("CN=Joe,DC=Example"), "cn=joe,dc=example");
  EXPECT_EQ(upper("s-1-5-21"), "S-1-5-21");
  EXPECT_EQ(lower("\xc3\x84Z"), "\xc3\x84z");  // bytes above 0x7f pass
  struct Case {
    const char* in;
    const char* out;
  } cases[] = {
      {"  name  ", "name"}, {"\t\r\n name \f\v", "name"}, {"   ", ""}, {"", ""},
      {"a b", "a b"},       {" a  b ", "a  b"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.in);
    EXPECT_EQ(trimWhiteSpace(c.in), c.out);
  }
}

using Pieces = std::vector<std::string>;

TEST(StringsTest, Splitting) {
  struct Case {
    const char* label;
    Pieces (*run)(const std::string&);
    const char* text;
    Pieces expected;
  } cases[] = {
      {"ACE fields keep empties",
       [](const std::string& t) {
         Pieces p;
         StringSplit(';', t, p);
         return p;
       },
       "A;;GA;;;WD",
       {"A", "", "GA", "", "", "WD"}},
      {"attribute list",
       [](const std::string& t) {
         Pieces p;
         StringSplit(',', t, p);
         return p;
       },
       "cn,description,",
       {"cn", "description", ""}},
      {"StringSplit of empty",
       [](const std::string& t) {
         Pieces p{"stale"};
         StringSplit(',', t, p);
         return p;
       },
       "",
       {}},
      {"DACL at (",
       [](const std::string& t) {
         Pieces p;
         StringSplit('(', t, p);
         return p;
       },
       "D:PAI(A;;GA;;;WD)(A;;GR;;;AU)",
       {"D:PAI", "A;;GA;;;WD)", "A;;GR;;;AU)"}},
      {"CrackString drops empties",
       [](const std::string& t) {
         Pieces p;
         CrackString(t, "()", p);
         return p;
       },
       "(A;;GA;;;WD)(A;;GR;;;AU)",
       {"A;;GA;;;WD", "A;;GR;;;AU"}},
      {"CrackString of separators only",
       [](const std::string& t) {
         Pieces p{"stale"};
         CrackString(t, "()", p);
         return p;
       },
       "()()",
       {}},
      {"split at any separator",
       [](const std::string& t) {
         Pieces p;
         split(t, ", ", p);
         return p;
       },
       "a, b,c",
       {"a", "", "b", "c"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(c.run(c.text), c.expected);
  }
  std::list<std::string> list{"stale"};
  split("x:y", ":", list);
  EXPECT_EQ(list, (std::list<std::string>{"x", "y"}));
}

TEST(StringsTest, PrefixesAndSuffixes) {
  EXPECT_TRUE(startsWith("rs-env", "rs-", true, false));
  EXPECT_TRUE(startsWith("RS-env", "rs-", true, false));
  EXPECT_FALSE(startsWith("RS-env", "rs-", false, false));
  EXPECT_FALSE(startsWith("  rs-env", "rs-", false, false));
  EXPECT_TRUE(startsWith("  rs-env", "rs-", false, true));
  EXPECT_FALSE(startsWith("rs", "rs-"));
  EXPECT_TRUE(startsWith("", ""));
  EXPECT_TRUE(endsWith("jdoe@localhost", "@LOCALHOST", true));
  EXPECT_FALSE(endsWith("jdoe@localhost", "@LOCALHOST", false));
  EXPECT_TRUE(endsWith("name \n", "name", false, true));
  EXPECT_FALSE(endsWith("e", "name"));

  EXPECT_EQ(StripSuffix("bf967aba-", "-"), "bf967aba");
  EXPECT_EQ(StripSuffix("bf967aba-0de6", "-"), "bf967aba-0de6");
  EXPECT_EQ(StripSuffix("host.example.test", ".example.test"), "host");
  EXPECT_EQ(StripSuffix("x", ""), "x");
  EXPECT_EQ(StripSuffix("", "-"), "");
}

TEST(StringsTest, Printable) {
  EXPECT_EQ(printable("plain text"), "plain text");
  EXPECT_EQ(printable(std::string("a\0b\n\\\x7f\xc3", 7)), "a\\x00b\\x0a\\\\\\x7f\\xc3");
}

TEST(StringsTest, Numbers) {
  EXPECT_EQ(itoa(0, 10), "0");
  EXPECT_EQ(itoa(-255, 16), "-ff");
  EXPECT_EQ(itoa(5, 2), "101");
  EXPECT_EQ(itoa(LLONG_MIN, 10), "-9223372036854775808");
  EXPECT_EQ(itoa(35, 36), "z");
  EXPECT_EQ(itoa(1, 1), "");
  EXPECT_EQ(itoa(1, 37), "");
  EXPECT_EQ(uitoa(4294967295u, 10), "4294967295");
  EXPECT_EQ(uitoa(ULLONG_MAX, 16), "ffffffffffffffff");

  struct Case {
    const char* text;
    unsigned value;
  } cases[] = {
      {"1000", 1000},
      {"  42", 42},
      {"12ab", 12},
      {"ab12", 0},
      {"", 0},
      {"-5", 0},
      {"+5", 0},
      {"0007", 7},
      {"4294967295", 4294967295u},
      {"4294967296", 4294967295u},
      {"99999999999999999999", 4294967295u},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(atoui(c.text), c.value);
  }
  EXPECT_TRUE(IsDigitChar('0'));
  EXPECT_TRUE(IsDigitChar('9'));
  EXPECT_FALSE(IsDigitChar('a'));
  EXPECT_FALSE(IsDigitChar('/'));
  EXPECT_FALSE(IsDigitChar(':'));
}

TEST(StringsTest, VSFormatsBeyondAnyBuffer) {
  EXPECT_EQ(VS("%s=%d", "uid", 1000), "uid=1000");
  EXPECT_EQ(VS("%s", ""), "");
  std::string longText(3000, 'x');
  EXPECT_EQ(VS("<%s>", longText.c_str()), "<" + longText + ">");
}

TEST(StringsTest, Strtime) {
  const char* old = getenv("TZ");
  std::string saved = old ? old : "";
  setenv("TZ", "UTC", 1);
  tzset();
  long t = 1700000000;
  EXPECT_EQ(strtime(&t), "2023-11-14 22:13:20");
  long zero = 0;
  EXPECT_EQ(strtime(&zero), "1970-01-01 00:00:00");
  EXPECT_EQ(strtime(nullptr), "");
  if (old) {
    setenv("TZ", saved.c_str(), 1);
  } else {
    unsetenv("TZ");
  }
  tzset();
}

TEST(StringsTest, HexOfTimeBoxes) {
  std::string timebox(21, '\0');
  timebox[0] = '\x01';
  timebox[20] = '\xfe';
  std::string hex = Uint8ArrayToHex(reinterpret_cast<const uint8_t*>(timebox.data()), 21, false);
  EXPECT_EQ(hex, "01" + std::string(38, '0') + "fe");
  EXPECT_EQ(Uint8ArrayToHex(timebox, 21, true), "01" + std::string(38, '0') + "FE");
  EXPECT_EQ(Uint8ArrayToHex(std::string(), 21, false), std::string(42, '0'));
  EXPECT_EQ(Uint8ArrayToHex(std::string("\xab\xcd\xef", 3), 2, false), "abcd");

  uint8_t buffer[21];
  ASSERT_TRUE(HexToUint8Array(hex, buffer, 21, false));
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), 21), timebox);
  ASSERT_TRUE(HexToUint8Array("01" + std::string(38, '0') + "FE", buffer, 21, false));
  EXPECT_EQ(buffer[20], 0xfe);

  struct Bad {
    const char* label;
    std::string text;
    bool allowShort;
  } bad[] = {
      {"41 digits", std::string(41, 'a'), false},    {"43 digits", std::string(43, 'a'), false},
      {"44 digits", std::string(44, 'a'), true},     {"a g", std::string(41, 'a') + "g", false},
      {"short not allowed", "abcd", false},          {"odd short", "abc", true},
      {"blank", std::string(40, '0') + " 1", false},
  };
  for (const Bad& b : bad) {
    SCOPED_TRACE(b.label);
    uint8_t out[21];
    for (uint8_t& x : out) x = 0x55;
    EXPECT_FALSE(HexToUint8Array(b.text, out, 21, b.allowShort));
    EXPECT_EQ(out[0], 0x55);  // untouched
  }
  uint8_t out[4] = {9, 9, 9, 9};
  ASSERT_TRUE(HexToUint8Array("abCD", out, 4, true));
  EXPECT_EQ(std::vector<uint8_t>(out, out + 4), (std::vector<uint8_t>{0xab, 0xcd, 0, 0}));
  ASSERT_TRUE(HexToUint8Array("", out, 4, true));
  EXPECT_EQ(out[0], 0);
}

}  // namespace
}  // namespace kesh
