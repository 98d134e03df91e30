#include "base/InputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace ctl {

Outcome readInput(const std::string& path, size_t mostMib, std::string& bytes) {
  const size_t most = mostMib << 20;
  const int fd = path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return failed("cannot read " + path + ": " + strerror(errno));
  ssize_t n = 0;
  char piece[65536];
  while (bytes.size() <= most && ((n = read(fd, piece, sizeof piece)) > 0 || errno == EINTR)) {
    if (n > 0) bytes.append(piece, static_cast<size_t>(n));
    errno = 0;
  }
  const int error = n < 0 ? errno : 0;
  if (fd != STDIN_FILENO) close(fd);
  if (error != 0) return failed("cannot read " + path + ": " + strerror(error));
  if (bytes.size() > most) {
    return failed(path + " has more than " + std::to_string(mostMib) + " MiB: take the rest in parts");
  }
  return {};
}

}  // namespace ctl
