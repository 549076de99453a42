#include "security/sddl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "directory/ldap.h"
#include "directory/library/adbinding.h"
#include "directory/library/adobject.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/memory/memdir.h"
#include "directory/session.h"

namespace {

const char kUserObject[] = "bf967aba-0de6-11d0-a285-00aa003049e2";
const char kMemberAttr[] = "bf9679c0-0de6-11d0-a285-00aa003049e2";

// Runs `fn` and answers the message of the kesh::BadDataException it throws, or a note
// that it threw nothing or something else.
template <class F>
std::string BadDataMessage(F fn) {
  try {
    fn();
  } catch (const kesh::BadDataException& e) {
    return e.what();
  } catch (const std::exception& e) {
    return std::string("other exception: ") + e.what();
  }
  return "no exception";
}

std::string Canonical(const std::string& sddl) {
  SDPtr sd = ParseSddl(sddl);
  return SDToString(sd);
}

struct SddlCase {
  const char* label;
  const char* in;
  const char* out;
};

const SddlCase kGoodSddl[] = {
    {"empty text", "", ""},
    {"empty DACL", "D:", "D:"},
    {"one allow ACE", "D:(A;;GA;;;BA)", "D:(A;;GA;;;BA)"},
    {"owner, group, flags", "O:BAG:SYD:PAI(A;;RPWP;;;AU)", "O:BAG:SYD:PAI(A;;RPWP;;;AU)"},
    {"auto-inherit required", "D:AR(A;;CR;;;PS)", "D:AR(A;;CR;;;PS)"},
    {"all three DACL flags", "D:PAIAR", "D:PAIAR"},
    {"rights in table order", "D:(A;;WPRPLC;;;AU)", "D:(A;;LCRPWP;;;AU)"},
    {"flags in table order", "D:(A;OICI;GR;;;WD)", "D:(A;CIOI;GR;;;WD)"},
    {"hex rights", "D:(A;;0x10;;;BA)", "D:(A;;RP;;;BA)"},
    {"hex rights, many bits", "D:(A;;0x000F01FF;;;DA)", "D:(A;;SDRCWDWOCCDCLCSWRPWPDTLOCR;;;DA)"},
    {"rights without a code stay a number", "D:(A;;0x100000;;;WD)(A;;0x01000010;;;AU)",
     "D:(A;;0x100000;;;WD)(A;;0x1000010;;;AU)"},
    {"every right", "D:(A;;CRLODTWPRPSWLCDCCCGAGXGWGRWOWDRCSD;;;WD)",
     "D:(A;;SDRCWDWOGRGWGXGACCDCLCSWRPWPDTLOCR;;;WD)"},
    {"every flag", "D:(A;FASAIDIONPOICI;GA;;;WD)", "D:(A;CIOINPIOIDSAFA;GA;;;WD)"},
    {"canonical order of the four groups",
     "D:(A;ID;GR;;;WD)(D;ID;GW;;;WD)(A;;GA;;;BA)(OD;;CR;;;AU)(D;;SD;;;AU)(A;;LC;;;SY)",
     "D:(OD;;CR;;;AU)(D;;SD;;;AU)(A;;GA;;;BA)(A;;LC;;;SY)(D;ID;GW;;;WD)(A;ID;GR;;;WD)"},
    {"object ACE with both GUIDs",
     "D:(OA;CIIO;WP;bf9679c0-0de6-11d0-a285-00aa003049e2;bf967aba-0de6-11d0-a285-00aa003049e2;"
     "S-1-5-21-1-2-3-1105)",
     "D:(OA;CIIO;WP;bf9679c0-0de6-11d0-a285-00aa003049e2;bf967aba-0de6-11d0-a285-00aa003049e2;"
     "S-1-5-21-1-2-3-1105)"},
    {"GUID in upper case and braces", "D:(OA;;CR;{BF9679C0-0DE6-11D0-A285-00AA003049E2};;BA)",
     "D:(OA;;CR;bf9679c0-0de6-11d0-a285-00aa003049e2;;BA)"},
    {"only the inherited GUID", "D:(OA;CIIO;GR;;bf967aba-0de6-11d0-a285-00aa003049e2;AU)",
     "D:(OA;CIIO;GR;;bf967aba-0de6-11d0-a285-00aa003049e2;AU)"},
    {"domain codes stay codes", "O:DAG:DUD:(A;;GA;;;EA)(A;;GR;;;LA)",
     "O:DAG:DUD:(A;;GA;;;EA)(A;;GR;;;LA)"},
    {"a domain SID with a well-known RID stays a SID", "O:S-1-5-21-1-2-3-512G:S-1-5-21-1-2-3-513",
     "O:S-1-5-21-1-2-3-512G:S-1-5-21-1-2-3-513"},
    {"the placeholder domain's SID is a code", "O:S-1-5-21-0-0-0-512D:(A;;GA;;;S-1-5-21-0-0-0-519)",
     "O:DAD:(A;;GA;;;EA)"},
    {"other domain SID as text", "O:S-1-5-21-1-2-3-1105", "O:S-1-5-21-1-2-3-1105"},
    {"well-known SID as text", "O:S-1-5-32-544G:S-1-5-18", "O:BAG:SY"},
    {"builtin alias is not a domain RID", "O:S-1-5-32-553", "O:S-1-5-32-553"},
    {"SACL is dropped", "O:BAD:(A;;GA;;;BA)S:(AU;SA;GA;;;WD)", "O:BAD:(A;;GA;;;BA)"},
    {"parts in any order", "D:(A;;GA;;;BA)G:SYO:BA", "O:BAG:SYD:(A;;GA;;;BA)"},
    {"group code ending in D", "G:DDD:(A;;GA;;;DD)", "G:DDD:(A;;GA;;;DD)"},
    {"empty SID field", "D:(A;;GA;;;)", "D:(A;;GA;;;)"},
    {"audit type in a DACL", "D:(AU;SA;GA;;;WD)", "D:(AU;SA;GA;;;WD)"},
    {"leading blanks", "  O:BA", "O:BA"},
};

TEST(SddlTest, GoodTextWritesCanonically) {
  for (const SddlCase& c : kGoodSddl) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(Canonical(c.in), c.out);
    // Canonical text is a fixed point.
    EXPECT_EQ(Canonical(c.out), c.out);
  }
}

