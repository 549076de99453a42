// libFuzzer target for keyword dictionaries. The input, split at newlines, is the value list
// of a dictionary attribute. Writing a dictionary that was read (CramAttrs) and reading it
// again (CramDict) gives that dictionary back with exactly these changes, all of them on the
// keys of the extended attribute table that may occur several times: a text loses its
// leading commas (an empty piece read first leaves nothing to join to); a text of commas
// only becomes empty; an empty text disappears (it writes no value). So a text of commas
// only needs two round trips to vanish, and the map after two round trips is a fixed point;
// the values always come out in ascending key order.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "directory/library/adobject.h"
#include "require.h"
#include "schema/keywords.h"

namespace {

using Dict = std::map<std::string, std::string>;

Dict Read(const std::vector<std::string>& values) {
  kesh::ADAttribute attr;
  attr.setValues(values);
  Dict dict;
  CramDict(&attr, dict);
  return dict;
}

std::vector<std::string> Write(const Dict& dict) {
  kesh::ADAttribute attr;
  CramAttrs(attr, dict);
  Require(attr.changed());
  return attr.values();
}

// What one write and read makes of `dict` (see the top of this file).
Dict AfterOneRoundTrip(const Dict& dict) {
  const auto& table = ExtendedAttributes();
  Dict out;
  for (const auto& entry : dict) {
    auto row = table.find(entry.first);
    if (row == table.end() || row->second.multi == 0) {
      out.insert(entry);
      continue;
    }
    if (entry.second.empty()) continue;
    size_t start = entry.second.find_first_not_of(',');
    out[entry.first] = start == std::string::npos ? std::string() : entry.second.substr(start);
  }
  return out;
}

// The key of a written value: what stands before its first colon.
std::string KeyOf(const std::string& value) {
  size_t colon = value.find(':');
  Require(colon != std::string::npos);  // every written value has one
  return value.substr(0, colon);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> values;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    values.push_back(text.substr(start, end - start));
    start = end + 1;
  }

  Dict dict = Read(values);
  for (int round = 0; round < 3; ++round) {
    std::vector<std::string> written = Write(dict);
    for (size_t i = 1; i < written.size(); ++i) {
      Require(KeyOf(written[i - 1]) <= KeyOf(written[i]));
    }
    Dict next = Read(written);
    Require(next == AfterOneRoundTrip(dict));
    if (round == 2) Require(next == dict);  // two round trips reached the fixed point
    dict = next;
  }
  return 0;
}
