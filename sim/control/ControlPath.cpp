#include "control/ControlPath.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace sim {
namespace {

std::string controlDirectory() {
  return "/tmp/iss-sim-" + std::to_string(geteuid());
}

Problem whatIsWrong(const struct stat& status) {
  if (S_ISLNK(status.st_mode)) return "is a link, remove it";
  if (!S_ISDIR(status.st_mode)) return "is no directory, remove it";
  if (status.st_uid != geteuid()) return "belongs to user " + std::to_string(status.st_uid);
  if ((status.st_mode & 077) != 0) return "others may enter it, chmod it to 700";
  return std::nullopt;
}

}  // namespace

std::string defaultControlPath(uint16_t port) {
  return controlDirectory() + '/' + std::to_string(port) + ".sock";
}

Problem makeControlDirectory() {
  const std::string directory = controlDirectory();
  if (mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST) return directory + ": " + strerror(errno);
  return checkControlDirectory();
}

// What belongs to its user cannot be exchanged by others below /tmp: what was checked stays true.
Problem checkControlDirectory() {
  const std::string directory = controlDirectory();
  struct stat status;
  if (lstat(directory.c_str(), &status) != 0) {
    if (errno == ENOENT) return std::nullopt;
    return directory + ": " + strerror(errno);
  }
  Problem problem = whatIsWrong(status);
  if (problem) problem->insert(0, directory + ": ");
  return problem;
}

}  // namespace sim
