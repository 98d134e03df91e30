#include "ops/Outbox.h"

#include <gmock/gmock.h>

#include "directive/DirectiveParser.h"
#include "sim/support/Record.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr size_t size = sizeof(OtnIpcMsg);

class Outbox : public ::testing::Test {
 protected:
  /// An answer as these faults make it.
  void add(std::initializer_list<const char*> rules) {
    sim::FaultTable faults;
    for (const char* rule : rules) {
      sim::Directive directive;
      ASSERT_EQ(sim::parseDirective(rule, directive), std::nullopt);
      faults.add(std::get<sim::FaultRule>(directive.action));
    }
    m_outbox.add(faults.apply(answerOf(FLUSH_CMD)));
  }

  std::vector<std::string> m_told;
  sim::Outbox m_outbox{[this](const sim::Sent& sent) {
    m_told.push_back(std::to_string(sent.bytes) + "*" + std::to_string(sent.count) + " " +
                     std::string(sent.how));
  }};
};

TEST_F(Outbox, TellsOfARecordWithItsLastByte) {
  add({});
  EXPECT_FALSE(m_outbox.wrote(size - 1));
  EXPECT_TRUE(m_outbox.begun());
  EXPECT_THAT(m_told, IsEmpty());
  EXPECT_EQ(m_outbox.rest().size(), 1U);
  EXPECT_TRUE(m_outbox.wrote(1));
  EXPECT_THAT(m_told, ElementsAre("6924*1 "));
  EXPECT_TRUE(m_outbox.empty());
  EXPECT_EQ(m_outbox.waitingBytes(), 0U);
}

TEST_F(Outbox, TellsOfPiecesWithTheLastOne) {
  add({"fault any split 3000"});
  EXPECT_TRUE(m_outbox.wrote(3000));
  EXPECT_TRUE(m_outbox.wrote(3000));
  EXPECT_THAT(m_told, IsEmpty());
  EXPECT_TRUE(m_outbox.wrote(924));
  EXPECT_THAT(m_told, ElementsAre("6924*1 in 3 pieces"));
}

TEST_F(Outbox, TellsHowMuchOfPiecesWentOut) {
  add({"fault any split 3000"});
  add({});
  m_outbox.wrote(3000);
  m_outbox.wrote(17);
  m_outbox.forget("why");
  EXPECT_THAT(m_told, ElementsAre("3017*1 in 3 pieces, 3017 of 6924 bytes, why", "0*1 not sent, why"));
  EXPECT_TRUE(m_outbox.empty());
  m_told.clear();
  add({});
  m_outbox.wrote(size);
  EXPECT_THAT(m_told, ElementsAre("6924*1 "));
}

TEST_F(Outbox, TellsHowManyOfSeveralWentOut) {
  add({"fault any flood 5 13", "fault any delay 1s"});
  m_outbox.wrote(size);
  m_outbox.wrote(size);
  m_outbox.wrote(100);
  m_outbox.forget("why");
  EXPECT_THAT(m_told, ElementsAre("6924*2 ", "100*1 100 of 6924 bytes, why", "0*2 not sent, why",
                                  "0*1 delayed 1000 ms, not sent, why"));
}

TEST_F(Outbox, TellsOfEachOfTwoInOneWrite) {
  add({"fault any merge 18"});
  m_outbox.wrote(size + 10);
  m_outbox.forget("why");
  EXPECT_THAT(m_told,
              ElementsAre("6924*1 1 of 2 in one write", "10*1 2 of 2 in one write, 10 of 6924 bytes, why"));
}

TEST_F(Outbox, TellsAtOnceOfWhatIsDropped) {
  add({"fault any drop"});
  EXPECT_THAT(m_told, ElementsAre("0*1 dropped"));
  EXPECT_TRUE(m_outbox.empty());
  add({"fault any close before"});
  EXPECT_EQ(m_outbox.ending(), sim::Ending::close);
}

}  // namespace
