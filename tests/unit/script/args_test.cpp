// How handlers read their words: ParseArgs, CheckArgs, GetArgString, and the small helpers.
#include "script/args.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "directory/library/exceptions.h"
#include "script/context.h"
#include "support/tcl_session.h"

namespace {

class ArgsTest : public ::testing::Test {
 protected:
  // The switches of a command like get_objects: flags and value switches.
  static std::map<std::string, SwitchDef> ObjectSwitches() {
    return Switches({{"-gc"}, {"-upn"}, {"-depth", true}, {"-limit", true}});
  }

  TclSession session_;
};

struct GoodCase {
  const char* label;
  std::initializer_list<std::string> words;
  // The switches seen, as "name" for a flag or "name=value".
  std::vector<std::string> seen;
  std::vector<std::string> positional;
};

std::vector<std::string> Seen(const std::map<std::string, SwitchDef>& switches) {
  std::vector<std::string> seen;
  for (const auto& entry : switches) {
    if (!entry.second.seen) continue;
    seen.push_back(entry.second.hasValue ? entry.first + "=" + entry.second.value : entry.first);
  }
  return seen;
}

TEST_F(ArgsTest, ParseArgsGoodWordLists) {
  const GoodCase cases[] = {
      {"nothing", {}, {}, {}},
      {"one positional", {"base"}, {}, {"base"}},
      {"flag then positionals", {"-gc", "base", "filter"}, {"-gc"}, {"base", "filter"}},
      {"value switch", {"-depth", "one", "base"}, {"-depth=one"}, {"base"}},
      {"value that looks like a switch", {"-depth", "-gc"}, {"-depth=-gc"}, {}},
      {"value that is --", {"-limit", "--", "x"}, {"-limit=--"}, {"x"}},
      {"repeated switch overwrites", {"-limit", "1", "-limit", "2"}, {"-limit=2"}, {}},
      {"dashes free the words", {"-gc", "--", "-odd", "name"}, {"-gc"}, {"-odd", "name"}},
      {"dashes after a positional", {"a", "--", "-b"}, {}, {"a", "-b"}},
      {"second dashes are a word", {"--", "--", "x"}, {}, {"--", "x"}},
      {"lone dash is positional", {"-"}, {}, {"-"}},
      {"lone dash after positional", {"a", "-", "b"}, {}, {"a", "-", "b"}},
      {"words with blanks", {"-depth", "one two", "a b"}, {"-depth=one two"}, {"a b"}},
      {"all switches",
       {"-upn", "-gc", "-limit", "5", "-depth", "sub", "b", "f"},
       {"-depth=sub", "-gc", "-limit=5", "-upn"},
       {"b", "f"}},
  };
  for (const GoodCase& c : cases) {
    auto switches = ObjectSwitches();
    std::vector<std::string> positional;
    ASSERT_NO_THROW(ParseArgs(switches, session_.Words(c.words), positional)) << c.label;
    EXPECT_EQ(c.seen, Seen(switches)) << c.label;
    EXPECT_EQ(c.positional, positional) << c.label;
  }
}

TEST_F(ArgsTest, ParseArgsEmptyWordCountsAsPositional) {
  auto switches = ObjectSwitches();
  std::vector<std::string> positional;
  ParseArgs(switches, session_.Words({"", "x"}), positional);
  EXPECT_EQ((std::vector<std::string>{"", "x"}), positional);
  // A switch after the empty word comes after a positional word.
  positional.clear();
  EXPECT_THROW(ParseArgs(switches, session_.Words({"", "-gc"}), positional), Tcl::tcl_syntax_error);
}

struct BadCase {
  const char* label;
  std::initializer_list<std::string> words;
};

TEST_F(ArgsTest, ParseArgsBadWordListsAnswerTheUsage) {
  const BadCase cases[] = {
      {"unknown switch", {"-frob"}},
      {"unknown switch after a known one", {"-gc", "-frob", "base"}},
      {"value switch as last word", {"base", "-depth"}},
      {"value switch alone", {"-limit"}},
      {"known switch after a positional", {"base", "-gc"}},
      {"unknown switch after a positional", {"base", "filter", "-x"}},
      {"switch text differs in case", {"-GC"}},
      {"switch with a value glued on", {"-depth=one"}},
  };
  for (const BadCase& c : cases) {
    auto switches = ObjectSwitches();
    std::vector<std::string> positional;
    try {
      ParseArgs(switches, session_.Words(c.words), positional);
      ADD_FAILURE() << c.label << ": no error";
    } catch (const Tcl::tcl_syntax_error& e) {
      // Empty, so that the binding layer shows the command's usage line.
      EXPECT_STREQ("", e.what()) << c.label;
    }
  }
}

TEST_F(ArgsTest, ParseArgsThroughACommandShowsTheUsage) {
  // show takes its topic through the same list; a command built on ParseArgs reports its
  // usage line when the words are wrong.
  Tcl::interpreter interp(session_.interp(), false);
  interp.def(
      "parsed",
      +[](const Tcl::object& args) {
        auto switches = Switches({{"-gc"}});
        std::vector<std::string> positional;
        ParseArgs(switches, args, positional);
        return std::to_string(positional.size()) + (switches["-gc"].seen ? " gc" : "");
      },
      Tcl::variadic());
  interp.set_syntax("parsed", "[-gc] <base>");
  std::string result;
  EXPECT_EQ(TCL_OK, session_.Eval("parsed -gc a b", &result));
  EXPECT_EQ("2 gc", result);
  EXPECT_EQ(TCL_ERROR, session_.Eval("parsed a -gc", &result));
  EXPECT_EQ("wrong # args: should be [-gc] <base>", result);
}

TEST_F(ArgsTest, CheckArgsAndGetArgString) {
  Tcl::object words = session_.Words({"a", "b c"});
  EXPECT_EQ(2u, CheckArgs(words, 0));
  EXPECT_EQ(2u, CheckArgs(words, 2));
  try {
    CheckArgs(words, 3);
    FAIL() << "no error";
  } catch (const kesh::BadDataException& e) {
    EXPECT_STREQ("Not enough arguments", e.what());
    EXPECT_EQ(0, e.rc());
  }
  EXPECT_EQ("b c", GetArgString(words, 1));
  EXPECT_EQ("", GetArgString(words, 2));
}

struct EnabledCase {
  const char* value;
  bool enabled;
};

TEST_F(ArgsTest, CheckFieldEnabledAcceptsEightWordsInAnyCase) {
  const EnabledCase cases[] = {
      {"1", true},      {"y", true},    {"yes", true}, {"true", true},   {"Y", true},
      {"YES", true},    {"TrUe", true}, {"0", false},  {"n", false},     {"no", false},
      {"false", false}, {"N", false},   {"No", false}, {"FALSE", false},
  };
  for (const EnabledCase& c : cases) {
    EXPECT_EQ(c.enabled, CheckFieldEnabled(c.value, "enabled")) << c.value;
  }
}

TEST_F(ArgsTest, CheckFieldEnabledRefusesEverythingElse) {
  for (const char* value : {"", "2", "-1", "on", "off", "yes ", " 1", "t", "f", "enabled"}) {
    try {
      CheckFieldEnabled(value, "visible");
      ADD_FAILURE() << "'" << value << "': no error";
    } catch (const kesh::BadDataException& e) {
      EXPECT_STREQ(
          "Invalid value for field \"visible\". Please use 1/y/yes/true to enable, and "
          "0/n/no/false to disable. Case is insensitive.",
          e.what())
          << value;
    }
  }
}

TEST_F(ArgsTest, AreYouSureAnswersYesWithoutAskingUnlessInteractive) {
  Tcl::interpreter interp(session_.interp(), false);
  interp.def(
      "sure", +[](const std::string& what) { return AreYouSure(what); });
  int code = -1;
  // Nothing sets the interactive flag, so no question is written and the answer is yes.
  EXPECT_EQ("", session_.EvalCapturingStdout("set ::answer [sure zone]", &code));
  EXPECT_EQ(TCL_OK, code);
  std::string answer;
  session_.Eval("set ::answer", &answer);
  EXPECT_EQ("1", answer);
  EXPECT_FALSE(IsInteractive());
}

TEST_F(ArgsTest, TestVWritesTheCountAndEachWord) {
  Tcl::interpreter interp(session_.interp(), false);
  interp.def("testv", TestV, Tcl::variadic());
  EXPECT_EQ("2\na b\nc\n", session_.EvalCapturingStdout("testv x {a b} c"));
  EXPECT_EQ("0\n", session_.EvalCapturingStdout("testv x"));
}

}  // namespace
