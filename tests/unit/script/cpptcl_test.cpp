// The binding layer: how words reach a function, and how its result and its exceptions
// reach the script.
#include "script/cpptcl.h"

#include <gtest/gtest.h>

#include <string>

#include "directory/library/exceptions.h"
#include "support/tcl_session.h"

namespace {

std::string Join(const std::string& a, const std::string& b) { return a + "|" + b; }
int Add(int a, int b) { return a + b; }
bool Negate(bool b) { return !b; }
double Half(double d) { return d / 2; }
long Twice(long l) { return 2 * l; }
void Nothing() {}
void RaiseBadData() { KESH_THROW(kesh::BadDataException, 7, "bad %s %d", "data", 42); }
void RaiseNotFound() { KESH_THROW(kesh::NotFoundException, 0, "Pam app not found"); }
void RaiseUnknown() { throw 42; }
void RaiseSyntax() { throw Tcl::tcl_syntax_error(); }
void RaiseSyntaxText() { throw Tcl::tcl_syntax_error("use it like this"); }
Tcl::object Words(const std::string& first, const Tcl::object& rest) {
  Tcl::interpreter interp(Tcl::interpreter::GetCurrentInterp(), false);
  Tcl::object result(first);
  result.append(interp, Tcl::object(static_cast<int>(rest.length(interp))));
  result.append_list(interp, rest);
  return result;
}
std::string One(const Tcl::object& word) { return "<" + word.get_string() + ">"; }
Tcl_Interp* lastCaller = nullptr;
void Remember() { lastCaller = Tcl::interpreter::GetCurrentInterp(); }

class BindingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Tcl::interpreter interp(session_.interp(), false);
    interp.def("join2", Join);
    interp.set_syntax("join2", "<a> <b>");
    interp.def("join2_nousage", Join);
    interp.def("add", Add);
    interp.def("negate", Negate);
    interp.def("half", Half);
    interp.def("twice", Twice);
    interp.def("nothing", Nothing);
    interp.def("baddata", RaiseBadData);
    interp.def("notfound", RaiseNotFound);
    interp.def("strange", RaiseUnknown);
    interp.def("syntax", RaiseSyntax);
    interp.set_syntax("syntax", "-on|-off");
    interp.def("syntaxtext", RaiseSyntaxText);
    interp.def("words", Words, Tcl::variadic());
    interp.set_syntax("words", "<first> [<more>...]");
    interp.def("one", One);
    interp.set_syntax("one", "<word>");
    interp.def("remember", Remember);
  }

  TclSession session_;
};

struct Case {
  const char* script;
  int code;
  const char* result;
};

TEST_F(BindingTest, WordsResultsAndErrors) {
  const Case cases[] = {
      // Fixed arity: too few words is the usage, surplus words are ignored.
      {"join2 a b", TCL_OK, "a|b"},
      {"join2 a b c d", TCL_OK, "a|b"},
      {"join2 a", TCL_ERROR, "wrong # args: should be <a> <b>"},
      {"join2", TCL_ERROR, "wrong # args: should be <a> <b>"},
      {"join2_nousage a", TCL_ERROR, "wrong # args"},
      {"join2 {} {}", TCL_OK, "|"},
      // Conversions, with Tcl's own messages.
      {"add 2 40", TCL_OK, "42"},
      {"add 2 abc", TCL_ERROR, "expected integer but got \"abc\""},
      {"add x 1", TCL_ERROR, "expected integer but got \"x\""},
      {"negate yes", TCL_OK, "0"},
      {"negate maybe", TCL_ERROR, "expected boolean value but got \"maybe\""},
      {"half 3", TCL_OK, "1.5"},
      {"twice 21", TCL_OK, "42"},
      {"nothing", TCL_OK, ""},
      // Exceptions: what() alone, whatever the class; anything else is unknown.
      {"baddata", TCL_ERROR, "bad data 42"},
      {"notfound", TCL_ERROR, "Pam app not found"},
      {"strange", TCL_ERROR, "Unknown error."},
      {"syntax", TCL_ERROR, "wrong # args: should be -on|-off"},
      {"syntaxtext", TCL_ERROR, "use it like this"},
      // Variadic: the words after the fixed ones, as one list, possibly empty.
      {"words a", TCL_OK, "a 0"},
      {"words a b {c d} e", TCL_OK, "a 3 b {c d} e"},
      {"words", TCL_ERROR, "wrong # args: should be <first> [<more>...]"},
      // A trailing object without the variadic policy takes exactly one word.
      {"one {x y}", TCL_OK, "<x y>"},
      {"one", TCL_ERROR, "wrong # args: should be <word>"},
      {"one a b", TCL_OK, "<a>"},
  };
  for (const Case& c : cases) {
    std::string result;
    EXPECT_EQ(c.code, session_.Eval(c.script, &result)) << c.script;
    EXPECT_EQ(c.result, result) << c.script;
  }
}

