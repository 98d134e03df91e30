#include "services/ports/ScriptFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr mode_t everybodyReads = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;

/// These: 0 or an error number.
int writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(fd, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return written < 0 ? errno : ENOSPC;
    text.remove_prefix(static_cast<size_t>(written));
  }
  return 0;
}

int fill(int fd, std::string_view text) {
  int error = writeAll(fd, text);
  if (error == 0 && fchmod(fd, everybodyReads) != 0) error = errno;
  if (close(fd) != 0 && error == 0) error = errno;
  return error;
}

}  // namespace

int writeScriptFile(const char* path, std::string_view text) {
  // First, because a full disk may need the room of the earlier script.
  if (unlink(path) != 0 && errno != ENOENT) return errno;
  // Made under a name that nobody can foresee, then moved: whoever keeps putting something at the path cannot
  // come between.
  char made[PATH_MAX];
  if (snprintf(made, sizeof made, "%s.XXXXXX", path) >= static_cast<int>(sizeof made)) return ENAMETOOLONG;
  const int fd = mkostemp(made, O_CLOEXEC);
  if (fd < 0) return errno;
  int error = fill(fd, text);
  if (error == 0 && rename(made, path) != 0) error = errno;
  if (error != 0) unlink(made);
  return error;
}
