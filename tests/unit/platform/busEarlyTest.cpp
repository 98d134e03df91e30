// What comes between the name and the start: it waits, within bounds.
#include <gmock/gmock.h>

#include "Manager.h"
#include "busFixture.h"

namespace {

using namespace busTest;
using testing::ElementsAre;

/// Takes in what peers send while the component, named and not started, waits for the manager's answer.
class EarlyTest : public BusTest {
 protected:
  /// Returns when what `sendEarly` has sent is taken in, and the component waits for its start.
  void whileAsking(const std::function<void()>& sendEarly) {
    m_manager = std::make_unique<Manager>(m_bus, Manager::Way::Silence, [this] { m_asked = true; });
    m_component = std::make_unique<Component>(Component::Until::Named);
    m_component->state.asking = true;
    m_component->mayFill = true;
    ASSERT_TRUE(waitFor([this] { return m_asked.load(); }));
    sendEarly();
    m_component->state.asking = false;
    ASSERT_TRUE(m_component->ready());
  }

  std::atomic<bool> m_asked{false};
  std::unique_ptr<Manager> m_manager;
  std::unique_ptr<Component> m_component;
};

TEST_F(EarlyTest, boundsTheNumberOfCalls) {
  Peer peer(m_bus);
  int answers[2] = {};
  whileAsking([&] {
    for (int i = 0; i < 1030; ++i) sendPort(peer, 1, answers);
    EXPECT_TRUE(pump(peer, [&] { return answers[1] == 6; }));
  });
  EXPECT_EQ(answers[0], 0);
  m_component->mayStart = true;
  EXPECT_TRUE(pump(peer, [&] { return answers[0] == 1024; }));
}

TEST_F(EarlyTest, boundsTheTextOfACallAndOfAll) {
  Peer peer(m_bus);
  int answers[2] = {};
  whileAsking([&] {
    sendText(peer, (1 << 20) + 1, answers);
    EXPECT_TRUE(pump(peer, [&] { return answers[1] == 1; }));
    for (int i = 0; i < 10; ++i) sendText(peer, 900 << 10, answers);
    EXPECT_TRUE(pump(peer, [&] { return answers[1] == 2; }));
  });
  EXPECT_EQ(answers[0], 0);
  m_component->mayStart = true;
  EXPECT_TRUE(pump(peer, [&] { return answers[0] == 9; }));
  EXPECT_EQ(answers[1], 2);
}

TEST_F(EarlyTest, countsArgumentsOfEveryType) {
  Peer peer(m_bus);
  const auto refused = [&](auto append) {
    sd_bus_message* call = nullptr;
    sd_bus_message_new_method_call(peer.bus(), &call, component, portPath, portClass, "setPortParams");
    append(call);
    int answers[2] = {};
    EXPECT_GE(sd_bus_call_async(peer.bus(), nullptr, call, count, answers, 0), 0);
    sd_bus_message_unref(call);
    EXPECT_TRUE(pump(peer, [&] { return answers[1] == 1; }));
  };
  const std::vector<uint8_t> bytes(2 << 20);
  const std::string text(2 << 20, 'x');
  whileAsking([&] {
    refused([&](sd_bus_message* m) { sd_bus_message_append_array(m, 'y', bytes.data(), bytes.size()); });
    refused([&](sd_bus_message* m) { sd_bus_message_append(m, "a{sv}", 1, "x", "s", text.c_str()); });
    refused([&](sd_bus_message* m) { sd_bus_message_append(m, "(i(ss))", 1, "x", text.c_str()); });
  });
}

TEST_F(EarlyTest, servesWhatItHasLookedInto) {
  Peer peer(m_bus);
  std::string error = "none";
  const auto keep = [](sd_bus_message* m, void* kept, sd_bus_error*) {
    *static_cast<std::string*>(kept) = sd_bus_message_get_error(m)->name;
    return 1;
  };
  whileAsking([&] {
    sd_bus_call_method_async(peer.bus(), nullptr, component, portPath, "org.freedesktop.DBus.Properties",
                             "Set", keep, &error, "ssv", portClass, "x", "a{s(iv)}", 1, "y", 2, "s", "z");
    EXPECT_EQ(peer.call("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId"), "");
  });
  m_component->mayStart = true;
  EXPECT_TRUE(pump(peer, [&] { return error != "none"; }));
  EXPECT_EQ(error, unknownProperty);
}

TEST_F(EarlyTest, boundsTheNumberOfSignals) {
  m_manager = std::make_unique<Manager>(m_bus, Manager::Way::State, [this] {
    for (int i = 0; i < 1030; ++i) sendState(m_manager->peer, nullptr, "i", i);
  });
  m_component = std::make_unique<Component>(Component::Until::Filled);
  ASSERT_TRUE(m_component->ready());
  EXPECT_EQ(m_log.count("[WARNING] otnbus:"), 1U);
  EXPECT_EQ(m_log.count("is dropped"), 1U);
  m_component->mayStart = true;
  EXPECT_TRUE(waitFor([&] { return m_component->state.states().size() == 1024; }));
}

TEST_F(EarlyTest, takesSignalsOfTheOwnerOnly) {
  Peer stranger(m_bus);
  Peer manager(m_bus);
  ASSERT_TRUE(manager.own("otn.redundancyManager"));
  Component tested(Component::Until::Named);
  ASSERT_TRUE(waitFor([&] { return tested.named.load(); }));
  // They are on their way before the component knows whose signals it wants.
  sendState(stranger, component, "i", 100);
  EXPECT_EQ(stranger.call("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId"), "");
  sendState(manager, component, "i", 1);
  EXPECT_EQ(manager.call("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId"), "");
  tested.mayFill = true;
  ASSERT_TRUE(tested.ready());
  tested.mayStart = true;
  sendState(manager, nullptr, "i", 2);
  EXPECT_TRUE(waitFor([&] { return tested.state.states().size() >= 2; }));
  EXPECT_THAT(tested.state.states(), ElementsAre(1, 2));
}

TEST_F(EarlyTest, takesSignalsOfTheOwnerOnlyWhileItAsks) {
  Peer stranger(m_bus);
  m_manager = std::make_unique<Manager>(m_bus, Manager::Way::Silence, [this] {
    sendState(m_manager->peer, nullptr, "i", 1);
    m_asked = true;
  });
  m_component = std::make_unique<Component>(Component::Until::Filled);
  ASSERT_TRUE(waitFor([this] { return m_asked.load(); }));
  sendState(stranger, component, "i", 100);
  sendState(stranger, nullptr, "i", 101);
  ASSERT_TRUE(m_component->ready());
  m_component->mayStart = true;
  EXPECT_EQ(setPort(stranger, 1), "");
  EXPECT_THAT(m_component->state.states(), ElementsAre(1));
}

}  // namespace
