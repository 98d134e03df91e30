#include "CamSim.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>

#include "DeviceLog.h"
#include "Refusals.h"
#include "Syscalls.h"

namespace camsim {
namespace {

/// The argument of the register and report requests, in the caller's own layout.
struct TextRequest {
  uint32_t length;
  const char* text;
};

constexpr size_t maxText = 200;
constexpr size_t maxDescriptors = 64;

struct Activity {
  std::atomic<int> fd{-1};  ///< written under g_lock, read without it by isDevice
  dev_t device = 0;         ///< with inode: the anonymous file, the same for duplicates of fd
  ino_t inode = 0;
  bool registered = false;
  /// Initialised: GCC 12 drops the other members' initial values of a constinit array otherwise.
  char name[maxText] = {};
  size_t nameLength = 0;
  int64_t timeoutMs = 0;   ///< 0 = none set
  int64_t deadlineMs = 0;  ///< on the monotonic clock; 0 = not watched
};

pthread_mutex_t g_lock = PTHREAD_MUTEX_INITIALIZER;  // guards all that follows
pthread_cond_t g_changed;                            // a deadline changed; on the monotonic clock
bool g_started = false;
bool g_watching = false;
constinit Activity g_activities[maxDescriptors];
/// Whose descriptors these are. A vfork child shares this memory but owns none of them.
std::atomic<pid_t> g_owner{0};

/// Holds the lock.
class Held {
 public:
  Held() { pthread_mutex_lock(&g_lock); }
  ~Held() { pthread_mutex_unlock(&g_lock); }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
};

int64_t nowMs() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

void clearActivities() {
  for (Activity& activity : g_activities) {
    activity.fd = -1;
    activity.registered = false;
    activity.deadlineMs = 0;
  }
}

void lockBeforeFork() {
  pthread_mutex_lock(&g_lock);
}
void unlockAfterFork() {
  pthread_mutex_unlock(&g_lock);
}
void initCondition() {
  pthread_condattr_t attributes;
  pthread_condattr_init(&attributes);
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  pthread_cond_init(&g_changed, &attributes);
  pthread_condattr_destroy(&attributes);
}
/// The child has its parent's descriptors but not its activities, and no watch thread.
void startAnewInChild() {
  clearActivities();
  g_watching = false;
  g_owner = getpid();
  initCondition();
  pthread_mutex_unlock(&g_lock);
}

/// The lock is held.
void start() {
  if (g_started) return;
  g_started = true;
  g_owner = getpid();
  initCondition();
  pthread_atfork(lockBeforeFork, unlockAfterFork, startAnewInChild);
}

/// Logs what is overdue and returns the next deadline, 0 for none. The lock is held.
int64_t expireOverdue() {
  int64_t next = 0;
  const int64_t now = nowMs();
  for (Activity& activity : g_activities) {
    if (activity.deadlineMs == 0) continue;
    if (activity.deadlineMs <= now) {
      activity.deadlineMs = 0;
      logText("expired", activity.name, activity.nameLength);
    } else if (next == 0 || activity.deadlineMs < next) {
      next = activity.deadlineMs;
    }
  }
  return next;
}

void* watch(void*) {
  const Held held;
  while (true) {
    const int64_t next = expireOverdue();
    if (next == 0) {
      pthread_cond_wait(&g_changed, &g_lock);
    } else {
      const timespec until{static_cast<time_t>(next / 1000), static_cast<long>(next % 1000 * 1000000)};
      pthread_cond_timedwait(&g_changed, &g_lock, &until);
    }
  }
  return nullptr;
}

/// The lock is held; the signal mask is the caller's again afterwards.
void startWatching() {
  if (g_watching) return;
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  pthread_t thread;
  if (pthread_create(&thread, nullptr, watch, nullptr) == 0) {
    g_watching = true;
    pthread_setname_np(thread, "cam-sim");
    pthread_detach(thread);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

/// The kick, or the time-out newly set: the deadline counts from now. The lock is held.
void restartDeadline(Activity& activity) {
  activity.deadlineMs = activity.registered && activity.timeoutMs > 0 ? nowMs() + activity.timeoutMs : 0;
}

int fail(int error) {
  errno = error;
  return -1;
}

int registerActivity(Activity& activity, const TextRequest* request) {
  if (request == nullptr || request->text == nullptr) return fail(EFAULT);
  if (refuses("register", request->text, request->length)) return fail(EPERM);
  activity.nameLength = request->length < maxText ? request->length : maxText;
  for (size_t i = 0; i < activity.nameLength; ++i) activity.name[i] = request->text[i];
  activity.registered = true;
  activity.timeoutMs = 0;
  activity.deadlineMs = 0;
  logText("register", activity.name, activity.nameLength);
  return 0;
}

/// The lock is held.
int carryOut(Activity& activity, unsigned long request, void* argument) {
  const auto* text = static_cast<const TextRequest*>(argument);
  switch (request) {
    case registerRequest:
      return registerActivity(activity, text);
    case reportRequest:
      if (text == nullptr || text->text == nullptr) return fail(EFAULT);
      if (refuses("report", text->text, text->length)) return fail(EPERM);
      logText("report", text->text, text->length);
      return 0;
    case timeoutRequest: {
      const auto value = reinterpret_cast<uintptr_t>(argument);
      if (refuses("timeout", activity.name, activity.nameLength)) return fail(EPERM);
      logNumber("timeout", value);
      if (!activity.registered) return fail(EINVAL);
      activity.timeoutMs = static_cast<int64_t>(value & UINT32_MAX);
      restartDeadline(activity);
      startWatching();
      pthread_cond_signal(&g_changed);
      return 0;
    }
    case kickRequest:
      if (refuses("kick", activity.name, activity.nameLength)) return fail(EPERM);
      logText("kick", activity.name, activity.nameLength);
      if (!activity.registered) return fail(EINVAL);
      restartDeadline(activity);
      pthread_cond_signal(&g_changed);
      return 0;
    case unregisterRequest:
      if (refuses("unregister", activity.name, activity.nameLength)) return fail(EPERM);
      logText("unregister", activity.name, activity.nameLength);
      if (!activity.registered) return fail(EINVAL);
      activity.registered = false;
      activity.nameLength = 0;
      activity.deadlineMs = 0;
      return 0;
    default:
      return fail(ENOTTY);
  }
}

/// The activity whose file fd refers to, duplicates included. The lock is held.
Activity* activityOf(int fd) {
  struct stat status;
  if (fstat(fd, &status) != 0) return nullptr;
  for (Activity& activity : g_activities) {
    if (activity.fd >= 0 && activity.device == status.st_dev && activity.inode == status.st_ino) {
      return &activity;
    }
  }
  return nullptr;
}

bool isDeviceRequest(unsigned long request) {
  return request == registerRequest || request == timeoutRequest || request == kickRequest ||
         request == unregisterRequest || request == reportRequest;
}

}  // namespace

int openDevice(int flags) {
  if (refuses("open", "", 0)) return fail(EPERM);
  const int fd = memfd_create("K7V_CAM", (flags & O_CLOEXEC) != 0 ? MFD_CLOEXEC : 0U);
  if (fd < 0) return -1;
  const Held held;
  start();
  Activity* slot = nullptr;
  for (Activity& activity : g_activities) {
    // dup2 may have replaced the descriptor without this library's knowledge: only its number is left.
    if (activity.fd == fd) activity.fd = -1;
    if (activity.fd < 0 && slot == nullptr) slot = &activity;
  }
  struct stat status;
  if (slot == nullptr || fstat(fd, &status) != 0) {
    rawClose(fd);
    return fail(EMFILE);
  }
  slot->device = status.st_dev;
  slot->inode = status.st_ino;
  slot->registered = false;
  slot->nameLength = 0;
  slot->timeoutMs = 0;
  slot->deadlineMs = 0;
  slot->fd = fd;
  logNumber("open", static_cast<unsigned long>(fd));
  return fd;
}

bool isDevice(int fd) {
  if (fd < 0) return false;
  for (const Activity& activity : g_activities) {
    if (activity.fd.load(std::memory_order_relaxed) == fd) return getpid() == g_owner;
  }
  return false;
}

bool deviceRequest(int fd, unsigned long request, void* argument, int& result) {
  if (g_owner.load(std::memory_order_relaxed) == 0 || !(isDeviceRequest(request) || isDevice(fd)))
    return false;
  if (getpid() != g_owner) return false;
  const int savedErrno = errno;
  const Held held;
  Activity* activity = activityOf(fd);
  errno = savedErrno;
  if (activity != nullptr) result = carryOut(*activity, request, argument);
  return activity != nullptr;
}

void closingDevice(int fd) {
  const int savedErrno = errno;
  const Held held;
  Activity* activity = activityOf(fd);
  if (activity != nullptr && activity->fd == fd) {
    activity->fd = -1;
    activity->registered = false;
    activity->deadlineMs = 0;
    logNumber("close", static_cast<unsigned long>(fd));
  }
  errno = savedErrno;
}

}  // namespace camsim
