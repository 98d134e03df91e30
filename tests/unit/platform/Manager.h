// The peer that is asked for the redundancy state.
#pragma once

#include "busFixture.h"

namespace busTest {

/// A redundancy manager that answers the query with a state, an error, or not at all.
struct Manager {
  enum class Way { State, Error, OtherType, Silence };
  Manager(const PrivateBus& bus, Way answer, std::function<void()> onQuestion = {})
      : way(answer), asked(std::move(onQuestion)), peer(bus) {
    EXPECT_TRUE(peer.own("otn.redundancyManager"));
    sd_bus_add_object(peer.bus(), nullptr, statePath, onCall, this);
    thread = std::thread([this] {
      while (!done) {
        if (!peer.process()) sd_bus_wait(peer.bus(), 10000);
      }
    });
  }
  ~Manager() {
    done = true;
    thread.join();
  }
  static int onCall(sd_bus_message* call, void* self, sd_bus_error*) {
    Manager& manager = *static_cast<Manager*>(self);
    if (manager.asked) manager.asked();
    switch (manager.way) {
      case Way::State:
        return sd_bus_reply_method_return(call, "i", 4);
      case Way::Error:
        return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_FAILED, "no");
      case Way::OtherType:
        return sd_bus_reply_method_return(call, "u", 4U);
      case Way::Silence:
        break;
    }
    return 1;
  }
  Way way;
  std::function<void()> asked;  ///< called before it answers, on its own thread
  Peer peer;
  std::atomic<bool> done{false};
  std::thread thread;
};

}  // namespace busTest
