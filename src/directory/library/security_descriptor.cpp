#include "directory/library/security_descriptor.h"

#include "directory/library/exceptions.h"

namespace kesh {

// --- NetBuf ---------------------------------------------------------------------------

void NetBuf::putU8(uint8_t v) { data_ += char(v); }

void NetBuf::putU16(uint16_t v) {
  data_ += char(v & 0xff);
  data_ += char(v >> 8);
}

void NetBuf::putU32(uint32_t v) {
  for (int i = 0; i < 4; ++i) data_ += char((v >> (8 * i)) & 0xff);
}

void NetBuf::putBytes(const std::string& bytes) { data_ += bytes; }

namespace {

constexpr size_t kSdHeaderSize = 20;
constexpr size_t kAclHeaderSize = 8;
constexpr size_t kAceHeaderSize = 4;

uint16_t GetU16(const uint8_t* p) { return uint16_t(p[0] | p[1] << 8); }

uint32_t GetU32(const uint8_t* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

void SetU16(std::string& data, size_t pos, uint16_t v) {
  data[pos] = char(v & 0xff);
  data[pos + 1] = char(v >> 8);
}

void SetU32(std::string& data, size_t pos, uint32_t v) {
  for (int i = 0; i < 4; ++i) data[pos + i] = char((v >> (8 * i)) & 0xff);
}

// The size of the binary SID at `data`, or 0 when there is none: it does not fit in
// `length`, or its revision is not 1 (a body of another shape).
size_t SidSize(const uint8_t* data, size_t length) {
  if (length < 8 || data[0] != 1) return 0;
  size_t size = 8 + 4 * size_t(data[1]);
  return data[1] <= 15 && size <= length ? size : 0;
}

std::string Raw(const uint8_t* data, size_t length) {
  return std::string(reinterpret_cast<const char*>(data), length);
}

[[noreturn]] void Malformed(const char* what, size_t offset) {
  KESH_THROW(BadDataException, 0, "Malformed security descriptor: %s at byte %zu", what, offset);
}

// Offsets are counted from the start of the ACL.
[[noreturn]] void MalformedAcl(const char* what, size_t offset) {
  KESH_THROW(BadDataException, 0, "Malformed ACL: %s at byte %zu", what, offset);
}

}  // namespace

// --- ACEntry --------------------------------------------------------------------------

bool ACEntry::isObjectAce() const {
  switch (type) {
    case 0x05:  // ACCESS_ALLOWED_OBJECT
    case 0x06:  // ACCESS_DENIED_OBJECT
    case 0x07:  // SYSTEM_AUDIT_OBJECT
    case 0x08:  // SYSTEM_ALARM_OBJECT
    case 0x0B:  // ACCESS_ALLOWED_CALLBACK_OBJECT
    case 0x0C:  // ACCESS_DENIED_CALLBACK_OBJECT
    case 0x0F:  // SYSTEM_AUDIT_CALLBACK_OBJECT
    case 0x10:  // SYSTEM_ALARM_CALLBACK_OBJECT
      return true;
    default:
      return false;
  }
}

void ACEntry::setObjectType(const Guid& guid) {
  objectType = guid;
  if (guid.isNull()) {
    objectFlags &= ~ACE_OBJECT_TYPE_PRESENT;
  } else {
    objectFlags |= ACE_OBJECT_TYPE_PRESENT;
  }
}

void ACEntry::setInheritedObjectType(const Guid& guid) {
  inheritedObjectType = guid;
  if (guid.isNull()) {
    objectFlags &= ~ACE_INHERITED_OBJECT_TYPE_PRESENT;
  } else {
    objectFlags |= ACE_INHERITED_OBJECT_TYPE_PRESENT;
  }
}

bool ACEntry::operator==(const ACEntry& other) const {
  return type == other.type && flags == other.flags && mask == other.mask &&
         objectType == other.objectType && inheritedObjectType == other.inheritedObjectType &&
         objectFlags == other.objectFlags && sid == other.sid && extra == other.extra;
}

void ACEntry::serialize(NetBuf& out) const {
  NetBuf ace;
  ace.putU8(type);
  ace.putU8(flags);
  ace.putU16(0);  // size, set below
  ace.putU32(mask);
  if (isObjectAce()) {
    ace.putU32(objectFlags);
    if (objectFlags & ACE_OBJECT_TYPE_PRESENT) ace.putBytes(objectType.toBytes());
    if (objectFlags & ACE_INHERITED_OBJECT_TYPE_PRESENT) {
      ace.putBytes(inheritedObjectType.toBytes());
    }
  }
  ace.putBytes(sid.toBytes());
  ace.putBytes(extra);
  if (ace.size() > MAX_ACE_SIZE) {
    KESH_THROW(BadDataException, 0, "ACE too large: %zu bytes (at most %zu)", ace.size(),
               MAX_ACE_SIZE);
  }
  SetU16(ace.data(), 2, uint16_t(ace.size()));
  out.putBytes(ace.data());
}

// --- ACList ---------------------------------------------------------------------------

void ACList::serialize(NetBuf& out, const char* name) const {
  if (aces.size() > MAX_ACE_COUNT) {
    KESH_THROW(BadDataException, 0, "%s has too many ACEs: %zu (at most %zu)", name, aces.size(),
               MAX_ACE_COUNT);
  }
  uint8_t rev = revision;
  for (const ACEntry& ace : aces) {
    if (ace.isObjectAce() && rev < 4) rev = 4;
  }
  NetBuf acl;
  acl.putU8(rev);
  acl.putU8(0);
  acl.putU16(0);  // size, set below
  acl.putU16(uint16_t(aces.size()));
  acl.putU16(0);
  for (const ACEntry& ace : aces) ace.serialize(acl);
  if (acl.size() > MAX_ACL_SIZE) {
    KESH_THROW(BadDataException, 0, "%s too large: %zu bytes (at most %zu)", name, acl.size(),
               MAX_ACL_SIZE);
  }
  SetU16(acl.data(), 2, uint16_t(acl.size()));
  out.putBytes(acl.data());
}

void ACList::parse(const uint8_t* data, size_t length) {
  if (length < kAclHeaderSize) MalformedAcl("ACL header truncated", 0);
  size_t size = GetU16(data + 2);
  size_t count = GetU16(data + 4);
  if (size < kAclHeaderSize || size > length) MalformedAcl("ACL size out of range", 2);
  std::vector<ACEntry> parsed;
  size_t pos = kAclHeaderSize;
  for (size_t i = 0; i < count; ++i) {
    if (pos + kAceHeaderSize + 4 > size) MalformedAcl("ACE truncated", pos);
    size_t aceSize = GetU16(data + pos + 2);
    if (aceSize < kAceHeaderSize + 4 || pos + aceSize > size) MalformedAcl("ACE size", pos);
    const uint8_t* ace = data + pos;
    ACEntry entry;
    entry.type = ace[0];
    entry.flags = ace[1];
    entry.mask = GetU32(ace + 4);
    size_t at = 8;
    if (entry.isObjectAce()) {
      if (at + 4 > aceSize) MalformedAcl("object ACE truncated", pos + at);
      entry.objectFlags = GetU32(ace + at);
      at += 4;
      if (entry.objectFlags & ACE_OBJECT_TYPE_PRESENT) {
        if (at + 16 > aceSize) MalformedAcl("object ACE truncated", pos + at);
        entry.objectType = Guid::fromBytes(Raw(ace + at, 16));
        at += 16;
      }
      if (entry.objectFlags & ACE_INHERITED_OBJECT_TYPE_PRESENT) {
        if (at + 16 > aceSize) MalformedAcl("object ACE truncated", pos + at);
        entry.inheritedObjectType = Guid::fromBytes(Raw(ace + at, 16));
        at += 16;
      }
    }
    // The SID, when one is there; a body of another shape stays bytes.
    size_t sidSize = SidSize(ace + at, aceSize - at);
    if (sidSize > 0) {
      entry.sid = SID::fromBytes(Raw(ace + at, sidSize));
      at += sidSize;
    }
    entry.extra = Raw(ace + at, aceSize - at);
    parsed.push_back(std::move(entry));
    pos += aceSize;
  }
  revision = data[0];
  aces.swap(parsed);
}

// --- SecurityDescriptor ---------------------------------------------------------------

SecurityDescriptor::SecurityDescriptor(unsigned short revision, unsigned short control)
    : revision(uint8_t(revision)), control(control) {}

void SecurityDescriptor::serialize(NetBuf& out) const {
  NetBuf sd;
  uint16_t bits = control | SE_SELF_RELATIVE;
  bits = hasDacl ? (bits | SE_DACL_PRESENT) : (bits & ~SE_DACL_PRESENT);
  bits = hasSacl ? (bits | SE_SACL_PRESENT) : (bits & ~SE_SACL_PRESENT);
  sd.putU8(revision);
  sd.putU8(0);
  sd.putU16(bits);
  for (int i = 0; i < 4; ++i) sd.putU32(0);  // owner, group, SACL, DACL offsets
  // Points the offset field at `field` to the end of what is written so far.
  auto offsetHere = [&](size_t field, const char* part) {
    if (sd.size() > MAX_SD_OFFSET) {
      KESH_THROW(BadDataException, 0,
                 "Security descriptor too large: the %s would start at byte %zu (at most %zu)",
                 part, sd.size(), MAX_SD_OFFSET);
    }
    SetU32(sd.data(), field, uint32_t(sd.size()));
  };
  if (hasSacl) {
    offsetHere(12, "SACL");
    sacl.serialize(sd, "SACL");
  }
  if (hasDacl) {
    offsetHere(16, "DACL");
    dacl.serialize(sd, "DACL");
  }
  if (!owner.isNull()) {
    offsetHere(4, "owner");
    sd.putBytes(owner.toBytes());
  }
  if (!group.isNull()) {
    offsetHere(8, "group");
    sd.putBytes(group.toBytes());
  }
  out.putBytes(sd.data());
}

void SecurityDescriptor::parse(const uint8_t* data, size_t length) {
  if (length < kSdHeaderSize) Malformed("header truncated", 0);
  if (data[0] != 1) Malformed("revision not 1", 0);
  uint16_t bits = GetU16(data + 2);
  if (!(bits & SE_SELF_RELATIVE)) Malformed("not self-relative", 2);
  SecurityDescriptor parsed(data[0], bits);
  auto sidAt = [&](size_t field) {
    size_t offset = GetU32(data + field);
    if (offset == 0) return SID();
    if (offset < kSdHeaderSize || offset >= length) Malformed("SID offset out of range", field);
    size_t size = SidSize(data + offset, length - offset);
    if (size == 0) Malformed("SID truncated", offset);
    return SID::fromBytes(Raw(data + offset, size));
  };
  auto aclAt = [&](size_t field, uint16_t presentBit, ACList& acl) {
    size_t offset = GetU32(data + field);
    if (!(bits & presentBit) || offset == 0) return false;
    if (offset < kSdHeaderSize || offset >= length) Malformed("ACL offset out of range", field);
    acl.parse(data + offset, length - offset);
    return true;
  };
  parsed.owner = sidAt(4);
  parsed.group = sidAt(8);
  parsed.hasSacl = aclAt(12, SE_SACL_PRESENT, parsed.sacl);
  parsed.hasDacl = aclAt(16, SE_DACL_PRESENT, parsed.dacl);
  *this = parsed;
}

}  // namespace kesh
