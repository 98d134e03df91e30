#include "link/CriticalActivity.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstring>

namespace {

constexpr const char* monitorDevice = "/dev/K7V_CAM";

constexpr unsigned long registerActivity = 0x4004D101;
constexpr unsigned long setActivityTimeout = 0x4004D12D;
constexpr unsigned long kickActivity = 0xD167;
constexpr unsigned long unregisterActivity = 0xD134;
constexpr unsigned long reportEvent = 0x4004D17C;

/// Argument of the register and report requests.
struct MonitorText {
  explicit MonitorText(const char* value) : length(static_cast<uint32_t>(strlen(value))), text(value) {}

  uint32_t length;  ///< without the NUL
  const char* text;
};

int openMonitor() {
  return open(monitorDevice, O_RDWR | O_CLOEXEC);
}

}  // namespace

CriticalActivity::~CriticalActivity() {
  if (fd >= 0) close(fd);
}

bool CriticalActivity::start(const char* name) {
  fd = openMonitor();
  if (fd < 0) return false;
  const MonitorText request(name);
  if (ioctl(fd, registerActivity, &request) == 0) return true;
  if (close(fd) == 0) fd = -1;
  return false;
}

bool CriticalActivity::setTimeout(unsigned long timeout) {
  return fd >= 0 && ioctl(fd, setActivityTimeout, timeout) == 0;
}

bool CriticalActivity::kick() {
  return fd >= 0 && ioctl(fd, kickActivity, 0) == 0;
}

bool CriticalActivity::stop() {
  return fd >= 0 && ioctl(fd, unregisterActivity, 0) == 0;
}

bool reportCriticalEvent(const char* text) {
  const int monitor = openMonitor();
  if (monitor < 0) return false;
  const MonitorText request(text);
  const bool taken = ioctl(monitor, reportEvent, &request) == 0;
  close(monitor);
  return taken;
}
