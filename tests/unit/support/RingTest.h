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

  // The ring under its own names, as a test sees it between its calls: no other thread uses it then, and no
  // lock is needed to look at it or to prepare it.
  static inline MsgArrayEntry (&MsgArray)[MsgArraySize] = ::MsgArray;
  static inline bool& answerOutstanding = ::answerOutstanding;
  static MsgArrayEntry& copyToSlot(const OtnIpcMsg& message) NO_THREAD_SAFETY_ANALYSIS {
    return ::copyToSlot(message);
  }
  static void advanceWritePointer() NO_THREAD_SAFETY_ANALYSIS { ::advanceWritePointer(); }
  static void consumeSlot() NO_THREAD_SAFETY_ANALYSIS { ::consumeSlot(); }

  static bool ringIsFree() {
    if (!mutex.tryLock()) return false;
    mutex.unlock();
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
    resetRing();
    const Guard guard(&mutex);
    for (MsgArrayEntry& slot : MsgArray) slot = {};
    running = 1;
  }
};
