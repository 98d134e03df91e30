#include "services/diagnostics/DaemonStatus.h"

#include <algorithm>
#include <limits>

#include "services/pattern/Workers.h"

namespace {

uint32_t clamped(uint64_t value) {
  return static_cast<uint32_t>(std::min<uint64_t>(value, std::numeric_limits<uint32_t>::max()));
}

}  // namespace

DaemonStatus daemonStatus() {
  const WorkerLoad load = workerLoad();
  const uint64_t connections = linkCounts.connections;
  const uint64_t answers = linkCounts.answers;
  uint64_t refusedByIss = 0;
  uint64_t refusedByRing = 0;
  for (size_t i = 0; i < busInterfaces; ++i) {
    const InterfaceCounts& counts = countsOf(static_cast<BusInterface>(i));
    refusedByIss += counts.refusedByIss;
    refusedByRing += counts.refusedByRing;
  }
  return {
      .opsConnected = linkState.connected(),
      .issReady = issReady != 0,
      .sinceMs = linkState.since(),
      .ringUsed = static_cast<uint32_t>(slotsInUse(writepointer, readpointer)),
      .message = outstanding.look(std::chrono::steady_clock::now()),
      .requestsWaiting = load.waiting,
      .workers = load.workers,
      .messagesSent = linkCounts.sent,
      .messagesReceived = linkCounts.received,
      .reconnects = clamped(connections > 0 ? connections - 1 : 0),
      .longestAnswerMs = clamped(linkCounts.longestAnswer / 1000),
      .meanAnswerMicros = clamped(answers > 0 ? linkCounts.answerMicros / answers : 0),
      .refusedByIss = refusedByIss,
      .refusedByRing = refusedByRing,
  };
}

std::string interfaceLines() {
  std::string lines;
  for (size_t i = 0; i < busInterfaces; ++i) {
    const auto interface = static_cast<BusInterface>(i);
    const InterfaceCounts& counts = countsOf(interface);
    lines += busInterfaceName(interface);
    for (const Count* count : {&counts.received, &counts.answered, &counts.refusedByIss,
                               &counts.refusedByRing, &counts.neverAnswered}) {
      lines += ' ' + std::to_string(*count);
    }
    lines += '\n';
  }
  return lines;
}