TEST_F(BindingTest, RedefiningANameReplacesTheFunction) {
  Tcl::interpreter interp(session_.interp(), false);
  interp.def("join2", Add);
  std::string result;
  EXPECT_EQ(TCL_OK, session_.Eval("join2 1 2", &result));
  EXPECT_EQ("3", result);
  // The usage line stays with the name.
  EXPECT_EQ(TCL_ERROR, session_.Eval("join2", &result));
  EXPECT_EQ("wrong # args: should be <a> <b>", result);
}

TEST_F(BindingTest, TheCallingInterpreterBecomesCurrentAndStays) {
  TclSession other;
  Tcl::interpreter(other.interp(), false).def("remember", Remember);
  lastCaller = nullptr;
  ASSERT_EQ(TCL_OK, other.Eval("remember"));
  EXPECT_EQ(other.interp(), lastCaller);
  EXPECT_EQ(other.interp(), Tcl::interpreter::GetCurrentInterp());
  ASSERT_EQ(TCL_OK, session_.Eval("remember"));
  EXPECT_EQ(session_.interp(), lastCaller);
  EXPECT_EQ(session_.interp(), Tcl::interpreter::GetCurrentInterp());
}

TEST_F(BindingTest, TheSyntaxCheckComesBeforeTheInterpreterIsSet) {
  TclSession other;
  Tcl::interpreter(other.interp(), false).def("remember2", Join);
  session_.MakeCurrent();
  EXPECT_EQ(TCL_ERROR, other.Eval("remember2"));
  EXPECT_EQ(session_.interp(), Tcl::interpreter::GetCurrentInterp());
}

TEST_F(BindingTest, ACommandAnswersUnderEveryNameTclGivesIt) {
  ASSERT_EQ(TCL_OK, session_.Eval("interp create grandchild"));
  // Run in order in one interpreter: each name is made just before it is used.
  const Case cases[] = {
      {"::join2 a b", TCL_OK, "a|b"},
      {"::join2 a", TCL_ERROR, "wrong # args: should be <a> <b>"},
      {"namespace eval ns { join2 a b }", TCL_OK, "a|b"},
      {"namespace eval ns { join2 }", TCL_ERROR, "wrong # args: should be <a> <b>"},
      {"interp alias {} viaAlias {} ::join2 x", TCL_OK, "viaAlias"},
      {"viaAlias y", TCL_OK, "x|y"},
      {"interp alias {} bareAlias {} join2", TCL_OK, "bareAlias"},
      {"bareAlias", TCL_ERROR, "wrong # args: should be <a> <b>"},
      {"rename join2 moved", TCL_OK, ""},
      {"moved a b", TCL_OK, "a|b"},
      {"moved a", TCL_ERROR, "wrong # args: should be <a> <b>"},
      {"join2 a b", TCL_ERROR, "invalid command name \"join2\""},
      // A child interpreter reaches the command of its parent through an alias.
      {"interp alias grandchild fromChild {} moved", TCL_OK, "fromChild"},
      {"grandchild eval { fromChild p q }", TCL_OK, "p|q"},
      {"grandchild eval { fromChild p }", TCL_ERROR, "wrong # args: should be <a> <b>"},
      // A variadic command under a new name still gets its words as one list.
      {"rename words w", TCL_OK, ""},
      {"namespace eval ns { ::w a b c }", TCL_OK, "a 2 b c"},
      {"w", TCL_ERROR, "wrong # args: should be <first> [<more>...]"},
  };
  for (const Case& c : cases) {
    std::string result;
    EXPECT_EQ(c.code, session_.Eval(c.script, &result)) << c.script;
    EXPECT_EQ(c.result, result) << c.script;
  }
}

