#include "directory/library/logger.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <thread>
#include <utility>
#include <vector>

namespace kesh {
namespace {

// Keeps the lines instead of sending them to syslog.
class CapturingLogger : public Logger {
 public:
  using Logger::Logger;
  std::vector<std::pair<int, std::string>> lines;

 protected:
  void write(int priority, const std::string& line) override { lines.emplace_back(priority, line); }
};

TEST(LoggerTest, LevelsMapToSyslogPrioritiesWithTheNameAsPrefix) {
  CapturingLogger logger("cli.zonesmith");
  struct Case {
    int level;
    int priority;
  } cases[] = {{1, LOG_DEBUG}, {2, LOG_INFO},  {3, LOG_WARNING},
               {4, LOG_ERR},   {0, LOG_DEBUG}, {9, LOG_ERR}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.level);
    logger.lines.clear();
    logger.log(c.level, __FILE__, __LINE__, __func__, "Role does not exist: %s", "r1");
    ASSERT_EQ(logger.lines.size(), 1u);
    EXPECT_EQ(logger.lines[0].first, c.priority);
    EXPECT_EQ(logger.lines[0].second, "cli.zonesmith: Role does not exist: r1");
  }
}

TEST(LoggerTest, MessageIsCutAt511Bytes) {
  CapturingLogger logger("x");
  std::string longText(600, 'a');
  logger.log(Logger::INFO, __FILE__, __LINE__, __func__, "%s", longText.c_str());
  ASSERT_EQ(logger.lines.size(), 1u);
  EXPECT_EQ(logger.lines[0].second, "x: " + std::string(511, 'a'));
}

TEST(LoggerTest, ThreadPrivateLoggers) {
  std::shared_ptr<Logger> a = Logger::GetThreadPrivateLogger("cli.credentials");
  EXPECT_EQ(a->name(), "cli.credentials");
  EXPECT_EQ(Logger::GetThreadPrivateLogger("cli.credentials"), a);
  EXPECT_NE(Logger::GetThreadPrivateLogger("base.kerberos.wrap"), a);
  std::shared_ptr<Logger> other;
  std::thread([&other] { other = Logger::GetThreadPrivateLogger("cli.credentials"); }).join();
  EXPECT_NE(other, a);
  EXPECT_EQ(other->name(), "cli.credentials");
  // The real one goes to syslog and nowhere else.
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  a->log(Logger::DEBUG, __FILE__, __LINE__, __func__, "unit test %d", 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace kesh
