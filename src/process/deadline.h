// Deadlines on the monotonic clock, for timed waits, and sleeps that signals do not shorten. Any thread.
#pragma once

#include <ctime>

inline timespec monotonicIn(long milliseconds) {
  timespec when{};
  clock_gettime(CLOCK_MONOTONIC, &when);
  when.tv_sec += milliseconds / 1000;
  when.tv_nsec += milliseconds % 1000 * 1000000;
  if (when.tv_nsec >= 1000000000) {
    when.tv_nsec -= 1000000000;
    ++when.tv_sec;
  }
  return when;
}

inline void sleepMilliseconds(long milliseconds) {
  timespec left{milliseconds / 1000, milliseconds % 1000 * 1000000};
  while (nanosleep(&left, &left) != 0) {
  }
}
