#include "services/diagnostics/statusLine.h"

#include <cinttypes>
#include <cstdio>

namespace {

const char* linkText(const DaemonStatus& status) {
  if (!status.opsConnected) return "not connected to ISS";
  return status.issReady ? "ISS ready" : "connected to ISS, ISS not ready";
}

}  // namespace

std::string statusLine(const DaemonStatus& status) {
  char message[160] = "nothing with ISS";
  if (status.message.source != MsgSource::None) {
    snprintf(message, sizeof message, "%s [%u] of %s with ISS for %" PRId64 " s",
             msgTypeName(status.message.type), status.message.type, sourceName(status.message.source),
             static_cast<int64_t>(status.message.age.count() / 1000));
  }
  char line[448];
  snprintf(line, sizeof line,
           "%s; %s; ring %u, waiting %u; sent %" PRIu64 ", received %" PRIu64
           ", reconnects %u; refused by ISS %" PRIu64 ", by the ring %" PRIu64,
           linkText(status), message, status.ringUsed, status.requestsWaiting, status.messagesSent,
           status.messagesReceived, status.reconnects, status.refusedByIss, status.refusedByRing);
  return line;
}