struct BadCase {
  const char* label;
  std::string in;
  const char* message;
};

const BadCase kBadSddl[] = {
    {"five fields", "D:(A;;GA;;BA)", "Bad ACE format: A;;GA;;BA "},
    {"seven fields", "D:(A;;GA;;;BA;)", "Bad ACE format: A;;GA;;;BA; "},
    {"unclosed ACE", "D:(A;;GA;;;BA", "Bad ACE format: A;;GA;;;BA "},
    {"text after an ACE", "D:(A;;GA;;;BA)x", "Bad ACE format: A;;GA;;;BA)x "},
    {"empty ACE", "D:()", "Bad ACE format:  "},
    {"double parenthesis", "D:((A;;GA;;;BA)", "Bad ACE format:  "},
    {"unknown type", "D:(X;;GA;;;BA)", "Bad ACE type: X"},
    {"type in lower case", "D:(a;;GA;;;BA)", "Bad ACE type: a"},
    {"unknown flag", "D:(A;CX;GA;;;BA)", "Bad ACE flag: CX"},
    {"odd flag text", "D:(A;CIO;GA;;;BA)", "Bad ACE flag: O"},
    {"unknown right", "D:(A;;GQ;;;BA)", "Bad ACE right: GQ"},
    {"odd right text", "D:(A;;GAR;;;BA)", "Bad ACE right: R"},
    {"hex right with junk", "D:(A;;0xZZ;;;BA)", "Bad ACE right: 0xZZ"},
    {"hex right above 32 bits", "D:(A;;0x100000000;;;BA)", "Bad ACE right: 0x100000000"},
    {"unknown DACL flag", "D:PX(A;;GA;;;BA)", "Bad DACL flag: X"},
    {"P after AI", "D:AIP(A;;GA;;;BA)", "Bad DACL flag: P"},
    {"bad owner", "O:XX", "Invalid SID string: XX"},
    {"empty owner", "O:", "Invalid SID string: "},
    {"code in lower case", "G:ba", "Invalid SID string: ba"},
    {"bad ACE SID", "D:(A;;GA;;;nobody)", "Invalid SID string: nobody"},
    {"bad object GUID", "D:(OA;;CR;not-a-guid;;BA)", "Invalid GUID string: not-a-guid"},
    {"bad inherited GUID", "D:(OA;;CR;;1234;BA)", "Invalid GUID string: 1234"},
    {"no part at all", "garbage", "Bad SDDL: garbage"},
    {"text before the first part", "x O:BA", "Bad SDDL: x O:BA"},
    {"embedded NUL in a SID", std::string("O:B\0A", 5), "Invalid SID string: B"},
};

TEST(SddlTest, BadTextThrowsItsMessage) {
  for (const BadCase& c : kBadSddl) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(BadDataMessage([&] { ParseSddl(c.in); }), c.message);
  }
}

struct AceCase {
  const char* text;
  uint8_t type;
  uint8_t flags;
  uint32_t mask;
  const char* objectType;
  const char* inheritedType;
  uint32_t objectFlags;
  const char* sid;
};

const AceCase kAces[] = {
    {"A;;GA;;;BA", 0, 0, 0x10000000, "", "", 0, "S-1-5-32-544"},
    {"D;CI;SDDT;;;WD", 1, 2, 0x10040, "", "", 0, "S-1-1-0"},
    {"OA;CIIO;WP;bf9679c0-0de6-11d0-a285-00aa003049e2;bf967aba-0de6-11d0-a285-00aa003049e2;AU", 5,
     10, 0x20, kMemberAttr, kUserObject, 3, "S-1-5-11"},
    {"OD;;CR;bf9679c0-0de6-11d0-a285-00aa003049e2;;PS", 6, 0, 0x100, kMemberAttr, "", 1,
     "S-1-5-10"},
    {"OA;;CC;;bf967aba-0de6-11d0-a285-00aa003049e2;DA", 5, 0, 1, "", kUserObject, 2,
     "S-1-5-21-0-0-0-512"},
    {"AU;SAFA;0x10;;;SY", 2, 0xC0, 0x10, "", "", 0, "S-1-5-18"},
    {"OU;;0;;;CO", 7, 0, 0, "", "", 0, "S-1-3-0"},
    {"OL;NPID;;;;S-1-5-21-7-8-9-1000", 8, 0x14, 0, "", "", 0, "S-1-5-21-7-8-9-1000"},
    {"A;OI;RCLCRPLO;;;", 0, 1, 0x20094, "", "", 0, ""},
    {"A;;0xffffffff;;;WD", 0, 0, 0xFFFFFFFF, "", "", 0, "S-1-1-0"},
};

