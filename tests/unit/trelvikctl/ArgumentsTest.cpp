// Arguments as handlers and workers log them.
#include "timeline/Arguments.h"

#include <gmock/gmock.h>

namespace {

using namespace ctl;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

std::vector<uint32_t> portsIn(const char* text) {
  std::vector<uint32_t> ports;
  addPorts(text, ports);
  return ports;
}

TEST(Arguments, ArePairs) {
  EXPECT_THAT(argumentsIn("setX: a=1, L2Pbmp=0x5=5 MplsPbmp=0x0=0,state = ACT0\nlast="),
              ElementsAre(Pair("a", "1"), Pair("L2Pbmp", "0x5"), Pair("MplsPbmp", "0x0"),
                          Pair("state", "ACT0"), Pair("last", "")));
  EXPECT_THAT(argumentsIn("none"), IsEmpty());
  EXPECT_THAT(argumentsIn("="), ElementsAre(Pair("", "")));
}

TEST(Arguments, AreTheSameAtHandlerAndWorker) {
  const char* const both[][2] = {
      {"ruleType=ETS, action=CREATE, L2Pbmp=0x5=5, MplsPbmp=0x0=0, flushAct=1, vpn=7 dataVfis=1,2 fpId=7,0",
       "ruleType=ETS, action=CREATE, L2Pbmp=0x5=5 MplsPbmp=0x0=0, flush=1, vpn=7 dataVfis=1,2"},
      {"setSyncEParam: enableFilter=2,enableClk=1,slot=3,clksrc=2,phymode=1",
       "enableFilter=2,enableClk=1,slot=3,clksrc=2,phymode=1"},
      {"setSmartSfpParams: enableFilter=1, action=0, sendOutPDU=0,                   pbmp=1, size=0",
       "stub-process-thread: enableFilter=1, action=0, sendOutPDU=0,                   L2Pbmp=1, size=0"},
      {"setRedundantState: redundancyState=ACT0", "Processing setRedundantState with state = ACT0"},
      {"SetPortParam message received over OTNBus", "Processing Setportparam message!"}};
  for (const auto& [handler, worker] : both) EXPECT_EQ(argumentKey(handler), argumentKey(worker));
}

TEST(Arguments, TellPorts) {
  EXPECT_THAT(portsIn("ruleType=ETS, L2Pbmp=0x5=5 MplsPbmp=0x8=8, port=0"), ElementsAre(1, 3, 4));
  EXPECT_THAT(portsIn("ruleType=MRP, action=CREATE, L2Pbmp=0x5=5"), ElementsAre(5)) << "a number there";
  EXPECT_THAT(portsIn("ReleasePort: portNr=9, tunnelId=0"), ElementsAre(9));
  EXPECT_THAT(portsIn("Script input file: /tmp/SetVlanPort12_0 "), ElementsAre(12));
  EXPECT_THAT(portsIn("MGMT_INTERFACE_MAPPING_IND [11] acPort=24 pwPort=6"), ElementsAre(6));
  EXPECT_THAT(portsIn("port=29, pwPort=-1, pbmp=0xzz, L2Pbmp=99999999999999999999"), IsEmpty());
}

}  // namespace
