#include "base/TmpFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

namespace sim {
namespace {

constexpr std::string_view root = "/tmp/";

int fail(int fd, int error) {
  if (fd >= 0) ::close(fd);
  errno = error;
  return -1;
}

/// Opens the directory that the path's last part is in, one part after the other, and leaves the last part in
/// `path`. /tmp itself may be a link: it is the administrator's.
int openDirectory(std::string_view& path) {
  if (!path.starts_with(root)) return fail(-1, EACCES);
  path.remove_prefix(root.size());
  int fd = ::open("/tmp", O_PATH | O_DIRECTORY | O_CLOEXEC);
  for (size_t end = 0; fd >= 0 && (end = path.find('/')) != std::string_view::npos;) {
    const std::string part(path.substr(0, end));
    path.remove_prefix(end + 1);
    if (part.empty() || part == "." || part == "..") return fail(fd, EACCES);
    const int next = ::openat(fd, part.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    const int error = errno;
    ::close(std::exchange(fd, next));
    errno = error;
  }
  return fd;
}

int openLast(std::string_view path, int flags) {
  const int directory = openDirectory(path);
  if (directory < 0) return -1;
  const int fd =
      ::openat(directory, std::string(path).c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644);
  const int error = errno;
  ::close(directory);
  errno = error;
  return fd;
}

}  // namespace

int openTmpFile(const std::string& path) {
  const int fd = openLast(path, O_RDONLY);
  if (fd < 0) return fd;
  struct stat status;
  if (fstat(fd, &status) != 0) return fail(fd, errno);
  const bool foreign = status.st_uid != geteuid() && status.st_uid != 0;
  return S_ISREG(status.st_mode) && !foreign ? fd : fail(fd, EACCES);
}

int createTmpFile(const std::string& path) {
  const int fd = openLast(path, O_WRONLY | O_CREAT);
  if (fd < 0) return fd;
  struct stat status;
  if (fstat(fd, &status) != 0) return fail(fd, errno);
  // One with a second name is also somewhere else.
  const bool own = S_ISREG(status.st_mode) && status.st_uid == geteuid() && status.st_nlink == 1;
  if (!own) return fail(fd, EACCES);
  return ftruncate(fd, 0) == 0 ? fd : fail(fd, errno);
}

}  // namespace sim
