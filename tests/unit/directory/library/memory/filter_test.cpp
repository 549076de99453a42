// LDAP filter parsing and matching of the in-memory directory, against one hand-made entry.
#include "directory/library/memory/filter.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "directory/library/adbinding.h"
#include "directory/library/exceptions.h"
#include "directory/library/sid.h"

namespace kesh {
namespace memdir {
namespace {

const char kSid[] = "S-1-5-21-3623811015-3361044348-30300820-1101";

class MapSource : public AttributeSource {
 public:
  MapSource() {
    attrs_["objectClass"] = {"top", "person", "organizationalPerson", "user"};
    attrs_["cn"] = {"Alice Able"};
    attrs_["sAMAccountName"] = {"alice"};
    attrs_["description"] = {"a*b(c)d\\e", "second value"};
    attrs_["objectCategory"] = {"CN=Person,CN=Schema,CN=Configuration,DC=example,DC=test"};
    attrs_["objectSid"] = {SID(kSid).toBytes()};
    attrs_["objectGUID"] = {std::string("\x01\x02\x00\x2a\xff", 5)};
    attrs_["uidNumber"] = {"10001"};
    attrs_["userAccountControl"] = {"514"};
    attrs_["memberOf"] = {"CN=UNIX Admins,CN=Users,DC=example,DC=test"};
    attrs_["whenCreated"] = {"20240101120000.0Z"};
    attrs_["displayName"] = {"\x01start"};
  }
  const std::vector<std::string>* values(const std::string& name, AttributeKind) const override {
    for (const auto& a : attrs_) {
      if (strcasecmp(a.first.c_str(), name.c_str()) == 0) return &a.second;
    }
    return nullptr;
  }
  const std::string& dn() const override { return dn_; }

