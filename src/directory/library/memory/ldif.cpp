#include "directory/library/memory/ldif.h"

#include <strings.h>

#include <cctype>
#include <cstring>
#include <fstream>
#include <sstream>

#include "directory/library/adbinding.h"
#include "directory/library/dn.h"
#include "directory/library/exceptions.h"
#include "directory/library/guid.h"
#include "directory/library/memory/directory.h"
#include "directory/library/memory/syntax.h"
#include "directory/library/sid.h"

namespace kesh {
namespace memdir {
namespace {

const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

bool SafeString(const std::string& v) {
  if (v.empty()) return true;
  unsigned char first = static_cast<unsigned char>(v[0]);
  if (first == ' ' || first == ':' || first == '<') return false;
  if (v.back() == ' ') return false;
  for (unsigned char c : v) {
    if (c == 0 || c == '\n' || c == '\r' || c >= 0x80) return false;
  }
  return true;
}

bool IsGuidAttribute(const std::string& name) {
  return strcasecmp(name.c_str(), "objectGUID") == 0 ||
         strcasecmp(name.c_str(), "schemaIDGUID") == 0 ||
         strcasecmp(name.c_str(), "attributeSecurityGUID") == 0;
}

// Text forms that fixtures may use for binary attributes: "S-1-..." for SIDs and the dashed
// GUID text.
std::string FromText(const std::string& name, const std::string& value) {
  Syntax s = AttributeSyntax(name);
  if (s == Syntax::SID && value.size() > 2 && value[0] == 'S' && value[1] == '-') {
    return SID(value).toBytes();
  }
  if (IsGuidAttribute(name) && Guid::isValidGuidStringFormat(value.c_str())) {
    return Guid::fromRealMSString(value).toBytes();
  }
  return value;
}

// The readable text of a binary value where one exists, else empty.
std::string ToText(const std::string& name, const std::string& value) {
  try {
    if (AttributeSyntax(name) == Syntax::SID) return SID::fromBytes(value).toMSString();
    if (IsGuidAttribute(name) && value.size() == 16) return Guid::fromBytes(value).toRealMSString();
  } catch (const std::exception&) {
  }
  return std::string();
}

// An attribute description: a name or OID, then options after ';' ("userCertificate;binary").
bool IsAttributeDescription(const std::string& name) {
  if (name.empty() || !isalnum(static_cast<unsigned char>(name[0]))) return false;
  for (unsigned char c : name) {
    if (!isalnum(c) && c != '-' && c != '.' && c != ';') return false;
  }
  return true;
}

void Fold(std::string& out, const std::string& line) {
  const size_t kWidth = 76;
  if (line.size() <= kWidth) {
    out += line;
    out += '\n';
    return;
  }
  out.append(line, 0, kWidth);
  out += '\n';
  for (size_t pos = kWidth; pos < line.size(); pos += kWidth - 1) {
    out += ' ';
    out.append(line, pos, kWidth - 1);
    out += '\n';
  }
}

}  // namespace

std::string Base64Encode(const std::string& bytes) {
  std::string out;
  size_t i = 0;
  for (; i + 2 < bytes.size(); i += 3) {
    unsigned n = (static_cast<unsigned char>(bytes[i]) << 16) |
                 (static_cast<unsigned char>(bytes[i + 1]) << 8) |
                 static_cast<unsigned char>(bytes[i + 2]);
    out += kAlphabet[n >> 18];
    out += kAlphabet[(n >> 12) & 63];
    out += kAlphabet[(n >> 6) & 63];
    out += kAlphabet[n & 63];
  }
  if (i < bytes.size()) {
    unsigned n = static_cast<unsigned char>(bytes[i]) << 16;
    if (i + 1 < bytes.size()) n |= static_cast<unsigned char>(bytes[i + 1]) << 8;
    out += kAlphabet[n >> 18];
    out += kAlphabet[(n >> 12) & 63];
    out += i + 1 < bytes.size() ? kAlphabet[(n >> 6) & 63] : '=';
    out += '=';
  }
  return out;
}

std::string Base64Decode(const std::string& text) {
  std::string out;
  unsigned acc = 0;
  int bits = 0;
  for (char c : text) {
    if (c == '=' || c == ' ' || c == '\n' || c == '\r') continue;
    const char* p = c ? strchr(kAlphabet, c) : nullptr;
    if (!p) KESH_THROW(BadDataException, 0, "bad base64 character '%c'", c);
    acc = (acc << 6) | static_cast<unsigned>(p - kAlphabet);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      out += static_cast<char>((acc >> bits) & 0xff);
    }
  }
  return out;
}

std::vector<LdifRecord> ParseLdif(const std::string& text) {
  // Logical lines with their starting line numbers; a blank line is kept as "".
  std::vector<std::pair<int, std::string>> lines;
  std::istringstream in(text);
  std::string raw;
  int number = 0;
  bool inComment = false;
  while (std::getline(in, raw)) {
    ++number;
    if (!raw.empty() && raw.back() == '\r') raw.pop_back();
    if (!raw.empty() && raw[0] == ' ') {
      if (inComment) continue;
      if (lines.empty() || lines.back().second.empty())
        KESH_THROW(BadDataException, 0, "LDIF line %d: continuation of nothing", number);
      lines.back().second += raw.substr(1);
      continue;
    }
    inComment = !raw.empty() && raw[0] == '#';
    if (inComment) continue;
    lines.emplace_back(number, raw);
  }
  std::vector<LdifRecord> records;
  LdifRecord* current = nullptr;
  for (const auto& l : lines) {
    const std::string& line = l.second;
    if (line.empty()) {
      current = nullptr;
      continue;
    }
    size_t colon = line.find(':');
    if (colon == std::string::npos || colon == 0)
      KESH_THROW(BadDataException, 0, "LDIF line %d: no attribute name", l.first);
    std::string name = line.substr(0, colon);
    if (!IsAttributeDescription(name))
      KESH_THROW(BadDataException, 0, "LDIF line %d: bad attribute name", l.first);
    bool base64 = colon + 1 < line.size() && line[colon + 1] == ':';
    if (colon + 1 < line.size() && line[colon + 1] == '<')
      KESH_THROW(BadDataException, 0, "LDIF line %d: values from URLs are not supported", l.first);
    size_t start = colon + (base64 ? 2 : 1);
    while (start < line.size() && line[start] == ' ') ++start;
    std::string value = line.substr(start);
    if (base64) {
      try {
        value = Base64Decode(value);
      } catch (const KESHException&) {
        KESH_THROW(BadDataException, 0, "LDIF line %d: bad base64 value", l.first);
      }
    }
    if (!current) {
      if (strcasecmp(name.c_str(), "version") == 0 && records.empty()) continue;
      if (strcasecmp(name.c_str(), "dn") != 0)
        KESH_THROW(BadDataException, 0, "LDIF line %d: a record must start with dn:", l.first);
      records.emplace_back();
      current = &records.back();
      current->line = l.first;
      current->dn = value;
      continue;
    }
    if (strcasecmp(name.c_str(), "changetype") == 0) {
      if (strcasecmp(value.c_str(), "add") != 0)
        KESH_THROW(BadDataException, 0, "LDIF line %d: only changetype add is supported", l.first);
      continue;
    }
    if (strcasecmp(name.c_str(), "dn") == 0)
      KESH_THROW(BadDataException, 0, "LDIF line %d: unexpected %s", l.first, name.c_str());
    current->values.emplace_back(name, value);
    current->encoded.push_back(base64);
  }
  return records;
}

std::string FormatLdifRecord(const std::string& dn,
                             const std::vector<std::pair<std::string, std::string>>& values) {
  std::string out;
  Fold(out, SafeString(dn) ? "dn: " + dn : "dn:: " + Base64Encode(dn));
  for (const auto& v : values) {
    std::string text = ToText(v.first, v.second);
    if (!text.empty()) {
      Fold(out, v.first + ": " + text);
    } else if (!IsBinaryAttribute(v.first) && SafeString(v.second)) {
      Fold(out, v.first + ": " + v.second);
    } else {
      Fold(out, v.first + ":: " + Base64Encode(v.second));
    }
  }
  out += '\n';
  return out;
}

// ---------------------------------------------------------------------------------------
// Directory's LDIF side

void Directory::loadLdif(const std::string& text) {
  std::vector<LdifRecord> records = ParseLdif(text);
  for (const LdifRecord& r : records) {
    AttrStore attrs;
    for (size_t i = 0; i < r.values.size(); ++i) {
      const auto& v = r.values[i];
      try {
        attrs[v.first].push_back(r.encoded[i] ? v.second : FromText(v.first, v.second));
      } catch (const KESHException& e) {
        KESH_THROW(BadDataException, 0, "LDIF line %d: %s: %s", r.line, v.first.c_str(), e.what());
      }
    }
    if (r.dn.empty()) {
      auto nc = attrs.find("defaultNamingContext");
      if (nc == attrs.end() || nc->second.empty())
        KESH_THROW(BadDataException, 0,
                   "LDIF line %d: a root DSE record needs defaultNamingContext", r.line);
      rootDses_[DN::normalize(nc->second.front())] = attrs;
      continue;
    }
    try {
      add(nullptr, r.dn, std::move(attrs), SD_FLAG_OWNER | SD_FLAG_GROUP | SD_FLAG_DACL, true);
    } catch (const LDAPException& e) {
      KESH_THROW(LDAPException, e.rc(), "%s: %s (LDIF line %d)",
                 OperationLabel("add", r.dn).c_str(), e.what(), r.line);
    }
  }
}

std::string Directory::dump(const std::string& dn, bool subtree) {
  std::string out;
  std::vector<std::string> keys;
  if (dn.empty()) {
    for (const auto& r : rootDses_) {
      std::vector<std::pair<std::string, std::string>> values;
      for (const auto& a : r.second) {
        for (const std::string& v : a.second) values.emplace_back(a.first, v);
      }
      out += FormatLdifRecord("", values);
    }
    for (const auto& t : tops_) collectSubtree(t.second, keys);
  } else {
    std::string key = resolve(dn);
    if (key.empty()) KESH_THROW(LDAPException, LDAP_RC_NO_SUCH_OBJECT, "No such object");
    if (subtree) {
      collectSubtree(key, keys);
    } else {
      keys.push_back(key);
    }
  }
  for (const std::string& k : keys) {
    const Entry& e = entries_.at(k);
    std::vector<std::pair<std::string, std::string>> values;
    if (auto oc = e.attrs.find("objectClass"); oc != e.attrs.end()) {
      for (const std::string& v : oc->second) values.emplace_back(oc->first, v);
    }
    for (const auto& a : e.attrs) {
      if (strcasecmp(a.first.c_str(), "objectClass") == 0) continue;
      for (const std::string& v : a.second) values.emplace_back(a.first, v);
    }
    out += FormatLdifRecord(e.dn, values);
  }
  return out;
}

}  // namespace memdir
}  // namespace kesh
