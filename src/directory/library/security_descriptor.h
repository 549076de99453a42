// kesh::SecurityDescriptor, kesh::ACList, kesh::ACEntry: the security descriptor of a
// directory object in memory, and its binary form.
//
// The binary form is the self-relative SECURITY_DESCRIPTOR of MS-DTYP 2.4.6, which AD
// stores in nTSecurityDescriptor: revision (1 byte), Sbz1 (1), control (u16), and the
// u32 offsets of owner, group, SACL and DACL (0 for absent), all little-endian, followed
// by the parts. An ACL (2.4.5) is revision (1), Sbz1 (1), size (u16), ACE count (u16),
// Sbz2 (u16), then the ACEs. An ACE (2.4.4) is type (1), flags (1), size (u16), mask
// (u32); object ACE types (5, 6, 7, 8, 11, 12, 15, 16) then carry object flags (u32) and,
// per flag, the object type GUID (bit 1) and inherited object type GUID (bit 2); the SID
// comes last. ACE bodies this code does not know are kept as bytes and written back as read.
//
// The size fields bound what can be written: an ACE and an ACL are at most 65535 bytes,
// an ACL holds at most 65535 ACEs, and the parts of a descriptor start within the first
// 4 GiB. The serialisers refuse anything larger instead of writing a truncated size.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_SECURITY_DESCRIPTOR_H_
#define ZONESMITH_DIRECTORY_LIBRARY_SECURITY_DESCRIPTOR_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "directory/library/guid.h"
#include "directory/library/sid.h"

namespace kesh {

// A growing byte buffer that serialisers write into.
class NetBuf {
 public:
  void putU8(uint8_t v);
  void putU16(uint16_t v);  // little-endian
  void putU32(uint32_t v);  // little-endian
  void putBytes(const std::string& bytes);
  const std::string& data() const { return data_; }
  std::string& data() { return data_; }
  size_t size() const { return data_.size(); }

 private:
  std::string data_;
};

// ACE types and flags (MS-DTYP 2.4.4.1).
enum AceType : uint8_t {
  ACCESS_ALLOWED_ACE_TYPE = 0,
  ACCESS_DENIED_ACE_TYPE = 1,
  SYSTEM_AUDIT_ACE_TYPE = 2,
  SYSTEM_ALARM_ACE_TYPE = 3,
  ACCESS_ALLOWED_OBJECT_ACE_TYPE = 5,
  ACCESS_DENIED_OBJECT_ACE_TYPE = 6,
  SYSTEM_AUDIT_OBJECT_ACE_TYPE = 7,
  SYSTEM_ALARM_OBJECT_ACE_TYPE = 8,
};
enum AceFlag : uint8_t {
  OBJECT_INHERIT_ACE = 0x01,
  CONTAINER_INHERIT_ACE = 0x02,
  NO_PROPAGATE_INHERIT_ACE = 0x04,
  INHERIT_ONLY_ACE = 0x08,
  INHERITED_ACE = 0x10,
  SUCCESSFUL_ACCESS_ACE_FLAG = 0x40,
  FAILED_ACCESS_ACE_FLAG = 0x80,
};
constexpr uint32_t ACE_OBJECT_TYPE_PRESENT = 0x1;

// The largest values that the fields of the binary form can hold.
constexpr size_t MAX_ACE_SIZE = 0xFFFF;       // ACE size, u16
constexpr size_t MAX_ACL_SIZE = 0xFFFF;       // ACL size, u16
constexpr size_t MAX_ACE_COUNT = 0xFFFF;      // ACE count of an ACL, u16
constexpr size_t MAX_SD_OFFSET = 0xFFFFFFFF;  // offsets of owner, group, SACL, DACL, u32
constexpr uint32_t ACE_INHERITED_OBJECT_TYPE_PRESENT = 0x2;

// Control bits (MS-DTYP 2.4.6).
constexpr uint16_t SE_OWNER_DEFAULTED = 0x0001;
constexpr uint16_t SE_GROUP_DEFAULTED = 0x0002;
constexpr uint16_t SE_DACL_PRESENT = 0x0004;
constexpr uint16_t SE_DACL_DEFAULTED = 0x0008;
constexpr uint16_t SE_SACL_PRESENT = 0x0010;
constexpr uint16_t SE_SACL_DEFAULTED = 0x0020;
constexpr uint16_t SE_DACL_AUTO_INHERIT_REQ = 0x0100;
constexpr uint16_t SE_SACL_AUTO_INHERIT_REQ = 0x0200;
constexpr uint16_t SE_DACL_AUTO_INHERITED = 0x0400;
constexpr uint16_t SE_SACL_AUTO_INHERITED = 0x0800;
constexpr uint16_t SE_DACL_PROTECTED = 0x1000;
constexpr uint16_t SE_SACL_PROTECTED = 0x2000;
constexpr uint16_t SE_SELF_RELATIVE = 0x8000;

class ACEntry {
 public:
  uint8_t type = ACCESS_ALLOWED_ACE_TYPE;
  uint8_t flags = 0;
  uint32_t mask = 0;
  // Object ACEs only; NULL_GUID when absent. objectFlags follows the two GUIDs.
  Guid objectType;
  Guid inheritedObjectType;
  uint32_t objectFlags = 0;
  SID sid;
  // Bytes after the SID (application data of callback ACEs), kept as read.
  std::string extra;

