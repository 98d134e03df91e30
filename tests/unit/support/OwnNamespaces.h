// Network and /tmp of the test's own, because the daemon's port and several of its paths are fixed.
#pragma once

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
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

/// Moves the calling thread, and the threads that it starts from now on, into namespaces of its own. Where
/// the system does not allow it the test runs in the machine's: the build lets such tests run one at a time.
inline void enterOwnNamespaces() {
  static bool tried = false;
  if (tried) return;
  tried = true;
  const int userNamespace = geteuid() == 0 ? 0 : CLONE_NEWUSER;
  if (unshare(userNamespace | CLONE_NEWNET | CLONE_NEWNS) != 0) return;
  mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
  mount("tmpfs", "/tmp", "tmpfs", 0, nullptr);
  bringLoopbackUp();
}
