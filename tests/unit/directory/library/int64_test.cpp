#include "directory/library/int64.h"

#include <gtest/gtest.h>

namespace {

TEST(Int64Test, DecimalText) {
  struct Case {
    const char* text;
    int64_t value;
  } cases[] = {
      {"0", 0},
      {"-1", -1},
      {"+7", 7},
      {"133444736000000000", 133444736000000000LL},
      {"9223372036854775807", INT64_MAX},
      {"-9223372036854775808", INT64_MIN},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(Int64::parse(c.text).value(), c.value);
  }
  EXPECT_EQ(Int64(INT64_MIN).toString(), "-9223372036854775808");

  const char* bad[] = {
      "", " 1", "1 ", "12a", "-", "0x10", "9223372036854775808", "-9223372036854775809", "\t1"};
  for (const char* text : bad) {
    SCOPED_TRACE(text);
    try {
      Int64::parse(text);
      ADD_FAILURE() << "accepted";
    } catch (const kesh::BadDataException& e) {
      EXPECT_EQ(std::string(e.what()), std::string("Invalid 64-bit number: ") + text);
    }
  }
  EXPECT_THROW(Int64::parse(std::string("1\0", 2)), kesh::BadDataException);
}

TEST(Int64Test, FileTimes) {
  // 1970-01-01 is 116444736000000000 in file time; 2023-11-14 22:13:20 UTC is 1700000000.
  EXPECT_EQ(Int64::fromUnixTime(1).value(), 116444736010000000LL);
  EXPECT_EQ(Int64::fromUnixTime(1700000000).value(), 133444736000000000LL);
  EXPECT_EQ(Int64(133444736000000000LL).toUnixTime(), 1700000000);
  EXPECT_EQ(Int64(133444736009999999LL).toUnixTime(), 1700000000);  // rounded down
  EXPECT_EQ(Int64(116444735990000000LL).toUnixTime(), -1);          // before 1970
  EXPECT_EQ(Int64::fromUnixTime(0).value(), 0);
  EXPECT_EQ(Int64(0).toUnixTime(), 0);
}

}  // namespace
