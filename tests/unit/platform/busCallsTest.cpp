// What peers see of the OTN bus over a real D-Bus daemon: calls, introspection, signals.
#include <gmock/gmock.h>

#include "busFixture.h"

namespace {

using namespace busTest;
using testing::ElementsAre;
using testing::HasSubstr;

TEST_F(BusTest, servesSynchronousAndAsynchronousMethods) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  EXPECT_EQ(peer.call(component, "/otn/Tested/ob_common", "otn.OBcommon_1_0", "set_trace_level", "i", 9), "");
  EXPECT_EQ(peer.call(component, "/otn/Tested/ob_common", nullptr, "get_trace_level"), "");
  int32_t level = 0;
  EXPECT_GT(sd_bus_message_read(peer.reply(), "i", &level), 0);
  EXPECT_EQ(level, 9);
  EXPECT_EQ(setPort(peer, 3), "");
  uint32_t u[7];
  int flag = 0;
  EXPECT_GT(
      sd_bus_message_read(peer.reply(), "uuuubuuu", &u[0], &u[1], &u[2], &u[3], &flag, &u[4], &u[5], &u[6]),
      0);
  EXPECT_THAT(u, ElementsAre(1U, 2U, 3U, 4U, 6U, 7U, 8U));
  EXPECT_EQ(flag, 1);
  tested.stop();
  EXPECT_THAT(m_log.lines(), testing::Each(HasSubstr("cannot be offered")));
}

TEST_F(BusTest, refusesWhatItDoesNotHave) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  EXPECT_EQ(peer.call(component, "/otn/Tested/Other", portClass, "setPortParams"), unknownObject);
  EXPECT_EQ(peer.call(component, statePath, stateClass, "getRedundantState"), unknownObject);
  EXPECT_EQ(peer.call(component, portPath, "otn.OBcommon_1_0", "get_trace_level"), unknownInterface);
  EXPECT_EQ(peer.call(component, portPath, portClass, "linkStatusChange"), unknownMethod);
  EXPECT_EQ(peer.call(component, portPath, nullptr, "none"), unknownMethod);
  EXPECT_EQ(peer.call(component, portPath, portClass, "setPortParams", "u", 1U), invalidArgs);
  const char* properties = "org.freedesktop.DBus.Properties";
  EXPECT_EQ(peer.call(component, portPath, properties, "Get", "ss", portClass, "x"), unknownProperty);
  EXPECT_EQ(peer.call(component, portPath, properties, "Set", "ssv", portClass, "x", "i", 1),
            unknownProperty);
  EXPECT_EQ(peer.call(component, portPath, properties, "Get", "ss", "otn.X", "x"), unknownInterface);
  EXPECT_EQ(peer.call(component, portPath, properties, "GetAll", "s", "otn.X"), unknownInterface);
  EXPECT_EQ(peer.call(component, portPath, properties, "GetAll", "s", portClass), "");
  EXPECT_EQ(peer.call(component, portPath, properties, "GetAll", "i", 1), invalidArgs);
  EXPECT_EQ(peer.call(component, portPath, "org.freedesktop.DBus.Peer", "Ping"), "");
  EXPECT_EQ(tested.ports.calls, 0);
}

TEST_F(BusTest, carriesLongTexts) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  const auto echo = [&](size_t size) {
    return peer.call(component, sfpPath, nullptr, "setSmartSfpParams", "uuuuus", 1U, 2U, 3U, 4U, 5U,
                     std::string(size, 'x').c_str());
  };
  EXPECT_EQ(echo(1 << 20), "");
  EXPECT_EQ(echo((1 << 20) + 1), limitsExceeded);
  EXPECT_EQ(echo(17 << 20), limitsExceeded);
  EXPECT_EQ(echo(1), "");
}

TEST_F(BusTest, boundsTheTextOfUnansweredCalls) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int answers[2] = {};
  tested.sfp.keeping = true;
  for (int i = 0; i < 9; ++i) sendText(peer, 1 << 20, answers);
  EXPECT_TRUE(pump(peer, [&] { return answers[1] == 1; }));
  EXPECT_EQ(setPort(peer, 1), "");
  tested.sfp.keeping = false;
  tested.sfp.answerKept();
  EXPECT_TRUE(pump(peer, [&] { return answers[0] == 8; }));
  sendText(peer, 1 << 20, answers);
  EXPECT_TRUE(pump(peer, [&] { return answers[0] == 9; }));
  EXPECT_EQ(answers[1], 1);
}

TEST_F(BusTest, forgetsTheTextOfACallThatGetsNoReply) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int answers[2] = {};
  for (const bool expected : {true, false}) {
    tested.sfp.releasing = true;
    for (int i = 0; i < 20; ++i) {
      sendText(peer, 1 << 20, answers, expected);
      EXPECT_EQ(setPort(peer, 1), "");
    }
    tested.sfp.releasing = false;
    sendText(peer, 1 << 20, answers);
    EXPECT_TRUE(pump(peer, [&] { return answers[0] == (expected ? 1 : 2); }));
  }
  EXPECT_EQ(answers[1], 0);
}

TEST_F(BusTest, acceptsNoDescriptors) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  EXPECT_EQ(peer.call(component, portPath, portClass, "setPortParams", "h", 0),
            "org.freedesktop.DBus.Error.NotSupported");
}

