// libFuzzer target for the serialised object of the cache. Bytes either deserialise or
// throw kesh::BadDataException and leave the object empty. What deserialises serialises to
// bytes (attributes in name order) that read back as the same object and serialise to the
// same bytes again; a clone serialises alike.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "directory/library/adobject.h"
#include "directory/library/exceptions.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;  // no data: a new object, nothing to read
  kesh::ADObject object(size, reinterpret_cast<const char*>(data), false, nullptr);
  bool parsed = false;
  try {
    object.deSerialize();
    parsed = true;
  } catch (const kesh::BadDataException&) {
    Require(object.attributes().empty());
    return 0;
  }
  Require(parsed);

  // Read every value the way the commands do; none of it may fault.
  for (const auto& entry : object.attributes()) {
    const kesh::ADAttribute& attribute = entry.second;
    attribute.toBool();
    attribute.toInt();
    Require(std::string(attribute) == (attribute.empty() ? "" : attribute.values().front()));
  }
  object.dn();
  object.sid();
  object.guid();
  object.category();

  // Parsed data writes back alike from the object and from a clone, with every attribute.
  std::string bytes = object.getSerialized();
  Require(bytes.size() == size);  // only the order of the attributes may change
  kesh::ADObject copy = object.clone();
  Require(copy.getSerialized() == bytes);
  Require(copy.fetchTime() == object.fetchTime());

  // The written bytes read again as the same object.
  kesh::ADObject again(bytes.size(), bytes.data(), false, nullptr);
  again.deSerialize();
  Require(again.attributes().size() == object.attributes().size());
  for (const auto& entry : object.attributes()) {
    const kesh::ADAttribute* other = again.find(entry.first);
    Require(other != nullptr && other->values() == entry.second.values() &&
            other->changed() == entry.second.changed() &&
            other->binary() == entry.second.binary() &&
            other->incomplete() == entry.second.incomplete());
  }
  Require(again.getSerialized() == bytes);
  return 0;
}
