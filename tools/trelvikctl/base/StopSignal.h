// SIGINT and SIGTERM as a descriptor, for whoever waits in a loop of its own. One at a time; one thread.
#pragma once

#include <csignal>

namespace ctl {

class StopSignal {
 public:
  /// From here on the two signals do not end the program.
  StopSignal();
  ~StopSignal();
  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  /// Readable once a signal has come; -1 when there is none to be had.
  int fd() const { return m_fd; }

 private:
  sigset_t m_before;
  int m_fd;
};

}  // namespace ctl
