#include "directory/library/dn.h"

#include <cctype>

#include "directory/library/strings.h"

namespace kesh {

namespace {
bool IsBlank(char c) { return c == ' '; }

// Splits `text` at each unescaped `separator`. Text inside a leading "<...>" (the
// extended forms such as "<WKGUID=guid,DC=x>") is never split. Leading blanks of each
// piece are dropped.
std::vector<std::string> SplitUnescaped(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::string current;
  bool inAngle = false;
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (current.empty() && IsBlank(c)) continue;
    if (c == '\\' && i + 1 < text.size()) {
      current += c;
      current += text[++i];
      continue;
    }
    if (current.empty() && c == '<') inAngle = true;
    if (inAngle) {
      if (c == '>') inAngle = false;
      current += c;
      continue;
    }
    if (c == separator) {
      parts.push_back(current);
      current.clear();
      continue;
    }
    current += c;
  }
  parts.push_back(current);
  return parts;
}

// Position of the first unescaped `c` in `text`, or npos.
size_t FindUnescaped(const std::string& text, char c) {
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == c) {
      return i;
    }
  }
  return std::string::npos;
}

// Drops unescaped trailing blanks.
std::string TrimTrailing(const std::string& text) {
  size_t end = text.size();
  while (end > 0 && IsBlank(text[end - 1]) && !(end >= 2 && text[end - 2] == '\\')) --end;
  return text.substr(0, end);
}

// Splits "type=value" into its trimmed parts; answers false when there is no '='.
bool SplitAva(const std::string& ava, std::string& type, std::string& value) {
  size_t eq = FindUnescaped(ava, '=');
  if (eq == std::string::npos) return false;
  type = TrimTrailing(ava.substr(0, eq));
  size_t start = eq + 1;
  while (start < ava.size() && IsBlank(ava[start])) ++start;
  value = TrimTrailing(ava.substr(start));
  return true;
}

bool IsValidType(const std::string& type) {
  if (type.empty()) return false;
  if (std::isdigit(static_cast<unsigned char>(type[0]))) {
    // An OID: digits and single dots.
    bool lastDot = true;
    for (char c : type) {
      if (c == '.') {
        if (lastDot) return false;
        lastDot = true;
      } else if (std::isdigit(static_cast<unsigned char>(c))) {
        lastDot = false;
      } else {
        return false;
      }
    }
    return !lastDot;
  }
  if (!std::isalpha(static_cast<unsigned char>(type[0]))) return false;
  for (char c : type) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-') return false;
  }
  return true;
}

bool IsValidValue(const std::string& value) {
  if (value.empty()) return false;
  for (size_t i = 0; i < value.size(); ++i) {
    char c = value[i];
    if (c == '\\') {
      if (i + 1 >= value.size()) return false;
      if (HexDigitValue(value[i + 1]) >= 0) {
        if (i + 2 >= value.size() || HexDigitValue(value[i + 2]) < 0) return false;
        i += 2;
      } else if (std::string(" \"#+,;<=>\\").find(value[i + 1]) != std::string::npos) {
        ++i;
      } else {
        return false;
      }
    } else if (c == '"' || c == ';' || c == '<' || c == '>' || c == '\0') {
      return false;
    }
  }
  return true;
}

}  // namespace

std::string DN::dnFromDomain(const std::string& domain) {
  std::string dn;
  size_t start = 0;
  while (start <= domain.size()) {
    size_t dot = domain.find('.', start);
    if (dot == std::string::npos) dot = domain.size();
    if (dot > start) {
      if (!dn.empty()) dn += ',';
      dn += "DC=" + escapeRDNValue(domain.substr(start, dot - start));
    }
    start = dot + 1;
  }
  return dn;
}

std::string DN::domainFromDN(const std::string& dn) {
  std::string domain;
  for (const std::string& rdn : explode(dn)) {
    std::string type, value;
    if (!SplitAva(rdn, type, value) || lower(type) != "dc") continue;
    if (!domain.empty()) domain += '.';
    domain += unescapeDNString(value);
  }
  return domain;
}

std::string DN::cnFromDn(const std::string& dn) {
  std::string first = rdn(dn);
  size_t eq = FindUnescaped(first, '=');
  if (eq == std::string::npos) return first;
  size_t start = eq + 1;
  while (start < first.size() && IsBlank(first[start])) ++start;
  return TrimTrailing(first.substr(start));
}

