#include "stopPending.h"

#include <atomic>
#include <csignal>

namespace {

std::atomic<bool> g_stopping{false};
static_assert(std::atomic<bool>::is_always_lock_free);

}  // namespace

namespace otn {

bool stopPending() {
  if (g_stopping.load(std::memory_order_relaxed)) return true;
  sigset_t pending;
  if (sigpending(&pending) != 0) return false;
  return sigismember(&pending, SIGTERM) == 1 || sigismember(&pending, SIGQUIT) == 1 ||
         sigismember(&pending, SIGINT) == 1;
}

void setStopping(bool stopping) {
  g_stopping.store(stopping, std::memory_order_relaxed);
}

}  // namespace otn
