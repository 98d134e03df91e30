// A loopback for a network namespace of a test's own.
#pragma once

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

/// A network namespace begins with its loopback down.
inline void bringLoopbackUp() {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq request{};
  strcpy(request.ifr_name, "lo");
  request.ifr_flags = IFF_UP;
  ioctl(fd, SIOCSIFFLAGS, &request);
  close(fd);
}
