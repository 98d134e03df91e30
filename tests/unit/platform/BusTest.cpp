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

}  // namespace
