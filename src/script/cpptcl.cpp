#include "script/cpptcl.h"

#include <pthread.h>

#include <optional>
#include <set>

namespace Tcl {

namespace {

using CallbackMap = std::map<std::string, std::shared_ptr<details::callback_base>>;
using SyntaxMap = std::map<std::string, std::string>;
using ClassMap = std::map<std::string, std::shared_ptr<details::class_handler_base>>;

// One definition of a command: the client data of its Tcl command. Tcl owns it through the
// command: the delete procedure hands it to Tcl_EventuallyFree, so a call in progress
// (which preserves it) keeps it until the call returns.
struct CommandRecord {
  CommandRecord(Tcl_Interp* in, std::string word, std::shared_ptr<details::callback_base> cb,
                policies pols, std::optional<std::string> usageLine)
      : interp(in),
        name(std::move(word)),
        callback(std::move(cb)),
        pol(std::move(pols)),
        usage(std::move(usageLine)) {}

  Tcl_Interp* const interp;
  // The word it was defined under; Tcl may call it by other names.
  const std::string name;
  const std::shared_ptr<details::callback_base> callback;
  const policies pol;
  std::optional<std::string> usage;
  Tcl_Command token = nullptr;
};

// The process-wide tables, per interpreter: the live records (so that clear_definitions
// finds every command of this layer under whatever name it now has), the usage lines by
// defined name (set_syntax may come before def), and the class side.
std::map<Tcl_Interp*, std::set<CommandRecord*>> records;
std::map<Tcl_Interp*, SyntaxMap> syntax;
std::map<Tcl_Interp*, CallbackMap> constructors;
std::map<Tcl_Interp*, ClassMap> class_handlers;

void SetResultText(Tcl_Interp* interp, const std::string& text) {
  Tcl_SetObjResult(interp, Tcl_NewStringObj(text.data(), static_cast<int>(text.size())));
}

void FreeRecord(char* data) { delete reinterpret_cast<CommandRecord*>(data); }

// The delete procedure of every command of this layer: called when the command is deleted
// or replaced, and for each command when its interpreter is deleted.
void DeleteRecord(ClientData data) {
  auto* record = static_cast<CommandRecord*>(data);
  Tcl_Interp* interp = record->interp;
  auto live = records.find(interp);
  if (live != records.end()) {
    live->second.erase(record);
    if (live->second.empty()) {
      records.erase(live);
      // The last command of a dying interpreter takes the rest of its tables along.
      if (Tcl_InterpDeleted(interp)) {
        syntax.erase(interp);
        constructors.erase(interp);
        class_handlers.erase(interp);
      }
    }
  }
  Tcl_EventuallyFree(record, FreeRecord);
}

// Defines the command `name` of `interp` with a record of its own.
void CreateCommand(Tcl_Interp* interp, const std::string& name,
                   std::shared_ptr<details::callback_base> cb, const policies& pol) {
  std::optional<std::string> usage;
  auto usages = syntax.find(interp);
  if (usages != syntax.end()) {
    auto line = usages->second.find(name);
    if (line != usages->second.end()) usage = line->second;
  }
  auto record = std::make_unique<CommandRecord>(interp, name, std::move(cb), pol, std::move(usage));
  // A command already defined under this name is deleted first, through its own delete
  // procedure.
  record->token = Tcl_CreateObjCommand(interp, name.c_str(), details::callback_handler,
                                       record.get(), DeleteRecord);
  records[interp].insert(record.release());
}

// Keeps a record alive (Tcl_Preserve) for the length of a call.
class PreservedRecord {
 public:
  explicit PreservedRecord(CommandRecord* record) : record_(record) { Tcl_Preserve(record_); }
  ~PreservedRecord() { Tcl_Release(record_); }
  PreservedRecord(const PreservedRecord&) = delete;
  PreservedRecord& operator=(const PreservedRecord&) = delete;

