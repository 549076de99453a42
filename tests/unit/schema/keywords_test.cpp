// Keyword dictionaries: the extended attribute table and the key:text codec, both ways.
#include "schema/keywords.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using Dict = std::map<std::string, std::string>;
using Values = std::vector<std::string>;

kesh::ADAttribute AttributeOf(const Values& values) {
  kesh::ADAttribute attr;
  attr.setValues(values);
  return attr;
}

Dict Read(const Values& values) {
  kesh::ADAttribute attr = AttributeOf(values);
  Dict dict{{"stale", "left over"}};  // replaced, never merged
  CramDict(&attr, dict);
  return dict;
}

Values Write(const Dict& dict) {
  kesh::ADAttribute attr = AttributeOf({"stale:left over"});
  CramAttrs(attr, dict);
  EXPECT_TRUE(attr.changed());
  return attr.values();
}

TEST(ExtendedAttributesTest, RowsKeysAndMultiFlags) {
  const auto& table = ExtendedAttributes();
  // 35 rows with 35 distinct keys: no two library constants may share a text.
  EXPECT_EQ(table.size(), 35u);
  std::set<std::string> multi;
  for (const auto& row : table) {
    EXPECT_EQ(row.first, row.second.key);
    if (row.second.multi) multi.insert(row.first);
  }
  EXPECT_EQ(multi,
            (std::set<std::string>{"aix.admgroups", "aix.auditclasses", "aix.capabilities",
                                   "aix.default_roles", "aix.roles", "aix.sugroups", "aix.ttys",
                                   "member", "provisioning_primarygroup_priority*"}));
  struct Row {
    const char* key;
    const char* property;
    int type;
  } rows[] = {
      {"aix.admin", "admin", ExtendedUserAttr::FLAG},
      {"aix.tpath", "tpath", ExtendedUserAttr::LIST},  // a list, yet one value
      {"aix.umask", "umask", ExtendedUserAttr::NUMBER},
      {"aix.nproc_hard", "nproc_hard", ExtendedUserAttr::NUMBER},
      {"member", "member", ExtendedUserAttr::LIST},
  };
  for (const Row& r : rows) {
    ASSERT_EQ(table.count(r.key), 1u) << r.key;
    EXPECT_EQ(table.at(r.key).property, r.property) << r.key;
    EXPECT_EQ(table.at(r.key).type, r.type) << r.key;
  }
}

TEST(ExtendedAttributesTest, OneTableForEveryThread) {
  std::vector<const void*> seen(8);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < seen.size(); ++i) {
    threads.emplace_back([&seen, i] { seen[i] = &ExtendedAttributes(); });
  }
  for (auto& t : threads) t.join();
  for (const void* p : seen) EXPECT_EQ(p, &ExtendedAttributes());
}

TEST(CramDictTest, ReadsValues) {
  struct Case {
    const char* label;
    Values values;
    Dict dict;
  } cases[] = {
      {"none", {}, {}},
      {"later colons stay in the text", {"a:b:c"}, {{"a", "b:c"}}},
      {"leading colon: empty key", {":x"}, {{"", "x"}}},
      {"no colon: key and text are the value", {"abc"}, {{"abc", "abc"}}},
      {"no colon, multi key", {"aix.ttys"}, {{"aix.ttys", "aix.ttys"}}},
      {"empty text", {"k:"}, {{"k", ""}}},
      {"empty value", {""}, {{"", ""}}},
      {"ordinary key twice: last wins", {"k:1", "k:2"}, {{"k", "2"}}},
      {"single-valued table key twice: last wins",
       {"aix.umask:022", "aix.umask:077"},
       {{"aix.umask", "077"}}},
      {"multi key joined in attribute order",
       {"aix.admgroups:y", "aix.admgroups:x"},
       {{"aix.admgroups", "y,x"}}},
      {"multi key after an empty text restarts",
       {"aix.roles:", "aix.roles:r"},
       {{"aix.roles", "r"}}},
      {"multi key keeps a later empty text", {"aix.roles:r", "aix.roles:"}, {{"aix.roles", "r,"}}},
      {"keys compare by bytes", {"B:1", "a:2", "A:3"}, {{"A", "3"}, {"B", "1"}, {"a", "2"}}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Read(c.values), c.dict) << c.label;
  }
  Dict dict{{"stale", "x"}};
  CramDict(nullptr, dict);
  EXPECT_TRUE(dict.empty());
}