std::string DN::parent(const std::string& dn) {
  if (!dn.empty() && dn[0] == '<') return std::string();
  size_t comma = FindUnescaped(dn, ',');
  if (comma == std::string::npos) return std::string();
  size_t start = comma + 1;
  while (start < dn.size() && IsBlank(dn[start])) ++start;
  return dn.substr(start);
}

std::string DN::rdn(const std::string& dn) {
  if (dn.empty()) return std::string();
  return TrimTrailing(SplitUnescaped(dn, ',').front());
}

std::vector<std::string> DN::explode(const std::string& dn) {
  std::vector<std::string> parts;
  if (dn.empty()) return parts;
  for (const std::string& part : SplitUnescaped(dn, ',')) parts.push_back(TrimTrailing(part));
  return parts;
}

std::string DN::escape(const std::string& text, const std::string& hexChars,
                       const std::string& chars, bool hex) {
  std::string out;
  out.reserve(text.size() + 8);
  for (char c : text) {
    bool inHex = hexChars.find(c) != std::string::npos;
    bool inChars = chars.find(c) != std::string::npos;
    if (inHex || (hex && inChars)) {
      unsigned char u = static_cast<unsigned char>(c);
      out += '\\';
      out += HexDigit(u >> 4, true);
      out += HexDigit(u & 0xf, true);
    } else if (inChars) {
      out += '\\';
      out += c;
    } else {
      out += c;
    }
  }
  return out;
}

std::string DN::escapeLDAPFilter(const std::string& text) {
  std::string out;
  out.reserve(text.size() + 8);
  for (char c : text) {
    if (c == '*' || c == '(' || c == ')' || c == '\\' || c == '\0') {
      unsigned char u = static_cast<unsigned char>(c);
      out += '\\';
      out += HexDigit(u >> 4, false);
      out += HexDigit(u & 0xf, false);
    } else {
      out += c;
    }
  }
  return out;
}

std::string DN::escapeRDNValue(const std::string& text) {
  std::string out;
  out.reserve(text.size() + 8);
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    unsigned char u = static_cast<unsigned char>(c);
    if (u < 0x20 || u == 0x7f) {
      out += '\\';
      out += HexDigit(u >> 4, true);
      out += HexDigit(u & 0xf, true);
    } else if (std::string(",+\"\\<>;=").find(c) != std::string::npos ||
               (i == 0 && (c == '#' || c == ' ')) || (i + 1 == text.size() && c == ' ')) {
      out += '\\';
      out += c;
    } else {
      out += c;
    }
  }
  return out;
}

std::string DN::unescapeDNString(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c != '\\' || i + 1 >= text.size()) {
      out += c;
      continue;
    }
    int hi = HexDigitValue(text[i + 1]);
    int lo = i + 2 < text.size() ? HexDigitValue(text[i + 2]) : -1;
    if (hi >= 0 && lo >= 0) {
      out += char(hi << 4 | lo);
      i += 2;
    } else {
      out += text[++i];
    }
  }
  return out;
}

std::string DN::dnFromExtendedDN(const std::string& text) {
  size_t pos = 0;
  while (pos < text.size() && text[pos] == '<') {
    size_t close = text.find('>', pos);
    if (close == std::string::npos) return text.substr(pos);
    pos = close + 1;
    if (pos < text.size() && text[pos] == ';') ++pos;
  }
  return text.substr(pos);
}

bool DN::isDN(const std::string& text) {
  if (text.empty() || text[0] == '<') return false;
  for (const std::string& rdn : explode(text)) {
    std::string rest = rdn;
    for (const std::string& ava : SplitUnescaped(rest, '+')) {
      std::string type, value;
      if (!SplitAva(ava, type, value)) return false;
      if (!IsValidType(type) || !IsValidValue(value)) return false;
    }
  }
  return true;
}

bool DN::equal(const std::string& a, const std::string& b) { return normalize(a) == normalize(b); }

std::string DN::normalize(const std::string& dn) {
  if (!dn.empty() && dn[0] == '<') return lower(dn);
  std::string out;
  for (const std::string& rdn : explode(dn)) {
    if (!out.empty()) out += ',';
    std::string avas;
    for (const std::string& ava : SplitUnescaped(rdn, '+')) {
      if (!avas.empty()) avas += '+';
      std::string type, value;
      if (SplitAva(ava, type, value)) {
        avas += lower(type) + "=" + lower(escapeRDNValue(unescapeDNString(value)));
      } else {
        avas += lower(ava);
      }
    }
    out += avas;
  }
  return out;
}

}  // namespace kesh
