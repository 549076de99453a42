// Keyword dictionaries: key/text pairs kept in one multi-valued text attribute.
//
// Most of what the system stores on a zone or profile object has no attribute of its own
// in the directory's schema. It is kept in one multi-valued attribute, one pair per value:
// the zone object uses `description`, profile objects use `keywords`.
//
// Stored form, one attribute value per pair:
//
//   value := key ":" text
//
// The key ends at the first ":"; the text keeps any further colons ("a:b:c" is key "a",
// text "b:c"). There is no escaping, quoting or checksum. A value without any colon reads
// as key = text = the whole value ("abc" reads as abc -> abc, and writes back as
// "abc:abc"); this is how the agents on UNIX read it too, and it is kept so.
//
// In memory a dictionary is a std::map<std::string, std::string> in byte order of the
// keys, so a dictionary always writes out in ascending key order.
//
// Multi-valued keys: the keys of the extended attribute table (ExtendedAttributes) whose
// `multi` flag is set may occur in several values. Reading joins their texts with ","
// in attribute order; writing splits the text at every "," into one value per piece (so
// a stored text holding "," comes back as two values after one read and write). A multi
// key with an empty text writes no value at all. Any other key that occurs twice keeps
// its last text.
#ifndef ZONESMITH_SCHEMA_KEYWORDS_H_
#define ZONESMITH_SCHEMA_KEYWORDS_H_

#include <map>
#include <string>

#include "directory/library/adobject.h"

// A profile field that can be missing. `isSet` false means cleared or never set.
template <typename T>
struct OptionalField {
  bool isSet = false;
  T value{};

  OptionalField() = default;
  explicit OptionalField(const T& v) : isSet(true), value(v) {}
  void set(const T& v) {
    isSet = true;
    value = v;
  }
  void clear() {
    isSet = false;
    value = T{};
  }
};

// One row of the extended attribute table.
struct ExtendedUserAttr {
  // Type values.
  static constexpr int NUMBER = 0;
  static constexpr int FLAG = 1;
  static constexpr int LIST = 2;

  std::string key;       // the dictionary key, e.g. "aix.admgroups"
  std::string property;  // the name of the property on a UNIX computer, e.g. "admgroups"
  int type = NUMBER;
  int multi = 0;  // 1: the key may occur in several values
};

// The process-wide table of extended attributes, keyed by dictionary key. Filled once, at
// first use (thread-safe), never changed afterwards.
const std::map<std::string, ExtendedUserAttr>& ExtendedAttributes();

// Replaces `dict` by what `attr` holds. Null or an attribute without values gives an empty
// map.
void CramDict(const kesh::ADAttribute* attr, std::map<std::string, std::string>& dict);
// Replaces the values of `attr` by `dict` in key order and marks the attribute changed, so
// that the next update replaces the whole attribute.
void CramAttrs(kesh::ADAttribute& attr, const std::map<std::string, std::string>& dict);
// The text under `key`, or an empty string.
std::string GetCramAttr(const std::string& key, const std::map<std::string, std::string>& dict);
// Set with the text when `key` is present (even with an empty text), unset otherwise.
OptionalField<std::string> GetStringAttr(const std::string& key,
                                         const std::map<std::string, std::string>& dict);
// The same for a plain attribute of `object`: set when the attribute exists; the text is
// its (first) value, empty for an attribute without values.
OptionalField<std::string> GetStringAttr(const std::string& name, const kesh::ADObject& object);
// Stores `value` under `key`; an empty value removes the key (a missing key is no error).
void CramSet(const std::string& key, const std::string& value,
             std::map<std::string, std::string>& dict);
// Reads the dictionary of `attribute` of `object`, applies CramSet and writes it back. Only
// the object in memory changes; the caller saves it.
void SetCramAttr(kesh::ADObject& object, const std::string& attribute, const std::string& key,
                 const std::string& value);

#endif  // ZONESMITH_SCHEMA_KEYWORDS_H_
