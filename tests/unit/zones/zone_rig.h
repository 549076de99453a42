// A session bound to the in-memory directory, for the zone tests: example.test (forest
// example.test, domain level 4) with a unit for test zones, and helpers to load objects,
// count directory operations and compare the directory before and after a refusal.
#ifndef ZONESMITH_TESTS_UNIT_ZONES_ZONE_RIG_H_
#define ZONESMITH_TESTS_UNIT_ZONES_ZONE_RIG_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/memory/memdir.h"
#include "directory/session.h"
#include "zones/ngzone.h"
#include "zones/zone.h"

namespace zonetest {

namespace memdir = kesh::memdir;

constexpr char kZones[] = "OU=Zones,DC=example,DC=test";

// The message of the exception E that `f` throws; fails the test when it throws none.
template <class E>
std::string MessageOf(const std::function<void()>& f) {
  try {
    f();
  } catch (const E& e) {
    return e.what();
  }
  ADD_FAILURE() << "no exception";
  return "";
}

class ZoneRig : public testing::Test {
 protected:
  void SetUp() override {
    memdir::Reset();
    memdir::LoadLdifFile(std::string(ZS_FIXTURES_DIR) + "/example.ldif");
    memdir::LoadLdif(std::string("dn: ") + kZones + "\nobjectClass: organizationalUnit\n\n");
    binding_ = BindTo("example.test");
  }
  void TearDown() override { memdir::Reset(); }

  // Enters a connected binding to `domain` into the session.
  std::shared_ptr<MyBinding> BindTo(const std::string& domain) {
    std::string cache = "MEMORY:zones:" + domain;
    memdir::SetCCache(cache, "Administrator@" + domain);
    std::shared_ptr<kesh::ADBinding> connection =
        kesh::NewADBinding(domain, cache, false, "", "", nullptr);
    connection->connect("", "", 0);
    auto entry = std::make_shared<MyBinding>(connection, cache);
    tab_.bindings[domain] = entry;
    return entry;
  }

  // "CN=<cn>,OU=Zones,DC=example,DC=test"
  static std::string ZoneDn(const std::string& cn) { return "CN=" + cn + "," + kZones; }

  // A new hierarchical zone, opened.
  std::shared_ptr<TreeZone> NewTree(const std::string& dn, SchemaType schema = SCHEMA_TYPE_DYNAMIC,
                                    std::shared_ptr<MyBinding> binding = nullptr) {
    std::shared_ptr<IZone> zone =
        TreeZone::Create(binding ? binding : binding_, dn, schema, false);
    return std::dynamic_pointer_cast<TreeZone>(zone);
  }

  std::shared_ptr<TreeZone> Reopen(const std::string& dn) {
    return std::dynamic_pointer_cast<TreeZone>(TreeZone::Open(binding_, dn));
  }

  bool Exists(const std::string& dn) {
    try {
      binding_->binding->fetch(dn, nullptr, AD_ALL_OBJECTS, 0);
      return true;
    } catch (const LDAPException& e) {
      EXPECT_EQ(kesh::LDAP_RC_NO_SUCH_OBJECT, e.rc()) << e.what();
      return false;
    }
  }

  // Directory operations made while `f` runs.
  static uint64_t OperationsOf(const std::function<void()>& f) {
    uint64_t before = memdir::OperationCount();
    f();
    return memdir::OperationCount() - before;
  }

  ContextTab tab_;
  SessionScope scope_{&tab_};
  std::shared_ptr<MyBinding> binding_;
};

}  // namespace zonetest

#endif  // ZONESMITH_TESTS_UNIT_ZONES_ZONE_RIG_H_
