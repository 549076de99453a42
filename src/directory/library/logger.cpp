#include "directory/library/logger.h"

#include <syslog.h>

#include <cstdarg>
#include <map>
#include <mutex>

#include "directory/library/exceptions.h"

namespace kesh {

namespace {

int Priority(int level) {
  switch (level) {
    case Logger::DEBUG:
      return LOG_DEBUG;
    case Logger::INFO:
      return LOG_INFO;
    case Logger::WARNING:
      return LOG_WARNING;
    default:
      return level < Logger::DEBUG ? LOG_DEBUG : LOG_ERR;
  }
}

}  // namespace

std::shared_ptr<Logger> Logger::GetThreadPrivateLogger(const std::string& name) {
  thread_local std::map<std::string, std::shared_ptr<Logger>> loggers;
  std::shared_ptr<Logger>& logger = loggers[name];
  if (!logger) logger = std::make_shared<Logger>(name);
  return logger;
}

void Logger::log(int level, const char* /*file*/, int /*line*/, const char* /*function*/,
                 const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string message = FormatMessageV(format, args);
  va_end(args);
  write(Priority(level), name_ + ": " + message);
}

void Logger::write(int priority, const std::string& line) {
  static std::once_flag opened;
  std::call_once(opened, [] { openlog("zonesmith", LOG_PID, LOG_USER); });
  syslog(priority, "%s", line.c_str());
}

}  // namespace kesh
