#include "bus/DaemonStatus.h"

#include <gmock/gmock.h>

namespace {

using namespace ctl;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using ::testing::StartsWith;

InterfaceCounts counts(uint64_t received, uint64_t byIss, uint64_t byRing) {
  return {.name = "I", .received = received, .refusedByIss = byIss, .refusedByRing = byRing};
}

TEST(DaemonStatus, VerdictNeedsToBeAlone) {
  const InterfaceCounts before = counts(5, 2, 3);
  EXPECT_EQ(judge(before, counts(6, 2, 3)), Verdict::accepted);
  EXPECT_EQ(judge(before, counts(9, 2, 3)), Verdict::accepted) << "nobody was refused";
  EXPECT_EQ(judge(before, counts(6, 3, 3)), Verdict::refused);
  EXPECT_EQ(judge(before, counts(6, 4, 3)), Verdict::refused) << "both messages of the one request";
  EXPECT_EQ(judge(before, counts(6, 2, 4)), Verdict::ringFull);
  EXPECT_EQ(judge(before, counts(7, 3, 3)), Verdict::cannotTell);
  EXPECT_EQ(judge(before, counts(7, 2, 4)), Verdict::cannotTell);
  InterfaceCounts earlier = counts(6, 3, 3);
  earlier.answered = 2;
  EXPECT_EQ(judge(before, earlier), Verdict::cannotTell) << "one that came before was answered meanwhile";
}

TEST(DaemonStatus, ShortAndLongAnswersAreRead) {
  const DaemonStatus none = parseStatus({});
  EXPECT_THAT(none.interfaces, SizeIs(0));
  const DaemonStatus old = parseStatus({std::string("1.0.0")});
  EXPECT_EQ(old.text("version"), "1.0.0");
  EXPECT_EQ(old.text("boardMac"), "");
  std::vector<BusValue> values(18, uint32_t{1});
  values.emplace_back(std::string("A 1 2 3\n\nB 1 2 3 4 5 6\nnonsense x\n"));
  values.emplace_back(uint32_t{9});
  const DaemonStatus newer = parseStatus(values);
  ASSERT_THAT(newer.interfaces, SizeIs(3));
  EXPECT_EQ(newer.interfaces[0].refusedByIss, 3U);
  EXPECT_EQ(newer.interfaces[0].neverAnswered, 0U);
  EXPECT_EQ(countsOf(newer, "B")->neverAnswered, 5U);
  EXPECT_FALSE(countsOf(newer, "C"));
}

DaemonStatus linkToIss(bool connected, bool ready, uint32_t type, uint32_t ageMs) {
  return {.values = {{"opsConnected", connected},
                     {"issReady", ready},
                     {"outstandingType", type},
                     {"outstandingSource", std::string("IssSetLanWanAsync")},
                     {"outstandingAgeMs", ageMs}},
          .interfaces = {}};
}

TEST(DaemonStatus, HealthSaysWhatStandsStill) {
  EXPECT_EQ(health(linkToIss(true, true, 0, 0)), "good");
  EXPECT_EQ(health(linkToIss(true, true, 8, 5000)), "good") << "a start of ISS takes seconds";
  EXPECT_THAT(health(linkToIss(true, true, 8, 7900)),
              HasSubstr("RUN_DEFAULT_SCRIPT_COMMAND [8] of IssSetLanWanAsync for 7 s"));
  EXPECT_THAT(health(linkToIss(false, true, 8, 7900)), StartsWith("no connection to ISS"));
  EXPECT_THAT(health(linkToIss(true, false, 0, 0)), HasSubstr("not said that it is ready"));
  EXPECT_THAT(toText(toNode(linkToIss(false, false, 0, 0)), false), StartsWith("health"));
}

TEST(Node, TextKeepsTerminalsSafe) {
  const Node node =
      Node::object().add("a", std::string("x\x1b[31m\"")).add("list", Node::list().add(1).add(2));
  EXPECT_EQ(toText(node, false), "a     x\\x1b[31m\"\nlist  1,2\n");
  EXPECT_EQ(toJson(node), R"({"a": "x\u001b[31m\"", "list": [1, 2]})");
}

TEST(Node, TablesLineUp) {
  Node rows = Node::list();
  rows.add(Node::object().add("n", 1).add("text", "one two"))
      .add(Node::object().add("n", 100).add("text", Node()));
  EXPECT_EQ(toText(Node::object().add("rows", rows), false), "rows:\nn    text\n1    one two\n100  -\n");
  EXPECT_EQ(toJson(rows), R"([{"n": 1, "text": "one two"}, {"n": 100, "text": null}])");
}

}  // namespace
