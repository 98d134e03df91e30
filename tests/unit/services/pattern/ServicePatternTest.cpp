#include "services/pattern/ServicePattern.h"

#include <gmock/gmock.h>

#include "support/FakeBus.h"
#include "support/RingTest.h"

namespace {

using ::testing::IsEmpty;

TEST(ReplyOwnerOf, ARequestGivesTheReplyAwayOnce) {
  FakeBus::clear();
  OBstubReply* const handle = FakeBus::call(9);
  {
    ReplyOwner owner(handle);
    EXPECT_EQ(owner.take(), handle);
    EXPECT_EQ(owner.take(), nullptr);
  }
  EXPECT_THAT(FakeBus::released(), IsEmpty());
  OBstubReply::release(handle);
}

/// A request of as many messages as it is told, on an interface whose counts are looked at.
struct CountedRequest {
  static constexpr BusInterface busInterface = BusInterface::SmartSfp;
  ReplyOwner reply;
  int messages;
};

constexpr TailLines tail{{"ServicePatternTest", "queue"}, HERE, HERE, HERE, HERE};

struct Texts {
  static void locked() {}
  static void slot(int) {}
};

bool queue(CountedRequest& request) REQUIRES(mutex) {
  MessageBatch<2> batch;
  for (int i = 0; i < request.messages; ++i) batch.add([] { return OtnIpcMsg{}; });
  return queueBatch(tail, Texts(), batch, MsgSource::SmartSfp, request.reply, [](MsgArrayEntry&) noexcept {});
}

void runCounted(CountedRequest* argument) {
  const std::unique_ptr<CountedRequest> request(argument);
  withRing(queue, *request);
}

class CountsOf : public RingTest {
 protected:
  struct Seen {
    uint64_t received = 0;
    uint64_t answered = 0;
    uint64_t refusedByIss = 0;
    uint64_t refusedByRing = 0;
    uint64_t neverAnswered = 0;
    bool operator==(const Seen&) const = default;
  };
  CountsOf() { FakeBus::clear(); }
  static Seen now() {
    const InterfaceCounts& counts = countsOf(BusInterface::SmartSfp);
    return {counts.received, counts.answered, counts.refusedByIss, counts.refusedByRing,
            counts.neverAnswered};
  }
  Seen grown() const {
    const Seen seen = now();
    return {seen.received - m_before.received, seen.answered - m_before.answered,
            seen.refusedByIss - m_before.refusedByIss, seen.refusedByRing - m_before.refusedByRing,
            seen.neverAnswered - m_before.neverAnswered};
  }
  static void request(int messages, OBstubReply* reply = nullptr) {
    ASSERT_EQ(startWorker<runCounted>(CountedRequest{ReplyOwner(reply), messages}), 0);
    ASSERT_TRUE(waitForWorkers(20000));
  }
  const Seen m_before = now();
};

TEST_F(CountsOf, AnInterfaceGrowWithARequest) {
  OBstubReply* const handle = FakeBus::call(1);
  request(2, handle);
  EXPECT_EQ(grown(), (Seen{.received = 1}));
  OBstubReply::release(MsgArray[0].reply);
}

TEST_F(CountsOf, ASignalHaveNoAnswer) {
  request(1);
  EXPECT_EQ(grown(), (Seen{.received = 1}));
}

TEST_F(CountsOf, ARequestWithoutAMessageTellThatNoneWillCome) {
  request(0, FakeBus::call(1));
  EXPECT_EQ(grown(), (Seen{.received = 1, .neverAnswered = 1}));
}

TEST_F(CountsOf, AFullRingGrowByOneForEachRequest) {
  writepointer = 18;
  request(2);
  EXPECT_EQ(grown(), (Seen{.received = 1, .refusedByRing = 1}));
  writepointer = 19;
  request(0);
  EXPECT_EQ(grown(), (Seen{.received = 2, .refusedByRing = 1})) << "there was nothing to refuse";
}

TEST_F(CountsOf, AnAnswerGrowWithTheHandleOnly) {
  ReplyOwner owner(FakeBus::call(9));
  OBstubReply::release(owner.takeToAnswer(BusInterface::SmartSfp));
  EXPECT_EQ(owner.takeToAnswer(BusInterface::SmartSfp), nullptr);
  EXPECT_EQ(grown(), (Seen{.answered = 1}));
}

TEST_F(CountsOf, ASourceThatIsNoInterfaceAreNobodys) {
  countRefused(MsgSource::Debug);
  countSilent(MsgSource::Debug);
  EXPECT_EQ(grown(), Seen{});
  countRefused(MsgSource::SmartSfp);
  countSilent(MsgSource::SmartSfp);
  EXPECT_EQ(grown(), (Seen{.refusedByRing = 1, .neverAnswered = 1}));
}

}  // namespace
