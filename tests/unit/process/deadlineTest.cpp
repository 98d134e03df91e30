#include "process/deadline.h"

#include <gtest/gtest.h>

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

}  // namespace