 private:
  std::map<std::string, std::vector<std::string>> attrs_;
  std::string dn_ = "CN=Alice Able,CN=Users,DC=example,DC=test";
};

bool Matches(const std::string& filter) { return Filter::parse(filter).matches(MapSource()); }

TEST(FilterTest, Matching) {
  const std::string sid = SID(kSid).toEscapedString();
  const struct {
    std::string filter;
    bool match;
  } cases[] = {
      // Equality and presence, case-insensitive names and values.
      {"(sAMAccountName=alice)", true},
      {"(SAMACCOUNTNAME=ALICE)", true},
      {"(sAMAccountName=alic)", false},
      {"(cn=*)", true},
      {"(mail=*)", false},
      {"(objectClass=*)", true},
      {"(objectClass=organizationalPerson)", true},
      {"sAMAccountName=alice", true},
      {"", true},
      // Nested and, or, not.
      {"(&(cn=Alice Able)(sAMAccountName=alice))", true},
      {"(&(cn=Alice Able)(sAMAccountName=bob))", false},
      {"(|(sAMAccountName=bob)(sAMAccountName=alice))", true},
      {"(|(sAMAccountName=bob)(sAMAccountName=carol))", false},
      {"(!(sAMAccountName=bob))", true},
      {"(!(sAMAccountName=alice))", false},
      {"(&(|(cn=x)(cn=alice able))(!(|(uidNumber=1)(uidNumber=2))))", true},
      {"(&(|(cn=x)(cn=y))(!(uidNumber=1)))", false},
      {"( & (cn=Alice Able) (uidNumber=10001) )", true},
      {"(&)", true},
      {"(|)", false},
      // Substrings, also with escaped specials; any value may match.
      {"(cn=Ali*)", true},
      {"(cn=*Able)", true},
      {"(cn=*ce A*)", true},
      {"(cn=A*e*A*e)", true},
      {"(cn=A*z*e)", false},
      {"(cn=*ABLE*)", true},
      {"(description=a\\2ab\\28c\\29d\\5ce)", true},
      {"(description=a\\*b\\(c\\)d\\\\e)", true},
      {"(description=*\\2a*)", true},
      {"(description=*\\28c\\29*)", true},
      {"(description=*\\5c*)", true},
      {"(description=a\\2a*)", true},
      {"(description=a*\\5ce)", true},
      {"(description=*\\2ab\\29*)", false},
      {"(description=second*)", true},
      {"(sAMAccountName=\\61lice)", true},
      {"(displayName=\\01start)", true},
      {"(displayName=\\01*)", true},
      {"(displayName=*\\01*)", true},
      {"(displayName=\\02*)", false},
      // Binary values compare byte for byte.
      {"(objectGUID=\\01\\02\\00\\2a\\ff)", true},
      {"(objectGUID=\\01\\02\\00\\2A\\FF)", true},
      {"(objectGUID=\\01\\02\\00\\2a\\fe)", false},
      {"(objectGUID=\\01\\02*)", true},
      {"(objectSid=" + sid + ")", true},
      {"(objectSid=" + std::string(kSid) + ")", true},
      {"(objectSid=S-1-5-21-3623811015-3361044348-30300820-1102)", false},
      // Categories by class name, category name or DN; DN values normalised.
      {"(objectCategory=Person)", true},
      {"(objectCategory=person)", true},
      {"(objectCategory=user)", true},
      {"(objectCategory=group)", false},
      {"(objectCategory=ForeignSecurityPrincipal)", false},
      {"(objectCategory=CN=Person,CN=Schema,CN=Configuration,DC=example,DC=test)", true},
      {"(objectCategory=cn=person, cn=schema, cn=configuration, dc=example, dc=test)", true},
      {"(memberOf=cn=unix admins,cn=users,dc=example,dc=test)", true},
      // Ordering: numbers as numbers, times as text.
      {"(uidNumber>=10001)", true},
      {"(uidNumber>=9999)", true},
      {"(uidNumber>=100000)", false},
      {"(uidNumber<=10000)", false},
      {"(whenCreated>=20230101000000.0Z)", true},
      {"(whenCreated<=20230101000000.0Z)", false},
      {"(cn~=alice able)", true},
      // Bitwise rules of AD.
      {"(userAccountControl:1.2.840.113556.1.4.803:=2)", true},
      {"(userAccountControl:1.2.840.113556.1.4.803:=514)", true},
      {"(userAccountControl:1.2.840.113556.1.4.803:=8)", false},
      {"(userAccountControl:1.2.840.113556.1.4.804:=10)", true},
      {"(userAccountControl:1.9.9:=2)", false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Matches(c.filter), c.match) << c.filter;
  }
}

TEST(FilterTest, MalformedFiltersAreServerErrors) {
  const char* const bad[] = {
      "(cn=x",
      "cn=x)",
      "(&(cn=x)",
      "(!(cn=x)(cn=y))",
      "(=x)",
      "(cn=a(b)",
      "(cn=a\\zz)",
      "(cn=a\\4)",
      "(cn=x)(cn=y)",
      "((cn=x))",
      "(cn=x) junk",
      "(c n=x)",
      "()",
      "(!)",
      "(cn:=x)",
      "(&(cn=x)y)",
      "(cn=abc\\",
      "(cn=a*b(c)",
      // Options without an attribute type.
      ";=",
      "(;binary=x)",
      "(;x=*)",
      // A matching rule is an OID or a name.
      "cn:a(b:=x",
      "(cn:1.2#3:=x)",
      "(cn:dn:a b:=x)",
  };
  for (const char* f : bad) {
    try {
      Filter::parse(f);
      ADD_FAILURE() << "accepted " << f;
    } catch (const LDAPException& e) {
      EXPECT_EQ(e.rc(), LDAP_RC_FILTER_ERROR) << f;
      EXPECT_STREQ(e.what(), "Bad search filter") << f;
    }
  }
}

TEST(FilterTest, ParsedShape) {
  Filter f = Filter::parse("(&(cn=a*\\2a*b)(!(x>=3)))");
  ASSERT_EQ(f.kind, Filter::AND);
  ASSERT_EQ(f.children.size(), 2u);
  const Filter& sub = f.children[0];
  EXPECT_EQ(sub.kind, Filter::SUBSTRING);
  EXPECT_EQ(sub.initial, "a");
  EXPECT_EQ(sub.any, std::vector<std::string>{"*"});
  EXPECT_EQ(sub.final, "b");
  EXPECT_EQ(f.children[1].kind, Filter::NOT);
  EXPECT_EQ(f.children[1].children.at(0).kind, Filter::GREATER);
  EXPECT_EQ(Filter::parse("(member;range=0-*=x)").attribute, "member");
}

TEST(FilterTest, CategoryNames) {
  EXPECT_EQ(CategoryForName("user"), "Person");
  EXPECT_EQ(CategoryForName("Computer"), "Computer");
  EXPECT_EQ(CategoryForName("foreignSecurityPrincipal"), "Foreign-Security-Principal");
  EXPECT_EQ(CategoryForName("msDS-AzRole"), "ms-DS-Az-Role");
  EXPECT_EQ(CategoryForName("Foreign-Security-Principal"), "Foreign-Security-Principal");
}

}  // namespace
}  // namespace memdir
}  // namespace kesh
