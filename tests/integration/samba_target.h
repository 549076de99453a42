// The local Samba DC as a conformance target: everything comes from the exports of
// `scripts/local-dc env` (the test runs under tests/integration/with-dc).
#ifndef ZONESMITH_TESTS_INTEGRATION_SAMBA_TARGET_H_
#define ZONESMITH_TESTS_INTEGRATION_SAMBA_TARGET_H_

#include <cstdlib>
#include <fstream>
#include <string>

#include "directory/conformance_target.h"
#include "directory/library/constants.h"

namespace conformance {

inline std::string Env(const char* name) {
  const char* v = getenv(name);
  return v ? v : "";
}

class SambaTarget : public Target {
 public:
  std::string unavailable() const override {
    if (Env("ZS_DC_DOMAIN").empty() || Env("KRB5CCNAME").empty()) {
      return "no local DC: run under tests/integration/with-dc (scripts/local-dc env)";
    }
    return "";
  }
  // tests/integration/with-dc says that a rig is up: then a missing DC is a failure.
  bool required() const override { return Env("ZS_DC_REQUIRED") == "1"; }
  std::string domain() const override { return Env("ZS_DC_DOMAIN"); }
  std::string adminPrincipal() const override { return Env("ZS_DC_ADMIN"); }
  Shredder adminPassword() const override {
    std::ifstream in(Env("ZS_DC_ADMIN_PASSWORD_FILE"));
    Shredder password;
    std::getline(in, password);
    return password;
  }
  std::string adminCCache() const override { return Env("KRB5CCNAME"); }
  // Samba 4.17 answers a plain read with every value; only a read that names a range
  // ("member;range=0-1499") gets part of them.
  int rangeSize() const override { return 0; }
};

}  // namespace conformance

#endif  // ZONESMITH_TESTS_INTEGRATION_SAMBA_TARGET_H_
