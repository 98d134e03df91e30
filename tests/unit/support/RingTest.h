// Fixture of tests that use the ring: it starts and ends empty.
#pragma once

#include "link/MsgArray.h"
#include "link/running.h"
#include "support/RoomTest.h"

class RingTest : public RoomTest {
 protected:
  RingTest() { clear(); }
  ~RingTest() override { clear(); }

 private:
  static void clear() {
    for (MsgArrayEntry& slot : MsgArray) slot = {};
    resetRing();
    running = 1;
  }
};