TEST_F(BusTest, introspectsAndAnswersEarlierCallsWhileAHandlerBlocks) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int answers[2] = {};
  sendPort(peer, 0, answers);
  sendPort(peer, 99, answers);
  ASSERT_TRUE(pump(peer, [&] { return tested.ports.blocked.load(); }));
  for (const char* path : {"/", "/otn", "/otn/Tested", portPath}) {
    EXPECT_EQ(peer.call(component, path, "org.freedesktop.DBus.Introspectable", "Introspect"), "") << path;
  }
  const char* xml = nullptr;
  EXPECT_GT(sd_bus_message_read(peer.reply(), "s", &xml), 0);
  EXPECT_THAT(
      xml,
      HasSubstr(
          "<annotation name=\"otn.Description\" value=\"To set up, release, probe and detach NPU ports\""));
  EXPECT_THAT(xml, HasSubstr("<arg name=\"bConfigure\" type=\"b\" direction=\"in\""));
  EXPECT_EQ(peer.call(component, "/otn", nullptr, "Introspect"), "");
  EXPECT_GT(sd_bus_message_read(peer.reply(), "s", &xml), 0);
  EXPECT_THAT(xml, HasSubstr("<node name=\"Tested\"/>"));
  tested.ports.stub().setPortParams_reply(tested.ports.takeKept(), 1, 2, 3, 4, true, 5, 6, 7);
  EXPECT_TRUE(pump(peer, [&] { return answers[0] == 1; }));
  EXPECT_TRUE(tested.ports.blocked);
}

TEST_F(BusTest, holds1024WaitingCalls) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int answers[2] = {};
  sendPort(peer, 99, answers);
  ASSERT_TRUE(pump(peer, [&] { return tested.ports.blocked.load(); }));
  for (int i = 0; i < 1025; ++i) sendPort(peer, 1, answers);
  EXPECT_TRUE(pump(peer, [&] { return answers[1] == 1; }));
  tested.ports.opened = true;
  EXPECT_TRUE(pump(peer, [&] { return answers[0] == 1025; }));
  EXPECT_EQ(answers[1], 1);
}

TEST_F(BusTest, servesCallsThatCameBeforeTheStart) {
  Component tested(Component::Until::Filled);
  Peer peer(m_bus);
  ASSERT_TRUE(waitFor([&] { return tested.named.load(); }));
  int answers[2] = {};
  for (int i = 0; i < 5; ++i) sendPort(peer, 1, answers);
  ASSERT_GE(sd_bus_flush(peer.bus()), 0);
  ASSERT_TRUE(tested.ready());
  EXPECT_EQ(tested.ports.calls, 0);
  tested.mayStart = true;
  EXPECT_TRUE(pump(peer, [&] { return answers[0] == 5; }));
}

TEST_F(BusTest, carriesOutACallThatExpectsNoReply) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  sd_bus_message* call = nullptr;
  sd_bus_message_new_method_call(peer.bus(), &call, component, portPath, portClass, "setPortParams");
  sd_bus_message_append(call, "uuuubuuu", 1U, 2U, 3U, 4U, 1, 6U, 7U, 8U);
  sd_bus_message_set_expect_reply(call, 0);
  sd_bus_send(peer.bus(), call, nullptr);
  sd_bus_flush(peer.bus());
  sd_bus_message_unref(call);
  EXPECT_TRUE(waitFor([&] { return tested.ports.calls == 1; }));
}

TEST_F(BusTest, takesSignalsOfTheOwnerOnly) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer stranger(m_bus);
  Peer manager(m_bus);
  ASSERT_TRUE(manager.own("otn.redundancyManager"));
  // The stranger's signals are on their way before the manager's last one is.
  sendState(stranger, nullptr, "i", 100);
  sendState(stranger, component, "i", 101);
  EXPECT_EQ(stranger.call("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId"), "");
  sendState(manager, nullptr, "i", 1);
  sendState(manager, nullptr, "u", 102U);
  sendState(manager, nullptr, "ii", 103, 104);
  sendState(manager, component, "i", 2);
  EXPECT_TRUE(waitFor([&] { return tested.state.states().size() >= 2; }));
  manager.disown("otn.redundancyManager");
  sendState(manager, component, "i", 105);
  EXPECT_EQ(manager.call("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId"), "");
  ASSERT_TRUE(stranger.own("otn.redundancyManager"));
  sendState(stranger, nullptr, "i", 3);
  EXPECT_TRUE(waitFor([&] { return tested.state.states().size() >= 3; }));
  EXPECT_THAT(tested.state.states(), ElementsAre(1, 2, 3));
}

TEST_F(BusTest, sendsItsSignals) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int seen = 0;
  const auto count = [](sd_bus_message* m, void* counter, sd_bus_error*) {
    uint32_t port = 0;
    int admin = 0;
    int operational = 1;
    if (sd_bus_message_read(m, "ubb", &port, &admin, &operational) > 0 && port == 7 && admin == 1 &&
        operational == 0) {
      ++*static_cast<int*>(counter);
    }
    return 0;
  };
  ASSERT_GE(sd_bus_match_signal(peer.bus(), nullptr, component, portPath, portClass, "linkStatusChange",
                                count, &seen),
            0);
  for (int i = 0; i < 2000; ++i) tested.ports.stub().linkStatusChange_signal(7, true, false);
  EXPECT_TRUE(pump(peer, [&] { return seen == 2000; }));
}

}  // namespace
