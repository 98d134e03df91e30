#include "frame/ReceiveLoop.h"

#include <gtest/gtest.h>

namespace {

timespec left(timespec timeout, timespec before, timespec after) {
  return timeLeft(timeout, before, after);
}

void expectTime(const timespec& actual, time_t seconds, long nanoseconds) {
  EXPECT_EQ(actual.tv_sec, seconds);
  EXPECT_EQ(actual.tv_nsec, nanoseconds);
}

TEST(TimeLeft, IsTheWholeTimeWhenNonePassed) {
  expectTime(left({30, 0}, {100, 5}, {100, 5}), 30, 0);
  expectTime(left({0, 0}, {100, 5}, {100, 5}), 0, 0);
}

TEST(TimeLeft, BorrowsFromTheSeconds) {
  expectTime(left({30, 0}, {100, 0}, {101, 500000000}), 28, 500000000);
  expectTime(left({5, 100}, {100, 0}, {100, 101}), 4, 999999999);
}

TEST(TimeLeft, CarriesIntoTheSeconds) {
  expectTime(left({5, 900000000}, {100, 900000000}, {101, 100000000}), 5, 700000000);
  expectTime(left({5, 500000000}, {100, 999999999}, {101, 499999999}), 5, 0);
}

TEST(TimeLeft, IsNeverNegative) {
  expectTime(left({5, 0}, {100, 0}, {105, 0}), 0, 0);
  expectTime(left({5, 0}, {100, 0}, {105, 1}), 0, 0);
  expectTime(left({5, 0}, {100, 0}, {3700, 0}), 0, 0);
  expectTime(left({0, 0}, {100, 0}, {100, 1}), 0, 0);
}

}  // namespace