  bool isObjectAce() const;
  // Appends the binary ACE to `out`. Throws kesh::BadDataException "ACE too large: N
  // bytes (at most 65535)" when it does not fit its size field; `out` is then unchanged.
  void serialize(NetBuf& out) const;
  // Sets objectType/inheritedObjectType and the matching objectFlags bits.
  void setObjectType(const Guid& guid);
  void setInheritedObjectType(const Guid& guid);
  bool operator==(const ACEntry& other) const;
};

class ACList {
 public:
  uint8_t revision = 4;  // 2 without object ACEs, 4 with them
  std::vector<ACEntry> aces;

  void addACE(ACEntry& ace) { aces.push_back(ace); }
  // Appends the binary ACL to `out`. Throws kesh::BadDataException, naming the list as
  // `name` ("DACL", "SACL"), when it holds more than MAX_ACE_COUNT ACEs ("<name> has too
  // many ACEs: N (at most 65535)"), when it would exceed MAX_ACL_SIZE bytes ("<name> too
  // large: N bytes (at most 65535)"), or when an ACE is too large; `out` is then unchanged.
  void serialize(NetBuf& out, const char* name = "ACL") const;
  // Parses an ACL at `data`; throws kesh::BadDataException when it overruns `length`
  // ("Malformed ACL: ... at byte N", N counted from `data`), leaving the list unchanged.
  void parse(const uint8_t* data, size_t length);
};

class SecurityDescriptor {
 public:
  SecurityDescriptor(unsigned short revision = 1, unsigned short control = 0x8014);
  virtual ~SecurityDescriptor() = default;

  uint8_t revision;
  uint16_t control;
  SID owner;  // null when absent
  SID group;  // null when absent
  bool hasDacl = false;
  ACList dacl;
  bool hasSacl = false;
  ACList sacl;

  // Writes the self-relative binary form; SE_SELF_RELATIVE is set, and the DACL/SACL
  // present bits follow hasDacl/hasSacl. Throws kesh::BadDataException when a part does
  // not fit the binary form (see ACList::serialize; a part that would start beyond
  // MAX_SD_OFFSET gives "Security descriptor too large: ..."); `out` is then unchanged.
  virtual void serialize(NetBuf& out) const;
  // Replaces this descriptor by the parsed binary form. Throws kesh::BadDataException on
  // malformed data (offsets or sizes outside `length`), leaving the descriptor unchanged.
  virtual void parse(const uint8_t* data, size_t length);
  void parse(const std::string& bytes) {
    parse(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  }
};

}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_SECURITY_DESCRIPTOR_H_
