// Exceptions of the directory library and of everything built on it.
//
// Every exception carries a message, a class name and an integer result code. what()
// returns the message alone: the script layer turns it, and nothing else, into the Tcl
// error text. Messages are formed with snprintf into 512 bytes, so a longer text is cut
// at 511 bytes.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_EXCEPTIONS_H_
#define ZONESMITH_DIRECTORY_LIBRARY_EXCEPTIONS_H_

#include <cstdarg>
#include <exception>
#include <string>

// The root of all exceptions of the system.
class KESHException : public std::exception {
 public:
  KESHException() = default;
  KESHException(const char* file, int line, const std::string& message, const char* className,
                int rc);
  ~KESHException() override = default;

  const char* what() const noexcept override { return message_.c_str(); }
  int rc() const { return rc_; }
  const std::string& className() const { return className_; }
  const std::string& file() const { return file_; }
  int line() const { return line_; }
  // A small integer naming the concrete class; distinct per class.
  virtual int classID() const { return 0; }

 private:
  std::string file_;
  int line_ = 0;
  std::string message_;
  std::string className_;
  int rc_ = 0;
};

// Exceptions raised by the directory library itself.
class ORLException : public KESHException {
 public:
  using KESHException::KESHException;
  int classID() const override { return 1; }
};

class BaseException : public ORLException {
 public:
  using ORLException::ORLException;
  int classID() const override { return 2; }
};

// A failed LDAP operation; rc() is the LDAP result code, what() names the operation and
// the DN, then gives the result's text and the server's diagnostic (see adbinding.h).
class LDAPException : public ORLException {
 public:
  using ORLException::ORLException;
  int classID() const override { return 3; }
};

// A failed Kerberos operation; rc() is the Kerberos error code.
class KerberosException : public ORLException {
 public:
  using ORLException::ORLException;
  int classID() const override { return 4; }
};

namespace kesh {

class Base_Exception : public KESHException {
 public:
  using KESHException::KESHException;
  int classID() const override { return 10; }
};

class SystemException : public Base_Exception {
 public:
  using Base_Exception::Base_Exception;
  int classID() const override { return 11; }
};

// Bad input, or nothing selected where something must be.
class BadDataException : public Base_Exception {
 public:
  using Base_Exception::Base_Exception;
  int classID() const override { return 12; }
};

// An object, a binding or a name that does not exist.
class NotFoundException : public Base_Exception {
 public:
  using Base_Exception::Base_Exception;
  int classID() const override { return 13; }
};

// The class-name text that each exception class carries.
template <class E>
const char* ExceptionClassName();
template <>
inline const char* ExceptionClassName<BadDataException>() {
  return "kesh::BadDataException";
}
template <>
inline const char* ExceptionClassName<NotFoundException>() {
  return "kesh::NotFoundException";
}
template <>
inline const char* ExceptionClassName<SystemException>() {
  return "kesh::SystemException";
}
template <>
inline const char* ExceptionClassName<BaseException>() {
  return "BaseException";
}
template <>
inline const char* ExceptionClassName<KerberosException>() {
  return "KerberosException";
}
template <>
inline const char* ExceptionClassName<LDAPException>() {
  return "LDAPException";
}

// Formats `format` with its arguments into at most 511 bytes.
std::string FormatMessage(const char* format, ...);
std::string FormatMessageV(const char* format, va_list args);

// Formats the message and throws an E carrying file, line, class name and result code.
template <class E>
[[noreturn]] void Raise(const char* file, int line, int rc, const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string message = FormatMessageV(format, args);
  va_end(args);
  throw E(file, line, message, ExceptionClassName<E>(), rc);
}

}  // namespace kesh

// Throws exception class E with result code RC and a printf-style message; the macro only
// adds the source position.
#define KESH_THROW(E, RC, ...) ::kesh::Raise<E>(__FILE__, __LINE__, (RC), __VA_ARGS__)

#endif  // ZONESMITH_DIRECTORY_LIBRARY_EXCEPTIONS_H_
