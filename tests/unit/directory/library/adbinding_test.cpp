#include "directory/library/adbinding.h"

#include <gtest/gtest.h>

#include "directory/library/exceptions.h"

namespace kesh {
namespace {

// Serves `pages` pages of `perPage` objects each, numbered from 0.
class CountingPages : public PagedObjectListImpl {
 public:
  CountingPages(int pages, int perPage) : pages_(pages), perPage_(perPage) {}
  void init() override { ++inits; }
  bool fetchPage(ADObjectList& page) override {
    ++fetches;
    if (failAt == fetches) throw LDAPException(__FILE__, __LINE__, "down", "LDAPException", 81);
    for (int i = 0; i < perPage_; ++i) page.push_back(ADObject("CN=" + std::to_string(next_++)));
    return fetches >= pages_;
  }
  int inits = 0;
  int fetches = 0;
  int failAt = -1;

 private:
  const int pages_;
  const int perPage_;
  int next_ = 0;
};

TEST(PagedObjectListTest, WalksAllPagesAndKeepsOldPagesIntact) {
  auto impl = std::make_shared<CountingPages>(3, 2);
  PagedObjectList result(impl);
  EXPECT_EQ(impl->inits, 1);
  EXPECT_EQ(impl->fetches, 1);  // the first page is there on return
  ADObjectList first = result.page();
  std::vector<std::string> dns;
  while (true) {
    for (ADObject& object : result.page()) dns.push_back(object.dn());
    if (result.lastPage()) break;
    result.nextPage();
  }
  EXPECT_EQ(dns, (std::vector<std::string>{"CN=0", "CN=1", "CN=2", "CN=3", "CN=4", "CN=5"}));
  ASSERT_EQ(first.size(), 2u);
  EXPECT_EQ(first[0].dn(), "CN=0");
  // Past the end: an empty page, no further fetch.
  result.nextPage();
  EXPECT_TRUE(result.page().empty());
  EXPECT_TRUE(result.lastPage());
  EXPECT_EQ(impl->fetches, 3);
}

TEST(PagedObjectListTest, EmptyResultAndFailures) {
  PagedObjectList none;
  EXPECT_TRUE(none.lastPage());
  EXPECT_TRUE(none.page().empty());
  none.nextPage();
  EXPECT_TRUE(none.page().empty());

  auto failing = std::make_shared<CountingPages>(3, 1);
  failing->failAt = 2;
  PagedObjectList result(failing);
  try {
    result.nextPage();
    ADD_FAILURE() << "no exception";
  } catch (const LDAPException& e) {
    EXPECT_EQ(e.rc(), 81);
  }
  EXPECT_FALSE(result.lastPage());

  auto failingFirst = std::make_shared<CountingPages>(1, 1);
  failingFirst->failAt = 1;
  EXPECT_THROW(PagedObjectList{failingFirst}, LDAPException);
}

TEST(LDAPBindingTest, StaticDnHelpers) {
  EXPECT_EQ(LDAPBinding::parent("CN=a,CN=Users,DC=x"), "CN=Users,DC=x");
  EXPECT_EQ(LDAPBinding::RDN("CN=a\\,b,CN=Users,DC=x"), "CN=a\\,b");

  struct Case {
    const char* parent;
    const char* value;
    const char* type;
    const char* dn;
  } cases[] = {
      {"CN=Zones,DC=x", "zone1", "CN", "CN=zone1,CN=Zones,DC=x"},
      {"DC=x", "Unix, Zones", "OU", "OU=Unix\\, Zones,DC=x"},
      {"DC=x", "#1 ", "cn", "cn=\\#1\\ ,DC=x"},
      {"", "top", "DC", "DC=top"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.dn);
    ADObject child = LDAPBinding::createChild(c.parent, c.value, c.type);
    EXPECT_EQ(child.dn(), c.dn);
    EXPECT_EQ(child.attributes().size(), 1u);  // nothing else, not stored
    ADObject parent(c.parent);
    EXPECT_EQ(LDAPBinding::createChild(parent, c.value, c.type).dn(), c.dn);
  }
  EXPECT_EQ(EMPTY_CBDATA, nullptr);
}

}  // namespace
}  // namespace kesh
