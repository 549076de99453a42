#include "directory/library/sam_parser.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <map>

#include "directory/library/exceptions.h"
#include "directory/library/strings.h"

namespace sam {

namespace {

const char kHex[] = "0123456789ABCDEF";

// Whether `text` is well-formed UTF-8 (no overlong forms, no surrogates, at most U+10FFFF).
bool IsUtf8(const std::string& text) {
  size_t i = 0;
  while (i < text.size()) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    size_t extra;
    unsigned min;
    unsigned code;
    if (c < 0x80) {
      ++i;
      continue;
    } else if ((c & 0xe0) == 0xc0) {
      extra = 1, min = 0x80, code = c & 0x1f;
    } else if ((c & 0xf0) == 0xe0) {
      extra = 2, min = 0x800, code = c & 0x0f;
    } else if ((c & 0xf8) == 0xf0) {
      extra = 3, min = 0x10000, code = c & 0x07;
    } else {
      return false;
    }
    if (i + extra >= text.size()) return false;
    for (size_t k = 1; k <= extra; ++k) {
      unsigned char d = static_cast<unsigned char>(text[i + k]);
      if ((d & 0xc0) != 0x80) return false;
      code = code << 6 | (d & 0x3f);
    }
    if (code < min || code > 0x10ffff || (code >= 0xd800 && code <= 0xdfff)) return false;
    i += extra + 1;
  }
  return true;
}

std::string Escape(const std::string& value) {
  bool keepHigh = IsUtf8(value);
  std::string out;
  out.reserve(value.size());
  for (char c : value) {
    unsigned char u = static_cast<unsigned char>(c);
    if (c == '\\' || c == '=' || c == ';') {
      out += '\\';
      out += c;
    } else if (u < 0x20 || u == 0x7f || (u >= 0x80 && !keepHigh)) {
      out += "\\x";
      out += kHex[u >> 4];
      out += kHex[u & 0xf];
    } else {
      out += c;
    }
  }
  return out;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

class Writer {
 public:
  Writer& text(const char* key, const std::string& value) {
    if (!out_.empty()) out_ += ';';
    out_ += key;
    out_ += '=';
    out_ += Escape(value);
    return *this;
  }
  Writer& number(const char* key, long long value) { return text(key, std::to_string(value)); }
  Writer& flag(const char* key, bool value) { return text(key, value ? "1" : "0"); }
  Writer& hex(const char* key, const std::string& bytes) {
    return text(key, kesh::Uint8ArrayToHex(bytes, bytes.size(), false));
  }
  const std::string& str() const { return out_; }

 private:
  std::string out_;
};

// The pairs of a blob, values unescaped, with typed readers that give defaults for
// absent keys.
class Fields {
 public:
  Fields(const std::string& data, const char* kind) : kind_(kind) { parse(data); }

  std::string text(const char* key) const {
    auto it = fields_.find(key);
    return it == fields_.end() ? std::string() : it->second;
  }
  long long number(const char* key, long long min, long long max) const {
    auto it = fields_.find(key);
    if (it == fields_.end()) return 0;
    const std::string& v = it->second;
    char* end = nullptr;
    errno = 0;
    bool digitFirst = !v.empty() && (v[0] == '-' || (v[0] >= '0' && v[0] <= '9'));
    long long n = digitFirst ? std::strtoll(v.c_str(), &end, 10) : 0;
    if (!digitFirst || end == v.c_str() || *end != '\0' || errno == ERANGE || n < min || n > max ||
        v.size() != std::char_traits<char>::length(v.c_str())) {
      fail("bad number for %s", key);
    }
    return n;
  }
  bool flag(const char* key, bool absent) const {
    auto it = fields_.find(key);
    if (it == fields_.end()) return absent;
    if (it->second == "1") return true;
    if (it->second == "0") return false;
    fail("bad flag for %s", key);
  }
  std::string hex(const char* key) const {
    std::string v = text(key);
    std::string bytes(v.size() / 2, '\0');
    if (!kesh::HexToUint8Array(v, reinterpret_cast<uint8_t*>(&bytes[0]), bytes.size(), false)) {
      fail("bad hex digits for %s", key);
    }
    return bytes;
  }

 private:
  [[noreturn]] void fail(const char* format, const char* detail) const {
    std::string reason = kesh::FormatMessage(format, detail);
    KESH_THROW(kesh::BadDataException, 0, "Malformed %s data: %s", kind_, reason.c_str());
  }

  void parse(const std::string& data) {
    if (data.empty()) return;
    std::string key, value;
    bool inKey = true;
    for (size_t i = 0; i <= data.size(); ++i) {
      if (i == data.size() || data[i] == ';') {
        if (inKey) fail("field without '=' near \"%s\"", kesh::printable(key).c_str());
        if (key.empty()) fail("empty key%s", "");
        if (!fields_.emplace(key, value).second) fail("key %s repeated", key.c_str());
        key.clear();
        value.clear();
        inKey = true;
        continue;
      }
      char c = data[i];
      if (inKey) {
        if (c == '=') {
          inKey = false;
        } else if (c == '\\') {
          fail("escape in key \"%s\"", kesh::printable(key).c_str());
        } else {
          key += c;
        }
        continue;
      }
      if (c == '=') fail("unescaped '=' in the value of %s", key.c_str());
      if (c != '\\') {
        value += c;
        continue;
      }
      if (i + 1 >= data.size()) fail("lone '\\' at the end of %s", key.c_str());
      char next = data[++i];
      if (next == '\\' || next == '=' || next == ';') {
        value += next;
      } else if (next == 'x' && i + 2 < data.size() && HexValue(data[i + 1]) >= 0 &&
                 HexValue(data[i + 2]) >= 0) {
        value += char(HexValue(data[i + 1]) << 4 | HexValue(data[i + 2]));
        i += 2;
      } else {
        fail("bad escape in the value of %s", key.c_str());
      }
    }
  }

  const char* const kind_;
  std::map<std::string, std::string> fields_;
};

constexpr long long kLongMin = LONG_MIN;
constexpr long long kLongMax = LONG_MAX;

}  // namespace

std::string SamParser::WriteV1RoleData(const std::string& timebox) {
  return Writer().hex("timebox", timebox).str();
}

void SamParser::ParseV1RoleData(const std::string& data, std::string& timebox,
                                unsigned& sysrights) {
  Fields f(data, "role");
  std::string t = f.hex("timebox");
  unsigned s = unsigned(f.number("sysrights", 0, UINT_MAX));
  timebox = t;
  sysrights = s;
}

std::string SamParser::WriteV2RoleData(const std::string& timebox, unsigned sysrights,
                                       bool allowLocalUser, bool visible) {
  return Writer()
      .hex("timebox", timebox)
      .number("sysrights", sysrights)
      .flag("allowlocaluser", allowLocalUser)
      .flag("visible", visible)
      .str();
}

void SamParser::ParseV2RoleData(const std::string& data, std::string& timebox, unsigned& sysrights,
                                bool& allowLocalUser, bool& visible) {
  Fields f(data, "role");
  std::string t = f.hex("timebox");
  unsigned s = unsigned(f.number("sysrights", 0, UINT_MAX));
  bool a = f.flag("allowlocaluser", false);
  bool v = f.flag("visible", true);
  timebox = t;
  sysrights = s;
  allowLocalUser = a;
  visible = v;
}

std::string SamParser::WriteV1AssignmentData(long from, long to) {
  return Writer().number("from", from).number("to", to).str();
}

void SamParser::ParseV1AssignmentData(const std::string& data, long& from, long& to) {
  Fields f(data, "assignment");
  long a = long(f.number("from", kLongMin, kLongMax));
  long b = long(f.number("to", kLongMin, kLongMax));
  from = a;
  to = b;
}

std::string SamParser::WriteV2AssignmentData(long from, long to, const std::string& ptype) {
  return Writer().number("from", from).number("to", to).text("ptype", ptype).str();
}

void SamParser::ParseV2AssignmentData(const std::string& data, long& from, long& to,
                                      std::string& ptype) {
  Fields f(data, "assignment");
  long a = long(f.number("from", kLongMin, kLongMax));
  long b = long(f.number("to", kLongMin, kLongMax));
  std::string p = f.text("ptype");
  from = a;
  to = b;
  ptype = p;
}

std::string SamParser::WriteV1CommandData(const std::string& cmd, int form,
                                          const std::string& runas, int pri, int umask,
                                          const std::string& keepEnv, const std::string& delEnv,
                                          const std::string& path, const std::string& add,
                                          int flags) {
  return Writer()
      .text("cmd", cmd)
      .number("form", form)
      .text("runas", runas)
      .number("pri", pri)
      .number("umask", umask)
      .text("keepenv", keepEnv)
      .text("delenv", delEnv)
      .text("path", path)
      .text("add", add)
      .number("flags", flags)
      .str();
}

void SamParser::ParseV1CommandData(const std::string& data, std::string& cmd, int& form,
                                   std::string& runas, int& pri, int& umask, std::string& keepEnv,
                                   std::string& delEnv, std::string& path, std::string& add,
                                   int& flags) {
  std::string shellRunas;
  ParseV2CommandData(data, cmd, form, runas, shellRunas, pri, umask, keepEnv, delEnv, path, add,
                     flags);
}

std::string SamParser::WriteV2CommandData(const std::string& cmd, int form,
                                          const std::string& runas, const std::string& shellRunas,
                                          int pri, int umask, const std::string& keepEnv,
                                          const std::string& delEnv, const std::string& path,
                                          const std::string& add, int flags) {
  return Writer()
      .text("cmd", cmd)
      .number("form", form)
      .text("runas", runas)
      .text("shellrunas", shellRunas)
      .number("pri", pri)
      .number("umask", umask)
      .text("keepenv", keepEnv)
      .text("delenv", delEnv)
      .text("path", path)
      .text("add", add)
      .number("flags", flags)
      .str();
}

void SamParser::ParseV2CommandData(const std::string& data, std::string& cmd, int& form,
                                   std::string& runas, std::string& shellRunas, int& pri,
                                   int& umask, std::string& keepEnv, std::string& delEnv,
                                   std::string& path, std::string& add, int& flags) {
  Fields f(data, "command");
  std::string c = f.text("cmd");
  int fo = int(f.number("form", INT_MIN, INT_MAX));
  std::string r = f.text("runas");
  std::string sr = f.text("shellrunas");
  int p = int(f.number("pri", INT_MIN, INT_MAX));
  int u = int(f.number("umask", INT_MIN, INT_MAX));
  std::string ke = f.text("keepenv");
  std::string de = f.text("delenv");
  std::string pa = f.text("path");
  std::string ad = f.text("add");
  int fl = int(f.number("flags", INT_MIN, INT_MAX));
  cmd = c;
  form = fo;
  runas = r;
  shellRunas = sr;
  pri = p;
  umask = u;
  keepEnv = ke;
  delEnv = de;
  path = pa;
  add = ad;
  flags = fl;
}

std::string SamParser::WriteV1PamData(const std::string& application) {
  return Writer().text("app", application).str();
}

void SamParser::ParseV1PamData(const std::string& data, std::string& application) {
  application = Fields(data, "PAM").text("app");
}

std::string SamParser::WriteV2PamData(const std::string& application) {
  return WriteV1PamData(application);
}

void SamParser::ParseV2PamData(const std::string& data, std::string& application) {
  ParseV1PamData(data, application);
}

std::string SamParser::WriteV1ApplicationData(bool enabled) {
  return Writer().flag("enabled", enabled).str();
}

void SamParser::ParseV1ApplicationData(const std::string& data, bool& enabled) {
  enabled = Fields(data, "application").flag("enabled", false);
}

std::string SamParser::WriteV2ScopeData(const std::string& group) {
  return Writer().text("group", group).str();
}

void SamParser::ParseV2ScopeData(const std::string& data, std::string& group) {
  group = Fields(data, "scope").text("group");
}

std::string SamParser::WriteV2StoreData(const Int64& assignmentTime, const Int64& roleTime,
                                        const Int64& rightTime) {
  return Writer()
      .number("assignment", assignmentTime.value())
      .number("role", roleTime.value())
      .number("right", rightTime.value())
      .str();
}

void SamParser::ParseV2StoreData(const std::string& data, Int64& assignmentTime, Int64& roleTime,
                                 Int64& rightTime) {
  Fields f(data, "store");
  Int64 a = f.number("assignment", LLONG_MIN, LLONG_MAX);
  Int64 r = f.number("role", LLONG_MIN, LLONG_MAX);
  Int64 g = f.number("right", LLONG_MIN, LLONG_MAX);
  assignmentTime = a;
  roleTime = r;
  rightTime = g;
}

std::string AuditLevelToString(int level) {
  switch (level) {
    case AUDIT_IF_POSSIBLE:
      return "AuditIfPossible";
    case AUDIT_NOT_REQUESTED:
      return "AuditNotRequested";
    case AUDIT_REQUIRED:
      return "AuditRequired";
    default:
      return "Unknown";
  }
}

int GetAuditLevelFromSysRights(unsigned rights) { return int((rights & AUDIT_LEVEL_MASK) >> 4); }

bool IsAlwaysPermitLogin(unsigned rights) { return (rights & ALWAYS_PERMIT_LOGIN) != 0; }

}  // namespace sam
