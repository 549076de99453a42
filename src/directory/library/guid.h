// kesh::Guid: a 16-byte GUID as the directory stores it (objectGUID, schemaIDGUID).
//
// Two text forms exist. toString()/fromString() are the 32 hex digits of the 16 bytes in
// storage order, upper-case, as in "<WKGUID=AB1D30F3768811D1ADED00C04FD8D5CD,...>".
// toRealMSString()/fromRealMSString() are the text that Microsoft tools show,
// "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx" in lower case, whose first three fields are
// the little-endian 32-, 16- and 16-bit numbers of the first 8 bytes (mixed-endian).
// The all-zero GUID is NULL_GUID and means "none".
#ifndef ZONESMITH_DIRECTORY_LIBRARY_GUID_H_
#define ZONESMITH_DIRECTORY_LIBRARY_GUID_H_

#include <array>
#include <cstdint>
#include <string>

namespace kesh {

class Guid {
 public:
  Guid() { bytes_.fill(0); }
  // REQUIRES: bytes.size() == 16, else kesh::BadDataException.
  static Guid fromBytes(const std::string& bytes);
  std::string toBytes() const;

  // 32 hex digits, storage order, upper-case.
  std::string toString() const;
  // Accepts 32 hex digits in any case. Throws kesh::BadDataException otherwise.
  static Guid fromString(const std::string& text);

  // "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx", lower-case.
  std::string toRealMSString() const;
  // Accepts the dashed form in any case, with or without surrounding braces.
  // Throws kesh::BadDataException otherwise.
  static Guid fromRealMSString(const std::string& text);

  // Accepts 32 hex digits, also written as an escaped filter value ("\ab\cd...").
  static Guid fromHexValue(const std::string& text);
  // Reads the GUID out of an extended DN "<GUID=...>;<SID=...>;CN=..." (either text
  // form inside). Throws kesh::BadDataException when there is no GUID part.
  static Guid fromExtendedDN(const std::string& text);

  // "<GUID=" toString() ">": a DN that the directory resolves to the object.
  std::string toDN() const;
  // Each byte as "\xx", for an LDAP filter value.
  std::string toEscapedString() const;

  // True for the dashed form (braces optional) with hex digits in every place.
  static bool isValidGuidStringFormat(const char* text);

  bool isNull() const;
  bool operator==(const Guid& other) const { return bytes_ == other.bytes_; }
  bool operator!=(const Guid& other) const { return bytes_ != other.bytes_; }
  bool operator<(const Guid& other) const { return bytes_ < other.bytes_; }

  // A new random GUID.
  static Guid generate();

 private:
  std::array<uint8_t, 16> bytes_;
};

extern const Guid NULL_GUID;

}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_GUID_H_
