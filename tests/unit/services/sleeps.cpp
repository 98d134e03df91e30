#include "services/sleeps.h"

#include <atomic>
#include <ctime>

namespace {

std::atomic<long> slept;
std::function<void(long)> onSleep;

}  // namespace

extern "C" {
int __real_nanosleep(const timespec* time, timespec* left);
int __wrap_nanosleep(const timespec* time, timespec* left);

int __wrap_nanosleep(const timespec* time, timespec* left) {
  if (!onSleep) return __real_nanosleep(time, left);
  slept += time->tv_sec * 1000 + time->tv_nsec / 1000000;
  onSleep(slept);
  return 0;
}
}

PassingSleeps::PassingSleeps(std::function<void(long)> passed) {
  slept = 0;
  onSleep = std::move(passed);
}

PassingSleeps::~PassingSleeps() {
  onSleep = nullptr;
}

long PassingSleeps::total() const {
  return slept;
}
