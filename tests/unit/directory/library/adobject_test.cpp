#include "directory/library/adobject.h"

#include <gtest/gtest.h>

#include <cstring>

#include "directory/library/constants.h"
#include "directory/library/exceptions.h"

namespace kesh {
namespace {

TEST(ADAttributeTest, AssignmentsReplaceAndMarkChanged) {
  ADAttribute a;
  EXPECT_FALSE(a.changed());
  EXPECT_EQ(std::string(a), "");
  a.setValues({"x", "y"});
  EXPECT_FALSE(a.changed());
  EXPECT_EQ(std::string(a), "x");

  struct Case {
    const char* label;
    void (*assign)(ADAttribute&);
    const char* expected;
  } cases[] = {
      {"string", [](ADAttribute& at) { at = std::string("v"); }, "v"},
      {"c string", [](ADAttribute& at) { at = "w"; }, "w"},
      {"null c string", [](ADAttribute& at) { at = static_cast<const char*>(nullptr); }, ""},
      {"int", [](ADAttribute& at) { at = -42; }, "-42"},
      {"unsigned", [](ADAttribute& at) { at = 4294967295u; }, "4294967295"},
      {"true", [](ADAttribute& at) { at = true; }, "TRUE"},
      {"false", [](ADAttribute& at) { at = false; }, "FALSE"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    ADAttribute at;
    at.setValues({"old1", "old2"});
    c.assign(at);
    ASSERT_EQ(at.size(), 1u);
    EXPECT_EQ(at.values()[0], c.expected);
    EXPECT_TRUE(at.changed());
  }
}

TEST(ADAttributeTest, ResetAndAddVal) {
  ADAttribute a;
  a.addVal("bytes", false, true);
  a.setIncomplete(true);
  EXPECT_FALSE(a.changed());
  EXPECT_TRUE(a.binary());
  a.reset();
  EXPECT_TRUE(a.empty());
  EXPECT_TRUE(a.changed());
  EXPECT_FALSE(a.binary());
  EXPECT_FALSE(a.incomplete());
  a.addVal("1");
  a.addVal("2", false);  // does not clear the changed flag
  EXPECT_TRUE(a.changed());
  EXPECT_EQ(a.values(), (std::vector<std::string>{"1", "2"}));
}

TEST(ADAttributeTest, Conversions) {
  struct Case {
    std::vector<std::string> values;
    bool asBool;
    int asInt;
  } cases[] = {
      {{}, false, 0},
      {{"TRUE"}, true, 0},
      {{"true"}, true, 0},
      {{"TRUEX"}, false, 0},
      {{"FALSE"}, false, 0},
      {{"0"}, false, 0},
      {{"1"}, true, 1},
      {{"-2147483646"}, true, -2147483646},
      {{"2147483647"}, true, 2147483647},
      {{"2147483648"}, false, 0},  // out of range: not a number
      {{"12abc"}, false, 0},
      {{" 12"}, false, 0},
      {{""}, false, 0},
      {{"7", "8"}, true, 7},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.values.empty() ? "<none>" : c.values[0]);
    ADAttribute a;
    a.setValues(c.values);
    EXPECT_EQ(a.toBool(), c.asBool);
    EXPECT_EQ(a.toInt(), c.asInt);
  }
}

TEST(ADObjectTest, HandleSemanticsAndCaseInsensitiveNames) {
  ADObject a("CN=x,DC=example,DC=test");
  EXPECT_EQ(a.dn(), "CN=x,DC=example,DC=test");
  EXPECT_FALSE(a.empty());
  ADObject b = a;
  b["Description"] = "shared";
  EXPECT_EQ(std::string(a["description"]), "shared");
  EXPECT_TRUE(a.sameAs(b));
  EXPECT_TRUE(a.attributeExists("DESCRIPTION"));
  EXPECT_TRUE(a.attributeExists("description", true));

  a["empty"];  // created empty
  EXPECT_TRUE(a.attributeExists("EMPTY"));
  EXPECT_FALSE(a.attributeExists("EMPTY", true));
  EXPECT_EQ(a.find("missing"), nullptr);

  // The first spelling is kept; names sort case-insensitively.
  a["zeta"] = "1";
  a["Alpha"] = "2";
  a["ALPHA"] = "3";
  std::vector<std::string> names;
  for (const auto& entry : a.attributes()) names.push_back(entry.first);
  EXPECT_EQ(names, (std::vector<std::string>{"Alpha", "Description", "distinguishedName", "empty",
                                             "zeta"}));
  EXPECT_EQ(std::string(a["alpha"]), "3");

  a.removeAttribute("ALPHA");
  EXPECT_FALSE(b.attributeExists("alpha"));

  ADObject copy = a.clone();
  copy["zeta"] = "changed";
  EXPECT_EQ(std::string(a["zeta"]), "1");
  EXPECT_FALSE(copy.sameAs(a));
}

TEST(ADObjectTest, EmptinessSidGuidCategory) {
  ADObject object;
  EXPECT_TRUE(object.isValid());
  EXPECT_TRUE(object.empty());
  EXPECT_TRUE(object.sid().isNull());
  EXPECT_TRUE(object.guid().isNull());
  EXPECT_EQ(object.category(), "");
  EXPECT_EQ(object.dn(), "");

  SID sid("S-1-5-21-1-2-3-1105");
  object["objectSid"].addVal(sid.toBytes(), false, true);
  Guid guid = Guid::fromRealMSString("bf967aba-0de6-11d0-a285-00aa003049e2");
  object["objectGUID"].addVal(guid.toBytes(), false, true);
  object[KESH_OBJECT_CATEGORY] = "Person";
  EXPECT_EQ(object.sid(), sid);
  EXPECT_EQ(object.guid(), guid);
  EXPECT_EQ(object.category(), "Person");

  ADObject broken;
  broken["objectSid"] = "not a sid";
  broken["objectGUID"] = "short";
  EXPECT_TRUE(broken.sid().isNull());
  EXPECT_TRUE(broken.guid().isNull());
}

ADObject SampleObject() {
  ADObject object("CN=Smith\\, Joe,CN=Users,DC=example,DC=test");
  object["objectSid"].addVal(SID("S-1-5-21-1-2-3-1105").toBytes(), false, true);
  object["member"].setValues({"CN=a", "CN=b"});
  object["member"].setIncomplete(true);
  object["description"] = "changed";
  object["binary"].addVal(std::string("\0\x01\xff;=\\", 6), false, true);
  object["emptyValue"].addVal("", false);
  object["noValues"].reset();
  object["nonAscii"] = "M\xc3\xbcller";
  object.setFetchTime(1700000000);
  return object;
}

void ExpectSameObject(const ADObject& a, const ADObject& b) {
  const AttributeMap& x = a.attributes();
  const AttributeMap& y = b.attributes();
  ASSERT_EQ(x.size(), y.size());
  for (auto i = x.begin(), j = y.begin(); i != x.end(); ++i, ++j) {
    SCOPED_TRACE(i->first);
    EXPECT_EQ(i->first, j->first);
    EXPECT_EQ(i->second.values(), j->second.values());
    EXPECT_EQ(i->second.changed(), j->second.changed());
    EXPECT_EQ(i->second.binary(), j->second.binary());
    EXPECT_EQ(i->second.incomplete(), j->second.incomplete());
  }
  EXPECT_EQ(a.fetchTime(), b.fetchTime());
}

TEST(ADObjectTest, SerializedRoundTrip) {
  ADObject original = SampleObject();
  std::string data = original.getSerialized();
  ADObject copy(data.size(), data.data(), false, nullptr);
  EXPECT_FALSE(copy.empty());  // raw data waiting counts as content
  copy.deSerialize(false);
  ExpectSameObject(original, copy);
  EXPECT_EQ(copy.dn(), original.dn());
  EXPECT_EQ(copy.sid(), original.sid());
  EXPECT_EQ(copy.getSerialized(), data);

  // Parsing happens on first access too, and unparsed data serialises as it was.
  ADObject lazy(data.size(), data.data(), true, nullptr);
  EXPECT_EQ(lazy.getSerialized(), data);
  EXPECT_EQ(std::string(lazy["nonAscii"]), "M\xc3\xbcller");

  ADObject none;
  std::string empty = none.getSerialized();
  ADObject emptyCopy(empty.size(), empty.data(), false, nullptr);
  emptyCopy.deSerialize();
  EXPECT_TRUE(emptyCopy.empty());
}

TEST(ADObjectTest, SerializedLayout) {
  ADObject object;
  object["cn"].addVal("ab", true, false);
  object.setFetchTime(0x0102030405);
  std::string expected("ZSO1", 4);
  expected += std::string("\x05\x04\x03\x02\x01\0\0\0", 8);  // fetch time
  expected += std::string("\x01\0\0\0", 4);                  // one attribute
  expected += std::string(
      "\x02\0\0\0"
      "cn"
      "\x01",
      7);  // name, flags: changed
  expected += std::string(
      "\x01\0\0\0"
      "\x02\0\0\0"
      "ab",
      10);
  EXPECT_EQ(object.getSerialized(), expected);
}

TEST(ADObjectTest, MalformedSerializedData) {
  std::string good = SampleObject().getSerialized();
  std::string repeated = ADObject().getSerialized();
  repeated[12] = 2;  // two attributes, both "cn" in different case
  repeated += std::string(
      "\x02\0\0\0"
      "cn"
      "\0"
      "\0\0\0\0",
      11);
  repeated += std::string(
      "\x02\0\0\0"
      "CN"
      "\0"
      "\0\0\0\0",
      11);
  std::string badFlags = ADObject().getSerialized();
  badFlags[12] = 1;
  badFlags += std::string(
      "\x02\0\0\0"
      "cn"
      "\x08"
      "\0\0\0\0",
      11);
  std::string hugeCount = ADObject().getSerialized();
  hugeCount[12] = 1;
  hugeCount += std::string(
      "\x02\0\0\0"
      "cn"
      "\0"
      "\xff\xff\xff\xff",
      11);

  struct Case {
    const char* label;
    std::string data;
    const char* message;
  } cases[] = {
      {"wrong magic", "ZSO2" + good.substr(4), "Malformed serialized object: unknown format"},
      {"short", "ZS", "Malformed serialized object: unknown format"},
      {"truncated header", good.substr(0, 10),
       "Malformed serialized object: fetch time truncated at byte 4"},
      {"truncated value", good.substr(0, good.size() - 1),
       "Malformed serialized object: value truncated at byte "},
      {"trailing byte", good + "x", "Malformed serialized object: 1 bytes after the end"},
      {"repeated name", repeated, "Malformed serialized object: attribute repeated at byte 38"},
      {"unknown flag", badFlags, "Malformed serialized object: bad attribute at byte 23"},
      {"value count beyond the data", hugeCount,
       "Malformed serialized object: value list truncated at byte 27"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    ADObject object(c.data.size(), c.data.data(), false, nullptr);
    try {
      object.deSerialize();
      ADD_FAILURE() << "accepted";
    } catch (const BadDataException& e) {
      EXPECT_EQ(std::string(e.what()).substr(0, strlen(c.message)), c.message);
    }
    EXPECT_TRUE(object.empty());  // left empty, and usable
    object["cn"] = "x";
    EXPECT_EQ(object.attributes().size(), 1u);
  }
}

TEST(ADObjectTest, ClearChangedAndLists) {
  ADObject object = SampleObject();
  object.clearChanged();
  for (const auto& entry : object.attributes()) EXPECT_FALSE(entry.second.changed()) << entry.first;

  ADObjectList list;
  ADObjectList shared = list;
  shared.push_back(object);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_TRUE(list[0].sameAs(object));
  list.clear();
  EXPECT_TRUE(shared.empty());
}

TEST(CaseInsensitiveLessTest, Order) {
  CaseInsensitiveLess less;
  EXPECT_FALSE(less("abc", "ABC"));
  EXPECT_FALSE(less("ABC", "abc"));
  EXPECT_TRUE(less("ab", "ABC"));
  EXPECT_TRUE(less("a_", "AZ"));  // 'Z' compares as 'z', above '_'
  EXPECT_FALSE(less("AZ", "a_"));
  EXPECT_TRUE(less("Zeta", "\xc3\xa9"));  // bytes above 0x7f sort last
}

}  // namespace
}  // namespace kesh
