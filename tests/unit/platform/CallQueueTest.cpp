#include "otnbus/CallQueue.h"

#include <gtest/gtest.h>

#include "otnbus/values.h"
#include "support/memory.h"

namespace {

using otnbus::CallQueue;

CallQueue::Entry entry(int registration, size_t textSize = 0) {
  CallQueue::Entry made;
  made.registration = registration;
  made.textSize = textSize;
  return made;
}

TEST(CallQueue, IsTakenInOrder) {
  CallQueue queue;
  for (int i = 0; i < 3; ++i) queue.post(entry(i));
  CallQueue::Entry taken;
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(queue.take(taken));
    EXPECT_EQ(taken.registration, i);
  }
  EXPECT_FALSE(queue.take(taken));
}

TEST(CallQueue, HasRoomForSoManyAndSoMuchText) {
  CallQueue queue;
  queue.post(entry(0, otnbus::maxTextTogether - 1));
  EXPECT_TRUE(queue.hasRoom(1));
  EXPECT_FALSE(queue.hasRoom(2));
  while (queue.hasRoom(0)) queue.post(entry(1));
  CallQueue::Entry taken;
  size_t count = 0;
  while (queue.take(taken)) ++count;
  EXPECT_EQ(count, CallQueue::maxEntries);
  EXPECT_TRUE(queue.hasRoom(otnbus::maxTextTogether));
}

TEST(CallQueue, TakesNothingWhenThereIsNoMemory) {
  CallQueue queue;
  size_t posted = 0;
  {
    const NoMemory lack;
    // What it has got already may suffice for a few.
    while (posted < CallQueue::maxEntries && queue.post(entry(0, 1))) ++posted;
  }
  EXPECT_LT(posted, CallQueue::maxEntries);
  EXPECT_TRUE(queue.hasRoom(otnbus::maxTextTogether - posted)) << "what was not taken counts";
  EXPECT_FALSE(queue.hasRoom(otnbus::maxTextTogether - posted + 1));
  EXPECT_TRUE(queue.post(entry(0)));
}

}  // namespace
