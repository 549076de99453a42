// The script binding layer: plain C++ functions as Tcl commands.
//
// A function is defined under a command name with Tcl::interpreter::def. All commands of
// all interpreters go through one Tcl entry. Each definition is a record (function,
// policies, usage line) handed to Tcl as the command's client data, so the command works
// under any name Tcl gives it: qualified, renamed, reached through an alias. The record
// lives as long as the Tcl command: deleting the command, or its interpreter, frees it.
// The entry converts the words to the function's argument types, makes the calling
// interpreter the current one of the thread, calls the function and sets its return value
// as the Tcl result. An exception thrown by the function becomes a Tcl error: the empty
// Tcl::tcl_syntax_error becomes "wrong # args: should be <usage>", any other std::exception
// its what() text.
//
// Argument shapes:
//   - fixed: each parameter takes one word; too few words is a syntax error, surplus words
//     are ignored;
//   - variadic (policy Tcl::variadic()): a last parameter of type `const Tcl::object&`
//     receives a list object of all remaining words, possibly empty.
//
// A command with the policy Tcl::secret() takes a password among its words: when it fails,
// its error information names the command but none of its words.
//
// The process-wide tables (the live records and the usage lines per interpreter, the class
// side) are written when commands are defined or deleted; they have no lock. The current
// interpreter is kept per thread.
#ifndef ZONESMITH_SCRIPT_CPPTCL_H_
#define ZONESMITH_SCRIPT_CPPTCL_H_

#include <tcl.h>

#include <cstddef>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace Tcl {

// An error reported by Tcl, or by this layer. The message becomes the Tcl error text.
class tcl_error : public std::runtime_error {
 public:
  explicit tcl_error(const std::string& message);
  // Takes its message from the interpreter's current result.
  explicit tcl_error(Tcl_Interp* interp);
};

// A command called with the wrong words. With an empty message the caller sees
// "wrong # args: should be " and the command's usage line.
class tcl_syntax_error : public std::runtime_error {
 public:
  tcl_syntax_error();
  explicit tcl_syntax_error(const std::string& message);
};

// How a command treats its words. `variadic` changes what the function sees, `secret` what
// a failure leaves in the error information; factory and sinks belong to the class side.
class policies {
 public:
  policies() = default;

  policies& factory(const std::string& name);
  policies& sink(int index);
  policies& variadic();
  policies& secret();

  const std::string& factoryName() const { return factory_; }
  const std::vector<int>& sinks() const { return sinks_; }
  bool isVariadic() const { return variadic_; }
  bool isSecret() const { return secret_; }

 private:
  std::string factory_;
  std::vector<int> sinks_;
  bool variadic_ = false;
  bool secret_ = false;
};

policies factory(const std::string& name);
policies sink(int index);
policies variadic();
// The words of the command may hold a password: a failure sets the error information
// itself, as "<message>\n    while executing\n\"<command word> ...\"", so that Tcl does not
// append the command's text, and the error stack of the options names no word either. The
// error message (the result) is unchanged.
policies secret();

class interpreter;

// A reference-counted Tcl value. Copies share the Tcl_Obj until one of them is changed by a
// list operation, which first takes a private copy of a shared value.
class object {
 public:
  // The empty string.
  object();
  explicit object(bool value);
  explicit object(int value);
  explicit object(long value);
  explicit object(double value);
  explicit object(const std::string& value);
  explicit object(const char* value);
  // The bytes of [begin, end).
  object(const char* begin, const char* end);
  // Wraps `o`. With `shared` false a private duplicate of `o` is made.
  explicit object(Tcl_Obj* o, bool shared = false);
  object(const object& other);
  object& operator=(const object& other);
  ~object();

  object& assign(bool value);
  object& assign(int value);
  object& assign(long value);
  object& assign(double value);
  object& assign(const std::string& value);
  object& assign(const char* begin, const char* end);
  object& assign(Tcl_Obj* o, bool shared = false);

  // The value converted to T (std::string, int, long, double or bool). Throws tcl_error
  // with Tcl's message when the value does not convert.
  template <typename T>
  T get(interpreter& interp) const;
  // The string form; never fails.
  std::string get_string() const;
  const char* c_str() const;

