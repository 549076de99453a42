#include "directory/library/thread_data.h"

#include <gtest/gtest.h>

#include <thread>

namespace kesh {
namespace {

TEST(ThreadDataTest, OneRecordPerThread) {
  ThreadData& mine = ThreadData::get();
  EXPECT_EQ(&ThreadData::get(), &mine);
  mine.writable = true;
  bool otherWritable = true;
  ThreadData* otherRecord = nullptr;
  std::thread([&] {
    otherRecord = &ThreadData::get();
    otherWritable = otherRecord->writable;
  }).join();
  EXPECT_NE(otherRecord, &mine);
  EXPECT_FALSE(otherWritable);
  EXPECT_TRUE(ThreadData::get().writable);
  mine.writable = false;
}

}  // namespace
}  // namespace kesh
