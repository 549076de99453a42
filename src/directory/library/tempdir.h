// The temporary directory that the system's tools use.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_TEMPDIR_H_
#define ZONESMITH_DIRECTORY_LIBRARY_TEMPDIR_H_

#include <cstddef>

// Writes the temporary directory into `buffer` (NUL-terminated) and returns 0, or returns
// -1 with errno set and `buffer` untouched.
//
// `mode` 0 asks for the default temporary directory of normal users: $TMPDIR when it names
// a directory, else "/tmp". Any other value asks for a secure one: "norvane-<euid>" below
// the default, created with mode 0700 when absent. An existing secure directory must be a
// real directory (not a link) owned by the effective user with no access for group or
// others, else errno is EPERM. A `buffer` of `size` bytes too small gives ERANGE.
int GetNorvaneTempDir(int mode, char* buffer, size_t size);

#endif  // ZONESMITH_DIRECTORY_LIBRARY_TEMPDIR_H_
