// libFuzzer target for SIDs. The input is read both as "S-1-..." text and as the binary
// form. Text that parses writes text that parses to the same SID, and its bytes read back as
// the same SID; bytes that parse write themselves back and their text parses to the same
// bytes. Anything else throws kesh::BadDataException and leaves a SID unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "directory/library/exceptions.h"
#include "directory/library/sid.h"
#include "require.h"

namespace {

// The properties every parsed SID has, whichever form it came from.
void CheckSid(const kesh::SID& sid) {
  Require(!sid.isNull());
  std::string bytes = sid.toBytes();
  Require(bytes.size() == 8 + 4 * size_t(sid.subAuthorityCount()));
  Require(kesh::SID::fromBytes(bytes) == sid);

  std::string text = sid.toMSString();
  Require(kesh::SID(text) == sid);
  Require(sid.toEscapedString().size() == 3 * bytes.size());

  // The domain SID is the SID without its RID, the last sub-authority.
  int count = sid.subAuthorityCount();
  if (count == 0) {
    Require(sid.domainSID().isNull() && sid.getObjectRid() == 0);
    return;
  }
  Require(sid.domainSID().subAuthorityCount() == count - 1);
  Require(sid.getSubAuthority(count - 1) == sid.getObjectRid());
  kesh::SID other = sid;
  other.setObjectRid(sid.getObjectRid() + 1);
  Require(other.domainSID() == sid.domainSID() && other != sid);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);

  bool textParsed = false;
  try {
    kesh::SID sid(input);
    textParsed = true;
    CheckSid(sid);
  } catch (const kesh::BadDataException&) {
    Require(!textParsed);
  }

  // A failed fromMSString leaves the SID it was called on as it was.
  kesh::SID kept(kesh::WELL_KNOWN_SID::ADMINISTRATORS);
  try {
    kept.fromMSString(input);
    Require(textParsed);
  } catch (const kesh::BadDataException&) {
    Require(kept.toMSString() == kesh::WELL_KNOWN_SID::ADMINISTRATORS);
  }

  bool bytesParsed = false;
  try {
    kesh::SID sid = kesh::SID::fromBytes(input);
    bytesParsed = true;
    Require(sid.toBytes() == input);
    CheckSid(sid);
  } catch (const kesh::BadDataException&) {
    Require(!bytesParsed);
  }
  return 0;
}
