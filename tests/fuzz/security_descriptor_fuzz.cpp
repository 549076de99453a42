// libFuzzer target for the binary security descriptor. Bytes either parse or throw
// kesh::BadDataException and leave the descriptor unchanged. What parses serialises to
// bytes that parse to the same owner, group and ACEs and serialise to the same bytes again:
// one pass reaches the canonical form (parts in order, no padding, sizes recomputed).
// The first bytes also go to the ACL reader on its own.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "directory/library/exceptions.h"
#include "directory/library/security_descriptor.h"
#include "require.h"

namespace {

bool SameAces(const kesh::ACList& a, const kesh::ACList& b) { return a.aces == b.aces; }

// The descriptor that a failed parse must leave as it was.
kesh::SecurityDescriptor Sentinel() {
  kesh::SecurityDescriptor sd;
  sd.owner = kesh::SID(kesh::WELL_KNOWN_SID::ADMINISTRATORS);
  sd.hasDacl = true;
  kesh::ACEntry ace;
  ace.mask = 0x20094;
  ace.sid = kesh::SID(kesh::WELL_KNOWN_SID::AUTHENTICATED_USERS);
  sd.dacl.addACE(ace);
  return sd;
}

bool SameDescriptor(const kesh::SecurityDescriptor& a, const kesh::SecurityDescriptor& b) {
  return a.owner == b.owner && a.group == b.group && a.hasDacl == b.hasDacl &&
         a.hasSacl == b.hasSacl && SameAces(a.dacl, b.dacl) && SameAces(a.sacl, b.sacl);
}

void CheckDescriptor(const uint8_t* data, size_t size) {
  kesh::SecurityDescriptor sd = Sentinel();
  bool parsed = false;
  try {
    sd.parse(data, size);
    parsed = true;
  } catch (const kesh::BadDataException&) {
    Require(SameDescriptor(sd, Sentinel()));
    return;
  }
  Require(parsed);

  kesh::NetBuf bytes;
  sd.serialize(bytes);
  kesh::SecurityDescriptor back;
  back.parse(bytes.data());
  Require(SameDescriptor(back, sd));
  kesh::NetBuf bytesAgain;
  back.serialize(bytesAgain);
  Require(bytesAgain.data() == bytes.data());
}

void CheckAcl(const uint8_t* data, size_t size) {
  kesh::ACList acl;
  acl.revision = 2;
  try {
    acl.parse(data, size);
  } catch (const kesh::BadDataException&) {
    Require(acl.revision == 2 && acl.aces.empty());
    return;
  }
  kesh::NetBuf bytes;
  acl.serialize(bytes);
  kesh::ACList back;
  back.parse(reinterpret_cast<const uint8_t*>(bytes.data().data()), bytes.size());
  Require(SameAces(back, acl));
  kesh::NetBuf bytesAgain;
  back.serialize(bytesAgain);
  Require(bytesAgain.data() == bytes.data());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  CheckDescriptor(data, size);
  CheckAcl(data, size);
  return 0;
}
