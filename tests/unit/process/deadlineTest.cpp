#include "process/deadline.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <chrono>
#include <csignal>

namespace {

long milliseconds(const timespec& when) {
  return when.tv_sec * 1000 + when.tv_nsec / 1000000;
}

TEST(Deadline, LiesTheGivenTimeAheadAndIsNormal) {
  for (const long ahead : {0L, 1L, 999L, 1000L, 2500L, 60999L}) {
    timespec before{};
    timespec after{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    const timespec deadline = monotonicIn(ahead);
    clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_GE(milliseconds(deadline), milliseconds(before) + ahead);
    EXPECT_LE(milliseconds(deadline), milliseconds(after) + ahead);
    EXPECT_GE(deadline.tv_nsec, 0);
    EXPECT_LT(deadline.tv_nsec, 1000000000);
  }
}

volatile sig_atomic_t alarms = 0;

TEST(Sleep, IsNotShortenedBySignals) {
  const auto before = signal(SIGALRM, [](int) { alarms = alarms + 1; });
  const itimerval often{{0, 5000}, {0, 5000}};
  const itimerval never{};
  setitimer(ITIMER_REAL, &often, nullptr);
  const auto began = std::chrono::steady_clock::now();
  sleepMilliseconds(100);
  const auto slept = std::chrono::steady_clock::now() - began;
  setitimer(ITIMER_REAL, &never, nullptr);
  signal(SIGALRM, before);
  EXPECT_GE(slept, std::chrono::milliseconds(100));
  EXPECT_GT(alarms, 0);
}

}  // namespace
