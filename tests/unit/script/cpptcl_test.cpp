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
    interp.def("unknown", RaiseUnknown);
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
      {"unknown", TCL_ERROR, "Unknown error."},
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

TEST_F(BindingTest, LookupFailuresOfTheEntry) {
  Tcl_Obj* word = Tcl_NewStringObj("nosuch", -1);
  Tcl_IncrRefCount(word);
  Tcl_Obj* const objv[] = {word};
  EXPECT_EQ(TCL_ERROR, Tcl::details::callback_handler(nullptr, session_.interp(), 1, objv));
  EXPECT_STREQ("Trying to invoke non-existent callback (wrong cmd name?)",
               Tcl_GetStringResult(session_.interp()));

  // An interpreter with no definitions; its address may be that of one deleted earlier,
  // whose entries the tables keep, so drop them first.
  Tcl_Interp* stranger = Tcl_CreateInterp();
  Tcl::interpreter::clear_definitions(stranger);
  EXPECT_EQ(TCL_ERROR, Tcl::details::callback_handler(nullptr, stranger, 1, objv));
  EXPECT_STREQ("Trying to invoke non-existent callback (wrong interpreter?)",
               Tcl_GetStringResult(stranger));
  Tcl_DeleteInterp(stranger);
  Tcl_DecrRefCount(word);
}

TEST_F(BindingTest, AnOwningInterpreterRemovesItsDefinitions) {
  Tcl_Interp* raw = nullptr;
  {
    Tcl::interpreter owned;
    raw = owned.get();
    owned.def("join2", Join);
    ASSERT_EQ(TCL_OK, Tcl_Eval(raw, "join2 a b"));
    Tcl::interpreter::clear_definitions(raw);
    // The command is gone from Tcl and from the tables.
    EXPECT_EQ(TCL_ERROR, Tcl_Eval(raw, "join2 a b"));
    EXPECT_STREQ("invalid command name \"join2\"", Tcl_GetStringResult(raw));
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
