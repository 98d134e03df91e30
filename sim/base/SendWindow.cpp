#include "base/SendWindow.h"

#include <linux/sockios.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace sim {

bool fitsWindow(int fd, size_t size) {
  tcp_info info{};
  socklen_t length = sizeof info;
  int waiting = 0;
  // An old kernel does not tell the window: then it fits.
  if (getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &length) != 0 ||
      length < offsetof(tcp_info, tcpi_snd_wnd) + sizeof info.tcpi_snd_wnd ||
      ioctl(fd, SIOCOUTQ, &waiting) != 0) {
    return true;
  }
  // The window of a peer that is gone stays as it was last; a write tells what happened.
  pollfd gone{fd, 0, 0};
  if (poll(&gone, 1, 0) == 1) return true;
  return static_cast<size_t>(waiting) + size <= info.tcpi_snd_wnd;
}

}  // namespace sim