TEST(SddlTest, ParseAceFillsEveryField) {
  for (const AceCase& c : kAces) {
    SCOPED_TRACE(c.text);
    kesh::ACEntry ace = ParseAce(c.text);
    EXPECT_EQ(ace.type, c.type);
    EXPECT_EQ(ace.flags, c.flags);
    EXPECT_EQ(ace.mask, c.mask);
    EXPECT_EQ(ace.objectType.isNull() ? "" : ace.objectType.toRealMSString(), c.objectType);
    EXPECT_EQ(ace.inheritedObjectType.isNull() ? "" : ace.inheritedObjectType.toRealMSString(),
              c.inheritedType);
    EXPECT_EQ(ace.objectFlags, c.objectFlags);
    EXPECT_EQ(ace.sid.toMSString(), c.sid);
    EXPECT_EQ(ace.sid.isNull(), std::string(c.sid).empty());
  }
}

TEST(SddlTest, ParseAceWithParenthesesFailsOnTheType) {
  EXPECT_EQ(BadDataMessage([] { ParseAce("(A;;GA;;;BA)"); }), "Bad ACE type: (A");
  EXPECT_EQ(BadDataMessage([] { ParseAce(""); }), "Bad ACE format:  ");
}

struct SidCase {
  const char* text;
  const char* sid;
  const char* code;
  const char* explained;
};

const SidCase kSids[] = {
    {"WD", "S-1-1-0", "WD", "Everyone"},
    {"BA", "S-1-5-32-544", "BA", "Administrators"},
    {"SY", "S-1-5-18", "SY", "System"},
    {"RU", "S-1-5-32-554", "RU", "pre win2k"},
    {"ED", "S-1-5-9", "ED", "Enterprise Domain Controllers"},
    {"DA", "S-1-5-21-0-0-0-512", "DA", "Domain Admins"},
    {"LA", "S-1-5-21-0-0-0-500", "LA", "Administrator"},
    {"PA", "S-1-5-21-0-0-0-520", "PA", "GP admins"},
    {"RS", "S-1-5-21-0-0-0-553", "RS", "Ras Servers"},
    {"SA", "S-1-5-21-0-0-0-518", "SA", "Schema Admins"},
    // A domain's SID is no code: with no directory to ask, the explanation is the SID.
    {"S-1-5-21-11-22-33-519", "S-1-5-21-11-22-33-519", "S-1-5-21-11-22-33-519",
     "S-1-5-21-11-22-33-519"},
    {"S-1-5-32-545", "S-1-5-32-545", "BU", "Users"},
};

TEST(SddlTest, SidCodesBothWays) {
  for (const SidCase& c : kSids) {
    SCOPED_TRACE(c.text);
    kesh::SID sid = SidFromString(c.text);
    EXPECT_EQ(sid.toMSString(), c.sid);
    EXPECT_EQ(SidToString(sid, false), c.code);
    // Well-known names need no directory.
    EXPECT_EQ(SidToString(sid, true), c.explained);
  }
}

TEST(SddlTest, TablesHaveUniqueCodesAndKnownSids) {
  auto checkUnique = [](const SddlCode* table, size_t n) {
    for (size_t i = 0; i < n; ++i) {
      // A row left out of a table's initializer would be all zeros.
      ASSERT_NE(table[i].code, nullptr) << "row " << i;
      ASSERT_NE(table[i].text, nullptr) << table[i].code;
      EXPECT_EQ(std::string(table[i].code).size(), 2u) << table[i].code;
      for (size_t j = i + 1; j < n; ++j) {
        EXPECT_STRNE(table[i].code, table[j].code);
        EXPECT_NE(table[i].value, table[j].value) << table[i].code << " " << table[j].code;
      }
    }
  };
  checkUnique(gAceFlags, ACE_FLAG_COUNT);
  checkUnique(gAceRights, ACE_RIGHT_COUNT);
  checkUnique(gWellKnownRids, WELL_KNOWN_RID_COUNT);
  for (size_t i = 0; i < ACE_TYPE_COUNT; ++i) ASSERT_NE(gAceTypes[i].code, nullptr) << i;
  for (size_t i = 0; i < WELL_KNOWN_SID_COUNT; ++i) {
    ASSERT_NE(gWellKnownSids[i].code, nullptr) << "row " << i;
    ASSERT_NE(gWellKnownSids[i].sid, nullptr) << gWellKnownSids[i].code;
    SCOPED_TRACE(gWellKnownSids[i].code);
    // Every row round-trips through its code.
    kesh::SID sid = SidFromString(gWellKnownSids[i].code);
    EXPECT_EQ(sid.toMSString(), gWellKnownSids[i].sid);
    EXPECT_EQ(SidToString(sid, false), gWellKnownSids[i].code);
  }
}

TEST(SddlTest, OtherSidsKeepTheirText) {
  kesh::SID sid("S-1-5-21-1-2-3-1105");
  EXPECT_EQ(SidToString(sid, false), "S-1-5-21-1-2-3-1105");
  EXPECT_EQ(SidToString(kesh::SID(), false), "");
  EXPECT_EQ(SidFromString("S-1-5-21-1-2-3-1105"), sid);
}

