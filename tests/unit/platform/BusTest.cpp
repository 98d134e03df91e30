#include "otnbus/Bus.h"

#include "busFixture.h"
#include "failCalls.h"

namespace {

using namespace busTest;
using By = failing::Call::By;

using Bus = BusTest;

TEST_F(Bus, TellsAReplyThatIsLostForMemory) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int answers[2] = {};
  size_t lost = 0;
  for (failing::Call* call : {&failing::appendBasic, &failing::send}) {
    sendPort(peer, 0, answers);
    OBstubReply* kept = nullptr;
    ASSERT_TRUE(pump(peer, [&] { return (kept = tested.ports.takeKept()) != nullptr; }));
    call->fail(By::Test, -ENOMEM);
    tested.ports.answer(kept);
    EXPECT_TRUE(call->done());
    EXPECT_EQ(m_log.count("There is no memory for a reply, it is lost"), ++lost);
  }
  EXPECT_EQ(setPort(peer, 1), "");
  EXPECT_EQ(answers[0] + answers[1], 0);
}

TEST_F(Bus, TellsASignalThatIsLostForMemory) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  size_t lost = 0;
  for (failing::Call* call : {&failing::newSignal, &failing::appendBasic, &failing::send}) {
    call->fail(By::Test, -ENOMEM);
    tested.ports.stub().issStatusChange_signal(true);
    EXPECT_TRUE(call->done());
    EXPECT_EQ(m_log.count("There is no memory for a signal, it is lost"), ++lost);
  }
  tested.ports.stub().issStatusChange_signal(true);
  EXPECT_EQ(m_log.count("memory"), lost);
}

TEST_F(Bus, DropsASignalWhenTheConnectionIsLost) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  failing::send.fail(By::Test, -ENOTCONN);
  tested.ports.stub().issStatusChange_signal(true);
  EXPECT_TRUE(failing::send.done());
  EXPECT_EQ(m_log.count("memory"), 0U) << "a lost bus is noticed by who waits on it";
}

TEST_F(Bus, IsWaitedForUntilTheNextTimeOut) {
  otnbus::Bus bus;
  const auto limit = [&bus](int limitMs) {
    otnbus::Wait wait{};
    const Guard guard(&bus.mutex);
    EXPECT_EQ(bus.prepare(wait, limitMs), 0);
    return wait.limit;
  };
  const auto isUp = [&bus] {
    const Guard guard(&bus.mutex);
    sd_bus_process(bus.sd(), nullptr);
    return sd_bus_is_ready(bus.sd()) > 0;
  };
  {
    const Guard guard(&bus.mutex);
    ASSERT_EQ(bus.connect(), 0);
  }
  ASSERT_TRUE(waitFor(isUp));
  EXPECT_EQ(limit(-1), -1);
  EXPECT_EQ(limit(70), 70);
  m_bus.suspend();
  int answers[2] = {};
  sd_bus_message* call = nullptr;
  {
    const Guard guard(&bus.mutex);
    sd_bus_message_new_method_call(bus.sd(), &call, otnbus::busName, "/", otnbus::busName, "GetId");
    EXPECT_GE(sd_bus_call_async(bus.sd(), nullptr, call, count, answers, 30'000'000), 0);
    sd_bus_message_unref(call);
  }
  const int left = limit(-1);
  EXPECT_GT(left, 20'000);
  EXPECT_LE(left, 30'000);
  EXPECT_EQ(limit(70), 70);
  m_bus.resume();
  const Guard guard(&bus.mutex);
  bus.disconnect();
}

}  // namespace
