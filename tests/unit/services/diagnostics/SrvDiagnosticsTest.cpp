#include "services/diagnostics/SrvDiagnostics.h"

#include "OBmessage.h"
#include "support/FakeBus.h"
#include "support/RingTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

class Diagnostics : public RingTest {
 protected:
  Diagnostics() { FakeBus::clear(); }
  std::vector<OBvalue> ask() {
    FakeBus::clear();
    OBdiagnostics_1_0_S stub(&m_service, nullptr);
    OBmessage call;
    call.reply = FakeBus::call(1);
    stub.dispatch(call);
    return FakeBus::replies().at(0).results;
  }
  SrvDiagnostics m_service{DaemonIdentity{"1.2.3", "EDGE-1", "00:1a:2b:3c:4d:5e", "-p"}};
};

TEST_F(Diagnostics, AreOfferedPastTheCallsThatWait) {
  m_service.register_interface(nullptr);
  EXPECT_THAT(FakeBus::registrations(), ElementsAre("immediate diagnostics OBdiagnostics_1_0"));
}

TEST_F(Diagnostics, TellWhoTheDaemonIsAndWhatItDoes) {
  writepointer = 3;
  outstanding.begins(8, MsgSource::PortParams, std::chrono::steady_clock::now() - std::chrono::seconds(70));
  const std::vector<OBvalue> status = ask();
  ASSERT_THAT(status, SizeIs(19));
  EXPECT_EQ(status[0], OBvalue(std::string("1.2.3")));
  EXPECT_EQ(status[1], OBvalue(std::string("EDGE-1")));
  EXPECT_EQ(status[2], OBvalue(std::string("00:1a:2b:3c:4d:5e")));
  EXPECT_EQ(status[3], OBvalue(std::string("-p")));
  EXPECT_EQ(status[5], OBvalue(false));
  EXPECT_EQ(status[7], OBvalue(uint32_t{3}));
  EXPECT_EQ(status[8], OBvalue(uint32_t{8}));
  EXPECT_EQ(status[9], OBvalue(std::string("IssSetLanWanAsync")));
  EXPECT_GE(std::get<uint32_t>(status[10]), 69999U);
  EXPECT_EQ(status[18], OBvalue(interfaceLines()));
}

TEST_F(Diagnostics, WithoutAMessageNameNone) {
  const std::vector<OBvalue> status = ask();
  EXPECT_EQ(status[8], OBvalue(uint32_t{0}));
  EXPECT_EQ(status[9], OBvalue(std::string()));
  EXPECT_EQ(status[10], OBvalue(uint32_t{0}));
}

TEST_F(Diagnostics, AskedForAreNotCounted) {
  const std::string before = interfaceLines();
  ask();
  EXPECT_EQ(interfaceLines(), before);
}

}  // namespace