// Codes of gWellKnownRids stand only for SIDs of the placeholder domain and of the domain
// a descriptor is read through: a code is read back as the domain written to.
TEST(SddlTest, DomainCodesOnlyForTheReadingDomain) {
  const char kOwn[] = "S-1-5-21-100-200-300";
  struct {
    const char* sid;
    const char* domain;  // "" for none
    const char* text;
  } cases[] = {
      {"S-1-5-21-100-200-300-512", kOwn, "DA"},
      {"S-1-5-21-100-200-300-500", kOwn, "LA"},
      {"S-1-5-21-100-200-300-553", kOwn, "RS"},
      {"S-1-5-21-100-200-300-1105", kOwn, "S-1-5-21-100-200-300-1105"},
      {"S-1-5-21-1-2-3-512", kOwn, "S-1-5-21-1-2-3-512"},
      {"S-1-5-21-1-2-3-519", kOwn, "S-1-5-21-1-2-3-519"},
      {"S-1-5-21-100-200-300-512", "", "S-1-5-21-100-200-300-512"},
      {"S-1-5-21-0-0-0-512", kOwn, "DA"},
      {"S-1-5-21-0-0-0-513", "", "DU"},
      {"S-1-5-21-0-0-0-1105", kOwn, "S-1-5-21-0-0-0-1105"},
      {"S-1-5-32-544", kOwn, "BA"},
      // A SID with the domain's numbers under another authority is not of the domain.
      {"S-1-5-22-100-200-300-512", kOwn, "S-1-5-22-100-200-300-512"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.sid) + " read through " + c.domain);
    kesh::SID domain = *c.domain ? kesh::SID(c.domain) : kesh::SID();
    EXPECT_EQ(SidToString(kesh::SID(c.sid), false, domain), c.text);
    // The text, written back to that domain, is the SID that the original becomes.
    EXPECT_EQ(FixSid(SidFromString(c.text), domain), FixSid(kesh::SID(c.sid), domain));
  }
}