TEST_F(BindingTest, LookupFailuresOfTheEntry) {
  Tcl_Obj* word = Tcl_NewStringObj("join2", -1);
  Tcl_IncrRefCount(word);
  Tcl_Obj* const objv[] = {word};
  EXPECT_EQ(TCL_ERROR, Tcl::details::callback_handler(nullptr, session_.interp(), 1, objv));
  EXPECT_STREQ("Trying to invoke non-existent callback (wrong cmd name?)",
               Tcl_GetStringResult(session_.interp()));

  // The definition of one interpreter's command, called for another interpreter.
  Tcl_CmdInfo info;
  ASSERT_TRUE(Tcl_GetCommandInfo(session_.interp(), "join2", &info));
  TclSession other;
  EXPECT_EQ(TCL_ERROR, Tcl::details::callback_handler(info.objClientData, other.interp(), 1, objv));
  EXPECT_STREQ("Trying to invoke non-existent callback (wrong interpreter?)",
               Tcl_GetStringResult(other.interp()));
  Tcl_DecrRefCount(word);
}

// A function object that counts its live instances, to see when definitions are freed.
int liveProbes = 0;
class Probe : public Tcl::details::callback_base {
 public:
  // With `script` set, a call evaluates it first, then fails with a syntax error.
  explicit Probe(std::string script = "") : script_(std::move(script)) { ++liveProbes; }
  ~Probe() override { --liveProbes; }
  void invoke(Tcl_Interp* interp, int, Tcl_Obj* const[], const Tcl::policies&) override {
    if (script_.empty()) return Tcl::details::set_result(interp, std::string("probe"));
    if (Tcl_Eval(interp, script_.c_str()) != TCL_OK) throw Tcl::tcl_error(interp);
    throw Tcl::tcl_syntax_error();
  }

 private:
  const std::string script_;
};

TEST_F(BindingTest, DeletingACommandOrItsInterpreterFreesItsDefinition) {
  liveProbes = 0;
  Tcl::interpreter interp(session_.interp(), false);
  interp.add_function("p1", std::make_shared<Probe>());
  interp.add_function("p2", std::make_shared<Probe>());
  ASSERT_EQ(2, liveProbes);
  ASSERT_EQ(TCL_OK, session_.Eval("rename p1 {}"));
  EXPECT_EQ(1, liveProbes);
  std::string result;
  EXPECT_EQ(TCL_ERROR, session_.Eval("p1", &result));
  EXPECT_EQ("invalid command name \"p1\"", result);

  // Redefining a name frees the former definition.
  interp.add_function("p2", std::make_shared<Probe>());
  EXPECT_EQ(1, liveProbes);

  // A command that deletes itself while it runs still answers, with its own usage.
  interp.add_function("suicide", std::make_shared<Probe>("rename suicide {}"));
  interp.set_syntax("suicide", "<last words>");
  EXPECT_EQ(2, liveProbes);
  EXPECT_EQ(TCL_ERROR, session_.Eval("suicide", &result));
  EXPECT_EQ("wrong # args: should be <last words>", result);
  EXPECT_EQ(1, liveProbes);

  // Deleting the interpreter frees the definitions of all its commands, renamed ones too.
  {
    TclSession doomed;
    Tcl::interpreter(doomed.interp(), false).add_function("p3", std::make_shared<Probe>());
    ASSERT_EQ(TCL_OK, doomed.Eval("rename p3 ::elsewhere"));
    EXPECT_EQ(2, liveProbes);
  }
  EXPECT_EQ(1, liveProbes);
}

