// kesh::SID: a Windows security identifier.
//
// Binary form (as objectSid stores it): revision (1 byte), sub-authority count N (1 byte,
// at most 15), identifier authority (6 bytes, big-endian), N sub-authorities (4 bytes
// each, little-endian). Text form: "S-1-5-21-a-b-c-rid". A default SID is null: it has
// no bytes and its text is empty.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_SID_H_
#define ZONESMITH_DIRECTORY_LIBRARY_SID_H_

#include <cstdint>
#include <string>

namespace kesh {

class SID {
 public:
  SID() = default;
  // Parses the "S-1-..." text. Throws kesh::BadDataException on malformed text.
  explicit SID(const std::string& text);

  // Makes a SID of the binary form. Throws kesh::BadDataException when `bytes` is not a
  // complete binary SID (too short, count above 15, length disagreeing with the count) or
  // its revision is not 1.
  static SID fromBytes(const std::string& bytes);
  // The binary form; empty for a null SID.
  std::string toBytes() const { return bytes_; }

  // The "S-1-5-..." text; empty for a null SID.
  std::string toMSString() const;
  // Replaces this SID by the parsed text. Throws kesh::BadDataException on malformed text,
  // leaving the SID unchanged.
  void fromMSString(const std::string& text);
  // Each byte of the binary form as "\xx" (lower-case hex), for an LDAP filter value.
  std::string toEscapedString() const;

  // The SID without its last sub-authority: the domain of an account SID. Null for a
  // null SID or one without sub-authorities.
  SID domainSID() const;
  // The last sub-authority, 0 for a null SID.
  uint32_t getObjectRid() const;
  // Replaces the last sub-authority; appends one when there is none.
  // REQUIRES: !isNull().
  void setObjectRid(uint32_t rid);
  // REQUIRES: 0 <= index < subAuthorityCount(). Throws kesh::BadDataException otherwise.
  uint32_t getSubAuthority(int index) const;
  int subAuthorityCount() const;
  uint64_t identifierAuthority() const;

  void setNull() { bytes_.clear(); }
  bool isNull() const { return bytes_.empty(); }

  bool operator==(const SID& other) const { return bytes_ == other.bytes_; }
  bool operator!=(const SID& other) const { return bytes_ != other.bytes_; }
  bool operator<(const SID& other) const { return bytes_ < other.bytes_; }

 private:
  std::string bytes_;
};

// The well-known SIDs as Microsoft defines them, in text form.
namespace WELL_KNOWN_SID {
extern const char* const ACCOUNT_OPERATORS;                   // S-1-5-32-548
extern const char* const ADMINISTRATORS;                      // S-1-5-32-544
extern const char* const ANONYMOUS;                           // S-1-5-7
extern const char* const AUTHENTICATED_USERS;                 // S-1-5-11
extern const char* const BACKUP_OPERATORS;                    // S-1-5-32-551
extern const char* const CREATOR_GROUP;                       // S-1-3-1
extern const char* const CREATOR_OWNER;                       // S-1-3-0
extern const char* const ENTERPRISE_DOMAIN_CONTROLLERS;       // S-1-5-9
extern const char* const EVERYONE;                            // S-1-1-0
extern const char* const GUESTS;                              // S-1-5-32-546
extern const char* const INTERACTIVE;                         // S-1-5-4
extern const char* const LOCAL_SERVICE;                       // S-1-5-19
extern const char* const LOCAL_SYSTEM;                        // S-1-5-18
extern const char* const NETWORK;                             // S-1-5-2
extern const char* const NETWORK_CONFIGURATION_OPERATORS;     // S-1-5-32-556
extern const char* const NETWORK_SERVICE;                     // S-1-5-20
extern const char* const OWNER_RIGHTS;                        // S-1-3-4
extern const char* const PERFORMANCE_MONITOR_USERS;           // S-1-5-32-558
extern const char* const POWER_USERS;                         // S-1-5-32-547
extern const char* const PRE_WINDOWS_2000_COMPATIBLE_ACCESS;  // S-1-5-32-554
extern const char* const PRINCIPAL_SELF;                      // S-1-5-10
extern const char* const PRINT_OPERATORS;                     // S-1-5-32-550
extern const char* const REMOTE_DESKTOP_USERS;                // S-1-5-32-555
extern const char* const REPLICATORS;                         // S-1-5-32-552
extern const char* const RESTRICTED_CODE;                     // S-1-5-12
extern const char* const SERVER_OPERATORS;                    // S-1-5-32-549
extern const char* const SERVICE;                             // S-1-5-6
extern const char* const USERS;                               // S-1-5-32-545
}  // namespace WELL_KNOWN_SID

// Well-known relative identifiers of a domain, as Microsoft defines them.
namespace WELL_KNOWN_RID {
constexpr uint32_t ADMINISTRATOR = 500;
constexpr uint32_t GUEST = 501;
constexpr uint32_t DOMAIN_ADMINS = 512;
constexpr uint32_t DOMAIN_USERS = 513;
constexpr uint32_t DOMAIN_GUESTS = 514;
constexpr uint32_t DOMAIN_COMPUTERS = 515;
constexpr uint32_t DOMAIN_CONTROLLERS = 516;
constexpr uint32_t SCHEMA_ADMINS = 518;
constexpr uint32_t ENTERPRISE_ADMINS = 519;
constexpr uint32_t GP_CREATER_OWNERS = 520;
constexpr uint32_t RAS_IAS_SERVERS = 553;
// The index (from 0) of the sub-authority that tells domains apart: in an account SID
// S-1-5-21-a-b-c-rid it is c.
constexpr uint32_t DOMAIN_INDEX = 3;
}  // namespace WELL_KNOWN_RID

}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_SID_H_