// Rights are codes only when codes cover the whole mask; otherwise the whole mask in hex,
// which reads back as the same mask.
TEST(SddlTest, RightsKeepEveryBit) {
  struct {
    uint32_t mask;
    const char* text;
  } cases[] = {
      {0, ""},
      {0x10, "RP"},
      {0xF01FF, "SDRCWDWOCCDCLCSWRPWPDTLOCR"},
      {0xF0000000, "GRGWGXGA"},
      {0x100000, "0x100000"},    // synchronize
      {0x1000000, "0x1000000"},  // access system security
      {0x100010, "0x100010"},    // a coded bit beside a code-less one
      {0x200, "0x200"},          // the bit above CR
      {0xFFFFFFFF, "0xffffffff"},
      {0xF01FF | 0x100000, "0x1f01ff"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(RightsToString(c.mask), c.text);
    EXPECT_EQ(ParseAce(std::string("A;;") + c.text + ";;;WD").mask, c.mask);
  }
}

// A descriptor written as text for the domain it was read through, parsed and fixed for
// that domain again, is the same binary descriptor.
TEST(SddlTest, TextOfADescriptorWritesBackTheSameBinary) {
  const kesh::SID own("S-1-5-21-100-200-300");
  auto ace = [](uint8_t type, uint8_t flags, uint32_t mask, const char* sid,
                const char* objectType = nullptr) {
    kesh::ACEntry ace;
    ace.type = type;
    ace.flags = flags;
    ace.mask = mask;
    ace.sid = kesh::SID(sid);
    if (objectType) ace.setObjectType(kesh::Guid::fromRealMSString(objectType));
    return ace;
  };
  struct Case {
    const char* label;
    const char* owner;
    const char* group;
    uint16_t daclFlags;
    std::vector<kesh::ACEntry> aces;
    const char* text;  // as written for `own`
  };
  const Case cases[] = {
      {"own and foreign domain admins, code-less rights",
       "S-1-5-21-100-200-300-512",
       "S-1-5-21-1-2-3-512",
       SDDL_DACL_PROTECTED | SDDL_DACL_AUTO_INHERITED,
       {ace(1, 0, 0x1000000, "S-1-5-21-1-2-3-512"), ace(0, 0, 0xF01FF, "S-1-5-21-100-200-300-512"),
        ace(0, 0, 0xF01FF, "S-1-5-21-1-2-3-512"), ace(0, 2, 0x100000, "S-1-1-0"),
        ace(5, 2, 0x100, "S-1-5-21-1-2-3-519", kMemberAttr),
        ace(0, 0x12, 0x120094, "S-1-5-21-100-200-300-1105")},
       "O:DAG:S-1-5-21-1-2-3-512D:PAI(D;;0x1000000;;;S-1-5-21-1-2-3-512)(A;;"
       "SDRCWDWOCCDCLCSWRPWPDTLOCR;;;DA)(A;;SDRCWDWOCCDCLCSWRPWPDTLOCR;;;S-1-5-21-1-2-3-512)"
       "(A;CI;0x100000;;;WD)(OA;CI;CR;bf9679c0-0de6-11d0-a285-00aa003049e2;;S-1-5-21-1-2-3-519)"
       "(A;CIID;0x120094;;;S-1-5-21-100-200-300-1105)"},
      {"foreign owner, every mask bit",
       "S-1-5-21-1-2-3-500",
       "S-1-5-21-100-200-300-513",
       0,
       {ace(0, 0, 0xFFFFFFFF, "S-1-5-21-100-200-300-519")},
       "O:S-1-5-21-1-2-3-500G:DUD:(A;;0xffffffff;;;EA)"},
      {"no ACEs", "S-1-5-18", "S-1-5-32-544", SDDL_DACL_PROTECTED, {}, "O:SYG:BAD:P"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    auto sd = std::make_shared<DirectorySecurityDescriptor>(own);
    sd->control = kesh::SE_SELF_RELATIVE | kesh::SE_DACL_PRESENT | c.daclFlags;
    sd->owner = kesh::SID(c.owner);
    sd->group = kesh::SID(c.group);
    sd->hasDacl = true;
    sd->dacl.aces = c.aces;
    kesh::NetBuf original;
    sd->serialize(original);

    SDPtr read = sd;
    const std::string text = SDToString(read);
    EXPECT_EQ(text, c.text);
    SDPtr back = ParseSddl(text);
    FixSD(back, own);
    kesh::NetBuf written;
    back->serialize(written);
    EXPECT_EQ(written.data(), original.data());
  }
}

// SDDL -> descriptor -> binary -> descriptor -> SDDL gives the canonical text back.
TEST(SddlTest, BinaryRoundTrip) {
  for (const SddlCase& c : kGoodSddl) {
    SCOPED_TRACE(c.label);
    // A null SID has no binary form: such ACEs are not written to the directory.
    if (std::string(c.out).find(";;;)") != std::string::npos) continue;
    SDPtr sd = ParseSddl(c.in);
    kesh::NetBuf buf;
    sd->serialize(buf);
    auto back = std::make_shared<kesh::SecurityDescriptor>(SD_REVISION, SD_CONTROL);
    back->parse(buf.data());
    EXPECT_EQ(SDToString(back), c.out);
  }
}

TEST(SddlTest, ParsedDescriptorHasTheFixedHeader) {
  SDPtr sd = ParseSddl("O:BA");
  EXPECT_EQ(sd->revision, 1);
  EXPECT_EQ(sd->control & 0x8014, 0x8014);
  EXPECT_FALSE(sd->hasDacl);
  EXPECT_TRUE(sd->group.isNull());

  sd = ParseSddl("D:PAI(A;;GA;;;BA)");
  EXPECT_TRUE(sd->hasDacl);
  EXPECT_EQ(sd->dacl.revision, 4);
  EXPECT_EQ(sd->control & 0x1500, 0x1400);
  ASSERT_EQ(sd->dacl.aces.size(), 1u);
}

TEST(SddlTest, PlaceholderDomainIsReplacedByFixSD) {
  kesh::SID domain("S-1-5-21-100-200-300");
  SDPtr sd =
      ParseSddl("O:DAG:S-1-5-21-0-0-0-1234D:(A;;GA;;;EA)(A;;GR;;;S-1-5-21-9-9-9-512)(A;;GR;;;WD)");
  EXPECT_EQ(sd->owner.toMSString(), "S-1-5-21-0-0-0-512");
  FixSD(sd, domain);
  EXPECT_EQ(sd->owner.toMSString(), "S-1-5-21-100-200-300-512");
  EXPECT_EQ(sd->group.toMSString(), "S-1-5-21-100-200-300-1234");
  EXPECT_EQ(sd->dacl.aces[0].sid.toMSString(), "S-1-5-21-100-200-300-519");
  EXPECT_EQ(sd->dacl.aces[1].sid.toMSString(), "S-1-5-21-9-9-9-512");
  EXPECT_EQ(sd->dacl.aces[2].sid.toMSString(), "S-1-1-0");
  // Written for the same domain, the codes read the same after the fix; the other
  // domain's SID stays a SID.
  EXPECT_EQ(
      SDToString(sd, domain),
      "O:DAG:S-1-5-21-100-200-300-1234D:(A;;GA;;;EA)(A;;GR;;;S-1-5-21-9-9-9-512)(A;;GR;;;WD)");

  // A null domain or SID changes nothing.
  EXPECT_EQ(FixSid(kesh::SID("S-1-5-21-0-0-0-512"), kesh::SID()).toMSString(),
            "S-1-5-21-0-0-0-512");
  EXPECT_TRUE(FixSid(kesh::SID(), domain).isNull());
  // The placeholder must be the whole domain part.
  EXPECT_EQ(FixSid(kesh::SID("S-1-5-21-0-0-0-9-512"), domain).toMSString(), "S-1-5-21-0-0-0-9-512");
}

TEST(SddlTest, SetSDStoresTheFixedBinaryDescriptor) {
  kesh::ADObject object("CN=x,DC=example,DC=test");
  EXPECT_EQ(BadDataMessage([&] { GetSD(object); }),
            "other exception: Security Descriptor not present");

  SDPtr sd = ParseSddl("O:DAD:(A;;GA;;;DA)");
  SetSD(object, sd, kesh::SID("S-1-5-21-1-2-3"));
  const kesh::ADAttribute* attr = object.find(AD_NT_SECDESC);
  ASSERT_NE(attr, nullptr);
  EXPECT_TRUE(attr->changed());
  ASSERT_EQ(attr->size(), 1u);

  SDPtr back = GetSD(object, kesh::SID("S-1-5-21-1-2-3"));
  EXPECT_EQ(back->owner.toMSString(), "S-1-5-21-1-2-3-512");
  EXPECT_EQ(back->dacl.aces.at(0).sid.toMSString(), "S-1-5-21-1-2-3-512");
  EXPECT_EQ(SDToString(back), "O:DAD:(A;;GA;;;DA)");
  // Read with no binding of its domain, the domain's principals keep their SIDs.
  back = GetSD(object);
  EXPECT_EQ(SDToString(back), "O:S-1-5-21-1-2-3-512D:(A;;GA;;;S-1-5-21-1-2-3-512)");

  object[AD_NT_SECDESC] = "not a descriptor";
  EXPECT_NE(BadDataMessage([&] { GetSD(object); }), "no exception");
}

struct CommandCase {
  const char* label;
  std::string (*command)(const std::string&, const std::string&);
  const char* sddl;
  const char* arg;
  const char* out;
};

const CommandCase kCommands[] = {
    {"add to an empty text", AddSDAce, "", "A;;GA;;;BA", "D:(A;;GA;;;BA)"},
    {"add keeps flags and canonical order", AddSDAce, "O:BAD:PAI(A;;GA;;;BA)(A;ID;GR;;;WD)",
     "D;;WP;;;AU", "O:BAD:PAI(D;;WP;;;AU)(A;;GA;;;BA)(A;ID;GR;;;WD)"},
    {"add an object ACE", AddSDAce, "D:(A;;GA;;;BA)",
     "OA;CI;WP;bf9679c0-0de6-11d0-a285-00aa003049e2;;S-1-5-21-1-2-3-1105",
     "D:(A;;GA;;;BA)(OA;CI;WP;bf9679c0-0de6-11d0-a285-00aa003049e2;;S-1-5-21-1-2-3-1105)"},
    {"remove the equal ACE", RemoveSDAce, "D:(A;;GA;;;BA)(A;;GR;;;AU)", "A;;GR;;;AU",
     "D:(A;;GA;;;BA)"},
    {"remove every copy", RemoveSDAce, "D:(D;;GR;;;AU)(A;;GA;;;BA)(D;;GR;;;AU)", "D;;GR;;;AU",
     "D:(A;;GA;;;BA)"},
    {"remove needs equal rights", RemoveSDAce, "D:(A;;GA;;;BA)(A;;GR;;;AU)", "A;;GRGW;;;AU",
     "D:(A;;GA;;;BA)(A;;GR;;;AU)"},
    {"remove needs equal flags", RemoveSDAce, "D:(A;CI;GR;;;AU)", "A;;GR;;;AU", "D:(A;CI;GR;;;AU)"},
    {"remove needs equal type", RemoveSDAce, "D:(A;;GR;;;AU)", "D;;GR;;;AU", "D:(A;;GR;;;AU)"},
    {"remove needs equal GUID", RemoveSDAce, "D:(OA;;CR;bf9679c0-0de6-11d0-a285-00aa003049e2;;AU)",
     "OA;;CR;bf967aba-0de6-11d0-a285-00aa003049e2;;AU",
     "D:(OA;;CR;bf9679c0-0de6-11d0-a285-00aa003049e2;;AU)"},
    {"remove an object ACE", RemoveSDAce,
     "D:(A;;GA;;;BA)(OA;;CR;bf9679c0-0de6-11d0-a285-00aa003049e2;;AU)",
     "OA;;CR;BF9679C0-0DE6-11D0-A285-00AA003049E2;;S-1-5-11", "D:(A;;GA;;;BA)"},
    {"owner added where none was", SetSDOwner, "D:(A;;GA;;;BA)", "DA", "O:DAD:(A;;GA;;;BA)"},
    {"owner replaced", SetSDOwner, "O:BAG:SY", "S-1-5-21-1-2-3-1105", "O:S-1-5-21-1-2-3-1105G:SY"},
    {"group added", SetSDGroup, "O:BA", "DU", "O:BAG:DU"},
    {"DACL replaced, flags kept", SetSDDacl, "O:BAD:PAI(A;;GA;;;BA)", "(A;;GR;;;AU)(D;;SD;;;WD)",
     "O:BAD:PAI(D;;SD;;;WD)(A;;GR;;;AU)"},
    {"DACL made where none was", SetSDDacl, "O:BA", "(A;;GA;;;SY)", "O:BAD:(A;;GA;;;SY)"},
    {"DACL emptied", SetSDDacl, "D:(A;;GA;;;BA)", "", "D:"},
};

TEST(SddlTest, CommandsChangeTheText) {
  for (const CommandCase& c : kCommands) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(c.command(c.sddl, c.arg), c.out);
  }
}

TEST(SddlTest, CommandsRefuseBadArguments) {
  EXPECT_EQ(BadDataMessage([] { AddSDAce("D:", "(A;;GA;;;BA)"); }), "Bad ACE type: (A");
  EXPECT_EQ(BadDataMessage([] { RemoveSDAce("D:(AU;SA;GA;;;WD)", "AU;SA;GA;;;WD"); }),
            "Invalid ACE type");
  EXPECT_EQ(BadDataMessage([] { RemoveSDAce("D:", "OU;;GA;;;WD"); }), "Invalid ACE type");
  EXPECT_EQ(BadDataMessage([] { SetSDOwner("O:BA", "Administrators"); }),
            "Invalid SID string: Administrators");
  EXPECT_EQ(BadDataMessage([] { SetSDDacl("O:BA", "D:(A;;GA;;;BA)"); }), "Bad ACE format: D: ");
  EXPECT_EQ(BadDataMessage([] { SetSDGroup("D:(A;;GA;;;BA", "SY"); }),
            "Bad ACE format: A;;GA;;;BA ");
}

TEST(SddlTest, FailedParseLeavesTheDescriptorAlone) {
  SDPtr sd = ParseSddl("O:BAD:P(A;;GA;;;BA)");
  EXPECT_NE(BadDataMessage([&] { ParseDacl("D:AI(A;;GR;;;AU)(X;;;;;)", sd); }), "no exception");
  EXPECT_NE(BadDataMessage([&] { AddAceToSD(sd, "A;;GR;;;nobody"); }), "no exception");
  EXPECT_NE(BadDataMessage([&] { SetDaclInSD(sd, "(A;;GR;;;AU)(A;;XX;;;AU)"); }), "no exception");
  EXPECT_NE(BadDataMessage([&] { SetOwnerInSD(sd, "S-1-x"); }), "no exception");
  EXPECT_EQ(SDToString(sd), "O:BAD:P(A;;GA;;;BA)");
}

TEST(SddlTest, ComposeACEStr) {
  EXPECT_EQ(ComposeACEStr("A;;RCLCRPLO;;;", "S-1-5-11"), "A;;RCLCRPLO;;;S-1-5-11");
  EXPECT_EQ(ComposeACEStr("OA;CIIO;WP;", kMemberAttr, ";", kUserObject, ";", "AU"),
            std::string("OA;CIIO;WP;") + kMemberAttr + ";" + kUserObject + ";AU");
  EXPECT_EQ(BadDataMessage([] { ComposeACEStr("OA;CIIO;GR;;", "", "", "", "", "", "AU"); }),
            "Bad ACE format: (OA;CIIO;GR;;AU)");
  EXPECT_EQ(BadDataMessage([] { ComposeACEStr("A;;GA;;;", ";BA"); }),
            "Bad ACE format: (A;;GA;;;;BA)");
}

// SetSD and AddAcesToCont against the in-memory directory, through a session with a binding
// to example.test.
class SddlDirectoryTest : public testing::Test {
 protected:
  static constexpr const char* kDomainSid = "S-1-5-21-3623811015-3361044348-30300820";
  static constexpr const char* kUnit = "OU=Units,DC=example,DC=test";

  void SetUp() override {
    kesh::memdir::Reset();
    kesh::memdir::LoadLdifFile(std::string(ZS_FIXTURES_DIR) + "/example.ldif");
    kesh::memdir::SetCCache("MEMORY:sddl", "Administrator@example.test");
    std::shared_ptr<kesh::ADBinding> connection =
        kesh::NewADBinding("example.test", "MEMORY:sddl", false, "", "", nullptr);
    connection->connect("", "", 0);
    binding_ = std::make_shared<MyBinding>(connection, "MEMORY:sddl");
    GetContextTab()->bindings["example.test"] = binding_;
  }
  void TearDown() override { kesh::memdir::Reset(); }

  // The stored descriptor of `dn` as text, read from the directory.
  std::string StoredSddl(const std::string& dn) {
    kesh::ADObject object = binding_->binding->fetch(dn, nullptr, AD_ALL_OBJECTS, 0);
    SDPtr sd = GetSD(object);
    return SDToString(sd);
  }

  // Adds an organizational unit with the descriptor `sddl` to the directory.
  void AddUnit(const std::string& sddl) {
    kesh::ADObject unit(kUnit);
    unit["objectClass"] = "organizationalUnit";
    SetSD(unit, ParseSddl(sddl));
    binding_->add(unit);
  }

  // A session of the test's own, installed for its thread: no interpreter is needed.
  ContextTab tab_;
  SessionScope scope_{&tab_};
  std::shared_ptr<MyBinding> binding_;
};

TEST_F(SddlDirectoryTest, SetSDPutsTheObjectsDomainInPlaceOfThePlaceholder) {
  kesh::ADObject object(kUnit);
  SetSD(object, ParseSddl("O:DAG:DUD:(A;;GA;;;EA)(A;;RC;;;S-1-5-21-0-0-0-1101)"));
  SDPtr sd = GetSD(object);
  EXPECT_EQ(sd->owner.toMSString(), std::string(kDomainSid) + "-512");
  EXPECT_EQ(sd->group.toMSString(), std::string(kDomainSid) + "-513");
  EXPECT_EQ(sd->dacl.aces.at(0).sid.toMSString(), std::string(kDomainSid) + "-519");
  EXPECT_EQ(sd->dacl.aces.at(1).sid.toMSString(), std::string(kDomainSid) + "-1101");
}

// The text of a stored descriptor names the binding's domain by codes and no other, and
// keeps code-less rights; written back with SetSD it is the stored descriptor again.
TEST_F(SddlDirectoryTest, ReadTextWritesBackTheStoredDescriptor) {
  const std::string text =
      "O:DAG:S-1-5-21-1-2-3-512D:AI(A;;0x1000000;;;S-1-5-21-1-2-3-512)(A;;GA;;;DA)"
      "(A;CI;0x100000;;;WD)(OA;;CR;" +
      std::string(kMemberAttr) + ";;S-1-5-21-1-2-3-519)";
  AddUnit(text);
  kesh::ADObject unit = binding_->binding->fetch(kUnit, nullptr, AD_ALL_OBJECTS, 0);
  const std::string stored = unit[AD_NT_SECDESC].values().at(0);
  SDPtr sd = GetSD(unit);
  ASSERT_EQ(sd->owner.toMSString(), std::string(kDomainSid) + "-512");
  const std::string read = SDToString(sd);
  EXPECT_EQ(read, text);
  SetSD(unit, ParseSddl(read));
  EXPECT_EQ(unit[AD_NT_SECDESC].values().at(0), stored);
}

TEST_F(SddlDirectoryTest, SidToStringExplainsByTheDirectory) {
  struct {
    const char* rid;
    const char* explained;
  } cases[] = {
      {"-1101", "alice@example.test"},  // a user: userPrincipalName
      {"-1102", "robert.baker@corp.example.test"},
      {"-1200", "UNIX Admins"},   // a group: cn
      {"-512", "Domain Admins"},  // a well-known RID: the table's text
      {"-9999", "S-1-5-21-3623811015-3361044348-30300820-9999"},  // unknown: the SID text
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.rid);
    kesh::SID sid(std::string(kDomainSid) + c.rid);
    EXPECT_EQ(SidToString(sid, true), c.explained);
  }
  // Without `explain` nothing is looked up.
  uint64_t before = kesh::memdir::OperationCount();
  EXPECT_EQ(SidToString(kesh::SID(std::string(kDomainSid) + "-1101"), false),
            std::string(kDomainSid) + "-1101");
  EXPECT_EQ(kesh::memdir::OperationCount(), before);
}

