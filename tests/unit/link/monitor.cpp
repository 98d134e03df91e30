#include "link/monitor.h"

#include <fcntl.h>
#include <sys/ioctl.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

int g_device = -1;

/// Argument of the register and report requests.
struct Text {
  uint32_t length;
  const char* text;
};

std::string argumentOf(unsigned long request, unsigned long argument) {
  if (request != 0x4004D101 && request != 0x4004D17C) return std::to_string(argument);
  const Text& text = *reinterpret_cast<const Text*>(argument);
  return std::string(text.text, text.length);
}

}  // namespace

extern "C" {
int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...);
int __real_ioctl(int fd, unsigned long request, ...);
int __wrap_ioctl(int fd, unsigned long request, ...);

int __wrap_open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const int mode = (flags & O_CREAT) != 0 ? va_arg(more, int) : 0;
  va_end(more);
  if (!Monitor::present || strcmp(path, "/dev/K7V_CAM") != 0) return __real_open(path, flags, mode);
  return g_device = __real_open("/dev/null", flags);
}

int __wrap_ioctl(int fd, unsigned long request, ...) {
  va_list more;
  va_start(more, request);
  const unsigned long argument = va_arg(more, unsigned long);
  va_end(more);
  if (!Monitor::present || fd != g_device) return __real_ioctl(fd, request, argument);
  char number[20];
  snprintf(number, sizeof number, "%lX ", request);
  Monitor::requests.push_back(number + argumentOf(request, argument));
  return Monitor::refuses ? -1 : 0;
}
}
