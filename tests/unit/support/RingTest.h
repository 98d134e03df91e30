// Fixture of tests that use the ring: it starts and ends empty.
#pragma once

#include <thread>

#include "Guard.h"
#include "link/MsgArray.h"
#include "process/deadline.h"
#include "process/running.h"
#include "support/RoomTest.h"

class RingTest : public RoomTest {
 protected:
  RingTest() { clear(); }
  ~RingTest() override { clear(); }

  static bool ringIsFree() {
    if (pthread_mutex_trylock(&mutex.native) != 0) return false;
    pthread_mutex_unlock(&mutex.native);
    return true;
  }

  /// Whether `work` wakes a sender that waits for messages.
  template <class Run>
  static bool wakesTheSender(Run work) {
    bool waiting = false;
    int result = -1;
    std::thread sender([&] {
      const Guard guard(&mutex);
      waiting = true;
      const timespec deadline = monotonicIn(10000);
      result = pthread_cond_clockwait(&cond, &mutex.native, CLOCK_MONOTONIC, &deadline);
    });
    for (bool seen = false; !seen;) {
      const Guard guard(&mutex);
      seen = waiting;
    }
    work();
    sender.join();
    return result == 0;
  }

  /// The lines of a function that were logged while `work` ran, each behind "locked " when the ring's lock
  /// was held then.
  template <class Run>
  std::vector<std::string> withLock(const std::string& function, Run work) {
    std::vector<std::string> seen;
    onLine([&](const std::string& line) {
      if (line.find("(" + function + ")") == std::string::npos) return;
      seen.push_back((ringIsFree() ? "" : "locked ") + line.substr(line.find(" - ") + 3));
    });
    work();
    onLine(nullptr);
    return seen;
  }

 private:
  static void clear() {
    for (MsgArrayEntry& slot : MsgArray) slot = {};
    resetRing();
    running = 1;
  }
};
