#include "base/LineOutput.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

namespace sim {

std::string timeOfDay() {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  tm local;
  localtime_r(&now.tv_sec, &local);
  char stamp[32];
  snprintf(stamp, sizeof stamp, "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
           static_cast<int>(now.tv_nsec / 1000000));
  return stamp;
}

void LineOutput::line(std::string_view text) {
  if (!m_open) return;
  std::string out = timeOfDay() + ' ';
  out.append(text);
  out += '\n';
  for (std::string_view rest = out; !rest.empty();) {
    const ssize_t n = ::write(m_fd, rest.data(), rest.size());
    if (n > 0) {
      rest.remove_prefix(static_cast<size_t>(n));
    } else if (n < 0 && errno == EAGAIN) {
      pollfd writable{m_fd, POLLOUT, 0};
      poll(&writable, 1, -1);
    } else if (n < 0 && errno == ENOSPC) {
      return;
    } else if (n == 0 || errno != EINTR) {
      m_open = false;
      return;
    }
  }
}

}  // namespace sim
