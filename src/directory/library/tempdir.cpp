#include "directory/library/tempdir.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

std::string DefaultTempDir() {
  const char* env = getenv("TMPDIR");
  struct stat st;
  if (env && *env && stat(env, &st) == 0 && S_ISDIR(st.st_mode)) return env;
  return "/tmp";
}

// Makes `path` a private directory of the effective user, or checks that it is one.
bool EnsurePrivateDir(const std::string& path) {
  if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return false;
  struct stat st;
  if (lstat(path.c_str(), &st) != 0) return false;
  if (!S_ISDIR(st.st_mode) || st.st_uid != geteuid() || (st.st_mode & 077) != 0) {
    errno = EPERM;
    return false;
  }
  return true;
}

}  // namespace

int GetNorvaneTempDir(int mode, char* buffer, size_t size) {
  std::string dir = DefaultTempDir();
  const bool secure = mode == 1 || (mode == 0 && geteuid() == 0);
  if (secure) {
    while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
    dir += "/norvane-" + std::to_string(geteuid());
    if (!EnsurePrivateDir(dir)) return -1;
  }
  if (buffer == nullptr || dir.size() + 1 > size) {
    errno = ERANGE;
    return -1;
  }
  memcpy(buffer, dir.c_str(), dir.size() + 1);
  return 0;
}
