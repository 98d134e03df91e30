#include "link/CriticalActivity.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

TEST(CriticalActivityWithoutADevice, StaysUnregisteredAndIdle) {
  ASSERT_NE(access("/dev/K7V_CAM", F_OK), 0) << "this machine has the monitor device";
  CriticalActivity activity;
  EXPECT_FALSE(activity.registered());
  EXPECT_FALSE(activity.start("main"));
  EXPECT_FALSE(activity.registered());
  EXPECT_FALSE(activity.setTimeout(120000));
  EXPECT_FALSE(activity.kick());
  EXPECT_FALSE(activity.stop());
  EXPECT_FALSE(reportCriticalEvent("CONNECTION TO OPS LOST !\n"));
}

TEST(CriticalActivityTimeout, IsTwoMinutesInMilliseconds) {
  EXPECT_EQ(criticalActivityTimeout, 120000U);
}

}  // namespace
