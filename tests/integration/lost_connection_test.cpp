// A connection that the network drops: the binding notices, and connect() or the next
// operation brings it back, while the DC itself keeps running.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "samba_target.h"
#include "tcp_proxy.h"

namespace conformance {
namespace {

SambaTarget& Dc() {
  static SambaTarget target;
  return target;
}

class LostConnectionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!Usable(Dc())) return;
    // The relay listens on the DC's own address, so the host name (and with it the
    // service principal) stays the DC's; only the port differs.
    proxy_ = std::make_unique<testing_support::TcpProxy>(Env("ZS_DC_ADDRESS"), Env("ZS_DC_ADDRESS"),
                                                         389);
    server_ = Env("ZS_DC_HOST") + ":" + std::to_string(proxy_->port());
    base_ = DN::dnFromDomain(Dc().domain());
    binding_ = kesh::NewADBinding(Dc().domain(), Dc().adminCCache(), false, server_, "", nullptr);
    binding_->connect("", "", 0);
  }

  // connected() must answer false once the relay has closed the connection.
  bool NoticesLoss() {
    for (int i = 0; i < 50; ++i) {
      if (!binding_->connected()) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
  }

  std::unique_ptr<testing_support::TcpProxy> proxy_;
  std::string server_;
  std::string base_;
  std::shared_ptr<ADBinding> binding_;
};

TEST_F(LostConnectionTest, ConnectRestoresServiceAfterTheConnectionIsCut) {
  ASSERT_TRUE(binding_->connected());
  EXPECT_NO_THROW(binding_->fetch(base_, nullptr, AD_ALL_OBJECTS, 0));
  EXPECT_EQ(proxy_->accepted(), 1);

  proxy_->cutAll();
  EXPECT_TRUE(NoticesLoss());

  binding_->connect("", "", 0);
  EXPECT_TRUE(binding_->connected());
  EXPECT_EQ(proxy_->accepted(), 2);  // the server given at construction is kept
  ADObject domain = binding_->fetch(base_, nullptr, AD_ALL_OBJECTS, 0);
  EXPECT_TRUE(DN::equal(domain.dn(), base_));
}

TEST_F(LostConnectionTest, OperationAfterTheLossReconnectsItself) {
  proxy_->cutAll();
  ASSERT_TRUE(NoticesLoss());
  // The repeat of an operation after a lost connection needs no connect() of its own.
  ADObject domain = binding_->fetch(base_, nullptr, AD_ALL_OBJECTS, 0);
  EXPECT_TRUE(DN::equal(domain.dn(), base_));
  EXPECT_TRUE(binding_->connected());
}

TEST_F(LostConnectionTest, PagedSearchCutBetweenPagesFailsAndASearchAfterConnectWorks) {
  const char* attrs[] = {AD_CN, nullptr};
  kesh::PagedObjectList list =
      binding_->search(10, AD_ALL_OBJECTS, base_, attrs, kesh::SCOPE_SUB, 0, 0);
  ASSERT_FALSE(list.lastPage());
  EXPECT_EQ(list.page().size(), 10u);

  proxy_->cutAll();
  std::string message;
  int rc = LdapErrorOf([&] { list.nextPage(); }, &message);
  EXPECT_EQ(rc, kesh::LDAP_RC_SERVER_DOWN) << message;
  EXPECT_FALSE(binding_->connected());

  binding_->connect("", "", 0);
  kesh::PagedObjectList again =
      binding_->search(10, AD_ALL_OBJECTS, base_, attrs, kesh::SCOPE_SUB, 0, 0);
  EXPECT_EQ(again.page().size(), 10u);
}

}  // namespace
}  // namespace conformance
