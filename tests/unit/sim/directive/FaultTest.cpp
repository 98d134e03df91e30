#include "directive/Fault.h"

#include <gmock/gmock.h>

#include <cstring>

#include "directive/DirectiveParser.h"
#include "sim/support/Record.h"

namespace {

using namespace std::chrono_literals;
using sim::Delivery;
using sim::Ending;

constexpr size_t size = sizeof(OtnIpcMsg);

OtnIpcMsg recordIn(const std::string& bytes, size_t at = 0) {
  OtnIpcMsg msg{};
  EXPECT_LE(at + size, bytes.size());
  memcpy(&msg, bytes.data() + at, size);
  return msg;
}

class Faults : public ::testing::Test {
 protected:
  void add(std::string_view line) {
    sim::Directive directive;
    ASSERT_EQ(sim::parseDirective(line, directive), std::nullopt);
    m_table.add(std::get<sim::FaultRule>(directive.action));
  }
  Delivery flush() { return m_table.apply(answerOf(FLUSH_CMD)); }
  bool drops() { return flush().writes.empty(); }

  sim::FaultTable m_table;
};

TEST_F(Faults, LeaveARecordAloneWithoutARule) {
  add("fault SYNCE_CMD drop");
  const Delivery delivery = flush();
  ASSERT_EQ(delivery.writes.size(), 1U);
  EXPECT_EQ(delivery.writes[0].bytes, sim::bytesOf(answerOf(FLUSH_CMD)));
  EXPECT_EQ(delivery.delay, 0ms);
  EXPECT_EQ(delivery.ending, Ending::none);
  EXPECT_EQ(delivery.notes, "");
}

TEST_F(Faults, AreCountedByRule) {
  add("fault FLUSH_CMD skip 1 times 2 drop");
  EXPECT_FALSE(drops());
  EXPECT_TRUE(drops());
  EXPECT_TRUE(drops());
  EXPECT_FALSE(drops());
}

TEST_F(Faults, MayHitEachSoManyth) {
  add("fault FLUSH_CMD skip 1 every 3 times 2 drop");
  std::string hits;
  std::string next;
  for (int i = 0; i < 12; ++i) {
    next += std::to_string(m_table.armed()[0].next);
    hits += drops() ? 'x' : '.';
  }
  EXPECT_EQ(hits, "...x..x.....");
  EXPECT_EQ(next, "432132100000");
  EXPECT_EQ(m_table.armed()[0].hits, 2U);
  EXPECT_EQ(m_table.armed()[0].left, 0U);
}

TEST_F(Faults, TellWhatBecameOfARecord) {
  const auto told = [this](std::initializer_list<const char*> rules) {
    m_table = {};
    for (const char* rule : rules) add(rule);
    const Delivery delivery = flush();
    std::string all;
    for (const sim::Told& one : delivery.dropped) all += std::to_string(one.size) + " " + one.how + "; ";
    for (const sim::Write& write : delivery.writes) {
      for (const sim::Told& one : write.told) all += std::to_string(one.size) + " " + one.how + "; ";
    }
    return all;
  };
  EXPECT_EQ(told({}), "6924 ; ");
  EXPECT_EQ(told({"fault any drop", "fault any delay 1s"}), "0 dropped; ");
  EXPECT_EQ(told({"fault any close before"}), "0 dropped; ");
  EXPECT_EQ(told({"fault any duplicate", "fault any delay 1s"}),
            "6924 1 of 2, delayed 1000 ms; 6924 2 of 2, delayed 1000 ms; ");
  EXPECT_EQ(told({"fault any type CONFIG_STATUS"}), "6924 type was FLUSH_CMD; ");
  EXPECT_EQ(told({"fault any split 3000"}), "6924 in 3 pieces; ");
  EXPECT_EQ(told({"fault any merge 18"}), "6924 1 of 2 in one write; 6924 2 of 2 in one write; ");
  EXPECT_EQ(told({"fault any close within 100"}), "100 100 of 6924 bytes; ");
  EXPECT_EQ(told({"fault any garbage 10", "fault any flood 5 13"}), "10 ; 6924 ; 6924 ; ");
}

TEST_F(Faults, OfAnyAnswerLeaveIssOwnMessagesAlone) {
  add("fault any drop");
  OtnIpcMsg own{};
  own.msgType = WATCH_DOG_ISS_ACTIVE;
  EXPECT_EQ(m_table.apply(own).writes.size(), 1U);
  EXPECT_TRUE(drops());
}

TEST_F(Faults, ComeByChanceAndAgainWithTheSameSeed) {
  add("fault FLUSH_CMD chance 25% drop");
  const auto series = [this](uint32_t seed) {
    m_table.seed(seed);
    std::string result;
    for (int i = 0; i < 400; ++i) result += drops() ? 'x' : '.';
    return result;
  };
  const std::string first = series(1);
  EXPECT_EQ(series(1), first);
  EXPECT_NE(series(2), first);
  const auto hits = std::count(first.begin(), first.end(), 'x');
  EXPECT_GT(hits, 60);
  EXPECT_LT(hits, 140);
}

TEST_F(Faults, NeverAndAlwaysAreChancesToo) {
  add("fault FLUSH_CMD chance 0% drop");
  for (int i = 0; i < 50; ++i) EXPECT_FALSE(drops());
  add("fault FLUSH_CMD chance 100% drop");
  for (int i = 0; i < 50; ++i) EXPECT_TRUE(drops());
}

TEST_F(Faults, SayWhichApplied) {
  add("fault FLUSH_CMD delay 1s");
  add("answer any status=3");
  EXPECT_EQ(flush().notes, "FLUSH_CMD delay; any answer");
}

TEST_F(Faults, DelayAddsUp) {
  add("fault FLUSH_CMD delay 1s");
  add("fault any delay 5ms");
  EXPECT_EQ(flush().delay, 1005ms);
}

TEST_F(Faults, DuplicateIsOneMoreWriteEach) {
  add("fault FLUSH_CMD duplicate 2");
  const Delivery delivery = flush();
  ASSERT_EQ(delivery.writes.size(), 3U);
  EXPECT_EQ(delivery.writes[2].bytes, delivery.writes[0].bytes);
}

TEST_F(Faults, TypeChangesOnlyTheType) {
  add("fault FLUSH_CMD type SYNCE_CMD");
  const OtnIpcMsg msg = recordIn(flush().writes.at(0).bytes);
  EXPECT_EQ(msg.msgType, uint32_t{SYNCE_CMD});
  EXPECT_EQ(fieldText(msg.errorString), ops::noError);
}

TEST_F(Faults, ErrorTextHasItsLengthAndANul) {
  add("fault FLUSH_CMD error-length 499");
  const OtnIpcMsg msg = recordIn(flush().writes.at(0).bytes);
  EXPECT_EQ(fieldText(msg.errorString), std::string(499, 'e'));
  EXPECT_EQ(msg.errorString[499], '\0');
  EXPECT_EQ(msg.status, 1);
}

TEST_F(Faults, ErrorTextWithoutNulFillsItsField) {
  add("fault FLUSH_CMD error-length 3 no-nul");
  const OtnIpcMsg msg = recordIn(flush().writes.at(0).bytes);
  EXPECT_EQ(fieldText(msg.errorString), "eee" + std::string(497, '~'));
  EXPECT_EQ(msg.errorValue[0], 0);
}

TEST_F(Faults, SplitCutsIntoPieces) {
  add("fault FLUSH_CMD split 3000 pause 7ms");
  const Delivery delivery = flush();
  ASSERT_EQ(delivery.writes.size(), 3U);
  EXPECT_EQ(delivery.writes[0].pause, 0ms);
  EXPECT_EQ(delivery.writes[1].pause, 7ms);
  EXPECT_EQ(delivery.writes[2].bytes.size(), size - 6000);
  EXPECT_EQ(delivery.writes[0].bytes + delivery.writes[1].bytes + delivery.writes[2].bytes,
            sim::bytesOf(answerOf(FLUSH_CMD)));
}

TEST_F(Faults, MergePutsTwoRecordsIntoOneWrite) {
  add("fault FLUSH_CMD merge CPU_THRESHOLD threadName=a");
  const Delivery delivery = flush();
  ASSERT_EQ(delivery.writes.size(), 1U);
  ASSERT_EQ(delivery.writes[0].bytes.size(), 2 * size);
  EXPECT_EQ(recordIn(delivery.writes[0].bytes).msgType, uint32_t{FLUSH_CMD});
  EXPECT_EQ(recordIn(delivery.writes[0].bytes, size).msgType, uint32_t{CPU_THRESHOLD});
}

TEST_F(Faults, CloseBeforeWithinAndAfter) {
  add("fault FLUSH_CMD times 1 close before");
  add("fault FLUSH_CMD skip 1 times 1 close within 100 reset");
  add("fault FLUSH_CMD skip 2 times 1 close after");
  const Delivery before = flush();
  EXPECT_TRUE(before.writes.empty());
  EXPECT_EQ(before.ending, Ending::close);
  const Delivery within = flush();
  EXPECT_EQ(within.writes.at(0).bytes.size(), 100U);
  EXPECT_EQ(within.ending, Ending::reset);
  const Delivery after = flush();
  EXPECT_EQ(after.writes.at(0).bytes.size(), size);
  EXPECT_EQ(after.ending, Ending::close);
}

TEST_F(Faults, GarbageAndFloodComeInFront) {
  add("fault FLUSH_CMD garbage 10");
  add("fault FLUSH_CMD flood 1000 WATCH_DOG_INTERVAL");
  const Delivery delivery = flush();
  ASSERT_EQ(delivery.writes.size(), 3U);
  EXPECT_EQ(delivery.writes[0].bytes.size(), 10U);
  EXPECT_EQ(delivery.writes[1].repeats, 1000U);
  EXPECT_EQ(recordIn(delivery.writes[1].bytes).msgType, uint32_t{WATCH_DOG_INTERVAL});
  EXPECT_EQ(recordIn(delivery.writes[2].bytes).msgType, uint32_t{FLUSH_CMD});
}

TEST_F(Faults, AnswerSaysSomethingElse) {
  add("answer MGMT_INTERFACE_MAPPING_IND entryCount=4294967295 errorString=Sorry status=9");
  const OtnIpcMsg msg = recordIn(m_table.apply(answerOf(MGMT_INTERFACE_MAPPING_IND)).writes.at(0).bytes);
  EXPECT_EQ(msg.payload.mapping.entryCount, UINT32_MAX);
  EXPECT_EQ(fieldText(msg.errorString), "Sorry");
  EXPECT_EQ(msg.status, 9);
}

TEST_F(Faults, AreClearedApartFromAnswers) {
  add("fault FLUSH_CMD drop");
  add("answer FLUSH_CMD status=9");
  m_table.clearFaults();
  EXPECT_EQ(recordIn(flush().writes.at(0).bytes).status, 9);
  add("fault FLUSH_CMD duplicate");
  m_table.clearAnswers();
  const Delivery delivery = flush();
  EXPECT_EQ(delivery.writes.size(), 2U);
  EXPECT_EQ(recordIn(delivery.writes.at(0).bytes).status, 0);
}

}  // namespace
