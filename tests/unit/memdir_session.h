// A session of the logic's own against the in-memory directory, for the unit tests that link
// the logic without Tcl: the directory emptied and loaded from tests/fixtures, bindings
// entered into the session as `bind [-gc] domain` would, and helpers to read an exception's
// message, count directory operations and ask whether an object exists.
#ifndef ZONESMITH_TESTS_UNIT_MEMDIR_SESSION_H_
#define ZONESMITH_TESTS_UNIT_MEMDIR_SESSION_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "directory/cache.h"
#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/memory/memdir.h"
#include "directory/library/strings.h"
#include "directory/session.h"
#include "message_of.h"

namespace memtest {

using testutil::MessageOf;

// Directory operations made while `f` runs.
inline uint64_t OperationsOf(const std::function<void()>& f) {
  const uint64_t before = kesh::memdir::OperationCount();
  f();
  return kesh::memdir::OperationCount() - before;
}

// Adds tests/fixtures/<name> to the in-memory directory.
inline void LoadFixture(const std::string& name) {
  kesh::memdir::LoadLdifFile(std::string(ZS_FIXTURES_DIR) + "/" + name);
}

// The credential cache that MemdirSession::Bind gives the bindings to `domain` (to its
// global catalog with `gc`); it holds a ticket of the domain's Administrator once bound.
inline std::string CCacheOf(const std::string& domain, bool gc = false) {
  return "MEMORY:" + domain + (gc ? ":gc" : "");
}

// The directory holds example.test alone (tests/fixtures/example.ldif) when a test starts,
// and nothing after it; the session is the fixture's own, installed for the test's thread,
// and has no binding until the test (or a derived fixture's SetUp) makes one.
class MemdirSession : public testing::Test {
 protected:
  void SetUp() override {
    kesh::memdir::Reset();
    LoadFixture("example.ldif");
  }
  void TearDown() override { kesh::memdir::Reset(); }

  // Enters a new connected binding to `domain` (to its global catalog with `gc`) into the
  // session, in place of one there was, with a ticket of the domain's Administrator.
  // Throws LDAPException when the directory holds no such domain.
  std::shared_ptr<MyBinding> Bind(const std::string& domain, bool gc = false) {
    const std::string cache = CCacheOf(domain, gc);
    kesh::memdir::SetCCache(cache, "Administrator@" + kesh::upper(domain));
    std::shared_ptr<kesh::ADBinding> connection =
        kesh::NewADBinding(domain, cache, gc, "", "", nullptr);
    connection->connect("", "", 0);
    auto binding = std::make_shared<MyBinding>(connection, cache);
    (gc ? tab_.gcBindings : tab_.bindings)[domain] = binding;
    return binding;
  }

  // Turns the session's cache on as `cache on` does: in memory, enabled.
  void TurnCacheOn() {
    Cache& cache = *tab_.cache;
    cache.memory = true;
    cache.opened = true;
    cache.enabled = true;
  }

  // Whether the object `dn` exists, read past the session's cache through binding_.
  // REQUIRES: binding_ is set.
  bool Exists(const std::string& dn) {
    try {
      binding_->binding->fetch(dn, nullptr, AD_ALL_OBJECTS, 0);
      return true;
    } catch (const LDAPException& e) {
      EXPECT_EQ(kesh::LDAP_RC_NO_SUCH_OBJECT, e.rc()) << e.what();
      return false;
    }
  }

  // The object `dn` as stored, read past the session's cache through binding_.
  // REQUIRES: binding_ is set.
  kesh::ADObject Stored(const std::string& dn) {
    return binding_->binding->fetch(dn, nullptr, AD_ALL_OBJECTS, 0);
  }

  // The values of `name` of `object`, sorted; none when it has no such attribute.
  static std::vector<std::string> ValuesOf(const kesh::ADObject& object, const char* name) {
    const kesh::ADAttribute* attr = object.find(name);
    std::vector<std::string> values = attr == nullptr ? std::vector<std::string>() : attr->values();
    std::sort(values.begin(), values.end());
    return values;
  }

  ContextTab tab_;
  SessionScope scope_{&tab_};
  // The binding a derived fixture makes in its SetUp, to example.test as a rule.
  std::shared_ptr<MyBinding> binding_;
};

}  // namespace memtest

#endif  // ZONESMITH_TESTS_UNIT_MEMDIR_SESSION_H_
