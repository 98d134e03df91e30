#include "link/CriticalActivity.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "link/monitor.h"

namespace {

using ::testing::ElementsAre;

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

class CriticalActivityOfADevice : public ::testing::Test {
 protected:
  CriticalActivityOfADevice() {
    Monitor::requests.clear();
    Monitor::present = true;
  }
  ~CriticalActivityOfADevice() override { Monitor::present = Monitor::refuses = false; }
};

TEST_F(CriticalActivityOfADevice, IsRegisteredKickedAndEnded) {
  CriticalActivity activity;
  EXPECT_TRUE(activity.start("main"));
  EXPECT_TRUE(activity.registered());
  EXPECT_TRUE(activity.setTimeout(120000));
  EXPECT_TRUE(activity.kick());
  EXPECT_TRUE(activity.stop());
  EXPECT_TRUE(reportCriticalEvent("CONNECTION TO OPS LOST !\n"));
  EXPECT_THAT(Monitor::requests, ElementsAre("4004D101 main", "4004D12D 120000", "D167 0", "D134 0",
                                             "4004D17C CONNECTION TO OPS LOST !\n"));
}

TEST_F(CriticalActivityOfADevice, TellsARefusal) {
  CriticalActivity activity;
  ASSERT_TRUE(activity.start("OPS"));
  Monitor::refuses = true;
  EXPECT_FALSE(activity.setTimeout(120000));
  EXPECT_FALSE(activity.kick());
  EXPECT_FALSE(activity.stop());
  EXPECT_TRUE(activity.registered());
  EXPECT_FALSE(reportCriticalEvent("x"));
}

TEST_F(CriticalActivityOfADevice, IsClosedWhenItRefusesToRegister) {
  Monitor::refuses = true;
  CriticalActivity activity;
  EXPECT_FALSE(activity.start("main"));
  EXPECT_FALSE(activity.registered());
}

TEST(CriticalActivityTimeout, IsTwoMinutesInMilliseconds) {
  EXPECT_EQ(criticalActivityTimeout, 120000U);
}

}  // namespace
