#include "services/common/SrvCommon.h"

#include <utility>

#include "support/FakeBus.h"
#include "support/RoomTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string setLine(int level) {
  return logged("NOTICE", "SrvCommon", 37, "set_trace_level",
                "Set trace level to [" + std::to_string(level) + "]");
}
std::string getLine(int level) {
  return logged("NOTICE", "SrvCommon", 44, "get_trace_level",
                "Get trace level [" + std::to_string(level) + "]");
}

class TraceLevel : public RoomTest {
 protected:
  TraceLevel() {
    FakeBus::clear();
    setLevel(6);
  }
  SrvCommon m_service;
};

TEST_F(TraceLevel, IsOfferedOnTheBus) {
  m_service.register_interface(nullptr);
  EXPECT_THAT(FakeBus::registrations(), ElementsAre("synchronous ob_common OBcommon_1_0"));
}

TEST_F(TraceLevel, TakesZeroToTen) {
  for (int wanted = 10; wanted >= 0; --wanted) {
    m_service.set_trace_level(wanted);
    EXPECT_EQ(level(), wanted);
  }
  EXPECT_THAT(lines(), ElementsAre(setLine(10), setLine(9), setLine(8), setLine(7), setLine(6), setLine(5),
                                   setLine(4)))
      << "the line is written at the level before the change";
}

TEST_F(TraceLevel, IgnoresAnythingElseAfterItsLine) {
  for (const int wanted : {11, -1, 100, INT32_MIN, INT32_MAX}) {
    forget();
    m_service.set_trace_level(wanted);
    EXPECT_EQ(level(), 6);
    EXPECT_THAT(lines(), ElementsAre(setLine(wanted)));
  }
}

TEST_F(TraceLevel, BelowNoticeChangesInSilence) {
  setLevel(4);
  m_service.set_trace_level(11);
  EXPECT_EQ(level(), 4);
  m_service.set_trace_level(7);
  EXPECT_EQ(level(), 7);
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(TraceLevel, IsTold) {
  int32_t told = -1;
  m_service.get_trace_level(told);
  EXPECT_EQ(told, 6);
  EXPECT_THAT(lines(), ElementsAre(getLine(6)));
  forget();
  setLevel(4);
  m_service.get_trace_level(told);
  EXPECT_EQ(told, 4);
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(TraceLevel, IsZeroWithoutATraceObject) {
  TraceObject* const before = std::exchange(g_traceObject, nullptr);
  int32_t told = -1;
  m_service.set_trace_level(9);
  m_service.get_trace_level(told);
  g_traceObject = before;
  EXPECT_EQ(told, 0);
  EXPECT_EQ(level(), 6);
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(TraceLevel, HasNoAsynchronousForm) {
  const char* const never = "Error, this function should never be called ";
  int32_t told = 5;
  m_service.get_trace_level(FakeBus::call(1), told);
  m_service.set_trace_level(FakeBus::call(2), 9);
  EXPECT_EQ(told, 5);
  EXPECT_EQ(level(), 6);
  EXPECT_THAT(
      lines(),
      ElementsAre(logged("ERROR", "OBcommon_1_0_SI", 41, "get_trace_level",
                         std::string(never) +
                             "[virtual void OBcommon_1_0_SI::get_trace_level(OBstubReply*, int32_t&)]]\n"),
                  logged("ERROR", "OBcommon_1_0_SI", 44, "set_trace_level",
                         std::string(never) +
                             "[virtual void OBcommon_1_0_SI::set_trace_level(OBstubReply*, int32_t)]]\n")));
  EXPECT_THAT(FakeBus::released(), ElementsAre(1U, 2U)) << "the bus forgets calls that get no answer";
}

}  // namespace
