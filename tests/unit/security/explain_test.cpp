// Descriptors in words against the in-memory directory: the line of each ACE type, flag
// and right, the DACL's flags, owner and group, GUIDs named by extended rights and schema
// objects, the refusal without a binding, and the directory calls an explanation costs.
#include "security/explain.h"

#include <gtest/gtest.h>

#include <string>

#include "directory/library/exceptions.h"
#include "memdir_session.h"
#include "security/sddl.h"

namespace {

using memtest::MessageOf;
using memtest::OperationsOf;

// rightsGuid of extended rights in tests/fixtures/extended_rights.ldif.
const char kForceChangePassword[] = "00299570-246d-11d0-a768-00aa006e0529";
const char kSendAs[] = "ab721a54-1e2f-11d0-9819-00aa0040529b";
// schemaIDGUIDs of tests/fixtures/example.ldif.
const char kUserClass[] = "bf967aba-0de6-11d0-a285-00aa003049e2";
const char kMemberAttr[] = "bf9679c0-0de6-11d0-a285-00aa003049e2";
// Known to neither.
const char kUnknownGuid[] = "12345678-9abc-def0-1234-56789abcdef0";
const char kAliceSid[] = "S-1-5-21-3623811015-3361044348-30300820-1101";

const char kNoBinding[] = "Need at least one binding to perform schema lookup";

std::string ExplainAce(const std::string& text) { return ExplainAces({ParseAce(text)}); }

std::string Explain(const std::string& sddl) { return ExplainSDText(sddl); }

struct LineCase {
  const char* ace;   // without parentheses
  const char* line;  // the expected line
};

// One row per type, flag and right of the tables; none needs the directory.
const LineCase kLines[] = {
    // Types.
    {"A;;;;;WD", " Allow |  |  | Everyone\n"},
    {"D;;;;;WD", " Deny |  |  | Everyone\n"},
    {"OA;;;;;WD", " Allow |  |  | Everyone\n"},
    {"OD;;;;;WD", " Deny |  |  | Everyone\n"},
    {"AU;;;;;WD", "  |  |  | Everyone\n"},
    {"OU;;;;;WD", "  |  |  | Everyone\n"},
    {"OL;;;;;WD", "  |  |  | Everyone\n"},
    // Flags.
    {"A;CI;;;;WD", " Allow | inherit, |  | Everyone\n"},
    {"A;OI;;;;WD", " Allow | inherit to object, |  | Everyone\n"},
    {"A;NP;;;;WD", " Allow | dont propagate, |  | Everyone\n"},
    {"A;IO;;;;WD", " Allow | inherit only, |  | Everyone\n"},
    {"A;ID;;;;WD", " Allow | inherited, |  | Everyone\n"},
    {"A;SA;;;;WD", " Allow | , |  | Everyone\n"},
    {"A;FA;;;;WD", " Allow | , |  | Everyone\n"},
    {"A;IDOINPCIIO;;;;WD",
     " Allow | inherit,inherit to object,dont propagate,inherit only,inherited, |  | Everyone\n"},
    // Rights.
    {"A;;SD;;;WD", " Allow |  | delete, | Everyone\n"},
    {"A;;RC;;;WD", " Allow |  | read SD, | Everyone\n"},
    {"A;;WD;;;WD", " Allow |  | write DACL, | Everyone\n"},
    {"A;;WO;;;WD", " Allow |  | change owner, | Everyone\n"},
    {"A;;GR;;;WD", " Allow |  | read, | Everyone\n"},
    {"A;;GW;;;WD", " Allow |  | write, | Everyone\n"},
    {"A;;GX;;;WD", " Allow |  | execute, | Everyone\n"},
    {"A;;GA;;;WD", " Allow |  | full control, | Everyone\n"},
    {"A;;CC;;;WD", " Allow |  | create child, | Everyone\n"},
    {"A;;DC;;;WD", " Allow |  | delete child, | Everyone\n"},
    {"A;;LC;;;WD", " Allow |  | list children, | Everyone\n"},
    {"A;;SW;;;WD", " Allow |  | self write, | Everyone\n"},
    {"A;;RP;;;WD", " Allow |  | read property, | Everyone\n"},
    {"A;;WP;;;WD", " Allow |  | write property, | Everyone\n"},
    {"A;;DT;;;WD", " Allow |  | delete tree, | Everyone\n"},
    {"A;;LO;;;WD", " Allow |  | list object, | Everyone\n"},
    {"A;;CR;;;WD", " Allow |  | control access, | Everyone\n"},
    {"A;;CRLORPRC;;;WD",
     " Allow |  | read SD,read property,list object,control access, | Everyone\n"},
    {"A;;0x10000010;;;WD", " Allow |  | full control,read property, | Everyone\n"},
    // Principals of the well-known tables.
    {"A;;GA;;;SY", " Allow |  | full control, | System\n"},
    {"A;;GA;;;BA", " Allow |  | full control, | Administrators\n"},
    {"A;;GA;;;DA", " Allow |  | full control, | Domain Admins\n"},
};

using ExplainTest = memtest::MemdirSession;

TEST_F(ExplainTest, LineOfEachTypeFlagAndRightNeedsNoBinding) {
  for (const LineCase& c : kLines) {
    std::string line;
    EXPECT_EQ(0u, OperationsOf([&] { line = ExplainAce(c.ace); })) << c.ace;
    EXPECT_EQ(c.line, line) << c.ace;
  }
}

TEST_F(ExplainTest, OwnerGroupAndDaclFlags) {
  const LineCase cases[] = {
      {"", ""},
      {"O:BA", "Owner: Administrators\n"},
      {"G:SY", "Group: System\n"},
      {"O:BAG:SY", "Owner: Administrators\nGroup: System\n"},
      {"D:", "Dacl: \n"},
      {"D:P", "Dacl: protected (no inheritance),\n"},
      {"D:AI", "Dacl: inherit supported,\n"},
      {"D:AR", "Dacl: AR\n"},
      {"D:PAIAR", "Dacl: protected (no inheritance),inherit supported,AR\n"},
      {"D:(A;;GA;;;WD)", "Dacl: \n Allow |  | full control, | Everyone\n"},
      {"O:COG:CGD:AI(A;;RP;;;AU)",
       "Owner: creator owner\nGroup: creator group\nDacl: inherit supported,\n"
       " Allow |  | read property, | Authenticated users\n"},
      // Canonical order: explicit deny, explicit allow, inherited deny, inherited allow.
      {"D:(A;ID;GR;;;WD)(D;ID;GW;;;WD)(A;;LC;;;SY)(D;;SD;;;AU)",
       "Dacl: \n Deny |  | delete, | Authenticated users\n"
       " Allow |  | list children, | System\n"
       " Deny | inherited, | write, | Everyone\n"
       " Allow | inherited, | read, | Everyone\n"},
  };
  for (const LineCase& c : cases) EXPECT_EQ(c.line, Explain(c.ace)) << c.ace;
}

TEST_F(ExplainTest, PrincipalsOfTheDirectoryByName) {
  Bind("example.test");
  const LineCase cases[] = {
      {"A;;GA;;;S-1-5-21-3623811015-3361044348-30300820-1101",
       " Allow |  | full control, | alice@example.test\n"},
      {"A;;GA;;;S-1-5-21-1-2-3-1105", " Allow |  | full control, | S-1-5-21-1-2-3-1105\n"},
  };
  for (const LineCase& c : cases) EXPECT_EQ(c.line, ExplainAce(c.ace)) << c.ace;
}

TEST_F(ExplainTest, GuidsNamedByExtendedRightsAndSchema) {
  memtest::LoadFixture("extended_rights.ldif");
  Bind("example.test");
  const std::string user = kUserClass, member = kMemberAttr, unknown = kUnknownGuid;
  const std::string force = kForceChangePassword, sendAs = kSendAs;
  const struct {
    std::string ace, line;
  } cases[] = {
      {"OA;;CR;" + force + ";;WD",
       " Allow |  | control access, | User-Force-Change-Password |  | Everyone\n"},
      {"OA;CI;CR;" + sendAs + ";" + user + ";WD",
       " Allow | inherit, | control access, | Send-As | User | Everyone\n"},
      // Without "CR" the same GUID is not looked for among the extended rights.
      {"OA;;RP;" + force + ";;WD", " Allow |  | read property, | " + force + " |  | Everyone\n"},
      // "CR" with a schema GUID: the schema names it.
      {"OA;;CR;" + member + ";;WD", " Allow |  | control access, | Member |  | Everyone\n"},
      {"OA;;RPWP;" + member + ";;WD",
       " Allow |  | read property,write property, | Member |  | Everyone\n"},
      {"OA;CIIO;GR;;" + user + ";AU",
       " Allow | inherit,inherit only, | read, |  | User | Authenticated users\n"},
      {"OA;;CR;" + unknown + ";" + unknown + ";WD",
       " Allow |  | control access, | " + unknown + " | " + unknown + " | Everyone\n"},
      {"OA;;CR;" + force + ";;" + kAliceSid,
       " Allow |  | control access, | User-Force-Change-Password |  | alice@example.test\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.line, ExplainAce(c.ace)) << c.ace;
}

TEST_F(ExplainTest, ControlAccessWithoutExtendedRightsFallsBackToSchema) {
  Bind("example.test");  // the directory holds no CN=Extended-Rights container
  EXPECT_EQ(" Allow |  | control access, | User |  | Everyone\n",
            ExplainAce(std::string("OA;;CR;") + kUserClass + ";;WD"));
  EXPECT_EQ(
      " Allow |  | control access, | " + std::string(kForceChangePassword) + " |  | Everyone\n",
      ExplainAce(std::string("OA;;CR;") + kForceChangePassword + ";;WD"));
}

TEST_F(ExplainTest, GuidsNeedABinding) {
  const std::string refused[] = {
      std::string("OA;;CR;") + kForceChangePassword + ";;WD",
      std::string("OA;;RP;") + kMemberAttr + ";;WD",
      std::string("OA;CI;GR;;") + kUserClass + ";WD",
  };
  for (const std::string& ace : refused) {
    EXPECT_EQ(kNoBinding, MessageOf<kesh::BadDataException>([&] { ExplainAce(ace); })) << ace;
    EXPECT_EQ(kNoBinding,
              MessageOf<kesh::BadDataException>([&] { Explain("O:BAD:(" + ace + ")"); }))
        << ace;
  }
  EXPECT_EQ("Owner: Administrators\nDacl: \n Allow | inherit, | read, | Everyone\n",
            Explain("O:BAD:(OA;CI;GR;;;WD)"));
}

TEST_F(ExplainTest, EachDistinctGuidAndPrincipalIsSearchedOncePerExplanation) {
  memtest::LoadFixture("extended_rights.ldif");
  Bind("example.test");
  const std::string force = kForceChangePassword, user = kUserClass, member = kMemberAttr;
  Explain("D:(OA;;CR;" + force + ";;WD)");  // the binding reads its root facts once
  // One search for an extended right, one for a schema object.
  EXPECT_EQ(1u, OperationsOf([&] { Explain("D:(OA;;CR;" + force + ";;WD)"); }));
  EXPECT_EQ(1u, OperationsOf([&] { Explain("D:(OA;;RP;" + member + ";;WD)"); }));
  // The same GUIDs over and over, in all four groups of the DACL.
  std::string repeated = "D:";
  for (const char* flags : {"", "ID"}) {
    for (const char* type : {"OA", "OD"}) {
      repeated += std::string("(") + type + ";" + flags + ";CR;" + force + ";" + user + ";WD)";
      repeated += std::string("(") + type + ";" + flags + ";RPWP;" + member + ";" + user + ";AU)";
      repeated += std::string("(") + type + ";" + flags + ";RP;" + user + ";;BA)";
    }
  }
  EXPECT_EQ(3u, OperationsOf([&] { Explain(repeated); }));
  // A principal of the directory, however often it appears, costs what it costs once.
  const std::string alice = kAliceSid;
  const size_t once = OperationsOf([&] { Explain("O:" + alice + "D:(A;;GR;;;" + alice + ")"); });
  EXPECT_LT(0u, once);
  std::string many = "O:" + alice + "G:" + alice + "D:";
  for (const char* rights : {"GR", "GW", "SD", "RC", "WD"}) {
    many += std::string("(A;;") + rights + ";;;" + alice + ")(D;ID;" + rights + ";;;" + alice + ")";
  }
  EXPECT_EQ(once, OperationsOf([&] { Explain(many); }));
  // Well-known principals cost nothing.
  EXPECT_EQ(0u,
            OperationsOf([&] { Explain("O:BAG:SYD:PAI(A;;GA;;;SY)(D;;SD;;;WD)(A;ID;GR;;;AU)"); }));
}

}  // namespace
