#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include "board/Check.h"

namespace ctl {
namespace {

namespace fs = std::filesystem;

constexpr const char* portInHex = ":1F40";  // 8000
constexpr const char* listening = "0A";

/// A line of /proc/net/tcp.
struct Socket {
  std::string local;
  std::string state;
  std::string inode;
};

std::vector<Socket> socketsOfPort() {
  std::vector<Socket> found;
  for (const char* path : {"/proc/net/tcp", "/proc/net/tcp6"}) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
      std::istringstream words(line);
      std::string skipped;
      Socket one;
      words >> skipped >> one.local >> skipped >> one.state;
      for (int i = 0; i < 5; ++i) words >> skipped;
      words >> one.inode;
      if (one.local.ends_with(portInHex)) found.push_back(one);
    }
  }
  return found;
}

/// Who has a socket open: "NAME (PID)"; nothing when this user does not see it.
std::optional<std::string> holderOf(const std::string& inode) {
  const std::string target = "socket:[" + inode + ']';
  std::error_code error;
  for (fs::directory_iterator process("/proc", error), end; !error && process != end;
       process.increment(error)) {
    const std::string pid = process->path().filename();
    if (pid.find_first_not_of("0123456789") != std::string::npos) continue;
    // Processes of others, and those that have gone, show none.
    std::error_code hidden;
    for (fs::directory_iterator fd(process->path() / "fd", hidden); !hidden && fd != end;
         fd.increment(hidden)) {
      std::error_code gone;
      if (fs::read_symlink(*fd, gone) == target) return processName(std::stoi(pid)) + " (" + pid + ')';
    }
  }
  return std::nullopt;
}

}  // namespace

Check checkOpsPort() {
  Check check{"port 8000", Mark::bad, "nobody listens", "start ISS: trelvikctl iss start"};
  for (const Socket& one : socketsOfPort()) {
    const std::string holder = holderOf(one.inode).value_or("somebody (who: ask as root)");
    if (one.state == listening) {
      return {"port 8000", Mark::good, holder + " listens"};
    }
    if (one.inode != "0") {
      check.found = "nobody listens, and " + holder + " has it for a connection of its own";
      check.toDo =
          "end that connection; keep the port with the sysctl net.ipv4.ip_local_reserved_ports = 8000";
    }
  }
  return check;
}

}  // namespace ctl
