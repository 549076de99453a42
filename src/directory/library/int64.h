// Int64: a signed 64-bit number as the directory writes it, in decimal text. Windows file
// times (100-nanosecond intervals since 1601-01-01 UTC) travel in this form; fromUnixTime
// and toUnixTime convert.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_INT64_H_
#define ZONESMITH_DIRECTORY_LIBRARY_INT64_H_

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

#include "directory/library/exceptions.h"

class Int64 {
 public:
  // 100-ns intervals between 1601-01-01 and 1970-01-01.
  static constexpr int64_t kUnixEpochAsFileTime = 116444736000000000LL;

  constexpr Int64(int64_t value = 0) : value_(value) {}  // NOLINT: implicit on purpose

  // Reads a whole decimal number with an optional sign. Throws kesh::BadDataException
  // "Invalid 64-bit number: %s" on anything else, also on a value out of range.
  static Int64 parse(const std::string& text) {
    const char* begin = text.c_str();
    bool looksNumeric = !text.empty() && text.size() == std::char_traits<char>::length(begin) &&
                        (text[0] == '-' || text[0] == '+' || (text[0] >= '0' && text[0] <= '9'));
    char* end = nullptr;
    errno = 0;
    long long value = looksNumeric ? std::strtoll(begin, &end, 10) : 0;
    if (!looksNumeric || end == begin || *end != '\0' || errno == ERANGE) {
      KESH_THROW(kesh::BadDataException, 0, "Invalid 64-bit number: %s", text.c_str());
    }
    return Int64(value);
  }
  std::string toString() const { return std::to_string(value_); }

  // The file time of a Unix time; 0 stays 0 ("never").
  static Int64 fromUnixTime(time_t t) { return t == 0 ? Int64(0) : fileTimeOf(t); }
  // The file time of a Unix time, 0 included (the file time of the Unix epoch).
  static Int64 fileTimeOf(time_t t) { return Int64(int64_t(t) * 10000000 + kUnixEpochAsFileTime); }
  // The Unix time of a file time, rounded down to the second; 0 stays 0.
  time_t toUnixTime() const {
    if (value_ == 0) return 0;
    int64_t d = value_ - kUnixEpochAsFileTime;
    int64_t s = d / 10000000;
    if (d % 10000000 < 0) --s;
    return time_t(s);
  }

  constexpr int64_t value() const { return value_; }
  constexpr operator int64_t() const { return value_; }

 private:
  int64_t value_;
};

#endif  // ZONESMITH_DIRECTORY_LIBRARY_INT64_H_
