#include "link/threadCommon.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <thread>

#include "link/Relaxed.h"
#include "link/deadline.h"
#include "link/failAttributes.h"
#include "support/RoomTest.h"

namespace {

class CommonAttributes : public RoomTest {};

TEST_F(CommonAttributes, HaveTheCommonStackSize) {
  pthread_attr_t attr;
  ASSERT_TRUE(init_pthread_attr(&attr));
  size_t size = 0;
  ASSERT_EQ(pthread_attr_getstacksize(&attr, &size), 0);
  EXPECT_EQ(size, 131072U);
  int state = -1;
  ASSERT_EQ(pthread_attr_getdetachstate(&attr, &state), 0);
  EXPECT_EQ(state, PTHREAD_CREATE_JOINABLE);
  EXPECT_TRUE(lines().empty());
  pthread_attr_destroy(&attr);
}

TEST_F(CommonAttributes, ReportThatTheyCannotBeInitialised) {
  pthread_attr_t attr;
  failNextAttrInit(ENOMEM);
  EXPECT_FALSE(init_pthread_attr(&attr));
  EXPECT_THAT(lines(),
              ::testing::ElementsAre(logged("ERROR", "threadCommon", 21, "init_pthread_attr",
                                            "Failed to initialize pthread_attr_t: Cannot allocate memory")));
}

TEST_F(CommonAttributes, ReportARefusedStackSize) {
  pthread_attr_t attr;
  failNextStackSize(EINVAL);
  EXPECT_FALSE(init_pthread_attr(&attr));
  EXPECT_THAT(lines(), ::testing::ElementsAre(
                           logged("ERROR", "threadCommon", 28, "init_pthread_attr",
                                  "Failed to set stack size for thread to 131072: Invalid argument")));
}

TEST_F(CommonAttributes, AreGivenToTheThreadsThatAreStarted) {
  const ThreadAttributes attributes;
  ASSERT_NE(attributes.get(), nullptr);
  size_t size = 0;
  ASSERT_EQ(pthread_attr_getstacksize(attributes.get(), &size), 0);
  EXPECT_EQ(size, 131072U);
}

TEST_F(CommonAttributes, GiveWayToDefaultOnesWhenTheSystemRefuses) {
  for (void (*const fail)(int) : {failNextAttrInit, failNextStackSize}) {
    fail(ENOMEM);
    const ThreadAttributes attributes;
    EXPECT_EQ(attributes.get(), nullptr);
    EXPECT_EQ(lines().size(), 1U);
    forget();
    pthread_t thread;
    ASSERT_EQ(pthread_create(
                  &thread, attributes.get(), [](void*) -> void* { return nullptr; }, nullptr),
              0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
  }
}

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

TEST(RelaxedWord, StartsZeroAndIsSeenByOtherThreads) {
  Relaxed<int32_t> word;
  EXPECT_EQ(word, 0);
  std::thread writer([&word] { word = -5; });
  writer.join();
  EXPECT_EQ(word, -5);
}

}  // namespace
