// LDAP search filters (RFC 4515 text) for the in-memory directory: a parser and an
// evaluator that matches the way Active Directory compares values.
//
// Parsing accepts and, or, not, equality, presence, substrings, ">=", "<=", "~=" and
// extensible matches. A value may escape any byte as "\xx"; the older forms "\*", "\(",
// "\)" and "\\" are read as the character, as the client library does. An unescaped "*",
// "(" or ")" inside a value, a bad escape, unbalanced parentheses or text after the filter
// make it malformed. An empty filter matches everything, like "(objectClass=*)".
//
// Matching: attribute names compare case-insensitively; string values case-insensitively
// (ASCII); binary attributes byte for byte; SID attributes also accept "S-1-..." text;
// DN attributes compare as normalised DNs; objectCategory accepts a class or category
// name ("Person", "user", "ForeignSecurityPrincipal") as well as the category's DN;
// ">=" and "<=" compare numbers as numbers; "~=" is equality. "(objectClass=*)" matches
// every entry. The extensible rules 1.2.840.113556.1.4.803 and .804 (bitwise and, or)
// are understood; other rules match nothing.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_MEMORY_FILTER_H_
#define ZONESMITH_DIRECTORY_LIBRARY_MEMORY_FILTER_H_

#include <memory>
#include <string>
#include <vector>

#include "directory/library/memory/syntax.h"

namespace kesh {
namespace memdir {

// What kind of attribute a filter item names, worked out once when it is parsed.
enum class AttributeKind { PLAIN, DISTINGUISHED_NAME, BACK_LINK };

// What a filter is evaluated against: the values of an entry's attributes.
class AttributeSource {
 public:
  virtual ~AttributeSource() = default;
  // The values of the attribute, or null when the entry has none.
  virtual const std::vector<std::string>* values(const std::string& name,
                                                 AttributeKind kind) const = 0;
  // The entry's DN.
  virtual const std::string& dn() const = 0;
};

struct Filter {
  enum Kind { AND, OR, NOT, EQUAL, PRESENT, SUBSTRING, GREATER, LESS, APPROX, EXTENSIBLE };
  Kind kind = PRESENT;
  std::vector<Filter> children;  // AND, OR, NOT
  std::string attribute;         // without options
  std::string value;             // unescaped bytes
  // SUBSTRING: value pieces; `initial`/`final` may be empty.
  std::string initial;
  std::vector<std::string> any;
  std::string final;
  // EXTENSIBLE: the matching rule OID.
  std::string rule;
  // Worked out by parse(): how the attribute compares, and the value in the form stored
  // (SID text as bytes; for a short objectCategory value, the category's name).
  AttributeKind attributeKind = AttributeKind::PLAIN;
  Syntax syntax = Syntax::STRING;
  std::string wanted;
  bool categoryName = false;

  // Parses `text`. Throws LDAPException rc 87 (LDAP_RC_FILTER_ERROR) when malformed.
  static Filter parse(const std::string& text);
  bool matches(const AttributeSource& entry) const;
};

// The category DN's first RDN value that a short objectCategory filter value stands for
// ("user" and "person" -> "Person"); the value itself when it is not a known name.
std::string CategoryForName(const std::string& name);

}  // namespace memdir
}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_MEMORY_FILTER_H_
