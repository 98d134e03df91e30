#include "link/Traffic.h"

#include <gmock/gmock.h>

#include <set>
#include <string>

#include "support/RingTest.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

TEST(Outstanding, MessageHasItsTypeItsSourceAndItsAge) {
  Outstanding message;
  const auto sent = steady_clock::now();
  EXPECT_EQ(message.look(sent).source, MsgSource::None);
  message.begins(8, MsgSource::Debug, sent);
  const Outstanding::Message found = message.look(sent + 70s);
  EXPECT_EQ(found.type, 8U);
  EXPECT_EQ(found.source, MsgSource::Debug);
  EXPECT_NEAR(static_cast<double>(found.age.count()), 70000, 1);
  message.ends();
  const Outstanding::Message none = message.look(sent + 80s);
  EXPECT_EQ(none.source, MsgSource::None);
  EXPECT_EQ(none.type, 0U);
  EXPECT_EQ(none.age.count(), 0);
}

TEST(Outstanding, TypeBeyondAnyIsShownAsTheHighest) {
  Outstanding message;
  const auto sent = steady_clock::now();
  for (const uint32_t type : {0xFFFFU, 0x10000U, 0xFFFFFFFFU}) {
    message.begins(type, MsgSource::Redundancy, sent);
    EXPECT_EQ(message.look(sent).type, 0xFFFFU);
    EXPECT_EQ(message.look(sent).source, MsgSource::Redundancy);
  }
}

TEST(Outstanding, MessageSentAfterTheLookBeganIsNew) {
  Outstanding message;
  const auto sent = steady_clock::now();
  message.begins(8, MsgSource::Debug, sent + 5s);
  EXPECT_EQ(message.look(sent).age.count(), 0);
}

class OutstandingInTheRing : public RingTest {};

TEST_F(OutstandingInTheRing, EndsWithItsSlot) {
  outstanding.begins(8, MsgSource::Debug, steady_clock::now());
  consumeSlot();
  EXPECT_EQ(outstanding.look(steady_clock::now()).source, MsgSource::None);
}

TEST_F(OutstandingInTheRing, AnswersAreTimed) {
  const uint64_t answers = linkCounts.answers;
  const uint64_t micros = linkCounts.answerMicros;
  const Guard guard(&mutex);
  const auto sent = steady_clock::now();
  answerSentAt = sent;
  answerOutstanding = false;
  countAnswer(sent + 1h);
  EXPECT_EQ(linkCounts.answers, answers) << "nothing was asked";
  answerOutstanding = true;
  countAnswer(sent + 2h);
  countAnswer(sent + 1s);
  EXPECT_EQ(linkCounts.answers, answers + 2);
  EXPECT_EQ(linkCounts.answerMicros, micros + 7201000000);
  EXPECT_EQ(linkCounts.longestAnswer, 7200000000U);
}

TEST_F(OutstandingInTheRing, AnswerOfTheSameMomentTookNoTime) {
  const uint64_t micros = linkCounts.answerMicros;
  const Guard guard(&mutex);
  const auto sent = steady_clock::now();
  answerSentAt = sent;
  answerOutstanding = true;
  countAnswer(sent);
  countAnswer(sent - 1s);
  EXPECT_EQ(linkCounts.answerMicros, micros);
}

TEST(BusInterfaces, HaveNamesAndCountsOfTheirOwn) {
  std::set<std::string> names;
  std::set<const InterfaceCounts*> counts;
  for (size_t i = 0; i < busInterfaces; ++i) {
    names.insert(busInterfaceName(static_cast<BusInterface>(i)));
    counts.insert(&countsOf(static_cast<BusInterface>(i)));
  }
  EXPECT_EQ(names.size(), busInterfaces);
  EXPECT_EQ(counts.size(), busInterfaces);
  EXPECT_FALSE(names.contains(""));
  EXPECT_STREQ(busInterfaceName(static_cast<BusInterface>(busInterfaces)), "");
}

TEST(BusInterfaces, AreTheSourcesOfTheRingByTheirCallersName) {
  EXPECT_STREQ(sourceName(MsgSource::PortParams), "IssSetLanWanAsync");
  EXPECT_STREQ(sourceName(MsgSource::SyncE), "IssSetSyncEAsync");
  EXPECT_STREQ(sourceName(MsgSource::IssMgr), "IssSetIssMgrAsync");
  EXPECT_STREQ(sourceName(MsgSource::SmartSfp), "IssSetSmartSfpAsync");
  EXPECT_STREQ(sourceName(MsgSource::Redundancy), "redundant_state_signal");
  EXPECT_STREQ(sourceName(MsgSource::Debug), "debug socket");
  EXPECT_STREQ(sourceName(MsgSource::None), "");
  EXPECT_EQ(countsOf(MsgSource::Debug), nullptr);
}

TEST(LinkState, TellsChangesOnly) {
  LinkState link;
  EXPECT_TRUE(link.note(false, false));
  const int64_t since = link.since();
  EXPECT_GT(since, 1'600'000'000'000);
  EXPECT_FALSE(link.note(false, false));
  EXPECT_EQ(link.since(), since);
  EXPECT_TRUE(link.note(true, false));
  EXPECT_TRUE(link.connected());
  EXPECT_TRUE(link.note(true, true));
  EXPECT_FALSE(link.note(true, true));
  EXPECT_TRUE(link.note(false, false));
  EXPECT_FALSE(link.connected());
  EXPECT_GE(link.since(), since);
}

}  // namespace
