#include "base/ReadFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace sim {
namespace {

Problem readDescriptor(int fd, size_t limit, std::string& content) {
  struct stat status;
  if (fstat(fd, &status) != 0) return strerror(errno);
  if (!S_ISREG(status.st_mode)) return "not a regular file";
  content.clear();
  while (content.size() <= limit) {
    char piece[65536];
    const ssize_t n = ::read(fd, piece, sizeof piece);
    if (n == 0) return std::nullopt;
    if (n > 0) {
      content.append(piece, static_cast<size_t>(n));
    } else if (errno != EINTR) {
      return strerror(errno);
    }
  }
  return "longer than " + std::to_string(limit) + " bytes";
}

}  // namespace

Problem readFile(const std::string& path, size_t limit, std::string& content) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  Problem problem = fd < 0 ? strerror(errno) : readDescriptor(fd, limit, content);
  if (fd >= 0) ::close(fd);
  if (problem) problem->insert(0, path + ": ");
  return problem;
}

}  // namespace sim
