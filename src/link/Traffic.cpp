#include "link/Traffic.h"

#include <algorithm>

#include "process/probe.h"

LinkCounts linkCounts;
Outstanding outstanding;
LinkState linkState;

namespace {

constexpr uint64_t highestType = 0xFFFF;
constexpr uint64_t timeMask = (uint64_t{1} << 40) - 1;

InterfaceCounts counts[busInterfaces];

uint64_t milliseconds(std::chrono::steady_clock::time_point when) {
  const auto sinceStart = when.time_since_epoch();
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(sinceStart).count());
}

}  // namespace

const char* busInterfaceName(BusInterface interface) {
  switch (interface) {
    case BusInterface::Common:
      return "ob_common";
    case BusInterface::PortParams:
      return "IssSetLanWanAsync";
    case BusInterface::LifeCycle:
      return "TrelvikOchTriggerAsync";
    case BusInterface::IssMgr:
      return "IssSetIssMgrAsync";
    case BusInterface::SyncE:
      return "IssSetSyncEAsync";
    case BusInterface::SmartSfp:
      return "IssSetSmartSfpAsync";
    case BusInterface::Redundancy:
      return "redundant_state_signal";
  }
  return "";
}

InterfaceCounts& countsOf(BusInterface interface) {
  return counts[static_cast<size_t>(interface)];
}

InterfaceCounts* countsOf(MsgSource source) {
  switch (source) {
    case MsgSource::PortParams:
      return &countsOf(BusInterface::PortParams);
    case MsgSource::SyncE:
      return &countsOf(BusInterface::SyncE);
    case MsgSource::IssMgr:
      return &countsOf(BusInterface::IssMgr);
    case MsgSource::SmartSfp:
      return &countsOf(BusInterface::SmartSfp);
    case MsgSource::Redundancy:
      return &countsOf(BusInterface::Redundancy);
    case MsgSource::Debug:
    case MsgSource::None:
      break;
  }
  return nullptr;
}

void countArrival(BusInterface interface) {
  PROBE(request_arrived, busInterfaceName(interface));
  ++countsOf(interface).received;
}

void countReply(BusInterface interface) {
  PROBE(request_replied, busInterfaceName(interface));
  ++countsOf(interface).answered;
}

const char* sourceName(MsgSource source) {
  if (source == MsgSource::Debug) return "debug socket";
  const InterfaceCounts* const found = countsOf(source);
  return found != nullptr ? busInterfaceName(static_cast<BusInterface>(found - counts)) : "";
}

void countAnswer(std::chrono::steady_clock::time_point now) {
  if (!answerOutstanding) return;
  const auto took = std::chrono::duration_cast<std::chrono::microseconds>(now - answerSentAt).count();
  const auto micros = static_cast<uint64_t>(std::max<int64_t>(took, 0));
  const MsgArrayEntry& slot = MsgArray[readpointer];
  PROBE(message_answered, static_cast<int>(readpointer), slot.msg.msgType, static_cast<int>(slot.source),
        micros);
  ++linkCounts.answers;
  linkCounts.answerMicros += micros;
  if (micros > linkCounts.longestAnswer) linkCounts.longestAnswer = micros;
}

bool LinkState::note(bool connected, bool ready) {
  if (m_since != 0 && m_connected == connected && m_ready == ready) return false;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  m_connected = connected;
  m_ready = ready;
  m_since = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
  return true;
}

void Outstanding::begins(uint32_t type, MsgSource source, std::chrono::steady_clock::time_point now) {
  m_word = (milliseconds(now) & timeMask) << 24 | std::min<uint64_t>(type, highestType) << 8 |
           static_cast<uint8_t>(source);
}

Outstanding::Message Outstanding::look(std::chrono::steady_clock::time_point now) const {
  const uint64_t word = m_word;
  const auto source = static_cast<MsgSource>(word & 0xFF);
  if (source == MsgSource::None) return {0, MsgSource::None, {}};
  // A message that was sent after `now` was asked for is as young as can be.
  const uint64_t age = std::max(milliseconds(now) & timeMask, word >> 24) - (word >> 24);
  return {static_cast<uint32_t>(word >> 8 & highestType), source,
          std::chrono::milliseconds(static_cast<int64_t>(age))};
}
