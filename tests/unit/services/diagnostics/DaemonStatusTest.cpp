#include "services/diagnostics/DaemonStatus.h"

#include "support/RingTest.h"

namespace {

using ::testing::HasSubstr;

class Status : public RingTest {};

TEST_F(Status, ShowsTheRing) {
  EXPECT_EQ(daemonStatus().ringUsed, 0U);
  readpointer = 18;
  writepointer = 2;
  EXPECT_EQ(daemonStatus().ringUsed, 4U);
  EXPECT_FALSE(daemonStatus().issReady);
  issReady = 1;
  EXPECT_TRUE(daemonStatus().issReady);
}

TEST_F(Status, IsToldWhileTheRingIsLocked) {
  const Guard guard(&mutex);
  outstanding.begins(8, MsgSource::Debug, std::chrono::steady_clock::now() - std::chrono::seconds(70));
  const DaemonStatus status = daemonStatus();
  EXPECT_EQ(status.message.type, 8U);
  EXPECT_GE(status.message.age.count(), 69999);
  outstanding.ends();
}

TEST_F(Status, CountsConnectionsBeyondTheFirst) {
  ++linkCounts.connections;
  const uint32_t before = daemonStatus().reconnects;
  ++linkCounts.connections;
  EXPECT_EQ(daemonStatus().reconnects, before + 1);
}

TEST_F(Status, TellsTheMeanAndTheLongestAnswer) {
  const uint64_t answers = linkCounts.answers;
  linkCounts.answerMicros += (answers + 2) * 3000 - linkCounts.answerMicros;
  linkCounts.answers += 2;
  linkCounts.longestAnswer = 4999;
  EXPECT_EQ(daemonStatus().meanAnswerMicros, 3000U);
  EXPECT_EQ(daemonStatus().longestAnswerMs, 4U);
  linkCounts.longestAnswer = uint64_t{1} << 60;
  EXPECT_EQ(daemonStatus().longestAnswerMs, 0xFFFFFFFFU);
  linkCounts.longestAnswer = 0;
}

TEST_F(Status, CountsWhatWasRefusedOverAllInterfaces) {
  const auto refused = [](Count InterfaceCounts::*by) {
    uint64_t sum = 0;
    for (size_t i = 0; i < busInterfaces; ++i) sum += countsOf(static_cast<BusInterface>(i)).*by;
    return sum;
  };
  countsOf(BusInterface::SyncE).refusedByIss += 2;
  countsOf(BusInterface::SmartSfp).refusedByIss += 1;
  countsOf(BusInterface::PortParams).refusedByRing += 7;
  const DaemonStatus status = daemonStatus();
  EXPECT_EQ(status.refusedByIss, refused(&InterfaceCounts::refusedByIss));
  EXPECT_EQ(status.refusedByRing, refused(&InterfaceCounts::refusedByRing));
}

TEST_F(Status, HasALineForEachInterface) {
  InterfaceCounts& counts = countsOf(BusInterface::LifeCycle);
  counts.received += 1000000000000;
  counts.answered += 2;
  counts.refusedByIss += 3;
  counts.refusedByRing += 4;
  counts.neverAnswered += 5;
  const std::string lines = interfaceLines();
  EXPECT_THAT(lines, HasSubstr("\nTrelvikOchTriggerAsync 1000000000000 2 3 4 5\n"));
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), static_cast<std::ptrdiff_t>(busInterfaces));
}

}  // namespace
