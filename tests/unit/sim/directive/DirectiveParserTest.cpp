#include "directive/DirectiveParser.h"

#include <gmock/gmock.h>

#include "directive/FaultParser.h"

namespace {

using namespace std::chrono_literals;
namespace directive = sim::directive;
namespace fault = sim::fault;
using ::testing::ElementsAre;

sim::Directive parsed(std::string_view line) {
  sim::Directive result;
  const sim::Problem problem = sim::parseDirective(line, result);
  EXPECT_EQ(problem, std::nullopt) << line;
  return result;
}

template <typename T>
T actionOf(std::string_view line) {
  const sim::Directive directive = parsed(line);
  const T* action = std::get_if<T>(&directive.action);
  EXPECT_NE(action, nullptr) << line;
  return action == nullptr ? T{} : *action;
}

template <typename T>
T faultOf(std::string_view line) {
  const auto rule = actionOf<sim::FaultRule>(line);
  const T* action = std::get_if<T>(&rule.action);
  EXPECT_NE(action, nullptr) << line;
  return action == nullptr ? T{} : *action;
}

TEST(DirectiveParser, ReadsGreetingsInTheOrderWritten) {
  const auto startup = actionOf<directive::Startup>("startup 10ms 1s restore-failed alive init 5ms restored");
  ASSERT_EQ(startup.steps.size(), 4U);
  EXPECT_EQ(startup.steps[0].wait, 1010ms);
  EXPECT_EQ(startup.steps[0].record.build().payload.msrReload.reloadStatus, 1);
  EXPECT_EQ(startup.steps[1].wait, 0ms);
  EXPECT_EQ(startup.steps[1].record.type, uint32_t{WATCH_DOG_ISS_ACTIVE});
  EXPECT_EQ(startup.steps[2].record.type, uint32_t{TASK_INIT_STATUS});
  EXPECT_EQ(startup.steps[3].wait, 5ms);
  EXPECT_EQ(startup.steps[3].record.build().payload.msrReload.reloadStatus, 0);
  EXPECT_TRUE(actionOf<directive::Startup>("startup none").steps.empty());
}

TEST(DirectiveParser, KnowsWhen) {
  const sim::Directive once = parsed("on connect after 1s every 20ms times 3 alive");
  ASSERT_EQ(once.when.size(), 3U);
  EXPECT_TRUE(std::holds_alternative<directive::OnConnect>(once.when[0]));
  EXPECT_EQ(std::get<directive::After>(once.when[1]).time, 1s);
  EXPECT_EQ(std::get<directive::Every>(once.when[2]).period, 20ms);
  EXPECT_EQ(std::get<directive::Every>(once.when[2]).times, 3U);
  const sim::Directive standing = parsed("on FLUSH_CMD alive");
  EXPECT_EQ(std::get<directive::OnRequest>(standing.when.at(0)).type, uint32_t{FLUSH_CMD});
}

TEST(DirectiveParser, KeepsTexts) {
  EXPECT_THAT(parsed("  on connect  after 1s every 20ms times 3 cpu \"a b\" 1 # x").texts,
              ElementsAre("on connect  after 1s every 20ms times 3 cpu \"a b\" 1",
                          "after 1s every 20ms times 3 cpu \"a b\" 1", "every 20ms times 3 cpu \"a b\" 1",
                          "cpu \"a b\" 1"));
}

TEST(DirectiveParser, BuildsRecords) {
  const auto send = actionOf<directive::Send>(
      R"(send FLUSH_CMD vpn=7 vp=0x10 errorString="No Error\r\n" errorValue=1,2,3,4 isResponse=1 @12=ff01)");
  const OtnIpcMsg record = send.record.build();
  EXPECT_EQ(send.count, 1U);
  EXPECT_EQ(record.msgType, uint32_t{FLUSH_CMD});
  EXPECT_EQ(record.payload.flush.vpn, 7U);
  EXPECT_EQ(record.payload.flush.vp, 16U);
  EXPECT_EQ(record.payload.bytes[8], 0xff);
  EXPECT_EQ(record.payload.bytes[9], 1);
  EXPECT_EQ(fieldText(record.errorString), ops::noError);
  EXPECT_THAT(record.errorValue, ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(record.isResponse, 1);
}

TEST(DirectiveParser, KnowsEveryKindOfField) {
  const OtnIpcMsg tunnel =
      actionOf<directive::Send>("send MGMT_INTERFACE_MAPPING_IND destinationMac=00:1a:2b:3c:4d:5e pwPort=28")
          .record.build();
  EXPECT_THAT(tunnel.payload.mapping.entry.destinationMac, ElementsAre(0, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e));
  const OtnIpcMsg rule =
      actionOf<directive::Send>("send INTERESTED_PACKET_IND portList=0x8000003").record.build();
  EXPECT_THAT(rule.payload.rule.portList, ElementsAre(0xC0, 0, 0, 0x10));
  const OtnIpcMsg ports =
      actionOf<directive::Send>("send INTERESTED_PACKET_IND portList=1-2,28").record.build();
  EXPECT_THAT(ports.payload.rule.portList, ElementsAre(0xC0, 0, 0, 0x10));
  const OtnIpcMsg lldp =
      actionOf<directive::Send>("send LLDP_TLV_INFO mgmtIp=10.0.0.1 slotId=65535").record.build();
  EXPECT_EQ(lldp.payload.lldp.mgmtIp, 0x0a000001U);
  EXPECT_EQ(lldp.payload.lldp.slotId, 65535);
  const OtnIpcMsg vlans = actionOf<directive::Send>("send ETS_VLAN_MAPPING dataVlans=-1,2").record.build();
  EXPECT_EQ(vlans.payload.vlanMapping.firstDataVlan, -1);
  const OtnIpcMsg state = actionOf<directive::Send>("send REDUNDANCY_STATE state=-3").record.build();
  EXPECT_EQ(state.payload.redundancy.state, -3);
  const OtnIpcMsg sfp = actionOf<directive::Send>("send SMARTSFP_PDU_CMD pdu=0102ff").record.build();
  EXPECT_EQ(sfp.payload.smartSfp.pdu[2], 0xff);
}

TEST(DirectiveParser, ReadsACpuAlarm) {
  const OtnIpcMsg alarm = actionOf<directive::Own>("cpu \"L2 task\" 1234").record.build();
  EXPECT_EQ(alarm.msgType, uint32_t{CPU_THRESHOLD});
  EXPECT_EQ(fieldText(alarm.errorString), "L2 task");
  EXPECT_THAT(alarm.errorValue, ElementsAre(0, 0, 4, 0xD2));
}

TEST(DirectiveParser, KnowsTheRest) {
  EXPECT_EQ(actionOf<directive::KeepAlive>("keepalive off").period, 0ms);
  EXPECT_EQ(actionOf<directive::KeepAlive>("keepalive 1m").period, 1min);
  EXPECT_EQ(actionOf<directive::Own>("restore failed").record.build().payload.msrReload.reloadStatus, 1);
  EXPECT_EQ(actionOf<directive::Own>("init").record.type, uint32_t{TASK_INIT_STATUS});
  EXPECT_EQ(actionOf<directive::Own>("alive").record.type, uint32_t{WATCH_DOG_ISS_ACTIVE});
  EXPECT_EQ(actionOf<directive::Send>("flood 500 99").count, 500U);
  EXPECT_EQ(actionOf<directive::Raw>("raw 0102 ff").bytes, "\x01\x02\xff");
  EXPECT_EQ(actionOf<directive::Garbage>("garbage 100").size, 100U);
  EXPECT_EQ(actionOf<directive::Port>("port 28 toggle").ports, 0x8000000U);
  EXPECT_FALSE(actionOf<directive::Close>("close").reset);
  EXPECT_TRUE(actionOf<directive::Close>("close reset").reset);
  EXPECT_EQ(actionOf<directive::Restart>("restart 2s").away, 2s);
  EXPECT_EQ(actionOf<directive::Stall>("stall 2s").time, 2s);
  EXPECT_EQ(actionOf<directive::Seed>("seed 4294967295").value, UINT32_MAX);
  EXPECT_EQ(actionOf<directive::Clear>("clear schedule"), directive::Clear::schedule);
}

TEST(DirectiveParser, ReadsWhatAFaultIsFor) {
  const auto rule = actionOf<sim::FaultRule>("fault FLUSH_CMD chance 25% skip 2 times 3 drop");
  EXPECT_EQ(rule.selector.type, uint32_t{FLUSH_CMD});
  EXPECT_FALSE(rule.selector.anyAnswer);
  EXPECT_EQ(rule.selector.skip, 2U);
  EXPECT_EQ(rule.selector.times, 3U);
  EXPECT_EQ(rule.selector.chance, 250'000U);
  EXPECT_EQ(rule.text, "FLUSH_CMD drop");
  EXPECT_EQ(actionOf<sim::FaultRule>("fault any every 7 split 3000 pause 5ms # x").detail,
            "split 3000 pause 5ms");
  EXPECT_EQ(actionOf<sim::FaultRule>("fault any every 7 drop").selector.every, 7U);
  EXPECT_EQ(actionOf<sim::FaultRule>("answer any times 2 status=1").detail, "answer status=1");
  EXPECT_TRUE(actionOf<sim::FaultRule>("answer any status=1").selector.anyAnswer);
}

TEST(DirectiveParser, KnowsEveryFault) {
  faultOf<fault::Drop>("fault 16 drop");
  EXPECT_EQ(faultOf<fault::Delay>("fault 16 delay 3s").time, 3s);
  EXPECT_EQ(faultOf<fault::Duplicate>("fault 16 duplicate").copies, 1U);
  EXPECT_EQ(faultOf<fault::Duplicate>("fault 16 duplicate 5").copies, 5U);
  EXPECT_EQ(faultOf<fault::OtherType>("fault 16 type 4294967295").type, UINT32_MAX);
  EXPECT_TRUE(faultOf<fault::ErrorLength>("fault 16 error-length 499").terminated);
  EXPECT_FALSE(faultOf<fault::ErrorLength>("fault 16 error-length 500 no-nul").terminated);
  EXPECT_EQ(faultOf<fault::Split>("fault 16 split 1").pause, 20ms);
  EXPECT_EQ(faultOf<fault::Split>("fault 16 split 1 pause 0ms").pause, 0ms);
  EXPECT_EQ(faultOf<fault::Merge>("fault 16 merge CPU_THRESHOLD pid=1").next.type, uint32_t{CPU_THRESHOLD});
  EXPECT_EQ(faultOf<fault::Close>("fault 16 close before").where, fault::CloseAt::before);
  EXPECT_EQ(faultOf<fault::Close>("fault 16 close within 100 reset").offset, 100U);
  EXPECT_TRUE(faultOf<fault::Close>("fault 16 close after reset").reset);
  EXPECT_EQ(faultOf<fault::Garbage>("fault 16 garbage 7").size, 7U);
  EXPECT_EQ(faultOf<fault::Flood>("fault 16 flood 9 12").count, 9U);
  EXPECT_EQ(
      faultOf<fault::Change>("answer IFC_INSERT_DELETE_IND interfaceCount=4294967295").changes.fields.size(),
      1U);
}

struct Wrong {
  const char* line;
  const char* reason;
};

class DirectiveParserRefusals : public ::testing::TestWithParam<Wrong> {};

TEST_P(DirectiveParserRefusals, HaveTheirReason) {
  sim::Directive result;
  EXPECT_EQ(sim::parseDirective(GetParam().line, result), GetParam().reason);
}

INSTANTIATE_TEST_SUITE_P(
    DirectiveParser, DirectiveParserRefusals,
    ::testing::Values(
        Wrong{"jump", "unknown directive jump"}, Wrong{"on connect", "nothing to do"},
        Wrong{"\"a", "a quoted text does not end"},
        Wrong{"\"\\q\"", "unknown escape in a quoted text (known: \\r \\n \\t \\\\ \\\" \\xHH)"},
        Wrong{"after 5 alive", "after needs a time with its unit (250ms, 2s, 5m), one day at most, not 5"},
        Wrong{"every 0ms alive", "every needs a time above 0"},
        Wrong{"every 1s times 0 alive", "times needs a number from 1 to 4294967294, not 0"},
        Wrong{"after 1s on connect alive", "on stands in front of after and every, once"},
        Wrong{"on connect on 16 alive", "on stands in front of after and every, once"},
        Wrong{"on nothing alive", "on needs a message type, by name or number, not nothing"},
        Wrong{"startup", "startup needs its steps, or none"},
        Wrong{"startup reset",
              "unknown start-up step reset (known: init restored restore-failed alive TIME)"},
        Wrong{"startup none init", "unexpected init"},
        Wrong{"keepalive 0s", "a keep-alive period of 0 is written off"},
        Wrong{"restore", "restore needs ok or failed"}, Wrong{"cpu", "cpu needs a thread's name and its pid"},
        Wrong{"cpu a b", "bad value b for pid"},
        Wrong{"port 29 up", "port needs ports from 1 to 28 (5 or 1-4,7), not 29"},
        Wrong{"port 4-2 up", "port needs ports from 1 to 28 (5 or 1-4,7), not 4-2"},
        Wrong{"every 1s every 1s alive", "an every behind another needs its times"},
        Wrong{"fault 16 every 0 drop", "every needs a number from 1 to 4294967294, not 0"},
        Wrong{"port 1 sideways", "port N needs up, down or toggle"},
        Wrong{"send", "send needs a message type, by name or number"},
        Wrong{"send 16 x=1", "FLUSH_CMD has no field x"},
        Wrong{"send 16 vpn", "expected name=value, not vpn"}, Wrong{"send 16 vpn=-1", "bad value -1 for vpn"},
        Wrong{"send 16 @6923=0101", "expected @offset=hex inside the record, not @6923=0101"},
        Wrong{"send 25 mgmtIp=1.2.3", "bad value 1.2.3 for mgmtIp"},
        Wrong{"send 11 destinationMac=00:1a", "bad value 00:1a for destinationMac"},
        Wrong{"send 8 inputFile=0123456789012345678901234",
              "bad value 0123456789012345678901234 for inputFile"},
        Wrong{"flood 0 16", "flood needs a number from 1 to 1000000, not 0"},
        Wrong{"raw", "raw needs pairs of hex digits"},
        Wrong{"raw 123", "raw needs pairs of hex digits, not 123"},
        Wrong{"garbage x", "garbage needs a number from 1 to 1000000, not x"},
        Wrong{"close now", "unexpected now"}, Wrong{"clear", "clear needs faults, answers, schedule or all"},
        Wrong{"seed", "seed needs a number from 0 to 4294967295"},
        Wrong{"fault 16", "fault needs what is to happen"},
        Wrong{"fault 16 explode", "unknown fault explode"}, Wrong{"fault 16 drop drop", "unexpected drop"},
        Wrong{"fault 16 chance 25 drop", "chance needs a percentage (25%, 0.5%), not 25"},
        Wrong{"fault 16 error-length 500", "no room for a NUL behind 500 characters: say no-nul"},
        Wrong{"fault 16 split 0", "split needs a number from 1 to 6924, not 0"},
        Wrong{"fault 16 close", "close needs before, within BYTES or after"},
        Wrong{"fault 16 close within 6924", "within needs a number from 1 to 6923, not 6924"},
        Wrong{"answer 16", "answer needs name=value"},
        Wrong{"answer any vpn=1", "UnknownMsgType has no field vpn"}));

}  // namespace