TEST_F(BindingTest, ASecretCommandNamesNoWordInTheErrorInformation) {
  Tcl::interpreter interp(session_.interp(), false);
  interp.def("login", RaiseBadData, Tcl::secret());
  interp.def("login2", Join, Tcl::secret());
  interp.set_syntax("login2", "<user> <password>");
  ASSERT_EQ(TCL_OK, session_.Eval("proc p {} { login alice S3cret }"));
  struct Secret {
    const char* script;
    const char* errorInfo;
  };
  const Secret cases[] = {
      {"login alice S3cret", "bad data 42\n    while executing\n\"login ...\""},
      {"p",
       "bad data 42\n    while executing\n\"login ...\"\n    (procedure \"p\" line 1)\n"
       "    invoked from within\n\"p\""},
      {"login2 S3cret",
       "wrong # args: should be <user> <password>\n    while executing\n"
       "\"login2 ...\""},
      // The contrast: a command that is not secret is logged by Tcl, words and all.
      {"baddata S3cret", "bad data 42\n    while executing\n\"baddata S3cret\""},
  };
  for (const Secret& c : cases) {
    const std::string script = std::string("catch {") + c.script + "} m o; list $::errorInfo $o";
    ASSERT_EQ(TCL_OK, session_.Eval(script)) << c.script;
    Tcl_Obj* pair = Tcl_GetObjResult(session_.interp());
    Tcl_Obj* errorInfo = nullptr;
    Tcl_Obj* options = nullptr;
    Tcl_ListObjIndex(nullptr, pair, 0, &errorInfo);
    Tcl_ListObjIndex(nullptr, pair, 1, &options);
    EXPECT_STREQ(c.errorInfo, Tcl_GetString(errorInfo)) << c.script;
    const bool secret = std::string(c.script).rfind("baddata", 0) != 0;
    EXPECT_EQ(secret, std::string(Tcl_GetString(options)).find("S3cret") == std::string::npos)
        << c.script;
  }
}

TEST(Policies, BuildersSetOneThing) {
  EXPECT_TRUE(Tcl::variadic().isVariadic());
  EXPECT_FALSE(Tcl::policies().isVariadic());
  EXPECT_EQ("make", Tcl::factory("make").factoryName());
  Tcl::policies p = Tcl::sink(1);
  p.sink(3).variadic();
  EXPECT_EQ((std::vector<int>{1, 3}), p.sinks());
  EXPECT_TRUE(p.isVariadic());
}

TEST(ClassHandler, UnknownPolicyIsAnError) {
  Tcl::details::class_handler_base handler;
  handler.register_method("known", nullptr, Tcl::variadic());
  EXPECT_TRUE(handler.get_policies("known").isVariadic());
  try {
    handler.get_policies("frob");
    FAIL() << "no error";
  } catch (const Tcl::tcl_error& e) {
    EXPECT_STREQ("Trying to use non-existent policy: frob", e.what());
  }
}

TEST_F(BindingTest, ObjectListOperations) {
  Tcl::interpreter interp(session_.interp(), false);
  Tcl::object list;
  list.append(interp, Tcl::object("a")).append(interp, Tcl::object("b c"));
  EXPECT_EQ(2u, list.length(interp));
  EXPECT_EQ("b c", list.at(interp, 1).get<std::string>(interp));
  EXPECT_EQ("", list.at(interp, 5).get_string());

  Tcl::object copy = list;  // shares the value until one of them changes
  copy.append(interp, Tcl::object(3));
  EXPECT_EQ(2u, list.length(interp));
  EXPECT_EQ(3, copy.at(interp, 2).get<int>(interp));

  copy.replace(interp, 0, 2, Tcl::object("x"));
  EXPECT_EQ("x 3", copy.get_string());
  copy.replace_list(interp, 0, 1, list);
  EXPECT_EQ("a {b c} 3", copy.get_string());
  copy.replace_list(interp, 0, 0, copy);
  EXPECT_EQ("a {b c} 3 a {b c} 3", copy.get_string());

  Tcl::object notAList("{a");
  EXPECT_THROW(notAList.length(interp), Tcl::tcl_error);
  EXPECT_THROW(Tcl::object("abc").get<int>(interp), Tcl::tcl_error);
  EXPECT_EQ(2.5, Tcl::object("2.5").get<double>(interp));
  EXPECT_TRUE(Tcl::object("on").get<bool>(interp));
  EXPECT_EQ(7L, Tcl::object(7L).get<long>(interp));
}

}  // namespace
