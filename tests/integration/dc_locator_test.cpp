// Locating domain controllers through SRV records, with records served by resolv_wrapper
// from a file of the test's own (the test runs with the rig's LD_PRELOAD).
#include "directory/library/ldap/dc_locator.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

using kesh::ldapbackend::LocateDomainControllers;
using kesh::ldapbackend::LookupService;
using kesh::ldapbackend::ServiceTarget;

class DcLocatorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* preload = getenv("LD_PRELOAD");
    if (preload == nullptr || std::string(preload).find("resolv_wrapper") == std::string::npos) {
      const char* why = "needs resolv_wrapper in LD_PRELOAD (run under tests/integration/with-dc)";
      // Under with-dc the wrapper is promised: its absence is a failure.
      const char* required = getenv("ZS_DC_REQUIRED");
      if (required != nullptr && std::string(required) == "1") FAIL() << why;
      GTEST_SKIP() << why;
    }
    const char* old = getenv("RESOLV_WRAPPER_HOSTS");
    if (old) old_ = old;
    path_ = "/tmp/zs-dc-locator-" + std::to_string(getpid());
    // resolv_wrapper answers the first matching line only: one record per name.
    std::ofstream(path_) << "SRV _ldap._tcp.dc._msdcs.multi.test dc-a.multi.test 1389 0 10\n"
                            "SRV _gc._tcp.multi.test gc.multi.test 3268\n";
    setenv("RESOLV_WRAPPER_HOSTS", path_.c_str(), 1);
  }
  void TearDown() override {
    if (path_.empty()) return;
    if (old_.empty()) {
      unsetenv("RESOLV_WRAPPER_HOSTS");
    } else {
      setenv("RESOLV_WRAPPER_HOSTS", old_.c_str(), 1);
    }
    unlink(path_.c_str());
  }

  static std::vector<std::string> Hosts(const std::vector<ServiceTarget>& targets) {
    std::vector<std::string> hosts;
    for (const ServiceTarget& t : targets) hosts.push_back(t.host + ":" + std::to_string(t.port));
    return hosts;
  }

  std::string path_;
  std::string old_;
};

TEST(SortTargetsTest, ByPriorityThenWeight) {
  std::vector<ServiceTarget> targets = {{"b", 389, 10, 5},
                                        {"a", 389, 0, 10},
                                        {"c", 389, 10, 50},
                                        {"d", 389, 10, 5},
                                        {"e", 389, 0, 0}};
  kesh::ldapbackend::SortTargets(targets);
  std::string order;
  for (const ServiceTarget& t : targets) order += t.host;
  EXPECT_EQ(order, "aecbd");
}

TEST_F(DcLocatorTest, RecordsGiveHostAndPort) {
  auto targets = LookupService("_ldap._tcp.dc._msdcs.multi.test");
  ASSERT_EQ(targets.size(), 1u);
  EXPECT_EQ(targets[0].host, "dc-a.multi.test");
  EXPECT_EQ(targets[0].port, 1389);
  EXPECT_EQ(targets[0].weight, 10);
  EXPECT_TRUE(LookupService("_ldap._tcp.dc._msdcs.none.test").empty());
}

TEST_F(DcLocatorTest, DomainControllersGlobalCatalogsAndTheFallback) {
  struct {
    const char* domain;
    bool gc;
    std::vector<std::string> expected;
  } cases[] = {
      {"multi.test", false, {"dc-a.multi.test:1389"}},
      {"multi.test", true, {"gc.multi.test:3268"}},
      // A child domain finds the global catalogs of its forest.
      {"child.multi.test", true, {"gc.multi.test:3268"}},
      // No record: the domain name itself.
      {"child.multi.test", false, {"child.multi.test:389"}},
      {"none.test", true, {"none.test:3268"}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Hosts(LocateDomainControllers(c.domain, c.gc)), c.expected)
        << c.domain << (c.gc ? " gc" : "");
  }
}

}  // namespace
