// The C library's functions that reach the monitor device, defined before it. Everything that is not the
// device's goes straight to the kernel: this runs in any program, before its run-time is ready, so it looks
// up no symbol and calls nothing else.
#include <fcntl.h>
#include <sys/ioctl.h>

#include <cstdarg>

#include "CamSim.h"
#include "Syscalls.h"

#define CAM_SIM_EXPORT __attribute__((visibility("default")))

namespace {

bool isDevicePath(const char* path) {
  if (path == nullptr) return false;
  for (const char* expected = camsim::devicePath; *path == *expected; ++path, ++expected) {
    if (*path == '\0') return true;
  }
  return false;
}

bool takesMode(int flags) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

int openAny(int directory, const char* path, int flags, mode_t mode) {
  if (isDevicePath(path)) return camsim::openDevice(flags);
  return camsim::rawOpenAt(directory, path, flags, mode);
}

int ioctlAny(int fd, unsigned long request, void* argument) {
  int result = 0;
  if (camsim::deviceRequest(fd, request, argument, result)) return result;
  return camsim::rawIoctl(fd, request, argument);
}

/// The mode argument of an open call, present only with the flags that create a file.
mode_t modeArgument(int flags, va_list arguments) {
  return takesMode(flags) ? static_cast<mode_t>(va_arg(arguments, unsigned)) : mode_t{0};
}

}  // namespace

#define CAM_SIM_MODE(flags)                           \
  va_list arguments;                                  \
  va_start(arguments, flags);                         \
  const mode_t mode = modeArgument(flags, arguments); \
  va_end(arguments)

extern "C" {

CAM_SIM_EXPORT int open(const char* path, int flags, ...) {
  CAM_SIM_MODE(flags);
  return openAny(AT_FDCWD, path, flags, mode);
}
CAM_SIM_EXPORT int open64(const char* path, int flags, ...) {
  CAM_SIM_MODE(flags);
  return openAny(AT_FDCWD, path, flags | O_LARGEFILE, mode);
}
CAM_SIM_EXPORT int openat(int directory, const char* path, int flags, ...) {
  CAM_SIM_MODE(flags);
  return openAny(directory, path, flags, mode);
}
CAM_SIM_EXPORT int openat64(int directory, const char* path, int flags, ...) {
  CAM_SIM_MODE(flags);
  return openAny(directory, path, flags | O_LARGEFILE, mode);
}
// What fortified callers call when no mode is given.
CAM_SIM_EXPORT int __open_2(const char* path, int flags) {
  return openAny(AT_FDCWD, path, flags, 0);
}
CAM_SIM_EXPORT int __open64_2(const char* path, int flags) {
  return openAny(AT_FDCWD, path, flags | O_LARGEFILE, 0);
}
CAM_SIM_EXPORT int __openat_2(int directory, const char* path, int flags) {
  return openAny(directory, path, flags, 0);
}
CAM_SIM_EXPORT int __openat64_2(int directory, const char* path, int flags) {
  return openAny(directory, path, flags | O_LARGEFILE, 0);
}

CAM_SIM_EXPORT int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  return ioctlAny(fd, request, argument);
}
// The same for callers on 32-bit machines whose time is 64-bit.
CAM_SIM_EXPORT int __ioctl_time64(int fd, unsigned long request, ...) {
  va_list arguments;
  va_start(arguments, request);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  return ioctlAny(fd, request, argument);
}

CAM_SIM_EXPORT int close(int fd) {
  if (camsim::isDevice(fd)) camsim::closingDevice(fd);
  return camsim::rawClose(fd);
}

}  // extern "C"