  // List operations; each throws tcl_error when the value is not a list.
  size_t length(interpreter& interp) const;
  object at(interpreter& interp, size_t index) const;
  object& append(interpreter& interp, const object& element);
  // Appends every element of the list `other`.
  object& append_list(interpreter& interp, const object& other);
  // Replaces `count` elements from `index` by `element`.
  object& replace(interpreter& interp, size_t index, size_t count, const object& element);
  // Replaces `count` elements from `index` by the elements of the list `other`.
  object& replace_list(interpreter& interp, size_t index, size_t count, const object& other);

  Tcl_Obj* get_object() const { return obj_; }
  // The interpreter this value was made for, if any.
  void set_interp(Tcl_Interp* interp) { interp_ = interp; }
  Tcl_Interp* get_interp() const { return interp_; }

 private:
  void set(Tcl_Obj* o);
  void unshare();

  Tcl_Obj* obj_ = nullptr;
  Tcl_Interp* interp_ = nullptr;
};

template <>
std::string object::get<std::string>(interpreter& interp) const;
template <>
int object::get<int>(interpreter& interp) const;
template <>
long object::get<long>(interpreter& interp) const;
template <>
double object::get<double>(interpreter& interp) const;
template <>
bool object::get<bool>(interpreter& interp) const;

namespace details {

// One defined function: converts the words, calls, sets the result.
class callback_base {
 public:
  virtual ~callback_base() = default;
  virtual void invoke(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], const policies& pol) = 0;
};

// The methods of one class of the class side.
class class_handler_base {
 public:
  virtual ~class_handler_base() = default;
  void register_method(const std::string& name, std::shared_ptr<callback_base> method,
                       const policies& pol);
  // Throws tcl_error "Trying to use non-existent policy: <name>" for an unknown method.
  const policies& get_policies(const std::string& name) const;

 protected:
  std::map<std::string, std::shared_ptr<callback_base>> methods_;
  std::map<std::string, policies> policies_;
};

// The Tcl entry of every command defined through this layer. `clientData` is the record of
// the definition; the command word objv[0] plays no part in finding it. A null record
// answers "Trying to invoke non-existent callback (wrong cmd name?)", a record of another
// interpreter "Trying to invoke non-existent callback (wrong interpreter?)".
int callback_handler(ClientData clientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]);

// Throws the empty tcl_syntax_error when fewer than `required` words (the command word
// included) were given. More words are not an error.
void check_params_no(int objc, int required);

// The object a trailing `const object&` parameter receives: with a variadic policy a list of
// the words from `from` on (possibly empty); otherwise the single word at `from`, which must
// exist.
object get_var_params(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], int from,
                      const policies& pol);

// Conversions of one word to a parameter type.
template <typename T>
struct tcl_cast;

template <>
struct tcl_cast<int> {
  static int from(Tcl_Interp* interp, Tcl_Obj* o);
};
template <>
struct tcl_cast<long> {
  static long from(Tcl_Interp* interp, Tcl_Obj* o);
};
template <>
struct tcl_cast<bool> {
  static bool from(Tcl_Interp* interp, Tcl_Obj* o);
};
template <>
struct tcl_cast<double> {
  static double from(Tcl_Interp* interp, Tcl_Obj* o);
};
template <>
struct tcl_cast<std::string> {
  static std::string from(Tcl_Interp* interp, Tcl_Obj* o);
};
template <>
struct tcl_cast<object> {
  static object from(Tcl_Interp* interp, Tcl_Obj* o);
};

void set_result(Tcl_Interp* interp, bool value);
void set_result(Tcl_Interp* interp, int value);
void set_result(Tcl_Interp* interp, long value);
void set_result(Tcl_Interp* interp, double value);
void set_result(Tcl_Interp* interp, const std::string& value);
void set_result(Tcl_Interp* interp, const object& value);
void set_result(Tcl_Interp* interp, void* value);

// Sets the thread's current interpreter (see interpreter::SetCurrentInterp).
void set_current(Tcl_Interp* interp);

template <typename T>
using arg_t = std::remove_cv_t<std::remove_reference_t<T>>;

// Whether the last of the parameter types A is Tcl::object (by value or reference).
template <typename... A>
constexpr bool last_is_object() {
  if constexpr (sizeof...(A) == 0) {
    return false;
  } else {
    return std::is_same_v<arg_t<std::tuple_element_t<sizeof...(A) - 1, std::tuple<A...>>>, object>;
  }
}

