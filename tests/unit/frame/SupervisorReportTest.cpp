#include "frame/SupervisorReport.h"

#include "support/RingTest.h"
#include "support/SupervisorSocket.h"

namespace {

using namespace std::chrono_literals;
using ::testing::StartsWith;

class Report : public RingTest {
 protected:
  SupervisorReport m_report;
  const SupervisorReport::Time m_start = SupervisorReport::Clock::now();
};

TEST_F(Report, TellsAtOnceThenEveryHalfMinute) {
  const SupervisorSocket supervisor;
  EXPECT_EQ(m_report.lookAgain(), SupervisorReport::Time::max())
      << "the first pass connects, and nothing else";
  m_report.look(m_start, false);
  EXPECT_THAT(supervisor.take(), StartsWith("STATUS="));
  EXPECT_EQ(m_report.lookAgain(), m_start + 30s);
  m_report.look(m_start + 29999ms, false);
  EXPECT_EQ(supervisor.take(), "");
  m_report.look(m_start + 30s, false);
  EXPECT_THAT(supervisor.take(), StartsWith("STATUS="));
  EXPECT_EQ(m_report.lookAgain(), m_start + 60s);
}

TEST_F(Report, TellsAChangeAtOnce) {
  const SupervisorSocket supervisor;
  m_report.look(m_start, false);
  supervisor.take();
  m_report.look(m_start + 1s, true);
  EXPECT_THAT(supervisor.take(), StartsWith("STATUS="));
  EXPECT_EQ(m_report.lookAgain(), m_start + 31s);
}

TEST_F(Report, WithoutASupervisorWakesNobody) {
  for (int i = 0; i < 3; ++i) {
    m_report.look(m_start + i * 40s, i == 1);
    EXPECT_EQ(m_report.lookAgain(), SupervisorReport::Time::max());
  }
}

}  // namespace
