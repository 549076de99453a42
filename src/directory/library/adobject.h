// kesh::ADAttribute, kesh::ADObject and kesh::ADObjectList: directory objects in memory.
//
// An ADObject is a handle: copies share one ADObjectImpl, so a change through one copy is
// seen through all. Attribute names compare case-insensitively (ASCII) and are kept in
// that order; the spelling first used for a name is the one reported. Values are bytes:
// binary attributes (objectSid, objectGUID, nTSecurityDescriptor, ...) keep their raw form.
//
// Serialised form (getSerialized/deSerialize), all integers little-endian:
//   "ZSO1"                      magic and version
//   u64 fetch time (seconds since the epoch)
//   u32 attribute count, then per attribute:
//     u32 name length, name bytes, u8 flags (bit 0 changed, bit 1 binary, bit 2 incomplete),
//     u32 value count, then per value: u32 length, bytes.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_ADOBJECT_H_
#define ZONESMITH_DIRECTORY_LIBRARY_ADOBJECT_H_

#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "directory/library/guid.h"
#include "directory/library/sid.h"

namespace kesh {

class KeshCache;

// Orders strings by ASCII case-insensitive comparison.
struct CaseInsensitiveLess {
  bool operator()(const std::string& a, const std::string& b) const;
};

class ADAttribute {
 public:
  ADAttribute() = default;

  const std::vector<std::string>& values() const { return values_; }
  size_t size() const { return values_.size(); }
  bool empty() const { return values_.empty(); }
  // The first value, or an empty string.
  operator std::string() const;

  // Replace all values by one, and mark the attribute changed.
  ADAttribute& operator=(const std::string& value);
  ADAttribute& operator=(const char* value);
  ADAttribute& operator=(int value);
  ADAttribute& operator=(unsigned value);
  // "TRUE" or "FALSE".
  ADAttribute& operator=(bool value);

  // Appends a value; `changed` marks the attribute changed, `binary` says the value is bytes.
  void addVal(const std::string& value, bool changed = true, bool binary = false);
  // Clears the values and marks the attribute changed (to be cleared on save unless values
  // are added again); the binary flag is cleared.
  void reset();

  // True for "TRUE" (any case) or a non-zero number in the first value.
  bool toBool() const;
  // The first value as a decimal number, 0 when there is none or it is not a number.
  int toInt() const;

  // Changed in memory since it was read: an update sends it.
  bool changed() const { return changed_; }
  void setChanged(bool changed) { changed_ = changed; }
  bool binary() const { return binary_; }
  void setBinary(bool binary) { binary_ = binary; }
  // Holds only part of the values of a ranged attribute.
  bool incomplete() const { return incomplete_; }
  void setIncomplete(bool incomplete) { incomplete_ = incomplete; }

  // Replaces the values without marking the attribute changed (used when reading).
  void setValues(std::vector<std::string> values);

 private:
  std::vector<std::string> values_;
  bool changed_ = false;
  bool binary_ = false;
  bool incomplete_ = false;
};

using AttributeMap = std::map<std::string, ADAttribute, CaseInsensitiveLess>;

class ADObjectImpl;

class ADObject {
 public:
  // An empty object: no attributes, no raw data, fetch time now.
  ADObject();
  // A new empty object whose AD_DN attribute is `dn`.
  explicit ADObject(const std::string& dn);
  // Wraps serialised data; it is parsed only by deSerialize() or the first attribute
  // access. `owned` is accepted for compatibility: the data is always copied.
  ADObject(size_t length, const char* data, bool owned, KeshCache* cache);

  // Throws kesh::SystemException "Null adobject" when the handle holds no object.
  bool isValid() const;
  // No attributes and no raw data waiting to be parsed.
  bool empty() const;

  // The attribute, created empty when absent.
  ADAttribute& operator[](const std::string& name);
  // The attribute, or null when absent.
  const ADAttribute* find(const std::string& name) const;
  // With `nonEmpty`, the attribute must also hold a value.
  bool attributeExists(const std::string& name, bool nonEmpty = false) const;
  void removeAttribute(const std::string& name);
  // All attributes, parsed, in name order.
  const AttributeMap& attributes() const;
  AttributeMap& attributes();

  // The first value of the attribute `name`, or "" when it is absent or holds no value. Does
  // not create the attribute.
  std::string firstValue(const std::string& name) const;

  // The AD_DN attribute, or empty.
  std::string dn() const;
  // From objectSid; null when absent or malformed.
  SID sid() const;
  // From objectGUID; NULL_GUID when absent or malformed.
  Guid guid() const;
  // The value of "_objectCategory": "Person", "Group", "Computer",
  // "Foreign-Security-Principal", ...; empty when unknown.
  std::string category() const;

  time_t fetchTime() const;
  void setFetchTime(time_t t);
  // Whether the object was found through an index (the cache); reported by dump_object.
  bool isIndexed() const;
  void setIndexed(bool indexed);

  // The serialised form of the attributes (see the top of this file).
  std::string getSerialized() const;
  // Parses raw data into attributes; a no-op when there is none. Throws
  // kesh::BadDataException on malformed data (the object is then left empty).
  void deSerialize(bool force = false);
  // Marks every attribute unchanged (after a save).
  void clearChanged();
  // A deep copy that shares nothing with this object.
  ADObject clone() const;

  bool sameAs(const ADObject& other) const { return impl_ == other.impl_; }

 private:
  std::shared_ptr<ADObjectImpl> impl_;
};

// A shared list of objects: copies share the list.
class ADObjectList {
 public:
  ADObjectList();
  using iterator = std::vector<ADObject>::iterator;
  iterator begin() { return list_->begin(); }
  iterator end() { return list_->end(); }
  size_t size() const { return list_->size(); }
  bool empty() const { return list_->empty(); }
  ADObject& front() { return list_->front(); }
  ADObject& operator[](size_t i) { return (*list_)[i]; }
  void push_back(const ADObject& object) { list_->push_back(object); }
  void clear() { list_->clear(); }

 private:
  std::shared_ptr<std::vector<ADObject>> list_;
};

}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_ADOBJECT_H_
