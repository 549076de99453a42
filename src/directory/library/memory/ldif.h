// LDIF (RFC 2849) for the in-memory directory's fixtures: a reader of the content form
// and a writer.
//
// Read: "dn:" and "attr: value" lines, "attr:: base64" values, lines continued by a
// leading blank, "#" comments, records separated by blank lines, an optional "version: 1"
// and "changetype: add". Other change types and "attr:< url" values are refused.
// Written: one record per entry, long lines folded at 76 columns, values that are not
// safe text (binary, leading blank or colon, non-ASCII, ...) in base64.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_MEMORY_LDIF_H_
#define ZONESMITH_DIRECTORY_LIBRARY_MEMORY_LDIF_H_

#include <string>
#include <utility>
#include <vector>

namespace kesh {
namespace memdir {

struct LdifRecord {
  int line = 0;  // where the record starts, from 1
  std::string dn;
  std::vector<std::pair<std::string, std::string>> values;  // in order; values decoded
  std::vector<bool> encoded;                                // the value was given in base64
};

// Throws kesh::BadDataException "LDIF line N: ..." on malformed text.
std::vector<LdifRecord> ParseLdif(const std::string& text);

// One record, ending with a blank line. `values` in the order to write.
std::string FormatLdifRecord(const std::string& dn,
                             const std::vector<std::pair<std::string, std::string>>& values);

std::string Base64Encode(const std::string& bytes);
// Throws kesh::BadDataException on characters outside the alphabet.
std::string Base64Decode(const std::string& text);

}  // namespace memdir
}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_MEMORY_LDIF_H_