TEST_F(SddlDirectoryTest, SetSDNeedsABindingOfTheObjectsDomain) {
  kesh::ADObject object("OU=Units,DC=other,DC=test");
  try {
    SetSD(object, ParseSddl("O:DA"));
    ADD_FAILURE() << "no exception";
  } catch (const kesh::NotFoundException& e) {
    EXPECT_STREQ(e.what(), "No binding for domain other.test");
  }
  EXPECT_FALSE(object.attributeExists(AD_NT_SECDESC));
}

TEST_F(SddlDirectoryTest, AddAcesToContChangesTheObjectInMemoryOnly) {
  AddUnit("O:DAD:(A;;GA;;;DA)");
  ASSERT_EQ(StoredSddl(kUnit), "O:DAD:(A;;GA;;;DA)");

  kesh::ADObject unit = binding_->binding->fetch(kUnit, nullptr, AD_ALL_OBJECTS, 0);
  std::vector<std::string> aces = {
      ComposeACEStr("A;;RCLCRPLO;;;", std::string(kDomainSid) + "-1101"),
      ComposeACEStr("OA;CIIO;GR;;", kUserObject, ";", "DU"),
      "D;;SD;;;AU",
  };
  AddAcesToCont(unit, aces);
  const std::string expected = std::string("O:DAD:(D;;SD;;;AU)(A;;GA;;;DA)(A;;RCLCRPLO;;;") +
                               kDomainSid + "-1101)(OA;CIIO;GR;;" + kUserObject + ";DU)";
  SDPtr sd = GetSD(unit);
  EXPECT_EQ(SDToString(sd), expected);
  EXPECT_EQ(sd->dacl.aces.at(3).sid.toMSString(), std::string(kDomainSid) + "-513");
  EXPECT_EQ(StoredSddl(kUnit), "O:DAD:(A;;GA;;;DA)");

  binding_->update(unit, 2);
  EXPECT_EQ(StoredSddl(kUnit), expected);
}

