#include "directory/library/memory/filter.h"

#include <strings.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>

#include "directory/library/adbinding.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/memory/syntax.h"
#include "directory/library/sid.h"

namespace kesh {
namespace memdir {
namespace {

[[noreturn]] void BadFilter() {
  KESH_THROW(LDAPException, LDAP_RC_FILTER_ERROR, "Bad search filter");
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Unescapes one value piece. Unescaped '*', '(' and ')' are errors here: the caller has
// already split substrings at their stars.
std::string Unescape(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '(' || c == ')' || c == '*') BadFilter();
    if (c != '\\') {
      out += c;
      continue;
    }
    if (i + 1 >= text.size()) BadFilter();
    char n = text[i + 1];
    if (n == '*' || n == '(' || n == ')' || n == '\\') {
      out += n;
      ++i;
      continue;
    }
    if (i + 2 >= text.size()) BadFilter();
    int hi = HexDigit(n), lo = HexDigit(text[i + 2]);
    if (hi < 0 || lo < 0) BadFilter();
    out += static_cast<char>(hi * 16 + lo);
    i += 2;
  }
  return out;
}

bool ValidAttribute(const std::string& name) {
  if (name.empty()) return false;
  for (char c : name) {
    if (!isalnum(static_cast<unsigned char>(c)) && c != '-' && c != ';' && c != '.' && c != '_')
      return false;
  }
  return true;
}

// A matching rule: an OID ("1.2.840.113556.1.4.803") or a name ("caseIgnoreMatch").
bool ValidRule(const std::string& rule) {
  if (rule.empty()) return false;
  for (char c : rule) {
    if (!isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '.') return false;
  }
  return true;
}

std::string StripOptions(const std::string& name) {
  size_t semi = name.find(';');
  return semi == std::string::npos ? name : name.substr(0, semi);
}

class Parser {
 public:
  explicit Parser(const std::string& text) : s_(text) {}

  Filter parseTop() {
    skipBlanks();
    Filter f;
    if (pos_ < s_.size() && s_[pos_] == '(') {
      f = parseFilter();
    } else {
      // A bare item, as the client library accepts it: "cn=x".
      f = parseItem(s_.substr(pos_));
      pos_ = s_.size();
    }
    skipBlanks();
    if (pos_ != s_.size()) BadFilter();
    return f;
  }

 private:
  void skipBlanks() {
    while (pos_ < s_.size() && s_[pos_] == ' ') ++pos_;
  }

  Filter parseFilter() {
    skipBlanks();
    if (pos_ >= s_.size() || s_[pos_] != '(') BadFilter();
    ++pos_;
    skipBlanks();
    if (pos_ >= s_.size()) BadFilter();
    Filter f;
    char c = s_[pos_];
    if (c == '&' || c == '|') {
      ++pos_;
      f.kind = c == '&' ? Filter::AND : Filter::OR;
      skipBlanks();
      while (pos_ < s_.size() && s_[pos_] == '(') {
        f.children.push_back(parseFilter());
        skipBlanks();
      }
    } else if (c == '!') {
      ++pos_;
      f.kind = Filter::NOT;
      f.children.push_back(parseFilter());
      skipBlanks();
    } else {
      size_t end = pos_;
      while (end < s_.size() && s_[end] != ')' && s_[end] != '(') {
        end += s_[end] == '\\' && end + 1 < s_.size() ? 2 : 1;
      }
      if (end >= s_.size() || s_[end] != ')') BadFilter();
      f = parseItem(s_.substr(pos_, end - pos_));
      pos_ = end;
    }
    if (pos_ >= s_.size() || s_[pos_] != ')') BadFilter();
    ++pos_;
    return f;
  }

