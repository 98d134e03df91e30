#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "base/Values.h"
#include "board/Check.h"
#include "ops/DebugClient.h"

namespace ctl {
namespace {

constexpr const char* startScript = "/etc/rc.d/issStartScript.sh";

bool exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

Check marker(const std::string& path, const std::string& missing) {
  if (exists(path)) return {"marker " + path, Mark::good, "there"};
  return {"marker " + path, Mark::note, "not there: " + missing};
}

Check scriptFile(const std::string& path, const std::string& missing) {
  if (exists(path)) return {"script " + path, Mark::good, "there"};
  return {"script " + path, Mark::note, "not there: " + missing};
}

Check executable(const std::string& subject, const std::string& path, const std::string& toDo) {
  if (access(path.c_str(), X_OK) == 0) return {subject, Mark::good, path};
  return {subject, Mark::bad, path + ": " + strerror(errno), toDo};
}

Check screen() {
  const char* path = getenv("PATH");
  for (const std::string& directory : split(path == nullptr ? "/usr/bin:/bin" : path, ':')) {
    if (access((directory + "/screen").c_str(), X_OK) == 0)
      return {"screen", Mark::good, directory + "/screen"};
  }
  return {"screen", Mark::bad, "not in the path", "install screen: the daemon starts ISS in it"};
}

Check debugSocket() {
  const int error = probeSocket(debugServerPath);
  if (error == 0) return {"debug socket", Mark::good, debugServerPath};
  if (error == EACCES || error == EPERM) {
    return {"debug socket", Mark::note, std::string(debugServerPath) + " is not for this user",
            "ask as root"};
  }
  return {"debug socket", Mark::bad, std::string(debugServerPath) + ": " + strerror(error),
          "start the daemon; when it runs, see its log for \"debug socket\""};
}

Check monitorDevice() {
  struct stat status;
  constexpr const char* path = "/dev/K7V_CAM";
  if (stat(path, &status) != 0) {
    return {"monitor device", Mark::note, std::string(path) + ": " + strerror(errno),
            "on a board with a monitor, load its driver"};
  }
  if (S_ISCHR(status.st_mode)) return {"monitor device", Mark::good, path};
  return {"monitor device", Mark::bad, std::string(path) + " is no character device",
          "remove it, load the driver"};
}

Check disk(const std::string& path) {
  constexpr uint64_t enough = 1 << 20;
  struct statvfs status;
  if (statvfs(path.c_str(), &status) != 0) return {"disk " + path, Mark::note, strerror(errno)};
  const uint64_t bytes = uint64_t{status.f_bavail} * status.f_frsize;
  const std::string found = std::to_string(bytes >> 20) + " MiB free";
  if ((status.f_flag & ST_RDONLY) != 0) {
    return {"disk " + path, Mark::bad, found + ", read-only", "mount it for writing"};
  }
  if (bytes >= enough) return {"disk " + path, Mark::good, found};
  return {"disk " + path, Mark::bad, found, "make room: scripts and saved configurations need 1 MiB"};
}

/// Whether a list of ports and ranges, as the kernel shows it, holds a port.
bool holdsPort(const std::string& list, long port) {
  for (const std::string& range : split(list, ',')) {
    const size_t dash = range.find('-');
    const long first = strtol(range.c_str(), nullptr, 10);
    const long last = dash == std::string::npos ? first : strtol(range.c_str() + dash + 1, nullptr, 10);
    if (first <= port && port <= last) return true;
  }
  return false;
}

Check sysctl(const std::string& name, const std::string& path, long least) {
  std::ifstream file("/proc/sys/" + path);
  std::string value;
  std::getline(file, value);
  const std::string subject = "sysctl " + name;
  if (!file && value.empty() && !exists("/proc/sys/" + path)) {
    return {subject, Mark::note, "this kernel does not have it"};
  }
  const bool ports = name == "net.ipv4.ip_local_reserved_ports";
  if (ports ? holdsPort(value, least) : strtol(value.c_str(), nullptr, 10) >= least) {
    return {subject, Mark::good, value};
  }
  return {subject, Mark::bad, value.empty() ? "not set" : value,
          "set it to " + std::to_string(least) +
              ": install 60-trelvik.conf in /usr/lib/sysctl.d, sysctl --system"};
}

}  // namespace

Checks checkSystem() {
  return {
      checkOpsPort(),
      marker("/tmp/iss_is_ready", "ISS has not been ready since the daemon or the board started"),
      marker("/tmp/iss_msr_succeeded", "ISS has not restored a configuration"),
      marker("/tmp/initIssDone", "ISS was not started with the start script, or is not up yet"),
      marker("/persistency/iss/default_conf.commit", "no default configuration is committed"),
      executable("start script", startScript, "install the board's start script of ISS, executable"),
      screen(),
      scriptFile("/etc/iss/bh_default.txt", "a CSM board has no default script for ISS's first start"),
      debugSocket(),
      monitorDevice(),
      disk("/tmp"),
      disk("/persistency"),
      disk("/flash"),
      sysctl("net.ipv4.ip_local_reserved_ports", "net/ipv4/ip_local_reserved_ports", 8000),
      sysctl("fs.protected_symlinks", "fs/protected_symlinks", 1),
      sysctl("fs.protected_hardlinks", "fs/protected_hardlinks", 1),
      sysctl("fs.protected_fifos", "fs/protected_fifos", 2),
      sysctl("fs.protected_regular", "fs/protected_regular", 2),
  };
}

}  // namespace ctl
