#include "otnbus/Connection.h"

#include "busFixture.h"
#include "failCalls.h"

namespace {

using namespace busTest;
using By = failing::Call::By;

using Opening = BusTest;

TEST_F(Opening, IsTriedAgainAfterAnyError) {
  for (failing::Call* call : {&failing::start, &failing::getEvents, &failing::process}) {
    m_log.clear();
    call->fail(By::Others, -EIO);
    // A bus that answers at once need not be waited for.
    m_bus.suspend();
    Component tested;
    EXPECT_TRUE(waitFor([&] { return call->done(); }));
    m_bus.resume();
    ASSERT_TRUE(tested.ready());
    EXPECT_EQ(m_log.count("Component Tested is not on the bus yet, trying again: Input/output error"), 1U);
    EXPECT_EQ(m_log.count("[INFO] otnbus:"), 1U);
    EXPECT_EQ(m_log.count("Component Tested is on the bus"), 1U);
  }
}

TEST(OpeningRefused, ByTheBusIsToldInItsWords) {
  const SyslogCapture log;
  // A connection's own unique name counts.
  PrivateBus bus("<limit name=\"max_names_per_connection\">1</limit>");
  ASSERT_TRUE(bus.start());
  Component tested;
  EXPECT_TRUE(
      waitFor([&] { return log.count("Component Tested is not on the bus yet, trying again: ") == 1; }));
  EXPECT_EQ(log.count("max_names_per_connection"), 1U) << log.lines()[0];
  EXPECT_FALSE(tested.named);
}

}  // namespace
