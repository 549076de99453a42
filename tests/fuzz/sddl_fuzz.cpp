// libFuzzer target for the SDDL reader: any text either parses or throws
// kesh::BadDataException. What parses must write canonical text that reads back to the same
// text, and its binary form must read back to the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "directory/library/exceptions.h"
#include "directory/library/security_descriptor.h"
#include "security/sddl.h"

namespace {

bool HasNullSid(const SDPtr& sd) {
  for (const kesh::ACEntry& ace : sd->dacl.aces) {
    if (ace.sid.isNull()) return true;
  }
  return false;
}

void CheckDescriptor(SDPtr& sd) {
  std::string text = SDToString(sd);
  SDPtr again = ParseSddl(text);
  if (SDToString(again) != text) abort();

  // An ACE without a SID has no binary form; everything else must survive the bytes.
  if (HasNullSid(sd)) return;
  kesh::NetBuf bytes;
  sd->serialize(bytes);
  kesh::SecurityDescriptor back(SD_REVISION, SD_CONTROL);
  back.parse(bytes.data());
  kesh::NetBuf bytesAgain;
  back.serialize(bytesAgain);
  if (bytesAgain.data() != bytes.data()) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  try {
    SDPtr sd = ParseSddl(text);
    CheckDescriptor(sd);
  } catch (const kesh::BadDataException&) {
  }
  try {
    kesh::ACEntry ace = ParseAce(text);
    ACEList aces{ace};
    std::string out = ConvertAces(aces);
    // The written ACE reads back as the same ACE.
    kesh::ACEntry back = ParseAce(out.substr(1, out.size() - 2));
    if (ConvertAces(ACEList{back}) != out) abort();
  } catch (const kesh::BadDataException&) {
  }
  // The text as a DACL of its own: pieces in parentheses.
  try {
    SDPtr sd = ParseSddl("O:BA");
    SetDaclInSD(sd, text);
    CheckDescriptor(sd);
  } catch (const kesh::BadDataException&) {
  }
  return 0;
}
