// The records that the client foretells, against the bytes that ISS is known to get.
#include <gmock/gmock.h>

#include "request/PortRequest.h"
#include "request/RuleRequest.h"
#include "request/SmartSfpRequest.h"
#include "request/SyncERequest.h"

namespace {

using namespace ctl;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

std::vector<uint8_t> bytesOf(const PlannedMessage& message, size_t at, size_t count) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(&message.record);
  return {bytes + at, bytes + at + count};
}

uint32_t wordAt(const PlannedMessage& message, size_t at) {
  uint32_t word = 0;
  memcpy(&word, reinterpret_cast<const uint8_t*>(&message.record) + at, sizeof word);
  return word;
}

using Bytes = std::vector<uint8_t>;

TEST(PortRequest, SetUpIsAScriptAndAMapping) {
  const Plan plan = planOf(PortRequest{.port = 5, .acVlan = 100});
  EXPECT_EQ(signatureOf(plan.call), "uuuubuuu");
  ASSERT_THAT(plan.messages, SizeIs(2));
  EXPECT_EQ(plan.messages[0].record.msgType, RUN_DEFAULT_SCRIPT_COMMAND);
  EXPECT_EQ(bytesOf(plan.messages[0], 28, 15),
            Bytes({'/', 't', 'm', 'p', '/', 'o', 'u', 't', 's', 'c', 'r', '.', 's', 'h', 0}));
  const PlannedMessage& mapping = plan.messages[1];
  EXPECT_EQ(mapping.record.msgType, MGMT_INTERFACE_MAPPING_IND);
  EXPECT_EQ(bytesOf(mapping, 4, 6), Bytes({1, 0, 0x5e, 0x90, 0, 0}));
  const std::pair<size_t, uint32_t> words[] = {{16, 100},  {20, 4005}, {24, 24},   {28, 5},   {32, 1000},
                                               {36, 1000}, {40, 1500}, {44, 1500}, {48, 1},   {52, 0},
                                               {56, 1},    {60, 1},    {64, 1},    {6404, 1}, {6408, 1}};
  for (const auto& [at, value] : words) EXPECT_EQ(wordAt(mapping, at), value) << at;
}

TEST(PortRequest, ReleaseUnmapsFirst) {
  const Plan plan = planOf(PortRequest{.action = PortAction::release, .port = 5, .acVlan = 100});
  ASSERT_THAT(plan.messages, SizeIs(2));
  EXPECT_EQ(plan.messages[0].record.msgType, MGMT_INTERFACE_MAPPING_IND);
  EXPECT_EQ(wordAt(plan.messages[0], 6408), 2U);
  EXPECT_EQ(plan.messages[1].record.msgType, RUN_DEFAULT_SCRIPT_COMMAND);
}

TEST(PortRequest, ReleaseWithoutAVlanNamesThePortsOwn) {
  const Plan plan = planOf(PortRequest{.action = PortAction::release, .port = 5});
  EXPECT_EQ(plan.call.arguments[5].value, BusValue(uint32_t{4005}));
}

TEST(PortRequest, ProbeAndDetachTellTheInterface) {
  const Plan plan = planOf(PortRequest{.action = PortAction::detach, .port = 3, .type = 6, .speed = 1000});
  ASSERT_THAT(plan.messages, SizeIs(1));
  const std::pair<size_t, uint32_t> words[] = {{0, 7}, {4, 3}, {8, 1000}, {12, 6}, {516, 1}, {520, 2}};
  for (const auto& [at, value] : words) EXPECT_EQ(wordAt(plan.messages[0], at), value) << at;
}

TEST(PortRequest, AcknowledgementAsksNothingAndIsAnswered) {
  const Plan plan = planOf(PortRequest{.action = PortAction::acknowledge, .port = 3});
  EXPECT_THAT(plan.messages, IsEmpty());
  EXPECT_THAT(plan.whyNoAnswer, IsEmpty());
}

