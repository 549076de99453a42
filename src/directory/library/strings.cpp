#include "directory/library/strings.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <ctime>

namespace kesh {

namespace {

bool IsWhite(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

char LowerChar(char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; }

char UpperChar(char c) { return (c >= 'a' && c <= 'z') ? char(c - 'a' + 'A') : c; }

bool SameBytes(const char* a, const char* b, size_t n, bool ignoreCase) {
  for (size_t i = 0; i < n; ++i) {
    if (ignoreCase ? LowerChar(a[i]) != LowerChar(b[i]) : a[i] != b[i]) return false;
  }
  return true;
}

template <class List>
void SplitAnyOf(const std::string& text, const std::string& separators, List& list,
                bool keepEmpty) {
  list.clear();
  if (text.empty()) return;
  size_t start = 0;
  while (true) {
    size_t end = text.find_first_of(separators, start);
    std::string piece = text.substr(start, end == std::string::npos ? end : end - start);
    if (keepEmpty || !piece.empty()) list.push_back(piece);
    if (end == std::string::npos) break;
    start = end + 1;
  }
}

std::string ToBase(unsigned long long value, int base) {
  if (base < 2 || base > 36) return std::string();
  static const char kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
  std::string reversed;
  do {
    reversed += kDigits[value % base];
    value /= base;
  } while (value != 0);
  return std::string(reversed.rbegin(), reversed.rend());
}

}  // namespace

int HexDigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

char HexDigit(unsigned nibble, bool upperCase) {
  return (upperCase ? "0123456789ABCDEF" : "0123456789abcdef")[nibble & 0xf];
}

std::string lower(const std::string& text) {
  std::string out = text;
  for (char& c : out) c = LowerChar(c);
  return out;
}

std::string upper(const std::string& text) {
  std::string out = text;
  for (char& c : out) c = UpperChar(c);
  return out;
}

std::string trimWhiteSpace(const std::string& text) {
  size_t start = 0;
  size_t end = text.size();
  while (start < end && IsWhite(text[start])) ++start;
  while (end > start && IsWhite(text[end - 1])) --end;
  return text.substr(start, end - start);
}

void split(const std::string& text, const std::string& separators, std::vector<std::string>& list) {
  SplitAnyOf(text, separators, list, true);
}

void split(const std::string& text, const std::string& separators, std::list<std::string>& list) {
  SplitAnyOf(text, separators, list, true);
}

void StringSplit(char separator, const std::string& text, std::vector<std::string>& list) {
  SplitAnyOf(text, std::string(1, separator), list, true);
}

void CrackString(const std::string& text, const std::string& separators,
                 std::vector<std::string>& list) {
  SplitAnyOf(text, separators, list, false);
}

std::string StripSuffix(const std::string& text, const std::string& suffix) {
  return endsWith(text, suffix) ? text.substr(0, text.size() - suffix.size()) : text;
}

bool startsWith(const std::string& text, const std::string& prefix, bool ignoreCase, bool trim) {
  size_t start = 0;
  if (trim) {
    while (start < text.size() && IsWhite(text[start])) ++start;
  }
  if (text.size() - start < prefix.size()) return false;
  return SameBytes(text.data() + start, prefix.data(), prefix.size(), ignoreCase);
}

bool endsWith(const std::string& text, const std::string& suffix, bool ignoreCase, bool trim) {
  size_t end = text.size();
  if (trim) {
    while (end > 0 && IsWhite(text[end - 1])) --end;
  }
  if (end < suffix.size()) return false;
  return SameBytes(text.data() + end - suffix.size(), suffix.data(), suffix.size(), ignoreCase);
}

std::string printable(const std::string& text) {
  static const char kHex[] = "0123456789abcdef";
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    unsigned char u = static_cast<unsigned char>(c);
    if (c == '\\') {
      out += "\\\\";
    } else if (u >= 0x20 && u <= 0x7e) {
      out += c;
    } else {
      out += "\\x";
      out += kHex[u >> 4];
      out += kHex[u & 0xf];
    }
  }
  return out;
}

std::string VS(const char* format, ...) {
  va_list args;
  va_start(args, format);
  va_list copy;
  va_copy(copy, args);
  char small[256];
  int n = vsnprintf(small, sizeof(small), format, args);
  va_end(args);
  std::string out;
  if (n < 0) {
    va_end(copy);
    return out;
  }
  if (size_t(n) < sizeof(small)) {
    out.assign(small, size_t(n));
  } else {
    out.resize(size_t(n) + 1);
    vsnprintf(&out[0], out.size(), format, copy);
    out.resize(size_t(n));
  }
  va_end(copy);
  return out;
}

std::string itoa(long long value, int base) {
  if (base < 2 || base > 36) return std::string();
  if (value >= 0) return ToBase((unsigned long long)value, base);
  return "-" + ToBase(0ULL - (unsigned long long)value, base);
}

std::string uitoa(unsigned long long value, int base) { return ToBase(value, base); }

unsigned atoui(const std::string& text) {
  size_t pos = 0;
  while (pos < text.size() && IsWhite(text[pos])) ++pos;
  unsigned long long value = 0;
  for (; pos < text.size() && IsDigitChar(text[pos]); ++pos) {
    value = value * 10 + unsigned(text[pos] - '0');
    if (value > UINT_MAX) return UINT_MAX;
  }
  return unsigned(value);
}

bool IsDigitChar(char c) { return c >= '0' && c <= '9'; }

std::string strtime(const long* t) {
  if (t == nullptr) return std::string();
  time_t when = time_t(*t);
  struct tm parts;
  if (localtime_r(&when, &parts) == nullptr) return std::string();
  char buffer[64];
  size_t n = strftime(buffer, sizeof(buffer), "%Y-%m-%d %H:%M:%S", &parts);
  return std::string(buffer, n);
}

std::string Uint8ArrayToHex(const uint8_t* bytes, size_t length, bool upperCase) {
  const char* digits = upperCase ? "0123456789ABCDEF" : "0123456789abcdef";
  std::string out;
  out.reserve(2 * length);
  for (size_t i = 0; i < length; ++i) {
    out += digits[bytes[i] >> 4];
    out += digits[bytes[i] & 0xf];
  }
  return out;
}

std::string Uint8ArrayToHex(const std::string& bytes, size_t length, bool upperCase) {
  std::string padded = bytes.substr(0, length);
  padded.resize(length, '\0');
  return Uint8ArrayToHex(reinterpret_cast<const uint8_t*>(padded.data()), length, upperCase);
}

bool HexToUint8Array(const std::string& text, uint8_t* bytes, size_t length, bool allowShort) {
  if (text.size() % 2 != 0 || text.size() > 2 * length) return false;
  if (!allowShort && text.size() != 2 * length) return false;
  std::vector<uint8_t> out(length, 0);
  for (size_t i = 0; i < text.size() / 2; ++i) {
    int hi = HexDigitValue(text[2 * i]);
    int lo = HexDigitValue(text[2 * i + 1]);
    if (hi < 0 || lo < 0) return false;
    out[i] = uint8_t(hi << 4 | lo);
  }
  for (size_t i = 0; i < length; ++i) bytes[i] = out[i];
  return true;
}

}  // namespace kesh
