#include "frame/otnThread.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using std::chrono::steady_clock;

class BusThread : public ::testing::Test {
 protected:
  BusThread() { otnThreadRunning = 0; }
  ~BusThread() override { otnThreadRunning = 0; }
};

TEST_F(BusThread, ThatRunsIsSeenAtOnce) {
  otnThreadRunning = 1;
  const auto before = steady_clock::now();
  EXPECT_TRUE(waitForOtnThread());
  EXPECT_LT(steady_clock::now() - before, std::chrono::milliseconds(900)) << "no step was waited";
}

TEST_F(BusThread, ThatComesUpIsSeenAtTheNextStep) {
  std::thread bus([] { otnThreadRunning = 1; });
  EXPECT_TRUE(waitForOtnThread());
  bus.join();
}

TEST_F(BusThread, ThatDoesNotComeUpIsGivenUpAfterFiveSteps) {
  const auto before = steady_clock::now();
  EXPECT_FALSE(waitForOtnThread());
  EXPECT_GE(steady_clock::now() - before, std::chrono::milliseconds(4900));
}

}  // namespace
