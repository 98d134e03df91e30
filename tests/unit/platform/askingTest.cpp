#include <optional>

#include "Manager.h"
#include "busFixture.h"
#include "failCalls.h"
#include "support/memory.h"

namespace {

using namespace busTest;
using By = failing::Call::By;
using Way = Manager::Way;

/// Requests to the bus while the receiver is registered, before the manager is asked.
constexpr int steps = 3;

using Asking = BusTest;

TEST_F(Asking, ThatCannotBeSentHasNoAnswer) {
  Manager manager(m_bus, Way::State);
  for (failing::Call* call : {&failing::newMethodCall, &failing::callAsync}) {
    call->fail(By::Others, -ENOMEM, steps);
    Component tested;
    ASSERT_TRUE(tested.ready());
    EXPECT_TRUE(call->done());
    EXPECT_FALSE(tested.state.answered);
    EXPECT_EQ(tested.state.asked, 15);
  }
}

TEST_F(Asking, AndWaitingIsForTheTimeBeforeTheStart) {
  Manager manager(m_bus, Way::State);
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  EXPECT_EQ(setPort(peer, 1), "");
  int32_t state = 77;
  EXPECT_FALSE(tested.state.stub().query_getRedundantState(state));
  EXPECT_EQ(state, 77);
}

TEST_F(Asking, LaterIsAnsweredOnTheBusThread) {
  for (const Way way : {Way::State, Way::OtherType}) {
    Manager manager(m_bus, way);
    Component tested;
    ASSERT_TRUE(tested.ready());
    std::atomic<int> answer{77};
    tested.state.stub().query_getRedundantState(
        [&](const int32_t* state) { answer = state != nullptr ? *state : -1; });
    EXPECT_TRUE(waitFor([&] { return answer != 77; }));
    EXPECT_EQ(answer, way == Way::State ? 4 : -1);
  }
}

TEST_F(Asking, LaterIsAnsweredWithNothingWhenItCannotBeSent) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  std::atomic<int> nothing{0};
  int asked = 0;
  for (failing::Call* call : {&failing::newMethodCall, &failing::callAsync}) {
    call->fail(By::Test, -ENOMEM);
    tested.state.stub().query_getRedundantState(
        [&](const int32_t* state) { nothing += state == nullptr ? 1 : 0; });
    EXPECT_TRUE(call->done());
    // The bus thread has the answer ready, and gives it before it serves what comes later.
    EXPECT_EQ(setPort(peer, 1), "");
    EXPECT_EQ(nothing, ++asked);
  }
}

TEST_F(Asking, LaterIsToldWhenThereIsNoMemory) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  std::optional<NoMemory> lack;
  failing::newMethodCall.whenCalled(By::Test, [&] {
    lack.emplace();
    return 0;
  });
  tested.state.stub().query_getRedundantState([](const int32_t*) { ADD_FAILURE() << "nobody was asked"; });
  lack.reset();
  EXPECT_EQ(m_log.count("There is no memory to ask a component"), 1U);
}

}  // namespace
