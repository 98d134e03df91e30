// The reader of the daemon's log: of any lines, in any order and torn anywhere, it makes a history that can
// be drawn.
#include <algorithm>
#include <cstring>

#include "fuzz/Input.h"
#include "fuzz/json.h"
#include "timeline/Arguments.h"
#include "timeline/LogFile.h"
#include "timeline/Page.h"
#include "timeline/Report.h"

namespace {

/// Lines of the daemon, out of which an input makes a log: a byte each, and numbers where they have some.
constexpr const char* known[] = {
    "DEBUG3] SrvIss:38 (setPortParams) - SetPortParam message received over OTNBus",
    "DEBUG2] SrvIss:142 (run_iss_script_thread) - Processing Setportparam message!",
    "DEBUG3] SrvIss:137 (run_iss_script_thread) - message writepointer %d",
    "DEBUG3] SrvIss:129 (run_iss_script_thread) - mutex unlock",
    "ERROR] SrvIss:130 (run_iss_script_thread) - Buffer overflow, message lost!",
    "DEBUG2] SrvIss:165 (run_iss_script_thread) - stopped",
    "ERROR] SrvIss:40 (setPortParams) - Failed to create thread: no",
    "NOTICE] SrvIss:102 (run_iss_script_thread) - ReleasePort: portNr=%d, tunnelId=0",
    "DEBUG3] main:733 (iss_comm) - iss thread: sending msg to OPS rp:%d wp:%d source:%d",
    "DEBUG3] main:735 (iss_comm) - Sending packet to OPS",
    "DEBUG3] main:322 (main) - Message from OPS received: RP=%d WP=%d",
    "DEBUG3] main:300 (main) - Message from debug server received",
    "DEBUG3] main:301 (main) - main thread: send signal",
    "DEBUG3] main:302 (main) - Out of Mem for debug",
    "DEBUG1] MsgHandle:44 (printPacket) - Msg Type = FLUSH_CMD [%d]",
    "DEBUG3] main:449 (main) - MESSAGE SOURCE %d",
    "WARNING] main:23 (main) - ISS refused IssSetLanWanAsync (source 1), port %d: \"No\"; and so on",
    "ERROR] main:99 (main) - gave up IssSetLanWanAsync (source 1) message 1 of 2, port %d",
    "DEBUG3] main:477 (main) - send reply over OTNbus",
    "DEBUG3] main:452 (main) - Sending reply msg to debug socket",
    "DEBUG3] main:589 (main) - Redundancystate reply msg received from OPS",
    "DEBUG3] main:628 (main) - send signal cond2",
    "DEBUG2] SrvSyncE:202 (setSyncEParam) - setSyncEParam: enableFilter=%d,enableClk=%d",
    "DEBUG2] SrvSyncE:31 (run_iss_syncE_thread) - Processing SetSyncEParam message",
    "DEBUG2] SrvSyncE:33 (run_iss_syncE_thread) - enableFilter=%d,enableClk=%d",
    "INFO] SrvRedundancy:9 (setRedundantState) - setRedundantState: redundancyState=ACT",
    "DEBUG2] SrvRedundancy.cpp:9 (run_iss_redundancy_thread) - Processing setRedundantState with state = ACT",
    "INFO] OBOchStub:9 (triggerDataUser) - triggerDataUser %d",
    "INFO] OBOchStub:9 (run_och_thread) - waits",
    "INFO] SrvCommon:9 (set_trace_level) - Set trace level to [%d]",
    "INFO] main:9 (otn_thread) - OTNBUS thread started",
    "INFO] IssSocket:9 (connect) - Connected to OPS",
};

/// What the input makes up itself, and known lines with a time that goes on, most of the time.
std::string makeLog(Input& input) {
  std::string log;
  int64_t milliseconds = 0;
  for (int line = 0; line < 80 && !input.atEnd(); ++line) {
    const uint8_t what = input.byte();
    if (what >= 128) {
      log += std::string(input.line()) + '\n';
      continue;
    }
    const uint8_t step = input.byte();
    milliseconds = std::max<int64_t>(milliseconds + (step < 250 ? step : -int64_t{step}), 0);
    char text[256];
    snprintf(text, sizeof text, "17%08d.%03d host Trelvik[%d]: [", static_cast<int>(milliseconds / 1000),
             static_cast<int>(milliseconds % 1000), what >= 96 ? 7 : 4711);
    log += text;
    const char* const format = known[what % std::size(known)];
    const int numbers[3] = {input.byte() % 32, strstr(format, "wp:") != nullptr ? input.byte() % 24 : 2,
                            1 + what % 6};
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wformat-nonliteral"
    snprintf(text, sizeof text, format, numbers[0], numbers[1], numbers[2]);
#pragma clang diagnostic pop
    log += std::string(text) + '\n';
  }
  return log;
}

void checkMessage(const ctl::TracedMessage& message) {
  must(message.slot < 100, "a slot is one of the ring's", [&] { return std::to_string(message.slot); });
  must(!message.handled || message.sendBegin || message.queued, "what is handled was there");
}

void checkHistory(const ctl::History& history, size_t lines) {
  must(history.daemonLines + history.otherLines <= lines, "no line counts twice");
  ctl::LogTime last{};
  for (const ctl::TracedRequest& request : history.requests) {
    const ctl::LogTime begins = ctl::beginOf(request);
    must(begins >= last, "requests stand by their first time");
    must(ctl::endOf(request) >= begins, "a request ends after it begins");
    last = begins;
    for (const uint32_t port : request.ports) must(port >= 1 && port <= 28, "ports are front ports");
    must(request.messages.size() <= lines, "messages come from lines");
    for (const ctl::TracedMessage& message : request.messages) checkMessage(message);
  }
  last = {};
  for (const ctl::LogMark& mark : history.marks) {
    must(mark.when >= last, "marks stand by their time");
    last = mark.when;
  }
  for (const ctl::RingSample& sample : history.ring)
    must(sample.used >= 0, "a ring holds no less than nothing");
}

void checkReports(const ctl::History& history) {
  const std::string json = toJson(ctl::historyNode(history));
  must(isJson(json), "a history is JSON", [&] { return readable(json); });
  const std::string text = ctl::historyText(history, false);
  for (const char c : text) must(c == '\n' || (c >= ' ' && c <= '~'), "its tables are printable");
  must(isPrintableLine(ctl::summary(history)), "its summary is one line");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  Input input(bytes, size);
  const std::string log = makeLog(input);
  const ctl::History history = ctl::readHistory(log, ctl::dayOf(std::chrono::seconds(1'700'000'000)));
  checkHistory(history, 1 + static_cast<size_t>(std::count(log.begin(), log.end(), '\n')));
  checkReports(history);
  return 0;
}
