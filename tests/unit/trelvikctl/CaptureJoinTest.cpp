// Captured messages beside those of a log.
#include "timeline/CaptureJoin.h"

#include <gmock/gmock.h>

#include <cstring>

namespace {

using namespace ctl;
using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr LogTime begin = 1795262400s;

std::string bytesOf(uint32_t vpn, bool answer) {
  OtnIpcMsg record{};
  record.msgType = FLUSH_CMD;
  record.payload.flush = {vpn, 2};
  record.isResponse = answer ? 1 : 0;
  return {reinterpret_cast<const char*>(&record), sizeof record};
}

/// A message to ISS each 10 ms, answered after 1 ms.
std::vector<sim::CapturedConnection> capture(uint32_t messages) {
  sim::CapturedConnection connection;
  connection.opened = begin;
  for (uint32_t i = 0; i < messages; ++i) {
    const LogTime when = begin + i * 10ms;
    connection.traffic.push_back({sim::Direction::in, when, bytesOf(i, false)});
    connection.traffic.push_back({sim::Direction::out, when + 1ms, bytesOf(i, true)});
  }
  return {connection};
}

/// A request with one message, as a log tells of it.
TracedRequest sentAt(LogTime when, const std::string& type = "FLUSH_CMD") {
  TracedRequest request;
  TracedMessage message;
  message.type = type;
  message.sendBegin = when;
  message.answered = when + 2ms;
  request.messages.push_back(message);
  return request;
}

History history(std::initializer_list<TracedRequest> requests) {
  History result;
  result.requests = requests;
  result.resolution = 1ms;
  return result;
}

TEST(CaptureJoin, JoinsWhatHasTheSameTime) {
  History log = history({sentAt(begin + 10ms), sentAt(begin + 20ms)});
  joinCapture(capture(3), log);
  EXPECT_THAT(log.requests[0].messages[0].requestDecoded, HasSubstr("FLUSH_CMD [16] vpn=1"));
  EXPECT_THAT(log.requests[0].messages[0].answerDecoded, HasSubstr("isResponse=1"));
  EXPECT_EQ(log.requests[0].messages[0].captured, begin + 10ms);
  EXPECT_THAT(log.requests[1].messages[0].requestDecoded, HasSubstr("vpn=2"));
  ASSERT_THAT(log.notes, SizeIs(1));
  EXPECT_THAT(log.notes[0], HasSubstr("1 of 3 captured messages"));
}

TEST(CaptureJoin, LeavesAloneWhatItCannotTell) {
  History log = history({sentAt(begin + 3ms), sentAt(begin + 10ms, "SYNCE_CMD"), sentAt(begin + 30ms)});
  log.resolution = 100us;
  joinCapture(capture(2), log);
  for (const TracedRequest& request : log.requests) {
    EXPECT_THAT(request.messages[0].requestDecoded, IsEmpty());
  }
  EXPECT_THAT(log.notes, SizeIs(1));
}

TEST(CaptureJoin, WantsMoreThanWholeSeconds) {
  History log = history({sentAt(begin)});
  log.resolution = 1s;
  joinCapture(capture(1), log);
  EXPECT_THAT(log.requests[0].messages[0].requestDecoded, IsEmpty());
  EXPECT_THAT(log.notes, SizeIs(1));
}

}  // namespace
