// The ACE sets of the delegable rights against the in-memory directory: every right's
// entries with the schema GUIDs of the fixture, the trustee rules (owner, distribution
// groups) and an unknown right.
#include "security/delegate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "memdir_session.h"
#include "security/sddl.h"

namespace {

using memtest::MessageOf;
using memtest::OperationsOf;

const char kTarget[] = "CN=Delegated,CN=Program Data,DC=example,DC=test";
const char kAlice[] = "alice@example.test";
const char kAliceSid[] = "S-1-5-21-3623811015-3361044348-30300820-1101";
// The default owner of the memory directory's objects: Domain Admins of example.test.
const char kOwnerSid[] = "S-1-5-21-3623811015-3361044348-30300820-512";

// schemaIDGUIDs of tests/fixtures/example.ldif.
const std::map<std::string, std::string> kGuids = {
    {"{SCP}", "28630ec1-41d5-11d1-a9c1-0000f80367c1"},
    {"{CS}", "bf967a84-0de6-11d0-a285-00aa003049e2"},
    {"{CONT}", "bf967a8b-0de6-11d0-a285-00aa003049e2"},
    {"{GROUP}", "bf967a9c-0de6-11d0-a285-00aa003049e2"},
    {"{PA}", "ad44bb41-67d5-4d88-b575-7b20674e76d8"},
    {"{PG}", "2a9350b8-062c-4ed0-9903-dde10d06deba"},
    {"{AM}", "cfee1051-5f28-4bae-a863-5d0cc18a8ed1"},
    {"{APP}", "ddf8de9b-cba5-4e12-842e-28d8b66f75ec"},
    {"{OP}", "860abe37-9a9b-4fa4-b3d2-b8ace5df9ec5"},
    {"{ROLE}", "8213eac9-9d55-44dc-925c-e9a52b927644"},
    {"{SCOPE}", "4feae054-ce55-47bb-860e-5b12063a51de"},
    {"{TASK}", "1ed3a473-9b1b-418a-bfa0-3a37b95a5306"},
    {"{ADMINDESC}", "bf967919-0de6-11d0-a285-00aa003049e2"},
    {"{CN}", "bf96793f-0de6-11d0-a285-00aa003049e2"},
    {"{DESC}", "bf967950-0de6-11d0-a285-00aa003049e2"},
    {"{DISPLAY}", "bf967953-0de6-11d0-a285-00aa003049e2"},
    {"{KEYWORDS}", "bf967993-0de6-11d0-a285-00aa003049e2"},
    {"{MANAGEDBY}", "0296c120-40da-11d1-a9c0-0000f80367c1"},
    {"{MEMBER}", "bf9679c0-0de6-11d0-a285-00aa003049e2"},
    {"{DATA}", "503fc3e8-1cc6-461a-99a3-9eee04f402a7"},
    {"{SCOPENAME}", "515a6b06-2617-4173-8099-d5605df043c6"},
    {"{MEMBERSFOR}", "cbf7e6cd-85a4-4314-8939-8bfe80597835"},
    {"{OPSFORTASK}", "1aacb436-2e9d-44a9-9298-ce4debeb6ebf"},
    {"{TASKSFOR}", "35319082-8c4a-4646-9386-c2949d49894d"},
    {"{RDN}", "bf967a0e-0de6-11d0-a285-00aa003049e2"},
    {"{WWW}", "bf967a7a-0de6-11d0-a285-00aa003049e2"},
    {"{UID}", "0bb0fca0-1e89-429f-901a-1413894d9f59"},
    {"{UIDNUMBER}", "850fcc8f-9c6b-47e1-b671-7c654be4d5b3"},
    {"{GIDNUMBER}", "c5b95f0c-ec9e-41c4-849c-b46597ed6696"},
    {"{GECOS}", "a3e03f1f-1d55-4253-a0af-30c2a784e46e"},
    {"{HOME}", "bc2dba12-000f-464d-bf1d-0808465d8843"},
    {"{SHELL}", "a553d12c-3231-4c5e-8adf-8d189697721e"},
};

// "@" is the trustee; OWNER RIGHTS is written out.
const char R[] = "A;;RCLCRPLO;;;@";
const char I[] = "OA;CIIO;GR;;{SCP};@";
const char OW[] = ";S-1-3-4";
std::string W(const std::string& attribute, const std::string& cls) {
  return "OA;CIIO;WP;" + attribute + ";" + cls + ";@";
}
std::string Owner(const std::string& head) { return head + OW; }

struct RightCase {
  const char* right;
  SchemaType schema;
  std::vector<std::string> aces;
};

const std::vector<RightCase>& Cases() {
  static const std::vector<RightCase> cases = {
      {"join", SCHEMA_TYPE_DYNAMIC, {R, I, "OA;OI;CC;{SCP};;@"}},
      {"delete_computer", SCHEMA_TYPE_DYNAMIC, {R, I, "OA;OI;DC;{SCP};;@"}},
      {"change_computer",
       SCHEMA_TYPE_DYNAMIC,
       {R, I, W("{KEYWORDS}", "{SCP}"), W("{DISPLAY}", "{SCP}")}},
      {"add_user", SCHEMA_TYPE_DYNAMIC, {R, I, "OA;OI;CC;{SCP};;@"}},
      {"add_group", SCHEMA_TYPE_DYNAMIC, {R, I, "OA;OI;CC;{SCP};;@"}},
      {"delete_user", SCHEMA_TYPE_DYNAMIC, {R, I, "OA;OI;DC;{SCP};;@"}},
      {"delete_group", SCHEMA_TYPE_DYNAMIC, {R, I, "OA;OI;DC;{SCP};;@"}},
      {"change_group",
       SCHEMA_TYPE_RFC,
       {R, I, W("{RDN}", "{SCP}"), W("{CN}", "{SCP}"), W("{KEYWORDS}", "{SCP}")}},
      {"change_user",
       SCHEMA_TYPE_DYNAMIC,
       {R, I, W("{RDN}", "{SCP}"), W("{CN}", "{SCP}"), W("{KEYWORDS}", "{SCP}")}},
      {"change_user",
       SCHEMA_TYPE_RFC,
       {R, I, W("{RDN}", "{SCP}"), W("{CN}", "{SCP}"), W("{KEYWORDS}", "{SCP}"),
        W("{UID}", "{SCP}"), W("{UIDNUMBER}", "{SCP}"), W("{SHELL}", "{SCP}"),
        W("{GECOS}", "{SCP}"), W("{HOME}", "{SCP}"), W("{GIDNUMBER}", "{SCP}")}},
      {"delete_zone", SCHEMA_TYPE_DYNAMIC, {R, "OA;OIIO;GR;;;@", "OA;CI;SDDT;;;@"}},
      {"delete_qvscope_of_current_computer_zone",
       SCHEMA_TYPE_DYNAMIC,
       {"OA;CI;RCLCRPLO;;;@", "OA;CI;SDDT;;;@"}},
      {"change_zone",
       SCHEMA_TYPE_DYNAMIC,
       {R, "OA;OIIO;GR;;;@", "OA;OI;WP;{DESC};;@", "OA;OI;WP;{RDN};;@", "OA;OI;WP;{CN};;@"}},
      {"enable_qv", SCHEMA_TYPE_DYNAMIC, {R, "OA;OIIO;GR;;;@", "OA;;CC;{AM};;@"}},
      {"nisservers", SCHEMA_TYPE_DYNAMIC, {"A;;GR;;;@", "OA;;WP;{MEMBER};;@"}},
      {"add_nismap",
       SCHEMA_TYPE_DYNAMIC,
       {"A;OI;GR;;;@", "OA;OI;CC;{CS};;@", Owner("A;CIIO;GRWP;;")}},
      {"remove_nismap", SCHEMA_TYPE_DYNAMIC, {"OA;CIIO;GR;;{CS};@", "OA;CIIO;SDDCDT;;{CS};@"}},
      {"add_remove_nismap_entry",
       SCHEMA_TYPE_DYNAMIC,
       {"OA;CIIO;GR;;{CS};@", "OA;CIIO;CC;{CS};{CS};@", W("{RDN}", "{CS}"), W("{CN}", "{CS}"),
        W("{DESC}", "{CS}"), W("{ADMINDESC}", "{CS}"), W("{WWW}", "{CS}")}},
      {"modify_nismap_entry",
       SCHEMA_TYPE_DYNAMIC,
       {"OA;CIIO;GR;;{CS};@", W("{DESC}", "{CS}"), W("{ADMINDESC}", "{CS}"), W("{WWW}", "{CS}")}},
      {"import",
       SCHEMA_TYPE_DYNAMIC,
       {R, I, W("{KEYWORDS}", "{SCP}"), W("{RDN}", "{SCP}"), W("{CN}", "{SCP}"),
        W("{DISPLAY}", "{SCP}"), W("{MANAGEDBY}", "{SCP}")}},
      {"manage_roles",
       SCHEMA_TYPE_DYNAMIC,
       {"OA;CI;RCLCRPLO;;;@", "OA;;CCDC;{TASK};;@", W("{DATA}", "{TASK}"), W("{RDN}", "{TASK}"),
        W("{CN}", "{TASK}"), W("{DESC}", "{TASK}"), W("{OPSFORTASK}", "{TASK}"),
        "OA;CIIO;GR;;{TASK};@"}},
      {"manage_rights",
       SCHEMA_TYPE_DYNAMIC,
       {"OA;CI;RCLCRPLO;;;@", "OA;;CCDC;{OP};;@", W("{DATA}", "{OP}"), W("{RDN}", "{OP}"),
        W("{CN}", "{OP}"), W("{DESC}", "{OP}"), "OA;CIIO;GR;;{OP};@"}},
      {"manage_qvstore", SCHEMA_TYPE_DYNAMIC, {"A;;GR;;;@", "A;;WP;{DATA};;@"}},
      {"manage_role_assignments",
       SCHEMA_TYPE_DYNAMIC,
       {"A;OI;GR;;;@", "A;CIIO;GR;;{ROLE};@", "OA;CIIO;CCDC;{ROLE};;@",
        "OA;CIIO;CC;{ROLE};{SCOPE};@", W("{DATA}", "{ROLE}"), W("{TASKSFOR}", "{ROLE}"),
        W("{MEMBERSFOR}", "{ROLE}"), W("{DISPLAY}", "{ROLE}"), "OA;OI;WP;{DATA};;@",
        Owner("A;CIIO;GRWP;;")}},
      {"modify_computer_role",
       SCHEMA_TYPE_DYNAMIC,
       {"OA;;RCLCRPLO;;;@", "A;;WP;{DATA};;@", "A;;WP;{SCOPENAME};;@", "OA;;WP;{DESC};;@"}},
      {"zone_creator",
       SCHEMA_TYPE_DYNAMIC,
       {R, "A;CIIO;GR;;;@", "A;OI;SDDT;;;@", "OA;OI;WP;{CN};;@", "OA;OI;WP;{RDN};;@",
        "OA;OI;WP;{DESC};;@", "OA;OI;WP;{DISPLAY};;@", "OA;CI;CCDC;{AM};;@", "OA;CI;CCDC;{OP};;@",
        "OA;CI;CCDC;{TASK};;@", "OA;CI;CCDC;{ROLE};;@", "OA;CI;CCDC;{CONT};;@",
        "OA;CI;CCDC;{GROUP};;@", "OA;CI;CCDC;{SCP};;@", "OA;CI;CCDC;{APP};{SCOPE};@"}},
      {"add_user_group_to_computer_zone",
       SCHEMA_TYPE_DYNAMIC,
       {"OA;CIIO;GR;;{SCP};@", W("{DESC}", "{SCP}"), "OA;CIIO;CC;{SCP};;@",
        Owner("OA;CIIO;GRWP;;")}},
      {"delete_user_group_from_computer_zone",
       SCHEMA_TYPE_DYNAMIC,
       {"OA;CIIO;GR;;{SCP};@", W("{DESC}", "{SCP}"), "OA;CIIO;DC;{SCP};;@"}},
      {"modify_user_group_in_computer_zone",
       SCHEMA_TYPE_DYNAMIC,
       {"OA;CIIO;GR;;{SCP};@", W("{DESC}", "{SCP}"), W("{CN}", "{SCP}"), W("{RDN}", "{SCP}"),
        W("{KEYWORDS}", "{SCP}"), W("{UID}", "{PA}"), W("{UIDNUMBER}", "{PA}"),
        W("{GIDNUMBER}", "{PA}"), W("{SHELL}", "{PA}"), W("{GECOS}", "{PA}"), W("{HOME}", "{PA}"),
        W("{GIDNUMBER}", "{PG}")}},
      {"add_czone_crole_in_computer_cont",
       SCHEMA_TYPE_DYNAMIC,
       {"OA;OI;GR;;;@", "OA;OI;CC;{CONT};;@", "OA;CIIO;GR;;{CONT};@", "OA;CIIO;CC;{CONT};{CONT};@",
        "OA;CIIO;WP;;{CONT};@", Owner("A;CIIO;GRWP;;")}},
      {"add_czone_crole_in_qvstore", SCHEMA_TYPE_DYNAMIC, {"OA;OI;WP;{DATA};;@"}},
      {"add_czone_crole_in_qvapp",
       SCHEMA_TYPE_DYNAMIC,
       {"A;OI;GR;;;@", "OA;OI;CC;{SCOPE};;@", "OA;CIIO;CC;{SCOPE};{CONT};@",
        Owner("OA;CIIO;GRWP;;")}},
      {"del_czone_crole_in_computer_cont", SCHEMA_TYPE_DYNAMIC, {"OA;CIIO;GRSDDT;;{CONT};@"}},
      {"del_czone_crole_in_qvapp", SCHEMA_TYPE_DYNAMIC, {"OA;CIIO;GRSDDT;;{SCOPE};@"}},
      {"deleg_perm_czone_in_computer_cont", SCHEMA_TYPE_DYNAMIC, {"OA;CIIO;GRWD;;{CONT};@"}},
      {"deleg_perm_czone_in_qvstore", SCHEMA_TYPE_DYNAMIC, {"A;OI;GRWD;;;@"}},
      {"deleg_perm_czone_in_qvapplication",
       SCHEMA_TYPE_DYNAMIC,
       {"OA;CIIO;GRWD;;{CONT};@", "OA;CIIO;GRWD;;{SCOPE};@"}},
  };
  return cases;
}

// The ACE text with the GUIDs of the fixture and the trustee's SID put in.
std::string Expand(std::string text, const std::string& trustee) {
  for (const auto& guid : kGuids) {
    for (size_t at; (at = text.find(guid.first)) != std::string::npos;)
      text.replace(at, guid.first.size(), guid.second);
  }
  if (!text.empty() && text.back() == '@') text.replace(text.size() - 1, 1, trustee);
  return text;
}

// The ACEs of a DACL as texts, sorted.
std::vector<std::string> Texts(const kesh::ACList& dacl) {
  std::vector<std::string> texts;
  for (const kesh::ACEntry& ace : dacl.aces) texts.push_back(ConvertAces({ace}));
  std::sort(texts.begin(), texts.end());
  return texts;
}

// `after` without one copy of each text of `before`.
std::vector<std::string> Added(std::vector<std::string> after,
                               const std::vector<std::string>& before) {
  for (const std::string& text : before) {
    auto it = std::find(after.begin(), after.end(), text);
    if (it != after.end()) after.erase(it);
  }
  return after;
}

class DelegateTest : public memtest::MemdirSession {
 protected:
  void SetUp() override {
    MemdirSession::SetUp();
    kesh::memdir::LoadLdif(std::string("dn: ") + kTarget + "\nobjectClass: container\n");
    binding_ = Bind("example.test");
  }