  static Filter parseItem(const std::string& item) {
    size_t eq = item.find('=');
    if (eq == std::string::npos || eq == 0) BadFilter();
    Filter f;
    std::string attr = item.substr(0, eq);
    std::string value = item.substr(eq + 1);
    char op = attr.back();
    if (op == '>' || op == '<' || op == '~') {
      attr.pop_back();
      f.kind = op == '>' ? Filter::GREATER : op == '<' ? Filter::LESS : Filter::APPROX;
      f.value = Unescape(value);
    } else if (op == ':') {
      // attr[:dn][:rule]:=value
      attr.pop_back();
      size_t colon = attr.find(':');
      if (colon == std::string::npos) BadFilter();
      std::string rest = attr.substr(colon + 1);
      attr = attr.substr(0, colon);
      if (rest.size() > 3 && strncasecmp(rest.c_str(), "dn:", 3) == 0) rest = rest.substr(3);
      if (!ValidRule(rest) || strcasecmp(rest.c_str(), "dn") == 0) BadFilter();
      f.kind = Filter::EXTENSIBLE;
      f.rule = rest;
      f.value = Unescape(value);
    } else if (value == "*") {
      f.kind = Filter::PRESENT;
    } else if (value.find('*') != std::string::npos && !HasOnlyEscapedStars(value)) {
      f.kind = Filter::SUBSTRING;
      std::vector<std::string> pieces = SplitStars(value);
      f.initial = Unescape(pieces.front());
      f.final = Unescape(pieces.back());
      for (size_t i = 1; i + 1 < pieces.size(); ++i) {
        if (pieces[i].empty()) continue;  // "a**b": an empty piece matches anything
        f.any.push_back(Unescape(pieces[i]));
      }
    } else {
      f.kind = Filter::EQUAL;
      f.value = Unescape(value);
    }
    f.attribute = StripOptions(attr);
    // Options (";binary") need an attribute type before them.
    if (!ValidAttribute(attr) || f.attribute.empty()) BadFilter();
    return f;
  }

  // Splits at the stars that are not escaped.
  static std::vector<std::string> SplitStars(const std::string& value) {
    std::vector<std::string> pieces(1);
    for (size_t i = 0; i < value.size(); ++i) {
      if (value[i] == '\\' && i + 1 < value.size()) {
        pieces.back() += value[i];
        pieces.back() += value[++i];
      } else if (value[i] == '*') {
        pieces.emplace_back();
      } else {
        pieces.back() += value[i];
      }
    }
    return pieces;
  }

  static bool HasOnlyEscapedStars(const std::string& value) {
    return SplitStars(value).size() == 1;
  }