TEST(CramAttrsTest, WritesValuesInKeyOrder) {
  struct Case {
    const char* label;
    Dict dict;
    Values values;
  } cases[] = {
      {"empty dictionary clears", {}, {}},
      {"key order", {{"b", "2"}, {"a", "1:x"}}, {"a:1:x", "b:2"}},
      {"ordinary empty text keeps the key", {{"k", ""}}, {"k:"}},
      {"multi key splits at commas",
       {{"aix.admgroups", "x,y"}},
       {"aix.admgroups:x", "aix.admgroups:y"}},
      {"multi key with an empty text writes nothing", {{"aix.sugroups", ""}, {"z", "1"}}, {"z:1"}},
      {"empty pieces are values too", {{"member", ",a,"}}, {"member:", "member:a", "member:"}},
      {"single-valued list keeps its commas", {{"aix.tpath", "a,b"}}, {"aix.tpath:a,b"}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Write(c.dict), c.values) << c.label;
  }
}

// What one read and write does to stored values, and that a second one changes nothing.
TEST(CramDictTest, RoundTrips) {
  struct Case {
    const char* label;
    Values stored;
    Values rewritten;
  } cases[] = {
      {"no colon doubles the value", {"abc"}, {"abc:abc"}},
      {"sorted whatever the stored order", {"z:1", "m:2", "a:3"}, {"a:3", "m:2", "z:1"}},
      {"multi values come back as they were",
       {"aix.roles:x", "aix.roles:y"},
       {"aix.roles:x", "aix.roles:y"}},
      {"a comma in a multi value splits it", {"aix.roles:x,y"}, {"aix.roles:x", "aix.roles:y"}},
      {"an empty multi value disappears", {"aix.roles:"}, {}},
  };
  for (const Case& c : cases) {
    Values once = Write(Read(c.stored));
    EXPECT_EQ(once, c.rewritten) << c.label;
    EXPECT_EQ(Write(Read(once)), once) << c.label;
  }
  // A multi text of commas only is read as empty pieces, written back as empty values, read
  // as an empty text: it takes a second round trip to disappear.
  Values once = Write(Read({"aix.roles:,"}));
  EXPECT_EQ(once, (Values{"aix.roles:", "aix.roles:"}));
  EXPECT_EQ(Read(once), (Dict{{"aix.roles", ""}}));
  EXPECT_EQ(Write(Read(once)), Values{});
}

TEST(CramSetTest, LookUpsSetsAndRemovals) {
  Dict dict{{"a", "1"}, {"empty", ""}};
  EXPECT_EQ(GetCramAttr("a", dict), "1");
  EXPECT_EQ(GetCramAttr("missing", dict), "");

  OptionalField<std::string> present = GetStringAttr("empty", dict);
  EXPECT_TRUE(present.isSet);
  EXPECT_EQ(present.value, "");
  OptionalField<std::string> absent = GetStringAttr("missing", dict);
  EXPECT_FALSE(absent.isSet);
  EXPECT_EQ(absent.value, "");

  CramSet("missing", "", dict);  // removing what is not there is no error
  EXPECT_EQ(dict, (Dict{{"a", "1"}, {"empty", ""}}));
  CramSet("a", "", dict);
  CramSet("b", "2", dict);
  EXPECT_EQ(dict, (Dict{{"b", "2"}, {"empty", ""}}));
}

TEST(GetStringAttrTest, PlainAttributes) {
  kesh::ADObject object("CN=x,DC=example,DC=test");
  object["gecos"].setValues({"First", "Second"});
  object["loginShell"].setValues({});
  struct Case {
    const char* name;
    bool isSet;
    const char* value;
  } cases[] = {
      {"gecos", true, "First"},
      {"GECOS", true, "First"},  // attribute names ignore case
      {"loginShell", true, ""},
      {"uidNumber", false, ""},
  };
  for (const Case& c : cases) {
    OptionalField<std::string> field = GetStringAttr(std::string(c.name), object);
    EXPECT_EQ(field.isSet, c.isSet) << c.name;
    EXPECT_EQ(field.value, c.value) << c.name;
  }
}

TEST(SetCramAttrTest, ChangesOneKeyOfTheObject) {
  kesh::ADObject object("CN=x,DC=example,DC=test");
  object["keywords"].setValues({"uid:5", "aix.roles:a", "aix.roles:b", "orphan"});
  SetCramAttr(object, "keywords", "uid", "7");
  EXPECT_TRUE(object["keywords"].changed());
  EXPECT_EQ(object["keywords"].values(),
            (Values{"aix.roles:a", "aix.roles:b", "orphan:orphan", "uid:7"}));
  SetCramAttr(object, "keywords", "aix.roles", "");
  SetCramAttr(object, "keywords", "orphan", "");
  EXPECT_EQ(object["keywords"].values(), (Values{"uid:7"}));
  // An attribute the object lacks starts as an empty dictionary.
  SetCramAttr(object, "description", "k", "v");
  EXPECT_EQ(object["description"].values(), (Values{"k:v"}));
}

}  // namespace
