#include "otnbus/CallQueue.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace {

using otnbus::CallQueue;

TEST(CallQueue, IsTakenInOrder) {
  CallQueue queue;
  for (int i = 0; i < 3; ++i) {
    CallQueue::Entry entry;
    entry.registration = i;
    queue.post(std::move(entry));
  }
  for (int i = 0; i < 3; ++i) {
    CallQueue::Entry entry;
    ASSERT_TRUE(queue.take(entry));
    EXPECT_EQ(entry.registration, i);
  }
}

TEST(CallQueue, LetsTheKillOvertakeWhatIsQueued) {
  CallQueue queue;
  queue.post({});
  queue.kill();
  CallQueue::Entry entry;
  EXPECT_FALSE(queue.take(entry));
}

// Shows under the address and thread sanitizers.
TEST(CallQueue, MayBeDestroyedAsSoonAsTheKillIsSeen) {
  for (int round = 0; round < 2000; ++round) {
    auto queue = std::make_unique<CallQueue>();
    const auto secret = std::make_unique<int>(round);
    int read = -1;
    std::thread killer([&queue = *queue, &secret = *secret, &read] {
      read = secret;
      queue.kill();
    });
    CallQueue::Entry entry;
    do {
      queue->post({});  // so that the kill is seen by way of another call's wake-up
    } while (queue->take(entry));
    queue.reset();
    *secret = -2;
    EXPECT_EQ(read, round);
    killer.join();
  }
}

}  // namespace
