// Delegated rights on the local Samba DC through the LDAP backend: the ACE set of one right
// of each table is added to a fresh container for a fresh security group, written as a
// scope writes it (DACL only), and the descriptor is read back as SDDL by the DC's own
// samba-tool.
#include "security/delegate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "dc_session.h"
#include "directory/cli_orlutils.h"
#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/constants.h"
#include "directory/library/strings.h"
#include "directory/session.h"

namespace conformance {
namespace {

// An ACE in a form that does not depend on the order in which a writer lists the codes
// of flags and rights: type, sorted flag codes, sorted right codes, GUIDs (lower case),
// SID.
std::string Canonical(const std::string& ace) {
  std::vector<std::string> fields;
  size_t start = 0;
  for (size_t semi; (semi = ace.find(';', start)) != std::string::npos; start = semi + 1)
    fields.push_back(ace.substr(start, semi - start));
  fields.push_back(ace.substr(start));
  if (fields.size() != 6) return "malformed:" + ace;
  auto codes = [](const std::string& text) {
    std::vector<std::string> pairs;
    for (size_t i = 0; i + 1 < text.size(); i += 2) pairs.push_back(text.substr(i, 2));
    std::sort(pairs.begin(), pairs.end());
    std::string joined;
    for (const std::string& p : pairs) joined += p;
    return joined;
  };
  return fields[0] + ";" + codes(fields[1]) + ";" + codes(fields[2]) + ";" +
         kesh::lower(fields[3]) + ";" + kesh::lower(fields[4]) + ";" + fields[5];
}

// The explicit ACEs of an SDDL text, canonical.
std::multiset<std::string> Aces(const std::string& sddl) {
  std::multiset<std::string> aces;
  const size_t dacl = sddl.find("D:");
  const size_t sacl = sddl.find("S:", dacl == std::string::npos ? 0 : dacl);
  const std::string text = sddl.substr(dacl == std::string::npos ? 0 : dacl,
                                       sacl == std::string::npos ? std::string::npos : sacl - dacl);
  for (size_t open = text.find('('); open != std::string::npos; open = text.find('(', open + 1)) {
    const size_t close = text.find(')', open);
    if (close == std::string::npos) break;
    std::string ace = Canonical(text.substr(open + 1, close - open - 1));
    if (ace.find(";ID") == std::string::npos) aces.insert(ace);
  }
  return aces;
}

const char kScp[] = "28630ec1-41d5-11d1-a9c1-0000f80367c1";
const char kClassStore[] = "bf967a84-0de6-11d0-a285-00aa003049e2";
const char kTask[] = "1ed3a473-9b1b-418a-bfa0-3a37b95a5306";
const char kScope[] = "4feae054-ce55-47bb-860e-5b12063a51de";
const char kContainer[] = "bf967a8b-0de6-11d0-a285-00aa003049e2";
const char kRdn[] = "bf967a0e-0de6-11d0-a285-00aa003049e2";
const char kCommonName[] = "bf96793f-0de6-11d0-a285-00aa003049e2";
const char kDescription[] = "bf967950-0de6-11d0-a285-00aa003049e2";
const char kAdminDescription[] = "bf967919-0de6-11d0-a285-00aa003049e2";
const char kHomePage[] = "bf967a7a-0de6-11d0-a285-00aa003049e2";
const char kAppData[] = "503fc3e8-1cc6-461a-99a3-9eee04f402a7";
const char kOpsForTask[] = "1aacb436-2e9d-44a9-9298-ce4debeb6ebf";

using DelegateOnDcTest = DcSessionTest;

TEST_F(DelegateOnDcTest, OneRightOfEachTableAsTheDcStoresIt) {
  if (!binding_) return;
  kesh::ADObject group = Add("ZsDelegates", "group");
  const std::string sid = group.sid().toMSString();
  const std::string principal = group.firstValue(AD_SAM_ACCOUNT_NAME) + "@" + Dc().domain();
  ASSERT_FALSE(group.sid().isNull());
  auto W = [&](const char* attribute, const char* cls) {
    return std::string("OA;CIIO;WP;") + attribute + ";" + cls + ";" + sid;
  };
  struct Case {
    const char* right;
    std::vector<std::string> aces;
  } cases[] = {
      {"join",
       {"A;;RCLCRPLO;;;" + sid, "OA;CIIO;GR;;" + std::string(kScp) + ";" + sid,
        "OA;OI;CC;" + std::string(kScp) + ";;" + sid}},
      {"add_remove_nismap_entry",
       {"OA;CIIO;GR;;" + std::string(kClassStore) + ";" + sid,
        "OA;CIIO;CC;" + std::string(kClassStore) + ";" + kClassStore + ";" + sid,
        W(kRdn, kClassStore), W(kCommonName, kClassStore), W(kDescription, kClassStore),
        W(kAdminDescription, kClassStore), W(kHomePage, kClassStore)}},
      {"manage_roles",
       {"OA;CI;RCLCRPLO;;;" + sid, "OA;;CCDC;" + std::string(kTask) + ";;" + sid,
        W(kAppData, kTask), W(kRdn, kTask), W(kCommonName, kTask), W(kDescription, kTask),
        W(kOpsForTask, kTask), "OA;CIIO;GR;;" + std::string(kTask) + ";" + sid}},
      // "A;OI;GR": the DC maps the generic read of an entry that applies to the object
      // itself to the specific rights, and keeps no object-inherit copy of it.
      {"add_czone_crole_in_qvapp",
       {"A;;RCLCRPLO;;;" + sid, "OA;OI;CC;" + std::string(kScope) + ";;" + sid,
        "OA;CIIO;CC;" + std::string(kScope) + ";" + kContainer + ";" + sid, "OA;CIIO;GRWP;;;OW"}},
  };
  kesh::setSDFlag(binding_->binding, false);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.right);
    kesh::ADObject container = Add("ZsDelegated", "container");
    const std::multiset<std::string> before = Aces(DcSddl(container.dn()));
    DelegateRightBySDDL(container, c.right, principal, SCHEMA_TYPE_DYNAMIC);
    binding_->update(container, MyBinding::UPDATE_REPLACE);

    const std::string sddl = DcSddl(container.dn());
    std::multiset<std::string> added = Aces(sddl);
    for (const std::string& ace : before) {
      auto it = added.find(ace);
      if (it != added.end()) added.erase(it);
    }
    std::multiset<std::string> expected;
    for (const std::string& ace : c.aces) expected.insert(Canonical(ace));
    EXPECT_EQ(added, expected) << sddl;
  }
}

}  // namespace
}  // namespace conformance
