#include "directory/library/sid.h"

#include <cctype>
#include <cstdio>

#include "directory/library/exceptions.h"

namespace kesh {

namespace {

constexpr size_t kHeaderSize = 8;
constexpr uint8_t kRevision = 1;  // the only revision of the SID structure
constexpr int kMaxSubAuthorities = 15;
constexpr uint64_t kMaxAuthority = (uint64_t(1) << 48) - 1;

uint32_t ReadU32(const std::string& bytes, size_t pos) {
  return uint32_t(uint8_t(bytes[pos])) | uint32_t(uint8_t(bytes[pos + 1])) << 8 |
         uint32_t(uint8_t(bytes[pos + 2])) << 16 | uint32_t(uint8_t(bytes[pos + 3])) << 24;
}

void WriteU32(std::string& bytes, size_t pos, uint32_t v) {
  for (int i = 0; i < 4; ++i) bytes[pos + i] = char((v >> (8 * i)) & 0xff);
}

// Reads a decimal number (or, with `allowHex`, "0x" and hex digits) from text[pos..]
// up to the next '-' or the end. Answers false when there are no digits, a bad digit or
// the value exceeds `max`.
bool ReadNumber(const std::string& text, size_t& pos, uint64_t max, bool allowHex,
                uint64_t& value) {
  int base = 10;
  if (allowHex && pos + 1 < text.size() && text[pos] == '0' &&
      (text[pos + 1] == 'x' || text[pos + 1] == 'X')) {
    base = 16;
    pos += 2;
  }
  size_t start = pos;
  value = 0;
  while (pos < text.size() && text[pos] != '-') {
    char c = text[pos];
    int digit;
    if (c >= '0' && c <= '9') {
      digit = c - '0';
    } else if (base == 16 && std::isxdigit(static_cast<unsigned char>(c))) {
      digit = std::tolower(static_cast<unsigned char>(c)) - 'a' + 10;
    } else {
      return false;
    }
    if (value > (max - digit) / base) return false;
    value = value * base + digit;
    ++pos;
  }
  return pos > start;
}

std::string ParseText(const std::string& text) {
  auto bad = [&text]() -> std::string {
    KESH_THROW(BadDataException, 0, "Invalid SID string: %s", text.c_str());
  };
  if (text.size() < 4 || (text[0] != 'S' && text[0] != 's') || text[1] != '-') return bad();
  size_t pos = 2;
  uint64_t revision = 0;
  if (!ReadNumber(text, pos, 255, false, revision) || revision != kRevision) return bad();
  if (pos >= text.size()) return bad();
  ++pos;  // '-'
  uint64_t authority = 0;
  if (!ReadNumber(text, pos, kMaxAuthority, true, authority)) return bad();
  std::string bytes(kHeaderSize, '\0');
  bytes[0] = char(kRevision);
  for (int i = 0; i < 6; ++i) bytes[2 + i] = char((authority >> (8 * (5 - i))) & 0xff);
  int count = 0;
  while (pos < text.size()) {
    ++pos;  // '-'
    uint64_t sub = 0;
    if (!ReadNumber(text, pos, 0xffffffffu, false, sub)) return bad();
    if (++count > kMaxSubAuthorities) return bad();
    bytes.append(4, '\0');
    WriteU32(bytes, bytes.size() - 4, uint32_t(sub));
  }
  bytes[1] = char(count);
  return bytes;
}

}  // namespace

SID::SID(const std::string& text) : bytes_(ParseText(text)) {}

SID SID::fromBytes(const std::string& bytes) {
  if (bytes.size() < kHeaderSize) {
    KESH_THROW(BadDataException, 0, "Invalid binary SID: %zu bytes", bytes.size());
  }
  size_t count = uint8_t(bytes[1]);
  if (count > kMaxSubAuthorities || bytes.size() != kHeaderSize + 4 * count) {
    KESH_THROW(BadDataException, 0, "Invalid binary SID: %zu bytes for %zu sub-authorities",
               bytes.size(), count);
  }
  if (uint8_t(bytes[0]) != kRevision) {
    KESH_THROW(BadDataException, 0, "Invalid binary SID: revision %d", int(uint8_t(bytes[0])));
  }
  SID sid;
  sid.bytes_ = bytes;
  return sid;
}

std::string SID::toMSString() const {
  if (isNull()) return std::string();
  std::string text = "S-" + std::to_string(uint8_t(bytes_[0])) + "-";
  uint64_t authority = identifierAuthority();
  if (authority >> 32) {
    char buf[32];
    snprintf(buf, sizeof(buf), "0x%012llX", static_cast<unsigned long long>(authority));
    text += buf;
  } else {
    text += std::to_string(authority);
  }
  for (int i = 0; i < subAuthorityCount(); ++i) {
    text += '-';
    text += std::to_string(getSubAuthority(i));
  }
  return text;
}

void SID::fromMSString(const std::string& text) { bytes_ = ParseText(text); }

std::string SID::toEscapedString() const {
  static const char kHex[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes_.size() * 3);
  for (unsigned char c : bytes_) {
    out += '\\';
    out += kHex[c >> 4];
    out += kHex[c & 0xf];
  }
  return out;
}

SID SID::domainSID() const {
  SID domain;
  int count = subAuthorityCount();
  if (count == 0) return domain;
  domain.bytes_ = bytes_.substr(0, kHeaderSize + 4 * (count - 1));
  domain.bytes_[1] = char(count - 1);
  return domain;
}

uint32_t SID::getObjectRid() const {
  int count = subAuthorityCount();
  return count == 0 ? 0 : getSubAuthority(count - 1);
}

void SID::setObjectRid(uint32_t rid) {
  int count = subAuthorityCount();
  if (count == 0) {
    if (isNull()) KESH_THROW(BadDataException, 0, "Cannot set the RID of a null SID");
    bytes_.append(4, '\0');
    bytes_[1] = 1;
    count = 1;
  }
  WriteU32(bytes_, kHeaderSize + 4 * (count - 1), rid);
}

uint32_t SID::getSubAuthority(int index) const {
  if (index < 0 || index >= subAuthorityCount()) {
    KESH_THROW(BadDataException, 0, "SID sub-authority index %d out of range", index);
  }
  return ReadU32(bytes_, kHeaderSize + 4 * index);
}

int SID::subAuthorityCount() const { return isNull() ? 0 : uint8_t(bytes_[1]); }

uint64_t SID::identifierAuthority() const {
  if (isNull()) return 0;
  uint64_t value = 0;
  for (int i = 2; i < 8; ++i) value = (value << 8) | uint8_t(bytes_[i]);
  return value;
}

namespace WELL_KNOWN_SID {
const char* const ACCOUNT_OPERATORS = "S-1-5-32-548";
const char* const ADMINISTRATORS = "S-1-5-32-544";
const char* const ANONYMOUS = "S-1-5-7";
const char* const AUTHENTICATED_USERS = "S-1-5-11";
const char* const BACKUP_OPERATORS = "S-1-5-32-551";
const char* const CREATOR_GROUP = "S-1-3-1";
const char* const CREATOR_OWNER = "S-1-3-0";
const char* const ENTERPRISE_DOMAIN_CONTROLLERS = "S-1-5-9";
const char* const EVERYONE = "S-1-1-0";
const char* const GUESTS = "S-1-5-32-546";
const char* const INTERACTIVE = "S-1-5-4";
const char* const LOCAL_SERVICE = "S-1-5-19";
const char* const LOCAL_SYSTEM = "S-1-5-18";
const char* const NETWORK = "S-1-5-2";
const char* const NETWORK_CONFIGURATION_OPERATORS = "S-1-5-32-556";
const char* const NETWORK_SERVICE = "S-1-5-20";
const char* const OWNER_RIGHTS = "S-1-3-4";
const char* const PERFORMANCE_MONITOR_USERS = "S-1-5-32-558";
const char* const POWER_USERS = "S-1-5-32-547";
const char* const PRE_WINDOWS_2000_COMPATIBLE_ACCESS = "S-1-5-32-554";
const char* const PRINCIPAL_SELF = "S-1-5-10";
const char* const PRINT_OPERATORS = "S-1-5-32-550";
const char* const REMOTE_DESKTOP_USERS = "S-1-5-32-555";
const char* const REPLICATORS = "S-1-5-32-552";
const char* const RESTRICTED_CODE = "S-1-5-12";
const char* const SERVER_OPERATORS = "S-1-5-32-549";
const char* const SERVICE = "S-1-5-6";
const char* const USERS = "S-1-5-32-545";
}  // namespace WELL_KNOWN_SID

}  // namespace kesh
