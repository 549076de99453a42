// The temporary directory that the system's tools use.
#ifndef ZONESMITH_DIRECTORY_LIBRARY_TEMPDIR_H_
#define ZONESMITH_DIRECTORY_LIBRARY_TEMPDIR_H_

#include <cstddef>

// Writes the temporary directory into `buffer` (NUL-terminated) and returns 0, or returns
// -1 with errno set and `buffer` untouched.
//
// `mode` 1 asks for the secure directory; 0 for the directory that the effective user
// needs: the secure one for root, the default for everyone else; any other value (the uid
// of a normal user) for the default. The default is $TMPDIR when it names a directory,
// else "/tmp". The secure directory is "norvane-<euid>" below the default, created with
// mode 0700 when absent; an existing one must be a real directory (not a link) owned by
// the effective user with no access for group or others, else errno is EPERM. A `buffer`
// of `size` bytes that is too small gives ERANGE.
int GetNorvaneTempDir(int mode, char* buffer, size_t size);

#endif  // ZONESMITH_DIRECTORY_LIBRARY_TEMPDIR_H_
