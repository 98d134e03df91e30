#include "executeCommand.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <vector>

#include "Guard.h"
#include "board/platformTrace.h"
#include "stopPending.h"

namespace {

constexpr LogPlace atExecuteCommand{"board", "executeCommand", &platformTrace};

/// How often a wait looks where the kernel has no pidfd, and the child's end has to be asked for, ms.
constexpr int askSlice = 10;

/// Closed when it goes out of scope.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : m_fd(fd) {}
  ~Descriptor() { reset(-1); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return m_fd; }
  void reset(int fd) {
    if (m_fd >= 0) close(m_fd);
    m_fd = fd;
  }

 private:
  int m_fd;
};

/// Children that nobody waits for. Reaped at the next command; never destroyed, because another thread may be
/// in here while the process exits.
class Orphans {
 public:
  static Orphans& instance() {
    static Orphans* const orphans = new Orphans;
    return *orphans;
  }
  void add(pid_t pid) {
    Guard guard(&m_mutex);
    m_pids.push_back(pid);
  }
  void reap() {
    Guard guard(&m_mutex);
    std::erase_if(m_pids, [](pid_t pid) { return waitpid(pid, nullptr, WNOHANG) != 0; });
  }

 private:
  Mutex m_mutex;
  std::vector<pid_t> m_pids GUARDED_BY(m_mutex);
};

/// Starts `/bin/sh -c command`; `outputFd`, unless -1, becomes its standard output. 0 or an error number.
int startShell(const char* command, int outputFd, pid_t& pid) {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigfillset(&signals);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  if (outputFd >= 0) posix_spawn_file_actions_adddup2(&actions, outputFd, STDOUT_FILENO);
  posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);

  char shell[] = "sh";
  char option[] = "-c";
  char* const arguments[] = {shell, option, const_cast<char*>(command), nullptr};
  const int error = posix_spawn(&pid, "/bin/sh", &actions, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

/// Moves what the pipe holds to `output` without waiting; the pipe is closed at its end.
void drain(Descriptor& pipeEnd, std::string& output) {
  char buffer[4096];
  while (pipeEnd.get() >= 0) {
    const ssize_t count = read(pipeEnd.get(), buffer, sizeof buffer);
    if (count > 0) {
      output.append(buffer, static_cast<size_t>(count));
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
      pipeEnd.reset(-1);
    } else if (errno == EAGAIN) {
      return;
    }
  }
}

enum class Wait { Ended, BrokenOff, StatusLost };

/// Waits for the child and collects its output, until a stop of the process breaks the wait off. A grandchild
/// that keeps the pipe open is not waited for.
Wait waitForChild(pid_t pid, Descriptor& pipeEnd, std::string* output, int& status) {
  const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  for (;;) {
    pollfd events[] = {{process.get(), POLLIN, 0}, {pipeEnd.get(), POLLIN, 0}};
    poll(events, 2, process.get() >= 0 ? otn::stopCheckInterval : askSlice);
    if (output != nullptr) drain(pipeEnd, *output);
    const pid_t ended = waitpid(pid, &status, WNOHANG);
    const bool lost = ended < 0 && errno != EINTR;
    if (ended == pid || lost) {
      if (output != nullptr) drain(pipeEnd, *output);
      return lost ? Wait::StatusLost : Wait::Ended;
    }
    if (otn::stopPending()) return Wait::BrokenOff;
  }
}

}  // namespace

namespace otn {

bool executeCommand(const char* command, bool wait, int* exitStatus, std::string* output, bool logFailure) {
  if (exitStatus != nullptr) *exitStatus = -1;
  if (output != nullptr) output->clear();
  Orphans::instance().reap();

  Descriptor readEnd;
  Descriptor writeEnd;
  int error = 0;
  if (output != nullptr && wait) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) == 0) {
      readEnd.reset(ends[0]);
      writeEnd.reset(ends[1]);
      fcntl(ends[0], F_SETFL, O_NONBLOCK);
    } else {
      error = errno;
    }
  }
  pid_t pid = -1;
  if (error == 0) error = startShell(command, writeEnd.get(), pid);
  writeEnd.reset(-1);
  if (error != 0) {
    char text[128];
    if (logFailure) {
      LOG(ERROR, atExecuteCommand, HERE, "Failed to start [%s]: %s", command,
          strerror_r(error, text, sizeof text));
    }
    return false;
  }
  if (!wait) {
    Orphans::instance().add(pid);
    return true;
  }

  int status = 0;
  const Wait wayOut = waitForChild(pid, readEnd, output, status);
  if (wayOut == Wait::BrokenOff) Orphans::instance().add(pid);
  int code = statusUnknown;
  if (wayOut == Wait::Ended) code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  if (exitStatus != nullptr) *exitStatus = code;
  return code == 0;
}

}  // namespace otn