// A function R(A...) as a command. A last parameter of type `const object&` is the variadic
// tail; all other parameters take one word each.
template <typename R, typename... A>
class callback : public callback_base {
 public:
  using function = R (*)(A...);
  explicit callback(function f) : f_(f) {}

  void invoke(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], const policies& pol) override {
    constexpr size_t n = sizeof...(A);
    if constexpr (last_is_object<A...>()) {
      // The words before the tail are needed; the tail may be empty if variadic.
      check_params_no(objc, static_cast<int>(n));
      object tail = get_var_params(interp, objc, objv, static_cast<int>(n), pol);
      set_current(interp);
      call(interp, objv, std::make_index_sequence<n - 1>(), &tail);
    } else {
      check_params_no(objc, static_cast<int>(n) + 1);
      set_current(interp);
      call(interp, objv, std::make_index_sequence<n>(), nullptr);
    }
  }

 private:
  template <size_t... I>
  void call(Tcl_Interp* interp, Tcl_Obj* const objv[], std::index_sequence<I...>,
            const object* tail) {
    // Braced initialisation converts the words from left to right.
    std::tuple<arg_t<std::tuple_element_t<I, std::tuple<A...>>>...> args{
        tcl_cast<arg_t<std::tuple_element_t<I, std::tuple<A...>>>>::from(interp, objv[I + 1])...};
    if constexpr (sizeof...(I) == sizeof...(A)) {
      dispatch(interp, std::get<I>(args)...);
    } else {
      dispatch(interp, std::get<I>(args)..., *tail);
    }
  }

  template <typename... P>
  void dispatch(Tcl_Interp* interp, P&&... args) {
    if constexpr (std::is_void_v<R>) {
      f_(std::forward<P>(args)...);
    } else {
      set_result(interp, f_(std::forward<P>(args)...));
    }
  }

  const function f_;
};

}  // namespace details

// A Tcl interpreter. Made by the default constructor, it is owned: its destruction removes
// the definitions made through this layer and deletes the interpreter. Wrapped from a
// Tcl_Interp* with `owner` false, destruction leaves both alone.
class interpreter {
 public:
  interpreter();
  interpreter(Tcl_Interp* interp, bool owner);
  ~interpreter();
  interpreter(const interpreter&) = delete;
  interpreter& operator=(const interpreter&) = delete;

  Tcl_Interp* get() const { return interp_; }

  // Defines `f` as the command `name`; a repeated name replaces the former definition.
  // The command keeps the usage line set for `name` at that time (set_syntax) and answers
  // with it under whatever name it is called.
  template <typename R, typename... A>
  void def(const std::string& name, R (*f)(A...), const policies& pol = policies()) {
    add_function(name, std::make_shared<details::callback<R, A...>>(f), pol);
  }
  void add_function(const std::string& name, std::shared_ptr<details::callback_base> cb,
                    const policies& pol = policies());
  // The usage line that a syntax error of `name` reports: of the command defined under
  // `name` now, and of those defined under it later.
  void set_syntax(const std::string& name, const std::string& usage);

  // Class side: no command of the system uses it.
  void add_class(const std::string& name, std::shared_ptr<details::class_handler_base> handler);
  void add_constructor(const std::string& name, std::shared_ptr<details::callback_base> cb,
                       const policies& pol = policies());

  // Thin forwards to Tcl; each throws tcl_error with the interpreter's message on failure.
  std::string eval(const std::string& script);
  std::string eval_file(const std::string& path);
  void pkg_provide(const std::string& name, const std::string& version);
  void create_alias(const std::string& cmd, interpreter& target, const std::string& targetCmd);
  void make_safe();

  // Deletes the commands defined for `interp` through this layer, under whatever names they
  // now have, which frees their records, and forgets its constructors and class handlers.
  // During the interpreter's own deletion Tcl deletes the commands; only the tables are
  // dropped here.
  static void clear_definitions(Tcl_Interp* interp);

  // The interpreter whose command runs on this thread. It is set on each call of a command
  // and stays set after the command ends; only the package entry clears it.
  static void SetCurrentInterp(Tcl_Interp* interp);
  static Tcl_Interp* GetCurrentInterp();

 private:
  Tcl_Interp* interp_;
  const bool owner_;
};

void SetCurrentInterp(Tcl_Interp* interp);

}  // namespace Tcl

#endif  // ZONESMITH_SCRIPT_CPPTCL_H_
