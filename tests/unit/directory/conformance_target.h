// The directory a conformance run talks to, and small helpers shared by the runners.
#ifndef ZONESMITH_TESTS_UNIT_DIRECTORY_CONFORMANCE_TARGET_H_
#define ZONESMITH_TESTS_UNIT_DIRECTORY_CONFORMANCE_TARGET_H_

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "directory/library/adbinding.h"
#include "directory/library/adobject.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/shredder.h"

namespace conformance {

// Where the directory under test is.
class Target {
 public:
  virtual ~Target() = default;
  // Empty when the target can be used; otherwise why not (the tests are then skipped,
  // or failed when the target is required).
  virtual std::string unavailable() const = 0;
  // Whether the environment promises the target, so that its absence is a failure.
  virtual bool required() const { return false; }
  // DNS name of the domain: "example.test".
  virtual std::string domain() const = 0;
  // "Administrator@EXAMPLE.TEST" and its password.
  virtual std::string adminPrincipal() const = 0;
  virtual Shredder adminPassword() const = 0;
  // A credential cache that holds a ticket of the administrator.
  virtual std::string adminCCache() const = 0;
  // The most values of a multi-valued attribute that a plain read returns (the rest is
  // left to ranged reads); 0 when the server always returns them all.
  virtual int rangeSize() const = 0;
};

Target& CurrentTarget();

using kesh::ADBinding;
using kesh::ADObject;
using kesh::DN;
using kesh::LDAPBinding;

// Whether a test can use `target`. When it cannot, the test is skipped, or failed when the
// target is required; a SetUp that gets false returns, and the test body does not run.
inline bool Usable(const Target& target) {
  const std::string why = target.unavailable();
  if (why.empty()) return true;
  if (target.required()) {
    [&] { FAIL() << why; }();
  } else {
    [&] { GTEST_SKIP() << why; }();
  }
  return false;
}

// A name no earlier run has used.
inline std::string UniqueName(const char* prefix) {
  static int counter = 0;
  char buffer[96];
  snprintf(buffer, sizeof(buffer), "%s-%ld-%d-%d", prefix, static_cast<long>(time(nullptr)),
           static_cast<int>(getpid()), ++counter);
  return buffer;
}

// Runs `operation` and answers the result code of the LDAPException it throws, or -1000
// when it throws nothing.
inline int LdapErrorOf(const std::function<void()>& operation, std::string* message = nullptr) {
  try {
    operation();
  } catch (const LDAPException& e) {
    if (message) *message = e.what();
    return e.rc();
  }
  return -1000;
}

inline std::vector<std::string> Values(const ADObject& object, const char* name) {
  const kesh::ADAttribute* a = object.find(name);
  return a ? a->values() : std::vector<std::string>();
}

}  // namespace conformance

#endif  // ZONESMITH_TESTS_UNIT_DIRECTORY_CONFORMANCE_TARGET_H_