 private:
  CommandRecord* const record_;
};

// Ends a failed call with `message` as the result. For a command whose words may hold a
// password the error information is set here, naming the command word only, which stops Tcl
// from appending the command's text to it.
int Fail(Tcl_Interp* interp, const CommandRecord& record, Tcl_Obj* word,
         const std::string& message) {
  SetResultText(interp, message);
  if (!record.pol.isSecret()) return TCL_ERROR;
  const std::string masked = std::string(Tcl_GetString(word)) + " ...";
  const std::string info = message + "\n    while executing\n\"" + masked + "\"";
  Tcl_Obj* options = Tcl_NewDictObj();
  Tcl_DictObjPut(nullptr, options, Tcl_NewStringObj("-code", -1), Tcl_NewIntObj(TCL_ERROR));
  Tcl_DictObjPut(nullptr, options, Tcl_NewStringObj("-level", -1), Tcl_NewIntObj(0));
  Tcl_DictObjPut(nullptr, options, Tcl_NewStringObj("-errorinfo", -1),
                 Tcl_NewStringObj(info.data(), static_cast<int>(info.size())));
  // The error stack starts afresh with this call, words masked: since Tcl logs nothing for
  // it, it would otherwise keep the stack of an earlier error, words and all.
  Tcl_Obj* inner[] = {Tcl_NewStringObj("INNER", -1),
                      Tcl_NewStringObj(masked.data(), static_cast<int>(masked.size()))};
  Tcl_DictObjPut(nullptr, options, Tcl_NewStringObj("-errorstack", -1), Tcl_NewListObj(2, inner));
  // Tcl_SetReturnOptions takes and drops its own reference to `options`.
  return Tcl_SetReturnOptions(interp, options);
}

// The per-thread record that holds the current interpreter. It is made on first use and
// freed, with the key cleared, when its thread ends.
struct ThreadData {
  Tcl_Interp* currentInterp = nullptr;
};

pthread_once_t threadKeyOnce = PTHREAD_ONCE_INIT;
pthread_key_t threadKey;

void FreeThreadData(void* data) {
  delete static_cast<ThreadData*>(data);
  pthread_setspecific(threadKey, nullptr);
}

void MakeThreadKey() { pthread_key_create(&threadKey, FreeThreadData); }

ThreadData& GetThreadData() {
  pthread_once(&threadKeyOnce, MakeThreadKey);
  auto* data = static_cast<ThreadData*>(pthread_getspecific(threadKey));
  if (data == nullptr) {
    data = new ThreadData;
    pthread_setspecific(threadKey, data);
  }
  return *data;
}

}  // namespace

// --- errors and policies -------------------------------------------------------------------

tcl_error::tcl_error(const std::string& message) : std::runtime_error(message) {}

tcl_error::tcl_error(Tcl_Interp* interp) : std::runtime_error(Tcl_GetStringResult(interp)) {}

tcl_syntax_error::tcl_syntax_error() : std::runtime_error("") {}

tcl_syntax_error::tcl_syntax_error(const std::string& message) : std::runtime_error(message) {}

policies& policies::factory(const std::string& name) {
  factory_ = name;
  return *this;
}

policies& policies::sink(int index) {
  sinks_.push_back(index);
  return *this;
}

policies& policies::variadic() {
  variadic_ = true;
  return *this;
}

policies& policies::secret() {
  secret_ = true;
  return *this;
}

policies factory(const std::string& name) { return policies().factory(name); }
policies sink(int index) { return policies().sink(index); }
policies variadic() { return policies().variadic(); }
policies secret() { return policies().secret(); }

// --- object --------------------------------------------------------------------------------

object::object() { set(Tcl_NewObj()); }
object::object(bool value) { set(Tcl_NewBooleanObj(value)); }
object::object(int value) { set(Tcl_NewIntObj(value)); }
object::object(long value) { set(Tcl_NewLongObj(value)); }
object::object(double value) { set(Tcl_NewDoubleObj(value)); }
object::object(const std::string& value) {
  set(Tcl_NewStringObj(value.data(), static_cast<int>(value.size())));
}
object::object(const char* value) { set(Tcl_NewStringObj(value, -1)); }
object::object(const char* begin, const char* end) {
  set(Tcl_NewStringObj(begin, static_cast<int>(end - begin)));
}
object::object(Tcl_Obj* o, bool shared) { set(shared ? o : Tcl_DuplicateObj(o)); }
object::object(const object& other) : interp_(other.interp_) { set(other.obj_); }

object& object::operator=(const object& other) {
  if (this != &other) {
    Tcl_Obj* old = obj_;
    obj_ = nullptr;
    set(other.obj_);
    Tcl_DecrRefCount(old);
    interp_ = other.interp_;
  }
  return *this;
}

object::~object() {
  if (obj_ != nullptr) Tcl_DecrRefCount(obj_);
}

void object::set(Tcl_Obj* o) {
  Tcl_IncrRefCount(o);
  if (obj_ != nullptr) Tcl_DecrRefCount(obj_);
  obj_ = o;
}

void object::unshare() {
  if (Tcl_IsShared(obj_)) set(Tcl_DuplicateObj(obj_));
}

object& object::assign(bool value) {
  set(Tcl_NewBooleanObj(value));
  return *this;
}
object& object::assign(int value) {
  set(Tcl_NewIntObj(value));
  return *this;
}
object& object::assign(long value) {
  set(Tcl_NewLongObj(value));
  return *this;
}
object& object::assign(double value) {
  set(Tcl_NewDoubleObj(value));
  return *this;
}
object& object::assign(const std::string& value) {
  set(Tcl_NewStringObj(value.data(), static_cast<int>(value.size())));
  return *this;
}
object& object::assign(const char* begin, const char* end) {
  set(Tcl_NewStringObj(begin, static_cast<int>(end - begin)));
  return *this;
}
object& object::assign(Tcl_Obj* o, bool shared) {
  set(shared ? o : Tcl_DuplicateObj(o));
  return *this;
}

template <>
std::string object::get<std::string>(interpreter& interp) const {
  return details::tcl_cast<std::string>::from(interp.get(), obj_);
}
template <>
int object::get<int>(interpreter& interp) const {
  return details::tcl_cast<int>::from(interp.get(), obj_);
}
template <>
long object::get<long>(interpreter& interp) const {
  return details::tcl_cast<long>::from(interp.get(), obj_);
}
template <>
double object::get<double>(interpreter& interp) const {
  return details::tcl_cast<double>::from(interp.get(), obj_);
}
template <>
bool object::get<bool>(interpreter& interp) const {
  return details::tcl_cast<bool>::from(interp.get(), obj_);
}

std::string object::get_string() const {
  int length = 0;
  const char* bytes = Tcl_GetStringFromObj(obj_, &length);
  return std::string(bytes, static_cast<size_t>(length));
}

const char* object::c_str() const { return Tcl_GetString(obj_); }

size_t object::length(interpreter& interp) const {
  int n = 0;
  if (Tcl_ListObjLength(interp.get(), obj_, &n) != TCL_OK) throw tcl_error(interp.get());
  return static_cast<size_t>(n);
}

object object::at(interpreter& interp, size_t index) const {
  Tcl_Obj* element = nullptr;
  if (Tcl_ListObjIndex(interp.get(), obj_, static_cast<int>(index), &element) != TCL_OK) {
    throw tcl_error(interp.get());
  }
  // An index past the end gives no element: answer the empty value, as lindex does.
  if (element == nullptr) return object();
  return object(element, true);
}

object& object::append(interpreter& interp, const object& element) {
  unshare();
  if (Tcl_ListObjAppendElement(interp.get(), obj_, element.obj_) != TCL_OK) {
    throw tcl_error(interp.get());
  }
  return *this;
}

object& object::append_list(interpreter& interp, const object& other) {
  unshare();
  if (Tcl_ListObjAppendList(interp.get(), obj_, other.obj_) != TCL_OK) {
    throw tcl_error(interp.get());
  }
  return *this;
}

object& object::replace(interpreter& interp, size_t index, size_t count, const object& element) {
  unshare();
  Tcl_Obj* items[] = {element.obj_};
  if (Tcl_ListObjReplace(interp.get(), obj_, static_cast<int>(index), static_cast<int>(count), 1,
                         items) != TCL_OK) {
    throw tcl_error(interp.get());
  }
  return *this;
}

object& object::replace_list(interpreter& interp, size_t index, size_t count, const object& other) {
  int n = 0;
  Tcl_Obj** items = nullptr;
  // Hold the source while its elements are inserted: it may be this very list.
  object source(other.obj_, true);
  if (Tcl_ListObjGetElements(interp.get(), source.obj_, &n, &items) != TCL_OK) {
    throw tcl_error(interp.get());
  }
  std::vector<object> hold;
  hold.reserve(static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) hold.emplace_back(items[i], true);
  std::vector<Tcl_Obj*> elements;
  for (const object& o : hold) elements.push_back(o.obj_);
  unshare();
  if (Tcl_ListObjReplace(interp.get(), obj_, static_cast<int>(index), static_cast<int>(count), n,
                         elements.data()) != TCL_OK) {
    throw tcl_error(interp.get());
  }
  return *this;
}

// --- details -------------------------------------------------------------------------------

namespace details {

void class_handler_base::register_method(const std::string& name,
                                         std::shared_ptr<callback_base> method,
                                         const policies& pol) {
  methods_[name] = std::move(method);
  policies_[name] = pol;
}

const policies& class_handler_base::get_policies(const std::string& name) const {
  auto it = policies_.find(name);
  if (it == policies_.end()) throw tcl_error("Trying to use non-existent policy: " + name);
  return it->second;
}

void check_params_no(int objc, int required) {
  if (objc < required) throw tcl_syntax_error();
}

object get_var_params(Tcl_Interp* interp, int objc, Tcl_Obj* const objv[], int from,
                      const policies& pol) {
  if (!pol.isVariadic()) {
    check_params_no(objc, from + 1);
    return object(objv[from], true);
  }
  check_params_no(objc, from);
  object list(Tcl_NewListObj(objc - from, objv + from), true);
  list.set_interp(interp);
  return list;
}

int tcl_cast<int>::from(Tcl_Interp* interp, Tcl_Obj* o) {
  int value = 0;
  if (Tcl_GetIntFromObj(interp, o, &value) != TCL_OK) throw tcl_error(interp);
  return value;
}

long tcl_cast<long>::from(Tcl_Interp* interp, Tcl_Obj* o) {
  long value = 0;
  if (Tcl_GetLongFromObj(interp, o, &value) != TCL_OK) throw tcl_error(interp);
  return value;
}

bool tcl_cast<bool>::from(Tcl_Interp* interp, Tcl_Obj* o) {
  int value = 0;
  if (Tcl_GetBooleanFromObj(interp, o, &value) != TCL_OK) throw tcl_error(interp);
  return value != 0;
}

double tcl_cast<double>::from(Tcl_Interp* interp, Tcl_Obj* o) {
  double value = 0;
  if (Tcl_GetDoubleFromObj(interp, o, &value) != TCL_OK) throw tcl_error(interp);
  return value;
}

std::string tcl_cast<std::string>::from(Tcl_Interp*, Tcl_Obj* o) {
  int length = 0;
  const char* bytes = Tcl_GetStringFromObj(o, &length);
  return std::string(bytes, static_cast<size_t>(length));
}

object tcl_cast<object>::from(Tcl_Interp* interp, Tcl_Obj* o) {
  object result(o, true);
  result.set_interp(interp);
  return result;
}

void set_result(Tcl_Interp* interp, bool value) {
  Tcl_SetObjResult(interp, Tcl_NewBooleanObj(value));
}
void set_result(Tcl_Interp* interp, int value) { Tcl_SetObjResult(interp, Tcl_NewIntObj(value)); }
void set_result(Tcl_Interp* interp, long value) { Tcl_SetObjResult(interp, Tcl_NewLongObj(value)); }
void set_result(Tcl_Interp* interp, double value) {
  Tcl_SetObjResult(interp, Tcl_NewDoubleObj(value));
}
void set_result(Tcl_Interp* interp, const std::string& value) { SetResultText(interp, value); }
void set_result(Tcl_Interp* interp, const object& value) {
  Tcl_SetObjResult(interp, value.get_object());
}
void set_result(Tcl_Interp* interp, void* value) {
  char text[32];
  snprintf(text, sizeof(text), "%p", value);
  SetResultText(interp, text);
}

void set_current(Tcl_Interp* interp) { interpreter::SetCurrentInterp(interp); }

// Factories and sinks only concern the class side, which no command uses; nothing to do
// for plain functions.
static void post_process_policies(Tcl_Interp*, const policies&, Tcl_Obj* const[], bool) {}

int callback_handler(ClientData clientData, Tcl_Interp* interp, int objc, Tcl_Obj* const objv[]) {
  auto* record = static_cast<CommandRecord*>(clientData);
  if (record == nullptr) {
    SetResultText(interp, "Trying to invoke non-existent callback (wrong cmd name?)");
    return TCL_ERROR;
  }
  if (record->interp != interp) {
    SetResultText(interp, "Trying to invoke non-existent callback (wrong interpreter?)");
    return TCL_ERROR;
  }
  // A command may delete or redefine itself while it runs.
  PreservedRecord hold(record);
  std::string message;
  try {
    record->callback->invoke(interp, objc, objv, record->pol);
    post_process_policies(interp, record->pol, objv, false);
    return TCL_OK;
  } catch (const tcl_syntax_error& e) {
    message = e.what();
    if (message.empty()) {
      message = "wrong # args";
      if (record->usage) message += ": should be " + *record->usage;
    }
  } catch (const std::exception& e) {
    message = e.what();
  } catch (...) {
    message = "Unknown error.";
  }
  return Fail(interp, *record, objv[0], message);
}

}  // namespace details

// --- interpreter ---------------------------------------------------------------------------

interpreter::interpreter() : interp_(Tcl_CreateInterp()), owner_(true) {}

interpreter::interpreter(Tcl_Interp* interp, bool owner) : interp_(interp), owner_(owner) {}

interpreter::~interpreter() {
  if (owner_) {
    clear_definitions(interp_);
    Tcl_DeleteInterp(interp_);
  }
}

void interpreter::add_function(const std::string& name, std::shared_ptr<details::callback_base> cb,
                               const policies& pol) {
  CreateCommand(interp_, name, std::move(cb), pol);
}

void interpreter::set_syntax(const std::string& name, const std::string& usage) {
  syntax[interp_][name] = usage;
  auto live = records.find(interp_);
  if (live == records.end()) return;
  for (CommandRecord* record : live->second) {
    if (record->name == name) record->usage = usage;
  }
}

void interpreter::add_class(const std::string& name,
                            std::shared_ptr<details::class_handler_base> handler) {
  class_handlers[interp_][name] = std::move(handler);
}

void interpreter::add_constructor(const std::string& name,
                                  std::shared_ptr<details::callback_base> cb, const policies& pol) {
  constructors[interp_][name] = cb;
  CreateCommand(interp_, name, std::move(cb), pol);
}

std::string interpreter::eval(const std::string& script) {
  if (Tcl_EvalEx(interp_, script.data(), static_cast<int>(script.size()), 0) != TCL_OK) {
    throw tcl_error(interp_);
  }
  return Tcl_GetStringResult(interp_);
}

std::string interpreter::eval_file(const std::string& path) {
  if (Tcl_EvalFile(interp_, path.c_str()) != TCL_OK) throw tcl_error(interp_);
  return Tcl_GetStringResult(interp_);
}

void interpreter::pkg_provide(const std::string& name, const std::string& version) {
  if (Tcl_PkgProvide(interp_, name.c_str(), version.c_str()) != TCL_OK) throw tcl_error(interp_);
}

void interpreter::create_alias(const std::string& cmd, interpreter& target,
                               const std::string& targetCmd) {
  if (Tcl_CreateAlias(interp_, cmd.c_str(), target.interp_, targetCmd.c_str(), 0, nullptr) !=
      TCL_OK) {
    throw tcl_error(interp_);
  }
}

void interpreter::make_safe() {
  if (Tcl_MakeSafe(interp_) != TCL_OK) throw tcl_error(interp_);
}

void interpreter::clear_definitions(Tcl_Interp* interp) {
  auto live = records.find(interp);
  // While the interpreter is deleted, Tcl deletes its commands and so frees their records.
  if (live != records.end() && !Tcl_InterpDeleted(interp)) {
    std::vector<Tcl_Command> tokens;
    for (const CommandRecord* record : live->second) tokens.push_back(record->token);
    // Each deletion runs DeleteRecord, which takes the record out of the table.
    for (Tcl_Command token : tokens) Tcl_DeleteCommandFromToken(interp, token);
  }
  syntax.erase(interp);
  constructors.erase(interp);
  class_handlers.erase(interp);
}

void interpreter::SetCurrentInterp(Tcl_Interp* interp) { GetThreadData().currentInterp = interp; }

Tcl_Interp* interpreter::GetCurrentInterp() { return GetThreadData().currentInterp; }

void SetCurrentInterp(Tcl_Interp* interp) { interpreter::SetCurrentInterp(interp); }

}  // namespace Tcl
