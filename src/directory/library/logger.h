// kesh::Logger: named loggers that write to syslog with the ident "zonesmith" and the
// logger's name as prefix. Levels 1..4 are debug, info, warning, error. Nothing is ever
// written to standard output or standard error.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_LOGGER_H_
#define ZONESMITH_DIRECTORY_LIBRARY_LOGGER_H_

#include <memory>
#include <string>

namespace kesh {

class Logger {
 public:
  enum Level { DEBUG = 1, INFO = 2, WARNING = 3, ERROR = 4 };

  // The logger of this name for the calling thread; made on first use.
  static std::shared_ptr<Logger> GetThreadPrivateLogger(const std::string& name);

  explicit Logger(const std::string& name) : name_(name) {}
  virtual ~Logger() = default;
  const std::string& name() const { return name_; }

  // printf-style; the message is cut at 511 bytes and written as "<name>: <message>" at
  // the syslog priority of `level` (below 1 counts as debug, above 4 as error).
  void log(int level, const char* file, int line, const char* function, const char* format, ...)
      __attribute__((format(printf, 6, 7)));

 protected:
  // Hands one formatted line to syslog (opened once with the ident "zonesmith").
  virtual void write(int priority, const std::string& line);

 private:
  const std::string name_;
};

}  // namespace kesh

#endif  // ZONESMITH_DIRECTORY_LIBRARY_LOGGER_H_
