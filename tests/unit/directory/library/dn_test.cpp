#include "directory/library/dn.h"

#include <gtest/gtest.h>

namespace kesh {
namespace {

TEST(DnTest, DomainConversions) {
  struct Case {
    const char* domain;
    const char* dn;
  } cases[] = {
      {"example.test", "DC=example,DC=test"},
      {"a.b.example.test", "DC=a,DC=b,DC=example,DC=test"},
      {"single", "DC=single"},
      {"", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.domain);
    EXPECT_EQ(DN::dnFromDomain(c.domain), c.dn);
    EXPECT_EQ(DN::domainFromDN(c.dn), c.domain);
  }
  EXPECT_EQ(DN::dnFromDomain("example.test."), "DC=example,DC=test");
  EXPECT_EQ(DN::domainFromDN("CN=Joe,CN=Users,DC=Example, dc=TEST"), "Example.TEST");
  EXPECT_EQ(DN::domainFromDN("CN=Joe,OU=dc,O=x"), "");
  // An escaped comma does not end a component.
  EXPECT_EQ(DN::domainFromDN("CN=a\\,DC=fake,DC=real"), "real");
}

TEST(DnTest, Components) {
  struct Case {
    const char* dn;
    const char* rdn;
    const char* cn;
    const char* parent;
    std::vector<std::string> exploded;
  } cases[] = {
      {"CN=Joe,CN=Users,DC=example,DC=test",
       "CN=Joe",
       "Joe",
       "CN=Users,DC=example,DC=test",
       {"CN=Joe", "CN=Users", "DC=example", "DC=test"}},
      {"CN=Smith\\, Joe,OU=x",
       "CN=Smith\\, Joe",
       "Smith\\, Joe",
       "OU=x",
       {"CN=Smith\\, Joe", "OU=x"}},
      {"cn=a, cn=b,  dc=c", "cn=a", "a", "cn=b,  dc=c", {"cn=a", "cn=b", "dc=c"}},
      {"CN=trailing\\\\,DC=x",
       "CN=trailing\\\\",
       "trailing\\\\",
       "DC=x",
       {"CN=trailing\\\\", "DC=x"}},
      {"DC=test", "DC=test", "test", "", {"DC=test"}},
      {"CN=a=b,DC=x", "CN=a=b", "a=b", "DC=x", {"CN=a=b", "DC=x"}},
      {"CN=S-1-5-11,CN=ForeignSecurityPrincipals,DC=x",
       "CN=S-1-5-11",
       "S-1-5-11",
       "CN=ForeignSecurityPrincipals,DC=x",
       {"CN=S-1-5-11", "CN=ForeignSecurityPrincipals", "DC=x"}},
      {"<WKGUID=AB1D30F3768811D1ADED00C04FD8D5CD,DC=example,DC=test>",
       "<WKGUID=AB1D30F3768811D1ADED00C04FD8D5CD,DC=example,DC=test>",
       nullptr,
       "",
       {"<WKGUID=AB1D30F3768811D1ADED00C04FD8D5CD,DC=example,DC=test>"}},
      {"", "", "", "", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.dn);
    EXPECT_EQ(DN::rdn(c.dn), c.rdn);
    if (c.cn) {
      EXPECT_EQ(DN::cnFromDn(c.dn), c.cn);
    }
    EXPECT_EQ(DN::parent(c.dn), c.parent);
    EXPECT_EQ(DN::explode(c.dn), c.exploded);
  }
  // Four levels up, as the owner of a right is found.
  EXPECT_EQ(DN::cnFromDn(DN::parent(DN::parent(DN::parent(
                DN::parent("CN=r,CN=Rights,CN=Authorization,CN=x,CN=zone1,CN=Zones,DC=t"))))),
            "zone1");
}

TEST(DnTest, Escaping) {
  EXPECT_EQ(DN::escapeLDAPFilter("a*b(c)d\\e"), "a\\2ab\\28c\\29d\\5ce");
  EXPECT_EQ(DN::escapeLDAPFilter(std::string("x\0y", 3)), "x\\00y");
  EXPECT_EQ(DN::escapeLDAPFilter("plain text ,=+"), "plain text ,=+");
  EXPECT_EQ(DN::escapeLDAPFilter(""), "");

  struct Case {
    const char* value;
    const char* escaped;
  } rdnCases[] = {
      {"Smith, Joe", "Smith\\, Joe"},
      {"a+b\"c\\d<e>f;g=h", "a\\+b\\\"c\\\\d\\<e\\>f\\;g\\=h"},
      {"#lead", "\\#lead"},
      {"mid#dle", "mid#dle"},
      {" lead and trail ", "\\ lead and trail\\ "},
      {"line\nfeed", "line\\0Afeed"},
      {"", ""},
  };
  for (const Case& c : rdnCases) {
    SCOPED_TRACE(c.value);
    EXPECT_EQ(DN::escapeRDNValue(c.value), c.escaped);
    EXPECT_EQ(DN::unescapeDNString(c.escaped), c.value);
  }

  // The NIS entry names: blanks and line ends as hex pairs, the DN specials with a backslash.
  const std::string hexChars = " \r\n";
  const std::string chars = ",+\"\\<>;=#";
  EXPECT_EQ(DN::escape("a b,c", hexChars, chars, false), "a\\20b\\,c");
  EXPECT_EQ(DN::escape("k\r\n#=1", hexChars, chars, false), "k\\0D\\0A\\#\\=1");
  EXPECT_EQ(DN::escape("a b,c", hexChars, chars, true), "a\\20b\\2Cc");
  EXPECT_EQ(DN::unescapeDNString(DN::escape("x \\y;", hexChars, chars, false)), "x \\y;");
}

TEST(DnTest, Unescape) {
  struct Case {
    const char* in;
    std::string out;
  } cases[] = {
      {"a\\,b", "a,b"},
      {"a\\2Cb", "a,b"},
      {"a\\2cb", "a,b"},
      {"\\c3\\a9", "\xc3\xa9"},
      {"\\00", std::string("\0", 1)},
      {"trailing\\", "trailing\\"},
      {"\\2", "2"},  // not a hex pair: the character itself
      {"\\\\", "\\"},
      {"none", "none"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.in);
    EXPECT_EQ(DN::unescapeDNString(c.in), c.out);
  }
}

TEST(DnTest, ExtendedDn) {
  EXPECT_EQ(DN::dnFromExtendedDN("<GUID=abc>;<SID=def>;CN=x,DC=y"), "CN=x,DC=y");
  EXPECT_EQ(DN::dnFromExtendedDN("<GUID=abc>;CN=x,DC=y"), "CN=x,DC=y");
  EXPECT_EQ(DN::dnFromExtendedDN("CN=x,DC=y"), "CN=x,DC=y");
  EXPECT_EQ(DN::dnFromExtendedDN("fake"), "fake");
  EXPECT_EQ(DN::dnFromExtendedDN("<GUID=abc>"), "");
  EXPECT_EQ(DN::dnFromExtendedDN(""), "");
}

TEST(DnTest, IsDn) {
  struct Case {
    const char* text;
    bool valid;
  } cases[] = {
      {"CN=zone,CN=Zones,DC=example,DC=test", true},
      {"cn=a", true},
      {"OU=Unix Zones,DC=x", true},
      {"CN=Smith\\, Joe,DC=x", true},
      {"CN=a\\2Cb,DC=x", true},
      {"CN=a+OU=b,DC=x", true},
      {"1.2.840.113556.1.4.1=v", true},
      {"CN=a=b", true},
      {"host1", false},
      {"", false},
      {"CN=", false},
      {"=value", false},
      {"CN=a,", false},
      {",CN=a", false},
      {"CN=a,,DC=x", false},
      {"C N=a", false},
      {"CN=a\\", false},
      {"CN=a\\zz", false},
      {"CN=a\\2", false},
      {"CN=a;b", false},
      {"CN=<x>", false},
      {"1..2=v", false},
      {"<GUID=BA7A96BFE60DD011A28500AA003049E2>", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(DN::isDN(c.text), c.valid);
  }
}

TEST(DnTest, EqualAndNormalize) {
  EXPECT_EQ(DN::normalize("CN=Joe, CN=Users,DC=Example,DC=TEST"),
            "cn=joe,cn=users,dc=example,dc=test");
  struct Case {
    const char* a;
    const char* b;
    bool equal;
  } cases[] = {
      {"CN=Joe,DC=x", "cn=joe, dc=X", true},  {"CN=a\\,b,DC=x", "CN=a\\2Cb,DC=x", true},
      {"CN = a , DC = x", "CN=a,DC=x", true}, {"CN=a,DC=x", "CN=a,DC=y", false},
      {"CN=a,DC=x", "CN=a\\,DC=x", false},    {"CN=a\\ ,DC=x", "CN=a,DC=x", false},
      {"<GUID=ABC>", "<guid=abc>", true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.a) + " vs " + c.b);
    EXPECT_EQ(DN::equal(c.a, c.b), c.equal);
  }
}

}  // namespace
}  // namespace kesh
