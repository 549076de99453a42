#include "directory/library/security_descriptor.h"

#include <gtest/gtest.h>

#include "directory/library/exceptions.h"
#include "test_bytes.h"

namespace kesh {
namespace {

const Guid kUserClass = Guid::fromRealMSString("bf967aba-0de6-11d0-a285-00aa003049e2");
const Guid kComputerClass = Guid::fromRealMSString("bf967a86-0de6-11d0-a285-00aa003049e2");

// Owner BUILTIN\Administrators, group SYSTEM, a DACL of two ACEs: Everyone may read
// (container inherit), Administrators have control access on user objects.
const std::string kHandMade = Bytes(
    {0x01, 0x00, 0x04, 0x80,                    // revision, Sbz1, control 0x8004
     0x14, 0, 0, 0, 0x24, 0, 0, 0, 0, 0, 0, 0,  // owner 20, group 36, no SACL
     0x30, 0, 0, 0,                             // DACL at 48
     // owner S-1-5-32-544
     0x01, 0x02, 0, 0, 0, 0, 0, 0x05, 0x20, 0, 0, 0, 0x20, 0x02, 0, 0,
     // group S-1-5-18
     0x01, 0x01, 0, 0, 0, 0, 0, 0x05, 0x12, 0, 0, 0,
     // ACL: revision 4, size 72, 2 ACEs
     0x04, 0x00, 0x48, 0x00, 0x02, 0x00, 0x00, 0x00,
     // ACCESS_ALLOWED, CONTAINER_INHERIT, size 20, mask 0x20094, S-1-1-0
     0x00, 0x02, 0x14, 0x00, 0x94, 0x00, 0x02, 0x00, 0x01, 0x01, 0, 0, 0, 0, 0, 0x01, 0, 0, 0, 0,
     // ACCESS_ALLOWED_OBJECT, no flags, size 44, mask 0x100, object type present
     0x05, 0x00, 0x2c, 0x00, 0x00, 0x01, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00,
     // the user class GUID as stored
     0xba, 0x7a, 0x96, 0xbf, 0xe6, 0x0d, 0xd0, 0x11, 0xa2, 0x85, 0x00, 0xaa, 0x00, 0x30, 0x49, 0xe2,
     // S-1-5-32-544
     0x01, 0x02, 0, 0, 0, 0, 0, 0x05, 0x20, 0, 0, 0, 0x20, 0x02, 0, 0});

TEST(SecurityDescriptorTest, ParsesAHandMadeDescriptor) {
  SecurityDescriptor sd;
  sd.parse(kHandMade);
  EXPECT_EQ(sd.revision, 1);
  EXPECT_EQ(sd.control, 0x8004);
  EXPECT_EQ(sd.owner.toMSString(), "S-1-5-32-544");
  EXPECT_EQ(sd.group.toMSString(), "S-1-5-18");
  EXPECT_FALSE(sd.hasSacl);
  ASSERT_TRUE(sd.hasDacl);
  EXPECT_EQ(sd.dacl.revision, 4);
  ASSERT_EQ(sd.dacl.aces.size(), 2u);

  const ACEntry& everyone = sd.dacl.aces[0];
  EXPECT_EQ(everyone.type, ACCESS_ALLOWED_ACE_TYPE);
  EXPECT_EQ(everyone.flags, CONTAINER_INHERIT_ACE);
  EXPECT_EQ(everyone.mask, 0x20094u);
  EXPECT_EQ(everyone.sid.toMSString(), "S-1-1-0");
  EXPECT_FALSE(everyone.isObjectAce());
  EXPECT_TRUE(everyone.extra.empty());

  const ACEntry& admins = sd.dacl.aces[1];
  EXPECT_EQ(admins.type, ACCESS_ALLOWED_OBJECT_ACE_TYPE);
  EXPECT_TRUE(admins.isObjectAce());
  EXPECT_EQ(admins.mask, 0x100u);
  EXPECT_EQ(admins.objectFlags, ACE_OBJECT_TYPE_PRESENT);
  EXPECT_EQ(admins.objectType, kUserClass);
  EXPECT_TRUE(admins.inheritedObjectType.isNull());
  EXPECT_EQ(admins.sid.toMSString(), "S-1-5-32-544");

  // Written back in our part order (DACL before owner and group), the same descriptor.
  NetBuf out;
  sd.serialize(out);
  SecurityDescriptor again;
  again.parse(out.data());
  EXPECT_EQ(again.owner, sd.owner);
  EXPECT_EQ(again.group, sd.group);
  EXPECT_EQ(again.dacl.aces, sd.dacl.aces);
  EXPECT_EQ(out.size(), kHandMade.size());
}

SecurityDescriptor BuildDescriptor() {
  SecurityDescriptor sd(1, 32788);
  sd.owner = SID("S-1-5-21-1-2-3-512");
  sd.group = SID("S-1-5-21-1-2-3-513");
  sd.control |= SE_DACL_PROTECTED | SE_DACL_AUTO_INHERITED;

  ACEntry plain;
  plain.type = ACCESS_DENIED_ACE_TYPE;
  plain.flags = OBJECT_INHERIT_ACE | INHERIT_ONLY_ACE;
  plain.mask = 0xffffffff;
  plain.sid = SID("S-1-5-7");
  sd.dacl.addACE(plain);

  ACEntry both;
  both.type = ACCESS_ALLOWED_OBJECT_ACE_TYPE;
  both.flags = CONTAINER_INHERIT_ACE | INHERITED_ACE;
  both.mask = 0x30;
  both.setObjectType(kUserClass);
  both.setInheritedObjectType(kComputerClass);
  both.sid = SID("S-1-5-21-1-2-3-1105");
  sd.dacl.addACE(both);

  ACEntry inheritedOnly;
  inheritedOnly.type = ACCESS_DENIED_OBJECT_ACE_TYPE;
  inheritedOnly.mask = 0x10;
  inheritedOnly.setInheritedObjectType(kComputerClass);
  inheritedOnly.sid = SID("S-1-5-10");
  sd.dacl.addACE(inheritedOnly);

  ACEntry callback;  // ACCESS_ALLOWED_CALLBACK: application data after the SID
  callback.type = 0x09;
  callback.mask = 1;
  callback.sid = SID("S-1-1-0");
  callback.extra = std::string("artx\0\0\0\0", 8);
  sd.dacl.addACE(callback);
  sd.hasDacl = true;

  ACEntry audit;
  audit.type = SYSTEM_AUDIT_OBJECT_ACE_TYPE;
  audit.flags = SUCCESSFUL_ACCESS_ACE_FLAG | FAILED_ACCESS_ACE_FLAG;
  audit.mask = 0x20;
  audit.setObjectType(kUserClass);
  audit.sid = SID("S-1-1-0");
  sd.sacl.addACE(audit);
  sd.hasSacl = true;
  return sd;
}

TEST(SecurityDescriptorTest, RoundTripFieldByField) {
  SecurityDescriptor built = BuildDescriptor();
  NetBuf out;
  built.serialize(out);
  SecurityDescriptor parsed;
  parsed.parse(out.data());

  EXPECT_EQ(parsed.revision, 1);
  EXPECT_EQ(parsed.control, built.control | SE_SELF_RELATIVE | SE_DACL_PRESENT | SE_SACL_PRESENT);
  EXPECT_EQ(parsed.owner, built.owner);
  EXPECT_EQ(parsed.group, built.group);
  ASSERT_TRUE(parsed.hasDacl);
  ASSERT_TRUE(parsed.hasSacl);
  ASSERT_EQ(parsed.dacl.aces.size(), built.dacl.aces.size());
  for (size_t i = 0; i < built.dacl.aces.size(); ++i) {
    SCOPED_TRACE(i);
    const ACEntry& a = built.dacl.aces[i];
    const ACEntry& b = parsed.dacl.aces[i];
    EXPECT_EQ(b.type, a.type);
    EXPECT_EQ(b.flags, a.flags);
    EXPECT_EQ(b.mask, a.mask);
    EXPECT_EQ(b.objectFlags, a.objectFlags);
    EXPECT_EQ(b.objectType, a.objectType);
    EXPECT_EQ(b.inheritedObjectType, a.inheritedObjectType);
    EXPECT_EQ(b.sid, a.sid);
    EXPECT_EQ(b.extra, a.extra);
  }
  EXPECT_EQ(parsed.dacl.aces[1].objectFlags,
            ACE_OBJECT_TYPE_PRESENT | ACE_INHERITED_OBJECT_TYPE_PRESENT);
  EXPECT_EQ(parsed.dacl.aces[2].objectFlags, ACE_INHERITED_OBJECT_TYPE_PRESENT);
  EXPECT_EQ(parsed.sacl.aces, built.sacl.aces);
  EXPECT_EQ(parsed.dacl.revision, 4);  // object ACEs need revision 4

  // Serialising the parsed copy gives the same bytes.
  NetBuf again;
  parsed.serialize(again);
  EXPECT_EQ(again.data(), out.data());
}

TEST(SecurityDescriptorTest, AbsentPartsAndUnknownAceBodies) {
  SecurityDescriptor empty(1, 0);
  NetBuf out;
  empty.serialize(out);
  EXPECT_EQ(out.data(), Bytes({1, 0, 0, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  SecurityDescriptor parsed(1, 0);
  parsed.parse(out.data());
  EXPECT_TRUE(parsed.owner.isNull());
  EXPECT_FALSE(parsed.hasDacl);
  EXPECT_FALSE(parsed.hasSacl);

  // An ACE whose body is no SID (a compound ACE, type 4) is kept as bytes.
  std::string odd = Bytes({1,    0,    0x04, 0x80, 0,    0, 0, 0, 0,    0,    0,    0,
                           0,    0,    0,    0,    0x14, 0, 0, 0, 0x02, 0,    0x14, 0,
                           1,    0,    0,    0,  // ACL revision 2, size 20, one ACE
                           0x04, 0x00, 0x0c, 0x00, 0xff, 0, 0, 0, 0x01, 0x00, 0x00, 0x00});
  SecurityDescriptor compound;
  compound.parse(odd);
  ASSERT_EQ(compound.dacl.aces.size(), 1u);
  EXPECT_TRUE(compound.dacl.aces[0].sid.isNull());
  EXPECT_EQ(compound.dacl.aces[0].extra, Bytes({1, 0, 0, 0}));
  NetBuf back;
  compound.serialize(back);
  EXPECT_EQ(back.data(), odd);

  // A body that only looks like a SID (revision 0) is bytes too, not a refused SID.
  std::string revisionZero =
      Bytes({1,    0, 0x04, 0x80, 0,    0, 0,    0, 0, 0, 0, 0, 0, 0, 0, 0,
             0x14, 0, 0,    0,    0x02, 0, 0x18, 0, 1, 0, 0, 0,  // ACL revision 2, size 24, one ACE
             0x13, 0, 0x10, 0,    1,    0, 0,    0, 0, 0, 0, 0, 0, 0, 0, 0});
  SecurityDescriptor looksLikeSid;
  looksLikeSid.parse(revisionZero);
  ASSERT_EQ(looksLikeSid.dacl.aces.size(), 1u);
  EXPECT_TRUE(looksLikeSid.dacl.aces[0].sid.isNull());
  EXPECT_EQ(looksLikeSid.dacl.aces[0].extra, std::string(8, '\0'));
  NetBuf again;
  looksLikeSid.serialize(again);
  EXPECT_EQ(again.data(), revisionZero);

  // An empty DACL (present, no ACEs) is not an absent one.
  SecurityDescriptor denyAll(1, 0);
  denyAll.hasDacl = true;
  denyAll.dacl.revision = 2;
  NetBuf denyBytes;
  denyAll.serialize(denyBytes);
  SecurityDescriptor denyParsed;
  denyParsed.parse(denyBytes.data());
  EXPECT_TRUE(denyParsed.hasDacl);
  EXPECT_TRUE(denyParsed.dacl.aces.empty());
}

// An allow ACE for Everyone of exactly `size` bytes (at least 20): the rest is
// application data after the SID.
ACEntry AceOfSize(size_t size) {
  ACEntry ace;
  ace.mask = 0x10;
  ace.sid = SID("S-1-1-0");
  ace.extra.assign(size - 20, 'x');
  return ace;
}

// Each size field of the binary form holds its limit and refuses one more; the refusal
// names the part and its size, and leaves the output as it was.
TEST(SecurityDescriptorTest, SizesBeyondTheirFieldsAreRefused) {
  // Build one ACE, or a descriptor whose DACL or SACL has `size` bytes in one ACE, or a
  // DACL of `size` ACEs of 36 bytes (the size of an ACE for a domain account).
  enum Part { kAce, kDacl, kSacl, kDaclCount };
  struct Case {
    const char* label;
    Part part;
    size_t size;
    const char* message;  // "" when accepted
  } cases[] = {
      {"ACE at the limit", kAce, MAX_ACE_SIZE, ""},
      {"ACE one over", kAce, MAX_ACE_SIZE + 1, "ACE too large: 65536 bytes (at most 65535)"},
      {"DACL at the limit", kDacl, MAX_ACL_SIZE, ""},
      {"DACL one over", kDacl, MAX_ACL_SIZE + 1, "DACL too large: 65536 bytes (at most 65535)"},
      {"SACL at the limit", kSacl, MAX_ACL_SIZE, ""},
      {"SACL one over", kSacl, MAX_ACL_SIZE + 1, "SACL too large: 65536 bytes (at most 65535)"},
      {"an ACE too large for any DACL", kDacl, MAX_ACE_SIZE + 9,
       "ACE too large: 65536 bytes (at most 65535)"},
      // 2,000 ACEs: once stored with its size field cut to 16 bits.
      {"2000 ACEs", kDaclCount, 2000, "DACL too large: 72008 bytes (at most 65535)"},
      {"ACE count at the limit", kDaclCount, MAX_ACE_COUNT,
       "DACL too large: 2359268 bytes (at most 65535)"},
      {"ACE count one over", kDaclCount, MAX_ACE_COUNT + 1,
       "DACL has too many ACEs: 65536 (at most 65535)"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    SecurityDescriptor sd(1, 0);
    sd.owner = SID("S-1-5-32-544");
    ACEntry ace;
    switch (c.part) {
      case kAce:
        ace = AceOfSize(c.size);
        break;
      case kDacl:
      case kSacl: {
        ACList& acl = c.part == kDacl ? sd.dacl : sd.sacl;
        acl.aces.push_back(AceOfSize(c.size - 8));
        (c.part == kDacl ? sd.hasDacl : sd.hasSacl) = true;
        break;
      }
      case kDaclCount:
        sd.dacl.aces.assign(c.size, AceOfSize(36));
        sd.hasDacl = true;
        break;
    }
    NetBuf out;
    out.putBytes("before");
    try {
      if (c.part == kAce) {
        ace.serialize(out);
      } else {
        sd.serialize(out);
      }
      EXPECT_STREQ("", c.message) << "accepted";
    } catch (const BadDataException& e) {
      EXPECT_STREQ(e.what(), c.message);
      EXPECT_EQ(out.data(), "before");
      continue;
    }
    // Accepted: the size field holds the whole size, and the bytes read back.
    const std::string written = out.data().substr(6);
    if (c.part == kAce) {
      ASSERT_EQ(written.size(), c.size);
      EXPECT_EQ(written.substr(2, 2), Bytes({0xff, 0xff}));
      continue;
    }
    SecurityDescriptor back;
    back.parse(written);
    const ACList& acl = c.part == kDacl ? back.dacl : back.sacl;
    const ACList& built = c.part == kDacl ? sd.dacl : sd.sacl;
    EXPECT_EQ(acl.aces, built.aces);
    EXPECT_EQ(back.owner, sd.owner);
    EXPECT_EQ(written.size(), 20 + c.size + 16);  // header, ACL, owner
  }
}

TEST(SecurityDescriptorTest, MalformedInputIsRefusedAndLeavesTheDescriptor) {
  auto patched = [](size_t pos, std::initializer_list<int> bytes) {
    std::string data = kHandMade;
    for (int b : bytes) data[pos++] = char(b);
    return data;
  };
  struct Case {
    const char* label;
    std::string data;
    const char* message;
  } cases[] = {
      {"empty", "", "Malformed security descriptor: header truncated at byte 0"},
      {"19 bytes", kHandMade.substr(0, 19),
       "Malformed security descriptor: header truncated at byte 0"},
      {"revision 2", patched(0, {2}), "Malformed security descriptor: revision not 1 at byte 0"},
      {"absolute form", patched(3, {0x00}),
       "Malformed security descriptor: not self-relative at byte 2"},
      {"owner offset past the end", patched(4, {0x78}),
       "Malformed security descriptor: SID offset out of range at byte 4"},
      {"owner offset inside the header", patched(4, {0x08}),
       "Malformed security descriptor: SID offset out of range at byte 4"},
      {"owner count above 15", patched(21, {16}),
       "Malformed security descriptor: SID truncated at byte 20"},
      {"DACL offset past the end", patched(16, {0xff, 0xff}),
       "Malformed security descriptor: ACL offset out of range at byte 16"},
      {"ACL size past the end", patched(50, {0x49}),
       "Malformed ACL: ACL size out of range at byte 2"},
      {"ACL size below its header", patched(50, {0x07}),
       "Malformed ACL: ACL size out of range at byte 2"},
      {"too many ACEs", patched(52, {3}), "Malformed ACL: ACE truncated at byte 72"},
      {"ACE size below 8", patched(58, {0x07}), "Malformed ACL: ACE size at byte 8"},
      {"ACE overruns the ACL", patched(78, {0x2d}), "Malformed ACL: ACE size at byte 28"},
      {"object GUID cut off", patched(78, {0x0c}),
       "Malformed ACL: object ACE truncated at byte 40"},
      {"truncated data", kHandMade.substr(0, kHandMade.size() - 1),
       "Malformed ACL: ACL size out of range at byte 2"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    SecurityDescriptor sd = BuildDescriptor();
    try {
      sd.parse(c.data);
      ADD_FAILURE() << "accepted";
    } catch (const BadDataException& e) {
      EXPECT_STREQ(e.what(), c.message);
    }
    EXPECT_EQ(sd.owner.toMSString(), "S-1-5-21-1-2-3-512");
    EXPECT_EQ(sd.dacl.aces.size(), 4u);
    EXPECT_TRUE(sd.hasSacl);
  }
}

}  // namespace
}  // namespace kesh
