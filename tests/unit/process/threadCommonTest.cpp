#include "process/threadCommon.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "process/failAttributes.h"
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

}  // namespace
