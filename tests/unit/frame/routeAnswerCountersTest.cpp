#include "frame/mainLines.h"
#include "frame/routeAnswer.h"
#include "link/SrvDbg.h"
#include "services/counters/SrvGetIssParams.h"
#include "support/FakeBus.h"
#include "support/Record.h"
#include "support/RingTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// The counters' slots carry the source of the port parameters service, but no such service.
class CountersAnswer : public RingTest {
 protected:
  CountersAnswer() { FakeBus::clear(); }

  bool route(const std::string& error) {
    const Guard guard(&mutex);
    return routeAnswer(recordOf({ofType(GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS),
                                 {"interfaceNum", 3},
                                 {"rxOctets", 1234},
                                 {"errorString", error}}),
                       m_debugSocket);
  }

  SrvDbg m_debugSocket;
  SrvGetIssParams m_service;
};

TEST_F(CountersAnswer, IsLoggedAndConsumed) {
  m_service.register_interface(nullptr);
  run_iss_get_data_thread(new CountersRequest{&m_service, ReplyOwner(FakeBus::call(70)),
                                              CountersRequest::readCounters,
                                              ops::Counters{3, 1, 2, 3, 4, 5, 6, 7, 8, 9}});
  ASSERT_EQ(writepointer, 1);
  forget();
  EXPECT_TRUE(route("No Error\r\n"));
  EXPECT_THAT(unnumbered(),
              ElementsAre(mainLine("DEBUG3", "MESSAGE SOURCE 1\n"),
                          mainLine("DEBUG3", "Sending reply msg to OTNBus\n"),
                          mainLine("ERROR", "no service to send the reply of this answer, source 1")));
  EXPECT_EQ(readpointer, 1);
  EXPECT_EQ(MsgArray[0].source, MsgSource::None);
  EXPECT_EQ(MsgArray[0].reply, nullptr);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(70U)) << "the bus forgets the call";
}

TEST_F(CountersAnswer, IsLoggedAndConsumedAlsoWhenItIsAnError) {
  run_iss_get_data_thread(new CountersRequest{&m_service, ReplyOwner(FakeBus::call(71)),
                                              CountersRequest::readCounters, ops::Counters{}});
  forget();
  EXPECT_TRUE(route("No such interface\r\n"));
  EXPECT_THAT(unnumbered(), ::testing::Contains(mainLine(
                                "WARNING",
                                "ISS refused IssGetParams (source 1) message 1 of 1, "
                                "GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS [17], interface 0: "
                                "\"No such interface\"; its caller's reply does not show it")));
  EXPECT_EQ(unnumbered().back(), mainLine("ERROR", "no service to send the reply of this answer, source 1"));
  EXPECT_EQ(readpointer, 1);
  EXPECT_THAT(FakeBus::released(), ElementsAre(71U));
}

}  // namespace
