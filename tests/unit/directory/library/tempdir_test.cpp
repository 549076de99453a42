#include "directory/library/tempdir.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

namespace {

// Points TMPDIR at a fresh directory for the length of a test.
class TempDirTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/zs-tempdir-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    root_ = tmpl;
    const char* old = getenv("TMPDIR");
    hadOld_ = old != nullptr;
    if (hadOld_) old_ = old;
    setenv("TMPDIR", root_.c_str(), 1);
  }
  void TearDown() override {
    if (hadOld_) {
      setenv("TMPDIR", old_.c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
    std::string cmd = "rm -rf '" + root_ + "'";
    ASSERT_EQ(system(cmd.c_str()), 0);
  }
  std::string secureDir() const { return root_ + "/norvane-" + std::to_string(geteuid()); }

  std::string root_;
  std::string old_;
  bool hadOld_ = false;
};

TEST_F(TempDirTest, DefaultIsTmpdir) {
  char buffer[256];
  ASSERT_EQ(GetNorvaneTempDir(1000, buffer, sizeof(buffer)), 0);
  EXPECT_EQ(std::string(buffer), root_);
}

TEST_F(TempDirTest, ZeroIsSecureOnlyForRoot) {
  char buffer[256];
  ASSERT_EQ(GetNorvaneTempDir(0, buffer, sizeof(buffer)), 0);
  EXPECT_EQ(std::string(buffer), geteuid() == 0 ? secureDir() : root_);
}

TEST_F(TempDirTest, TmpdirThatIsNoDirectoryFallsBackToTmp) {
  setenv("TMPDIR", (root_ + "/missing").c_str(), 1);
  char buffer[256];
  ASSERT_EQ(GetNorvaneTempDir(1000, buffer, sizeof(buffer)), 0);
  EXPECT_EQ(std::string(buffer), "/tmp");
}

TEST_F(TempDirTest, SecureIsCreatedPrivate) {
  char buffer[256];
  ASSERT_EQ(GetNorvaneTempDir(1, buffer, sizeof(buffer)), 0);
  EXPECT_EQ(std::string(buffer), secureDir());
  struct stat st;
  ASSERT_EQ(lstat(buffer, &st), 0);
  EXPECT_TRUE(S_ISDIR(st.st_mode));
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  // A second call accepts the directory it made.
  ASSERT_EQ(GetNorvaneTempDir(1, buffer, sizeof(buffer)), 0);
  EXPECT_EQ(std::string(buffer), secureDir());
}

TEST_F(TempDirTest, SecureRefusesOpenDirectory) {
  ASSERT_EQ(mkdir(secureDir().c_str(), 0755), 0);
  ASSERT_EQ(chmod(secureDir().c_str(), 0755), 0);
  char buffer[256] = "untouched";
  errno = 0;
  EXPECT_EQ(GetNorvaneTempDir(1, buffer, sizeof(buffer)), -1);
  EXPECT_EQ(errno, EPERM);
  EXPECT_EQ(std::string(buffer), "untouched");
}

TEST_F(TempDirTest, SecureRefusesSymlink) {
  ASSERT_EQ(mkdir((root_ + "/elsewhere").c_str(), 0700), 0);
  ASSERT_EQ(symlink((root_ + "/elsewhere").c_str(), secureDir().c_str()), 0);
  char buffer[256];
  errno = 0;
  EXPECT_EQ(GetNorvaneTempDir(1, buffer, sizeof(buffer)), -1);
  EXPECT_EQ(errno, EPERM);
}

TEST_F(TempDirTest, BufferTooSmall) {
  char buffer[256] = "untouched";
  errno = 0;
  EXPECT_EQ(GetNorvaneTempDir(1000, buffer, root_.size()), -1);
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(std::string(buffer), "untouched");
  ASSERT_EQ(GetNorvaneTempDir(1000, buffer, root_.size() + 1), 0);
  EXPECT_EQ(std::string(buffer), root_);
}

}  // namespace
