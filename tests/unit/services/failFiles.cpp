#include "services/failFiles.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace failing {

Call changeMode;
Call renameFile;
Call writeFile;

}  // namespace failing

extern "C" {
int __real_fchmod(int fd, mode_t mode);
int __wrap_fchmod(int fd, mode_t mode);
int __wrap_fchmod(int fd, mode_t mode) {
  const int error = failing::changeMode.error();
  if (error == 0) return __real_fchmod(fd, mode);
  errno = error;
  return -1;
}

int __real_rename(const char* from, const char* to);
int __wrap_rename(const char* from, const char* to);
int __wrap_rename(const char* from, const char* to) {
  const int error = failing::renameFile.error();
  if (error == 0) return __real_rename(from, to);
  errno = error;
  return -1;
}

ssize_t __real_write(int fd, const void* bytes, size_t size);
ssize_t __wrap_write(int fd, const void* bytes, size_t size);
ssize_t __wrap_write(int fd, const void* bytes, size_t size) {
  const int error = failing::writeFile.error();
  if (error == 0) return __real_write(fd, bytes, size);
  errno = error;
  return error < 0 ? 0 : -1;
}
}
