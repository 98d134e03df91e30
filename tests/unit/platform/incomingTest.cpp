#include <gmock/gmock.h>

#include "Manager.h"
#include "busFixture.h"
#include "failCalls.h"
#include "support/memory.h"

namespace {

using namespace busTest;
using By = failing::Call::By;

constexpr const char* noMemory = "org.freedesktop.DBus.Error.NoMemory";
constexpr const char* properties = "org.freedesktop.DBus.Properties";
constexpr const char* introspectable = "org.freedesktop.DBus.Introspectable";

using Incoming = BusTest;

TEST_F(Incoming, CallIsRefusedWhileThereIsNoMemory) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  {
    const NoMemoryElsewhere lack;
    EXPECT_EQ(setPort(peer, 3), noMemory);
  }
  EXPECT_EQ(setPort(peer, 4), "");
  EXPECT_THAT(tested.ports.served(), testing::ElementsAre(4U));
}

TEST_F(Incoming, CallIsRefusedWhenItsReplyCannotBeBegun) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  failing::newMethodReturn.fail(By::Others, -ENOMEM);
  EXPECT_EQ(setPort(peer, 3), noMemory);
  EXPECT_EQ(setPort(peer, 4), "");
  EXPECT_THAT(tested.ports.served(), testing::ElementsAre(4U));
}

TEST_F(Incoming, StandardCallsAreHeldToTheirArguments) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  EXPECT_EQ(peer.call(component, portPath, introspectable, "Introspect", "i", 1), invalidArgs);
  EXPECT_EQ(peer.call(component, portPath, nullptr, "Introspect"), "");
  EXPECT_EQ(peer.call(component, portPath, introspectable, "Other"), unknownMethod);
  EXPECT_EQ(peer.call(component, portPath, properties, "Other"), unknownMethod);
  EXPECT_EQ(peer.call(component, portPath, properties, "Introspect"), unknownMethod);
}

TEST_F(Incoming, RefusalsSayWhatIsMissing) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  const auto refusal = [&](const char* path, const char* interface, const char* member) {
    sd_bus_error error{};
    sd_bus_call_method(peer.bus(), component, path, interface, member, &error, nullptr, "");
    std::string text = error.message != nullptr ? error.message : "";
    sd_bus_error_free(&error);
    return text;
  };
  EXPECT_EQ(refusal("/otn/Other", portClass, "setPortParams"), "There is no object /otn/Other");
  EXPECT_EQ(refusal(portPath, portClass, "other"), "/otn/Tested/Ports has no method other");
  EXPECT_EQ(refusal(portPath, "otn.None", "other"), "/otn/Tested/Ports has no interface otn.None");
  EXPECT_EQ(refusal(portPath, portClass, "setPortParams"), "setPortParams takes 'uuuubuuu'");
  EXPECT_EQ(refusal(portPath, properties, "GetAll"), "GetAll takes 's'");
}

TEST_F(Incoming, EveryNodeHasTheStandardInterfaces) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  for (const char* node : {"/", "/otn/Tested", portPath}) {
    for (const char* interface : {"", "org.freedesktop.DBus.Peer", introspectable, properties}) {
      EXPECT_EQ(peer.call(component, node, properties, "GetAll", "s", interface), "");
      EXPECT_EQ(peer.call(component, node, nullptr, "Get", "ss", interface, "x"), unknownProperty);
    }
    EXPECT_EQ(peer.call(component, node, nullptr, "Introspect"), "");
    EXPECT_EQ(peer.call(component, node, properties, "GetAll", "s", "otn.None"), unknownInterface);
    EXPECT_EQ(peer.call(component, node, nullptr, "none"), unknownMethod);
  }
  EXPECT_EQ(peer.call(component, "/otn", properties, "GetAll", "s", portClass), unknownInterface)
      << "the node is above the object that has it";
  EXPECT_EQ(peer.call(component, "/otn", portClass, "setPortParams"), unknownInterface);
}

TEST_F(Incoming, SignalsThatFindNoRoomAreDropped) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  Peer manager(m_bus);
  ASSERT_TRUE(manager.own("otn.redundancyManager"));
  int answers[2] = {};
  sendPort(peer, 99, answers);
  ASSERT_TRUE(pump(peer, [&] { return tested.ports.blocked.load(); }));
  for (int i = 0; i < 1030; ++i) sendState(manager, nullptr, "i", i);
  EXPECT_TRUE(waitFor([&] { return m_log.count("Too many calls are waiting, signal") == 1; }));
  EXPECT_EQ(manager.call(component, immediatePath, commonClass, "get_trace_level"), "");
  tested.ports.opened = true;
  EXPECT_TRUE(waitFor([&] { return tested.state.states().size() == 1024; }));
  sendState(manager, nullptr, "i", 5000);
  EXPECT_TRUE(waitFor([&] { return tested.state.states().back() == 5000; }));
  EXPECT_EQ(m_log.count("is dropped"), 1U);
}

TEST_F(Incoming, SignalIsDroppedWhileThereIsNoMemory) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer manager(m_bus);
  ASSERT_TRUE(manager.own("otn.redundancyManager"));
  sendState(manager, nullptr, "i", 1);
  EXPECT_TRUE(waitFor([&] { return tested.state.states().size() == 1; }));
  {
    const NoMemoryElsewhere lack;
    sendState(manager, nullptr, "i", 2);
    EXPECT_EQ(setPort(manager, 3), noMemory);
  }
  sendState(manager, nullptr, "i", 3);
  EXPECT_TRUE(waitFor([&] { return tested.state.states().size() == 2; }));
  EXPECT_THAT(tested.state.states(), testing::ElementsAre(1, 3));
}

/// Signals to the component alone, while it asks the manager and is not started.
TEST_F(Incoming, EarlySignalsThatNobodyReceivesAreLeftOut) {
  std::atomic<bool> asked{false};
  Manager manager(m_bus, Manager::Way::Silence, [&] { asked = true; });
  Component tested(Component::Until::Named);
  tested.state.asking = true;
  tested.mayFill = true;
  ASSERT_TRUE(waitFor([&] { return asked.load(); }));
  Peer stranger(m_bus);
  for (const char* path : {"/otn/redundancyManager/other", "/elsewhere"}) {
    sd_bus_message* signal = nullptr;
    sd_bus_message_new_signal(stranger.bus(), &signal, path, stateClass, "setRedundantState");
    sd_bus_message_set_destination(signal, component);
    sd_bus_message_append(signal, "i", 100);
    EXPECT_GE(sd_bus_send(stranger.bus(), signal, nullptr), 0);
    sd_bus_message_unref(signal);
  }
  EXPECT_EQ(m_log.count("is dropped"), 0U);
  sd_bus_message* large = nullptr;
  sd_bus_message_new_signal(stranger.bus(), &large, "/otn/redundancyManager/large", stateClass,
                            "setRedundantState");
  sd_bus_message_set_destination(large, component);
  sd_bus_message_append(large, "s", std::string((1 << 20) + 1, 'x').c_str());
  EXPECT_GE(sd_bus_send(stranger.bus(), large, nullptr), 0);
  sd_bus_message_unref(large);
  sd_bus_flush(stranger.bus());
  EXPECT_TRUE(waitFor([&] { return m_log.count("signal setRedundantState is dropped") == 1; }));
  tested.state.asking = false;
  ASSERT_TRUE(tested.ready());
  tested.mayStart = true;
  EXPECT_EQ(setPort(stranger, 1), "");
  EXPECT_THAT(tested.state.states(), testing::IsEmpty());
}

}  // namespace