TEST_F(SddlDirectoryTest, AddAcesToContWithABadAceChangesNothing) {
  AddUnit("O:DAD:(A;;GA;;;DA)");
  kesh::ADObject unit = binding_->binding->fetch(kUnit, nullptr, AD_ALL_OBJECTS, 0);
  std::vector<std::string> aces = {"A;;GR;;;AU", "A;;GR;;AU"};
  EXPECT_EQ(BadDataMessage([&] { AddAcesToCont(unit, aces); }), "Bad ACE format: A;;GR;;AU ");
  EXPECT_FALSE(unit[AD_NT_SECDESC].changed());
  SDPtr sd = GetSD(unit);
  EXPECT_EQ(SDToString(sd), "O:DAD:(A;;GA;;;DA)");
}

TEST_F(SddlDirectoryTest, AddAcesToContNeedsADescriptor) {
  kesh::ADObject alice = binding_->binding->fetch("CN=Alice Able,CN=Users,DC=example,DC=test",
                                                  nullptr, AD_ALL_OBJECTS, 0);
  alice.removeAttribute(AD_NT_SECDESC);
  std::vector<std::string> aces = {"A;;GR;;;AU"};
  try {
    AddAcesToCont(alice, aces);
    ADD_FAILURE() << "no exception";
  } catch (const kesh::NotFoundException& e) {
    EXPECT_STREQ(e.what(), "Security Descriptor not present");
  }
}

}  // namespace