TEST(RuleRequest, EtsOverMplsHasItsOwnEntries) {
  const Plan plan = planOf(RuleRequest{
      .type = RuleType::ets, .action = RuleAction::create, .mplsPorts = 1, .vpn = 7, .vp = 2, .vlan = 0x123});
  EXPECT_EQ(signatureOf(plan.call), "uuuuiuuuuuusuuuqii");
  ASSERT_THAT(plan.messages, SizeIs(1));
  const PlannedMessage& rule = plan.messages[0];
  EXPECT_EQ(bytesOf(rule, 4, 10), Bytes({15, 0, 0, 0, 0x02, 0x5A, 0xC3, 0x00, 0x1E, 0xFF}));
  EXPECT_EQ(bytesOf(rule, 24, 10), Bytes({8, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
  EXPECT_EQ(bytesOf(rule, 44, 8), Bytes({12, 0, 0, 0, 0x6E, 0x78, 0x23, 0}));
  EXPECT_EQ(bytesOf(rule, 64, 8), Bytes({7, 0, 0, 0, 7, 0, 0, 0}));
  EXPECT_EQ(bytesOf(rule, 204, 4), Bytes({0x80, 0, 0, 0}));
  const std::pair<size_t, uint32_t> words[] = {{208, 3}, {212, 3}, {216, 3}, {232, 4}, {236, 1}};
  for (const auto& [at, value] : words) EXPECT_EQ(wordAt(rule, at), value) << at;
}

TEST(RuleRequest, MstpWanCountsPortsFromZero) {
  const Plan plan = planOf(RuleRequest{.type = RuleType::mstpWan,
                                       .action = RuleAction::create,
                                       .port = 3,
                                       .mplsLabel = 16,
                                       .pwLabel = 0xFFFFF});
  const PlannedMessage& rule = plan.messages[0];
  EXPECT_EQ(bytesOf(rule, 204, 4), Bytes({0x10, 0, 0, 0}));
  EXPECT_EQ(wordAt(rule, 28), 16U << 12);
  EXPECT_EQ(wordAt(rule, 32), 0xFFF000U) << "cut to 24 bits";
  EXPECT_EQ(wordAt(rule, 36), 0x00F0FFFFU);
  EXPECT_EQ(wordAt(rule, 232), 3U);
}

TEST(RuleRequest, MrpTakesAPortNumber) {
  const Plan plan = planOf(
      RuleRequest{.type = RuleType::mrp, .action = RuleAction::create, .l2Ports = 9, .vp = 1, .vlan = 5});
  const PlannedMessage& rule = plan.messages[0];
  EXPECT_EQ(bytesOf(rule, 204, 4), Bytes({0, 0x80, 0, 0}));
  EXPECT_EQ(bytesOf(rule, 24, 6), Bytes({4, 0, 0, 0, 0xE3, 0x88}));
  EXPECT_EQ(bytesOf(rule, 64, 6), Bytes({3, 0, 0, 0, 5, 0}));
  EXPECT_EQ(wordAt(rule, 232), 4U);
}

TEST(RuleRequest, MappingFollowsTheRule) {
  const Plan plan = planOf(RuleRequest{.type = RuleType::ets,
                                       .action = RuleAction::none,
                                       .flushAction = 2,
                                       .vpn = 7,
                                       .vp = 1,
                                       .vlan = 100,
                                       .dataVlans = "200,300"});
  ASSERT_THAT(plan.messages, SizeIs(1));
  const std::pair<size_t, uint32_t> words[] = {{0, 24}, {4, 100}, {8, 7}, {12, 200}, {16, 300}, {20, 0}};
  for (const auto& [at, value] : words) EXPECT_EQ(wordAt(plan.messages[0], at), value) << at;
}

TEST(RuleRequest, NothingToDoIsNeverAnswered) {
  EXPECT_THAT(planOf(RuleRequest{.type = RuleType::mrp, .action = RuleAction::none}).whyNoAnswer,
              Not(IsEmpty()));
  EXPECT_THAT(
      planOf(RuleRequest{.type = RuleType::mrp, .action = RuleAction::none, .flushAction = 1}).whyNoAnswer,
      IsEmpty());
}

TEST(SyncERequest, MakesUpToThreeMessagesInOrder) {
  const Plan plan = planOf(SyncERequest{.filter = true,
                                        .slot = 2,
                                        .enableClock = 1,
                                        .clockSource = 3,
                                        .phyMode = 4,
                                        .sendPdu = true,
                                        .pduWords = {5, 6, 7}});
  ASSERT_THAT(plan.messages, SizeIs(3));
  EXPECT_EQ(bytesOf(plan.messages[0], 204, 4), Bytes({0xFF, 0xFF, 0xFF, 0xF0}));
  const std::pair<size_t, uint32_t> clock[] = {{0, 14}, {4, 1}, {8, 2}, {12, 3}, {16, 4}};
  for (const auto& [at, value] : clock) EXPECT_EQ(wordAt(plan.messages[1], at), value) << at;
  const std::pair<size_t, uint32_t> pdu[] = {{0, 15}, {4, 5}, {8, 6}, {12, 7}};
  for (const auto& [at, value] : pdu) EXPECT_EQ(wordAt(plan.messages[2], at), value) << at;
  EXPECT_THAT(planOf(SyncERequest{}).whyNoAnswer, Not(IsEmpty()));
}

TEST(SmartSfpRequest, PduKeepsLowBytes) {
  const Plan plan = planOf(SmartSfpRequest{.ports = 1, .send = true, .size = 3, .pdu = "1:2:300"});
  ASSERT_THAT(plan.messages, SizeIs(1));
  EXPECT_EQ(bytesOf(plan.messages[0], 4, 4), Bytes({1, 2, 0x2C, 0}));
  EXPECT_EQ(wordAt(plan.messages[0], 520), 1U);
  EXPECT_EQ(wordAt(plan.messages[0], 524), 3U);
}

TEST(Plan, CallIsACommandForAShell) {
  Plan plan = planOf(RuleRequest{.dataVlans = "it's", .fpId0 = -1});
  EXPECT_THAT(busctlLine(plan.call),
              testing::StartsWith("busctl call -- otn.Trelvik /otn/Trelvik/IssSetIssMgrAsync "));
  EXPECT_THAT(busctlLine(plan.call), testing::HasSubstr(" 'it'\\''s' "));
}

}  // namespace
