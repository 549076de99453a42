// A domain controller that stops answering: every read and write of a binding gives up
// after the binding's timeout with a timed-out error that names the operation, and so does
// a connect. The relay in front of the DC holds the traffic back; the DC keeps running.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "samba_target.h"
#include "tcp_proxy.h"

namespace conformance {
namespace {

constexpr int kTimeout = 2;  // seconds
// What may come on top of the timeout: the abandon, the scheduler, a slow machine.
constexpr double kSlack = 3.0;

SambaTarget& Dc() {
  static SambaTarget target;
  return target;
}

class WriteTimeoutTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!Usable(Dc())) return;
    proxy_ = std::make_unique<testing_support::TcpProxy>(Env("ZS_DC_ADDRESS"), Env("ZS_DC_ADDRESS"),
                                                         389);
    base_ = DN::dnFromDomain(Dc().domain());
    // The objects are made and checked over a direct connection.
    direct_ = kesh::NewADBinding(Dc().domain(), Dc().adminCCache(), false, "", "", nullptr);
    direct_->connect("", "", 0);
    scratch_ = "OU=" + UniqueName("zs-timeout") + "," + base_;
    ADObject ou(scratch_);
    ou[AD_OBJECT_CLASS] = "organizationalUnit";
    direct_->add(ou);
    relayed_ = Relayed();
  }

  void TearDown() override {
    if (proxy_) proxy_->setFrozen(false);
    if (direct_ == nullptr || scratch_.empty()) return;
    ADObject ou(scratch_);
    direct_->remove(ou, true);
  }

  // A binding through the relay that waits kTimeout seconds for any answer.
  std::shared_ptr<ADBinding> Relayed() {
    std::string server = Env("ZS_DC_HOST") + ":" + std::to_string(proxy_->port());
    auto binding =
        kesh::NewADBinding(Dc().domain(), Dc().adminCCache(), false, server, "", nullptr);
    binding->setConnectTimeout(kTimeout, 0);
    binding->setSearchTimeout(kTimeout, 0);
    binding->connect("", "", 0);
    return binding;
  }

  ADObject Make(const std::string& cn) {
    ADObject object = LDAPBinding::createChild(scratch_, cn, "CN");
    object[AD_OBJECT_CLASS] = "container";
    direct_->add(object);
    return object;
  }

  bool Exists(const std::string& dn) {
    return LdapErrorOf([&] { direct_->fetch(dn, nullptr, AD_ALL_OBJECTS, 0); }) == -1000;
  }

  std::unique_ptr<testing_support::TcpProxy> proxy_;
  std::string base_;
  std::string scratch_;
  std::shared_ptr<ADBinding> direct_;
  std::shared_ptr<ADBinding> relayed_;
};

TEST_F(WriteTimeoutTest, EveryOperationGivesUpAfterTheTimeout) {
  ADObject modified = Make("modified");
  ADObject renamed = Make("renamed");
  ADObject moved = Make("moved");
  ADObject target = Make("target");
  ADObject deleted = Make("deleted");
  const std::string added = "CN=added," + scratch_;
  struct {
    const char* label;
    std::string text;  // how the message begins
    std::function<void()> operation;
  } cases[] = {
      {"add", "add " + added,
       [&] {
         ADObject o(added);
         o[AD_OBJECT_CLASS] = "container";
         relayed_->add(o);
       }},
      {"modify", "modify " + modified.dn(),
       [&] {
         ADObject o(modified.dn());
         o[AD_DESCRIPTION] = "late";
         relayed_->update(o, 2);
       }},
      {"rename", "rename " + renamed.dn(),
       [&] {
         ADObject o(renamed.dn());
         relayed_->rename(o, "CN=renamed-late");
       }},
      {"move", "move " + moved.dn(),
       [&] {
         ADObject o(moved.dn());
         relayed_->move(o, target.dn());
       }},
      {"delete", "delete " + deleted.dn(),
       [&] {
         ADObject o(deleted.dn());
         relayed_->remove(o, false);
       }},
      {"fetch", "search " + modified.dn(),
       [&] { relayed_->fetch(modified.dn(), nullptr, AD_ALL_OBJECTS, 0); }},
      {"search", "search " + scratch_,
       [&] { relayed_->search(100, AD_ALL_OBJECTS, scratch_, nullptr, kesh::SCOPE_SUB, 0, 0); }},
  };
  for (const auto& c : cases) {
    if (!relayed_->connected()) relayed_->connect("", "", 0);
    proxy_->setFrozen(true);
    auto start = std::chrono::steady_clock::now();
    std::string message;
    int rc = LdapErrorOf(c.operation, &message);
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    // The connection is not given up for a late answer: the retry rule must not repeat
    // a write that the server may yet carry out.
    EXPECT_TRUE(relayed_->connected()) << c.label;
    proxy_->setFrozen(false);

    EXPECT_EQ(rc, kesh::LDAP_RC_TIMEOUT) << c.label << ": " << message;
    EXPECT_EQ(message.compare(0, c.text.size() + 11, c.text + ": Timed out"), 0)
        << c.label << ": " << message;
    EXPECT_GE(seconds, kTimeout - 0.5) << c.label;
    EXPECT_LT(seconds, kTimeout + kSlack) << c.label;
  }
  // Once the DC answers again, so does the binding.
  relayed_->connect("", "", 0);
  EXPECT_TRUE(DN::equal(relayed_->fetch(scratch_, nullptr, AD_ALL_OBJECTS, 0).dn(), scratch_));
}

TEST_F(WriteTimeoutTest, ConnectGivesUpAfterTheConnectTimeout) {
  proxy_->setFrozen(true);
  auto binding =
      kesh::NewADBinding(Dc().domain(), Dc().adminCCache(), false,
                         Env("ZS_DC_HOST") + ":" + std::to_string(proxy_->port()), "", nullptr);
  binding->setConnectTimeout(kTimeout, 0);
  auto start = std::chrono::steady_clock::now();
  EXPECT_THROW(binding->connect("", "", 0), KESHException);
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_LT(seconds, kTimeout + kSlack);
  EXPECT_FALSE(binding->connected());
}

}  // namespace
}  // namespace conformance
