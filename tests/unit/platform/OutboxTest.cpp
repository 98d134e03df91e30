#include "otnbus/Outbox.h"

#include <gtest/gtest.h>
#include <poll.h>

namespace {

using otnbus::Outbox;

bool wakes(const Outbox& outbox) {
  pollfd fd{outbox.wakeDescriptor(), POLLIN, 0};
  return poll(&fd, 1, 0) == 1;
}

TEST(Outbox, WakesWhileThereIsSomethingToTake) {
  Outbox outbox;
  EXPECT_FALSE(wakes(outbox));
  outbox.postRelease(1);
  outbox.postRelease(2);
  EXPECT_TRUE(wakes(outbox));
  EXPECT_EQ(outbox.take().size(), 2U);
  EXPECT_FALSE(wakes(outbox));
}

TEST(Outbox, WakesForGoodOnceClosed) {
  Outbox outbox;
  outbox.postRelease(1);
  outbox.close();
  EXPECT_EQ(outbox.take().size(), 1U);
  EXPECT_TRUE(wakes(outbox));
  outbox.postRelease(2);
  EXPECT_TRUE(outbox.take().empty());
}

}  // namespace
