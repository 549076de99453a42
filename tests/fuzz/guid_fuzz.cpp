// libFuzzer target for GUID text: the 32-digit storage form, the dashed form with and
// without braces, the escaped filter value, extended DNs and the 16 bytes. Whatever is
// accepted writes each of its forms, and each form reads back as the same GUID; what is
// refused throws kesh::BadDataException.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "require.h"

namespace {

void CheckGuid(const kesh::Guid& guid) {
  using kesh::Guid;
  Require(Guid::fromBytes(guid.toBytes()) == guid);
  Require(Guid::fromString(guid.toString()) == guid);
  std::string dashed = guid.toRealMSString();
  Require(Guid::isValidGuidStringFormat(dashed.c_str()));
  Require(Guid::fromRealMSString(dashed) == guid);
  Require(Guid::fromRealMSString("{" + dashed + "}") == guid);
  Require(Guid::fromHexValue(guid.toString()) == guid);
  Require(Guid::fromHexValue(guid.toEscapedString()) == guid);
  Require(Guid::fromExtendedDN(guid.toDN() + ";CN=x,DC=y") == guid);
  Require(Guid::fromExtendedDN("<GUID=" + dashed + ">") == guid);
  Require(guid.isNull() == (guid == kesh::NULL_GUID));
}

// Runs one reader; a GUID it accepts must pass CheckGuid.
template <typename Reader>
void Try(Reader read) {
  bool parsed = false;
  try {
    kesh::Guid guid = read();
    parsed = true;
    CheckGuid(guid);
  } catch (const kesh::BadDataException&) {
    Require(!parsed);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using kesh::Guid;
  const std::string text(reinterpret_cast<const char*>(data), size);

  Try([&] { return Guid::fromString(text); });
  Try([&] { return Guid::fromHexValue(text); });
  Try([&] { return Guid::fromExtendedDN(text); });
  Try([&] { return Guid::fromBytes(text); });

  // The dashed reader accepts exactly what isValidGuidStringFormat calls valid.
  bool valid = Guid::isValidGuidStringFormat(text.c_str()) && text.find('\0') == std::string::npos;
  bool parsed = false;
  try {
    Guid guid = Guid::fromRealMSString(text);
    parsed = true;
    Require(valid);
    CheckGuid(guid);
    // The dashed text reads back in lower case whichever case it was written in.
    std::string body = text[0] == '{' ? text.substr(1, 36) : text;
    std::string lower;
    for (char c : body) lower += char(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    Require(guid.toRealMSString() == lower);
  } catch (const kesh::BadDataException&) {
    Require(!parsed && !valid);
  }
  return 0;
}