  // The target object as stored, descriptor included.
  kesh::ADObject Target() { return binding_->fetch(kTarget, nullptr, AD_ALL_OBJECTS); }

  // The ACE texts, as a stored descriptor holds them, of `texts` expanded for `trustee`.
  std::vector<std::string> Stored(const std::vector<std::string>& texts,
                                  const std::string& trustee) {
    SDPtr sd = ParseSddl("D:");
    for (const std::string& text : texts) AddAceToSD(sd, Expand(text, trustee));
    kesh::ADObject scratch(kTarget);
    SetSD(scratch, sd, kesh::SID());
    return Texts(GetSD(scratch, kesh::SID())->dacl);
  }
};

TEST_F(DelegateTest, EveryRightAddsItsAceSet) {
  for (const RightCase& c : Cases()) {
    SCOPED_TRACE(std::string(c.right) + " schema " + std::to_string(c.schema));
    kesh::ADObject object = Target();
    const std::vector<std::string> before = Texts(GetSD(object, kesh::SID())->dacl);
    DelegateRightBySDDL(object, c.right, kAlice, c.schema);
    const std::vector<std::string> after = Texts(GetSD(object, kesh::SID())->dacl);
    EXPECT_EQ(Added(after, before), Stored(c.aces, kAliceSid));
  }
}

TEST_F(DelegateTest, EachSchemaNameIsLookedUpOncePerCall) {
  kesh::ADObject object = Target();
  DelegateRightBySDDL(object, "join", "", SCHEMA_TYPE_DYNAMIC);  // the domain's root facts
  // Eight entries name Class-Store; with five attributes that is six schema objects.
  object = Target();
  EXPECT_EQ(6u, OperationsOf([&] {
              DelegateRightBySDDL(object, "add_remove_nismap_entry", "", SCHEMA_TYPE_DYNAMIC);
            }));
}

TEST_F(DelegateTest, TrusteeRules) {
  // An empty principal is the descriptor's owner.
  kesh::ADObject object = Target();
  const std::vector<std::string> before = Texts(GetSD(object, kesh::SID())->dacl);
  DelegateRightBySDDL(object, "deleg_perm_czone_in_qvstore", "", SCHEMA_TYPE_DYNAMIC);
  EXPECT_EQ(Added(Texts(GetSD(object, kesh::SID())->dacl), before),
            Stored({"A;OI;GRWD;;;@"}, kOwnerSid));

  // A descriptor without owner, and a distribution group, are refused, changing nothing.
  kesh::ADObject ownerless(kTarget);
  SetSD(ownerless, ParseSddl("D:(A;;GA;;;BA)"));
  kesh::ADObject target = Target();
  struct Refusal {
    kesh::ADObject object;
    const char* principal;
    const char* message;
  } refusals[] = {
      {ownerless, "", "Security Descriptor owner not found"},
      {target, "staff-list@example.test",
       "Error: staff-list@example.test is a distribution group."},
      {target, "nobody@example.test", "Principal not found: nobody@example.test"},
  };
  for (Refusal& r : refusals) {
    SCOPED_TRACE(r.message);
    const std::string stored = r.object.firstValue(AD_NT_SECDESC);
    EXPECT_EQ(MessageOf<std::exception>(
                  [&] { DelegateRightBySDDL(r.object, "join", r.principal, SCHEMA_TYPE_DYNAMIC); }),
              r.message);
    EXPECT_EQ(r.object.firstValue(AD_NT_SECDESC), stored);
  }

  // A security group is a trustee.
  object = Target();
  DelegateRightBySDDL(object, "deleg_perm_czone_in_qvstore", "unixadmins@example.test",
                      SCHEMA_TYPE_DYNAMIC);
  EXPECT_EQ(Added(Texts(GetSD(object, kesh::SID())->dacl), before),
            Stored({"A;OI;GRWD;;;@"}, "S-1-5-21-3623811015-3361044348-30300820-1200"));
}

TEST_F(DelegateTest, UnknownRightChangesNothingAndAsksNothing) {
  kesh::ADObject object = Target();
  const std::string stored = object.firstValue(AD_NT_SECDESC);
  uint64_t operations = OperationsOf([&] {
    EXPECT_EQ(MessageOf<kesh::BadDataException>(
                  [&] { DelegateRightBySDDL(object, "fly", kAlice, SCHEMA_TYPE_DYNAMIC); }),
              "Unknown right: fly");
  });
  EXPECT_EQ(operations, 0u);
  EXPECT_EQ(object.firstValue(AD_NT_SECDESC), stored);
  EXPECT_FALSE(object[AD_NT_SECDESC].changed());
}

}  // namespace
