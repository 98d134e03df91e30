#include "Refusals.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "DeviceLog.h"
#include "Syscalls.h"

namespace camsim {
namespace {

constexpr size_t maxFile = 4096;

/// Whether one line of the file names this request.
bool names(const char* line, size_t size, const char* op, const char* text, size_t length) {
  const size_t opLength = strlen(op);
  if (size < opLength || memcmp(line, op, opLength) != 0) return false;
  if (size == opLength) return true;
  const size_t wanted = size - opLength - 1;
  return line[opLength] == ' ' && wanted <= length && memcmp(line + opLength + 1, text, wanted) == 0;
}

bool listed(const char* file, size_t size, const char* op, const char* text, size_t length) {
  const char* const end = file + size;
  while (file < end) {
    const auto* lineEnd = static_cast<const char*>(memchr(file, '\n', static_cast<size_t>(end - file)));
    if (lineEnd == nullptr) lineEnd = end;
    if (names(file, static_cast<size_t>(lineEnd - file), op, text, length)) return true;
    file = lineEnd + 1;
  }
  return false;
}

}  // namespace

bool refuses(const char* op, const char* text, size_t length) {
  const char* path = getenv("CAM_SIM_REFUSE");
  if (path == nullptr || *path == '\0') return false;
  const int savedErrno = errno;
  char file[maxFile];
  ssize_t size = 0;
  const int fd = rawOpen(path, O_RDONLY | O_CLOEXEC, 0);
  if (fd >= 0) {
    size = rawRead(fd, file, sizeof file);
    rawClose(fd);
  }
  const bool refused = size > 0 && listed(file, static_cast<size_t>(size), op, text, length);
  if (refused) {
    char what[maxFile];
    const int used = snprintf(what, sizeof what, "%s %.*s", op, static_cast<int>(length), text);
    logText("refused", what, used > 0 ? static_cast<size_t>(used) : 0);
  }
  errno = savedErrno;
  return refused;
}

}  // namespace camsim