  const std::string& s_;
  size_t pos_ = 0;
};

char Lower(char c) { return static_cast<char>(tolower(static_cast<unsigned char>(c))); }

bool EqualNoCase(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

// Finds `needle` in `hay` from `from`, case-insensitively or by bytes.
size_t Find(const std::string& hay, const std::string& needle, size_t from, bool bytes) {
  if (bytes) return hay.find(needle, from);
  if (needle.size() > hay.size()) return std::string::npos;
  for (size_t i = from; i + needle.size() <= hay.size(); ++i) {
    size_t j = 0;
    while (j < needle.size() && Lower(hay[i + j]) == Lower(needle[j])) ++j;
    if (j == needle.size()) return i;
  }
  return std::string::npos;
}

bool SubstringMatch(const Filter& f, const std::string& v, bool bytes) {
  size_t pos = 0;
  if (!f.initial.empty()) {
    if (v.size() < f.initial.size()) return false;
    if (bytes ? v.compare(0, f.initial.size(), f.initial) != 0
              : !EqualNoCase(v.substr(0, f.initial.size()), f.initial))
      return false;
    pos = f.initial.size();
  }
  for (const std::string& piece : f.any) {
    size_t at = Find(v, piece, pos, bytes);
    if (at == std::string::npos) return false;
    pos = at + piece.size();
  }
  if (!f.final.empty()) {
    if (v.size() < pos + f.final.size()) return false;
    std::string tail = v.substr(v.size() - f.final.size());
    return bytes ? tail == f.final : EqualNoCase(tail, f.final);
  }
  return true;
}

bool ParseInteger(const std::string& text, long long& out) {
  if (text.empty()) return false;
  errno = 0;
  char* end = nullptr;
  out = strtoll(text.c_str(), &end, 10);
  return errno == 0 && end && *end == '\0';
}

// The first RDN value of a DN, unescaped enough for category names.
std::string FirstRdnValue(const std::string& dn) {
  size_t eq = dn.find('=');
  if (eq == std::string::npos) return dn;
  size_t end = eq + 1;
  while (end < dn.size() && dn[end] != ',') end += dn[end] == '\\' ? 2 : 1;
  return dn.substr(eq + 1, end - eq - 1);
}

// The filter value in the form stored for the attribute: SID text becomes bytes.
std::string StoredForm(Syntax syntax, const std::string& value) {
  if (syntax == Syntax::SID && value.size() > 2 && (value[0] == 'S' || value[0] == 's') &&
      value[1] == '-') {
    try {
      return SID(value).toBytes();
    } catch (const std::exception&) {
      return value;
    }
  }
  return value;
}

bool ValueEquals(const Filter& f, const std::string& v) {
  switch (f.syntax) {
    case Syntax::BINARY:
    case Syntax::SID:
      return v == f.wanted;
    case Syntax::DN:
      if (f.categoryName) return EqualNoCase(FirstRdnValue(v), f.wanted);
      return EqualNoCase(v, f.wanted) || DN::normalize(v) == DN::normalize(f.wanted);
    case Syntax::STRING:
      break;
  }
  return EqualNoCase(v, f.wanted);
}

// Fills the fields that parse() works out once for an item and its children.
void Prepare(Filter& f) {
  for (Filter& c : f.children) Prepare(c);
  if (f.attribute.empty()) return;
  f.syntax = AttributeSyntax(f.attribute);
  if (strcasecmp(f.attribute.c_str(), "distinguishedName") == 0) {
    f.attributeKind = AttributeKind::DISTINGUISHED_NAME;
  } else if (!ForwardLinkOf(f.attribute).empty()) {
    f.attributeKind = AttributeKind::BACK_LINK;
  }
  f.wanted = StoredForm(f.syntax, f.value);
  if (strcasecmp(f.attribute.c_str(), "objectCategory") == 0 &&
      f.value.find('=') == std::string::npos) {
    f.categoryName = true;
    f.wanted = CategoryForName(f.value);
  }
}

int Compare(const std::string& a, const std::string& b) {
  long long x, y;
  if (ParseInteger(a, x) && ParseInteger(b, y)) return x < y ? -1 : x > y ? 1 : 0;
  return strcasecmp(a.c_str(), b.c_str());
}

bool IsObjectClass(const std::string& name) { return strcasecmp(name.c_str(), "objectClass") == 0; }

}  // namespace

std::string CategoryForName(const std::string& name) {
  std::string category = DefaultCategory(name);
  return category.empty() ? name : category;
}

Filter Filter::parse(const std::string& text) {
  bool blank = true;
  for (char c : text) blank = blank && c == ' ';
  if (blank) {
    Filter f;
    f.kind = PRESENT;
    f.attribute = "objectClass";
    return f;
  }
  Filter f = Parser(text).parseTop();
  Prepare(f);
  return f;
}

bool Filter::matches(const AttributeSource& entry) const {
  switch (kind) {
    case AND:
      for (const Filter& c : children) {
        if (!c.matches(entry)) return false;
      }
      return true;
    case OR:
      for (const Filter& c : children) {
        if (c.matches(entry)) return true;
      }
      return false;
    case NOT:
      return !children.front().matches(entry);
    default:
      break;
  }
  if (kind == PRESENT && IsObjectClass(attribute)) return true;
  const std::vector<std::string>* vals = entry.values(attribute, attributeKind);
  if (!vals || vals->empty()) return false;
  if (kind == PRESENT) return true;
  bool bytes = syntax == Syntax::BINARY || syntax == Syntax::SID;
  for (const std::string& v : *vals) {
    switch (kind) {
      case EQUAL:
      case APPROX:
        if (ValueEquals(*this, v)) return true;
        break;
      case SUBSTRING:
        if (SubstringMatch(*this, v, bytes)) return true;
        break;
      case GREATER:
        if (Compare(v, wanted) >= 0) return true;
        break;
      case LESS:
        if (Compare(v, wanted) <= 0) return true;
        break;
      case EXTENSIBLE: {
        long long have, mask;
        if (!ParseInteger(v, have) || !ParseInteger(wanted, mask)) break;
        unsigned long long h = static_cast<unsigned long long>(have);
        unsigned long long m = static_cast<unsigned long long>(mask);
        if (rule == "1.2.840.113556.1.4.803" && (h & m) == m) return true;
        if (rule == "1.2.840.113556.1.4.804" && (h & m) != 0) return true;
        break;
      }
      default:
        break;
    }
  }
  return false;
}

}  // namespace memdir
}  // namespace kesh
