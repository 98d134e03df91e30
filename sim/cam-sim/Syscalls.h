// The kernel's own calls, past every library's wrappers (this library's included). Any thread; the results
// are the C library's: -1 and errno.
#pragma once

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace camsim {

inline int rawOpenAt(int directory, const char* path, int flags, mode_t mode) {
  return static_cast<int>(syscall(SYS_openat, directory, path, flags, mode));
}
inline int rawOpen(const char* path, int flags, mode_t mode) {
  return rawOpenAt(AT_FDCWD, path, flags | O_LARGEFILE, mode);
}
inline int rawClose(int fd) {
  return static_cast<int>(syscall(SYS_close, fd));
}
inline int rawIoctl(int fd, unsigned long request, void* argument) {
  return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}
inline ssize_t rawRead(int fd, void* data, size_t size) {
  return syscall(SYS_read, fd, data, size);
}
inline ssize_t rawWrite(int fd, const void* data, size_t size) {
  return syscall(SYS_write, fd, data, size);
}

}  // namespace camsim
