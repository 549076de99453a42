// A session bound to the local Samba DC for the C++ tests of the logic above the library:
// the Administrator's binding in a ContextTab of the test's own, and the objects a test made,
// removed with everything below them when it ends. Without a usable rig `binding_` stays
// null and the test returns at once.
#ifndef ZONESMITH_TESTS_INTEGRATION_DC_SESSION_H_
#define ZONESMITH_TESTS_INTEGRATION_DC_SESSION_H_

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/session.h"
#include "samba_target.h"

namespace conformance {

inline SambaTarget& Dc() {
  static SambaTarget target;
  return target;
}

// The descriptor of `dn` as SDDL, as samba-tool writes it (its last line of output).
inline std::string DcSddl(const std::string& dn) {
  if (const char* child = getenv("ZS_CHILD_PRELOAD")) setenv("LD_PRELOAD", child, 1);
  const std::string command = "samba-tool dsacl get --objectdn='" + dn + "' -H ldap://" +
                              Env("ZS_DC_HOST") + " --use-kerberos=required 2>/dev/null";
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  EXPECT_NE(pipe, nullptr) << command;
  std::string out, last;
  char buffer[4096];
  while (pipe && fgets(buffer, sizeof buffer, pipe.get())) {
    last = buffer;
    if (!last.empty() && last.back() == '\n') last.pop_back();
    if (!last.empty()) out = last;
  }
  return out;
}

class DcSessionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!Usable(Dc())) return;
    const std::string ccache = Dc().adminCCache();
    binding_ = std::make_shared<MyBinding>(
        kesh::NewADBinding(Dc().domain(), ccache, false, "", "", nullptr), ccache);
    binding_->binding->connect("", "", 0);
    tab_.bindings[Dc().domain()] = binding_;
  }
  void TearDown() override {
    for (kesh::ADObject& object : made_) {
      try {
        binding_->remove(object, true);
      } catch (const std::exception&) {
        // Clean-up of a run that failed earlier: what is left is named by the failure.
      }
    }
  }

  // A new object of class `cls` with a unique name from `prefix` below the domain, added
  // and read back; a group gets its name as account name too.
  kesh::ADObject Add(const std::string& prefix, const char* cls) {
    const std::string name = UniqueName(prefix.c_str());
    kesh::ADObject object = kesh::LDAPBinding::createChild(Env("ZS_DC_BASE"), name, "cn");
    object[AD_OBJECT_CLASS] = cls;
    if (std::string(cls) == "group") object[AD_SAM_ACCOUNT_NAME] = name;
    binding_->add(object);
    made_.push_back(object);
    return binding_->fetch(object.dn(), nullptr, AD_ALL_OBJECTS);
  }

  ContextTab tab_;
  SessionScope scope_{&tab_};
  std::shared_ptr<MyBinding> binding_;
  std::vector<kesh::ADObject> made_;
};

}  // namespace conformance

#endif  // ZONESMITH_TESTS_INTEGRATION_DC_SESSION_H_
