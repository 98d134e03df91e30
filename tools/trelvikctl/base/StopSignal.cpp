#include "base/StopSignal.h"

#include <sys/signalfd.h>
#include <unistd.h>

namespace ctl {

StopSignal::StopSignal() {
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  sigprocmask(SIG_BLOCK, &stopSignals, &m_before);
  m_fd = signalfd(-1, &stopSignals, SFD_CLOEXEC | SFD_NONBLOCK);
}

StopSignal::~StopSignal() {
  // Those that came were meant for the wait that they have ended.
  signalfd_siginfo seen;
  while (m_fd >= 0 && read(m_fd, &seen, sizeof seen) > 0) continue;
  if (m_fd >= 0) close(m_fd);
  sigprocmask(SIG_SETMASK, &m_before, nullptr);
}

}  // namespace ctl
