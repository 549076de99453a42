#include "directory/library/guid.h"

#include <strings.h>
#include <uuid/uuid.h>

#include <cctype>
#include <cstring>

#include "directory/library/exceptions.h"
#include "directory/library/strings.h"

namespace kesh {

const Guid NULL_GUID;

namespace {

// Reads 32 hex digits into storage order. Answers false on anything else.
bool ReadPlainHex(const std::string& text, std::array<uint8_t, 16>& bytes) {
  if (text.size() != 32) return false;
  for (size_t i = 0; i < 16; ++i) {
    int hi = HexDigitValue(text[2 * i]);
    int lo = HexDigitValue(text[2 * i + 1]);
    if (hi < 0 || lo < 0) return false;
    bytes[i] = uint8_t(hi << 4 | lo);
  }
  return true;
}

// The dashed text without braces: positions of the dashes are 8, 13, 18, 23.
bool IsDashedBody(const char* text, size_t length) {
  if (length != 36) return false;
  for (size_t i = 0; i < length; ++i) {
    bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash ? text[i] != '-' : HexDigitValue(text[i]) < 0) return false;
  }
  return true;
}

// Byte positions, in text order of the dashed form, of the 16 storage bytes: the first
// three fields are little-endian numbers.
const int kMsTextOrder[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};

}  // namespace

Guid Guid::fromBytes(const std::string& bytes) {
  if (bytes.size() != 16) {
    KESH_THROW(BadDataException, 0, "Invalid binary GUID: %zu bytes", bytes.size());
  }
  Guid guid;
  std::memcpy(guid.bytes_.data(), bytes.data(), 16);
  return guid;
}

std::string Guid::toBytes() const {
  return std::string(reinterpret_cast<const char*>(bytes_.data()), bytes_.size());
}

std::string Guid::toString() const {
  std::string text;
  text.reserve(32);
  for (uint8_t b : bytes_) {
    text += HexDigit(b >> 4, true);
    text += HexDigit(b & 0xf, true);
  }
  return text;
}

Guid Guid::fromString(const std::string& text) {
  Guid guid;
  if (!ReadPlainHex(text, guid.bytes_)) {
    KESH_THROW(BadDataException, 0, "Invalid GUID string: %s", text.c_str());
  }
  return guid;
}

std::string Guid::toRealMSString() const {
  std::string text;
  text.reserve(36);
  for (int i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    uint8_t b = bytes_[kMsTextOrder[i]];
    text += HexDigit(b >> 4, false);
    text += HexDigit(b & 0xf, false);
  }
  return text;
}

Guid Guid::fromRealMSString(const std::string& text) {
  if (!isValidGuidStringFormat(text.c_str()) || text.size() != std::strlen(text.c_str())) {
    KESH_THROW(BadDataException, 0, "Invalid GUID string: %s", text.c_str());
  }
  const char* p = text.c_str() + (text[0] == '{' ? 1 : 0);
  Guid guid;
  int i = 0;
  for (int pos = 0; pos < 36; pos += 2) {
    if (p[pos] == '-') ++pos;
    guid.bytes_[kMsTextOrder[i++]] =
        uint8_t(HexDigitValue(p[pos]) << 4 | HexDigitValue(p[pos + 1]));
  }
  return guid;
}

Guid Guid::fromHexValue(const std::string& text) {
  Guid guid;
  if (ReadPlainHex(text, guid.bytes_)) return guid;
  if (text.size() == 48) {
    std::string plain;
    for (size_t i = 0; i < 48; i += 3) {
      if (text[i] != '\\') break;
      plain.append(text, i + 1, 2);
    }
    if (ReadPlainHex(plain, guid.bytes_)) return guid;
  }
  KESH_THROW(BadDataException, 0, "Invalid GUID hex value: %s", text.c_str());
}

Guid Guid::fromExtendedDN(const std::string& text) {
  static const char kTag[] = "<GUID=";
  size_t start = std::string::npos;
  for (size_t i = 0; i + 6 <= text.size(); ++i) {
    if (strncasecmp(text.c_str() + i, kTag, 6) == 0) {
      start = i + 6;
      break;
    }
  }
  size_t end = start == std::string::npos ? start : text.find('>', start);
  if (end == std::string::npos) {
    KESH_THROW(BadDataException, 0, "No GUID in extended DN: %s", text.c_str());
  }
  std::string value = text.substr(start, end - start);
  if (value.size() == 32) return fromString(value);
  return fromRealMSString(value);
}

std::string Guid::toDN() const { return "<GUID=" + toString() + ">"; }

std::string Guid::toEscapedString() const {
  std::string text;
  text.reserve(48);
  for (uint8_t b : bytes_) {
    text += '\\';
    text += HexDigit(b >> 4, false);
    text += HexDigit(b & 0xf, false);
  }
  return text;
}

bool Guid::isValidGuidStringFormat(const char* text) {
  if (text == nullptr) return false;
  size_t length = std::strlen(text);
  if (length == 38 && text[0] == '{' && text[37] == '}') return IsDashedBody(text + 1, 36);
  return IsDashedBody(text, length);
}

bool Guid::isNull() const {
  for (uint8_t b : bytes_) {
    if (b != 0) return false;
  }
  return true;
}

Guid Guid::generate() {
  uuid_t uuid;
  uuid_generate_random(uuid);
  // libuuid gives the bytes in text order; store them as the directory does.
  Guid guid;
  for (int i = 0; i < 16; ++i) guid.bytes_[kMsTextOrder[i]] = uuid[i];
  return guid;
}

}  // namespace kesh
