#include "process/running.h"

#include <gtest/gtest.h>

#include "stopPending.h"

namespace {

TEST(StopRequested, IsNotInARunningProcess) {
  EXPECT_EQ(running, 1);
  EXPECT_FALSE(stopRequested());
}

TEST(StopRequested, OnceTheHandlerHasRun) {
  running = 0;
  EXPECT_TRUE(stopRequested());
  running = 1;
}

TEST(StopRequested, AlreadyBeforeTheHandlerClearsTheFlag) {
  otn::setStopping(true);
  EXPECT_TRUE(stopRequested());
  EXPECT_EQ(running, 1);
  otn::setStopping(false);
}

}  // namespace
