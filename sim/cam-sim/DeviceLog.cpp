#include "DeviceLog.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "Syscalls.h"

namespace camsim {
namespace {

constexpr size_t lineSize = 4096;

/// Appends what fits of one character, escaped; a line is never split.
size_t escape(char* out, size_t room, char c) {
  const auto byte = static_cast<unsigned char>(c);
  const char* known = c == '\n'   ? "\\n"
                      : c == '\r' ? "\\r"
                      : c == '\t' ? "\\t"
                      : c == '\\' ? "\\\\"
                                  : nullptr;
  char hex[8];
  if (known == nullptr && (byte < ' ' || byte == 0x7F)) {
    snprintf(hex, sizeof hex, "\\x%02x", byte);
    known = hex;
  }
  if (known == nullptr) {
    if (room == 0) return 0;
    *out = c;
    return 1;
  }
  size_t length = 0;
  while (known[length] != '\0') ++length;
  if (length > room) return 0;
  for (size_t i = 0; i < length; ++i) out[i] = known[i];
  return length;
}

}  // namespace

void logText(const char* op, const char* text, size_t length) {
  const int savedErrno = errno;
  const char* path = getenv("CAM_SIM_LOG");
  if (path != nullptr && *path != '\0') {
    char line[lineSize];
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    auto used = static_cast<size_t>(snprintf(line, sizeof line, "%lld.%06ld %s ",
                                             static_cast<long long>(now.tv_sec), now.tv_nsec / 1000, op));
    for (size_t i = 0; i < length; ++i) used += escape(line + used, sizeof line - 1 - used, text[i]);
    line[used++] = '\n';
    const int fd = rawOpen(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd >= 0) {
      rawWrite(fd, line, used);
      rawClose(fd);
    }
  }
  errno = savedErrno;
}

void logNumber(const char* op, unsigned long number) {
  char text[24];
  const int length = snprintf(text, sizeof text, "%lu", number);
  logText(op, text, static_cast<size_t>(length));
}

}  // namespace camsim
