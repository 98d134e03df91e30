#include "services/diagnostics/statusLine.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

TEST(StatusLine, TellsTheLink) {
  DaemonStatus status{};
  EXPECT_EQ(statusLine(status),
            "not connected to ISS; nothing with ISS; ring 0, waiting 0; sent 0, received 0, reconnects 0; "
            "refused by ISS "
            "0, by the ring 0");
  status.opsConnected = true;
  EXPECT_TRUE(statusLine(status).starts_with("connected to ISS, ISS not ready; "));
  status.issReady = true;
  EXPECT_TRUE(statusLine(status).starts_with("ISS ready; "));
}

TEST(StatusLine, TellsTheMessageWithIss) {
  DaemonStatus status{};
  status.message = {8, MsgSource::PortParams, std::chrono::milliseconds(70999)};
  EXPECT_NE(
      statusLine(status).find("; RUN_DEFAULT_SCRIPT_COMMAND [8] of IssSetLanWanAsync with ISS for 70 s; "),
      std::string::npos);
}

TEST(StatusLine, IsNeverCut) {
  constexpr auto most = std::numeric_limits<uint64_t>::max();
  constexpr auto most32 = std::numeric_limits<uint32_t>::max();
  DaemonStatus status{};
  status.opsConnected = true;
  status.ringUsed = status.requestsWaiting = status.reconnects = most32;
  status.messagesSent = status.messagesReceived = status.refusedByIss = most;
  status.refusedByRing = 1234567890123456789;
  for (uint32_t type = 0; type < 30; ++type) {
    status.message = {type, MsgSource::Redundancy, std::chrono::milliseconds::max()};
    EXPECT_TRUE(statusLine(status).ends_with(", by the ring 1234567890123456789")) << type;
    EXPECT_NE(statusLine(status).find(" with ISS for 9223372036854775 s; "), std::string::npos) << type;
  }
}

}  // namespace
