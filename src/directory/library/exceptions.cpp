#include "directory/library/exceptions.h"

#include <cstdio>

KESHException::KESHException(const char* file, int line, const std::string& message,
                             const char* className, int rc)
    : file_(file ? file : ""),
      line_(line),
      message_(message),
      className_(className ? className : ""),
      rc_(rc) {}

namespace kesh {

std::string FormatMessageV(const char* format, va_list args) {
  char buffer[512];
  int n = vsnprintf(buffer, sizeof(buffer), format, args);
  if (n < 0) return std::string();
  return std::string(buffer);
}

std::string FormatMessage(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string message = FormatMessageV(format, args);
  va_end(args);
  return message;
}

}  // namespace kesh
