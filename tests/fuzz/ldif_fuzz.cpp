// libFuzzer target for the in-memory directory's LDIF reader. Text either parses or throws
// kesh::BadDataException. Each parsed record, written by FormatLdifRecord, reads back as the
// same record (a SID or GUID value may come back as its text form). Text that parses is also
// loaded into an empty directory: loading its dump into an empty directory must give the
// same dump. Base64 decoding undoes encoding for any bytes.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/memory/ldif.h"
#include "directory/library/memory/memdir.h"
#include "directory/library/sid.h"
#include "require.h"

namespace {

using kesh::memdir::LdifRecord;

// The value read back equals the value written, or is the text of the same SID or GUID.
bool SameValue(const std::string& written, const std::string& read) {
  if (written == read) return true;
  try {
    if (kesh::SID::fromBytes(written).toMSString() == read) return true;
  } catch (const kesh::BadDataException&) {
  }
  return written.size() == 16 && kesh::Guid::fromBytes(written).toRealMSString() == read;
}

void CheckRecord(const LdifRecord& record) {
  std::string text = kesh::memdir::FormatLdifRecord(record.dn, record.values);
  std::vector<LdifRecord> back = kesh::memdir::ParseLdif(text);
  Require(back.size() == 1);
  const LdifRecord& again = back.front();
  Require(again.dn == record.dn && again.values.size() == record.values.size());
  for (size_t i = 0; i < record.values.size(); ++i) {
    Require(again.values[i].first == record.values[i].first);
    Require(SameValue(record.values[i].second, again.values[i].second));
  }
}

// Load, dump, load the dump, dump again: the two dumps agree.
void CheckLoad(const std::string& text) {
  kesh::memdir::Reset();
  try {
    kesh::memdir::LoadLdif(text);
  } catch (const KESHException&) {
    // A record the directory refuses (bad DN, missing parent, ...): the entries before
    // it stay, and the rest of the check runs on them.
  }
  std::string dump = kesh::memdir::DumpLdif("", true);
  kesh::memdir::Reset();
  kesh::memdir::LoadLdif(dump);
  Require(kesh::memdir::DumpLdif("", true) == dump);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Require(kesh::memdir::Base64Decode(kesh::memdir::Base64Encode(text)) == text);

  std::vector<LdifRecord> records;
  try {
    records = kesh::memdir::ParseLdif(text);
  } catch (const kesh::BadDataException&) {
    return 0;
  }
  for (const LdifRecord& record : records) CheckRecord(record);
  CheckLoad(text);
  return 0;
}
