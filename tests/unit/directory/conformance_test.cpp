// The conformance cases against the in-memory directory, loaded with the example.test
// fixture. The same cases run against the local Samba DC in tests/integration.
#include "directory/conformance_cases.h"
#include "directory/library/memory/memdir.h"

namespace conformance {

namespace {

const char* const kAdmin = "Administrator@EXAMPLE.TEST";
const char* const kAdminCache = "MEMORY:conformance-admin";

class MemoryTarget : public Target {
 public:
  MemoryTarget() {
    kesh::memdir::Reset();
    kesh::memdir::LoadLdifFile(std::string(ZS_FIXTURES_DIR) + "/example.ldif");
    kesh::memdir::SetCCache(kAdminCache, kAdmin);
  }
  std::string unavailable() const override { return ""; }
  std::string domain() const override { return "example.test"; }
  std::string adminPrincipal() const override { return kAdmin; }
  // As the fixture gives it.
  Shredder adminPassword() const override { return Shredder("Adm1n!Pass"); }
  std::string adminCCache() const override { return kAdminCache; }
  int rangeSize() const override { return static_cast<int>(kesh::memdir::RangeThreshold()); }
};

}  // namespace

Target& CurrentTarget() {
  static MemoryTarget target;
  return target;
}

}  // namespace conformance
