#include "services/diagnostics/SrvDiagnostics.h"

#include <algorithm>
#include <limits>

SrvDiagnostics::~SrvDiagnostics() {
  delete m_pStub;
}

void SrvDiagnostics::register_interface(OBcomponent* component) {
  m_pStub = new OBdiagnostics_1_0_S(this, component);
  m_pStub->register_immediate("diagnostics");
}

void SrvDiagnostics::getStatus(std::string& version, std::string& boardName, std::string& boardMac,
                               std::string& options, bool& opsConnected, bool& iss, int64_t& sinceMs,
                               uint32_t& ringUsed, uint32_t& outstandingType, std::string& outstandingSource,
                               uint32_t& outstandingAgeMs, uint32_t& requestsWaiting, uint32_t& workers,
                               uint64_t& messagesSent, uint64_t& messagesReceived, uint32_t& reconnects,
                               uint32_t& longestAnswerMs, uint32_t& meanAnswerMicros,
                               std::string& interfaces) {
  version = m_identity.version;
  boardName = m_identity.boardName;
  boardMac = m_identity.boardMac;
  options = m_identity.options;
  const DaemonStatus status = daemonStatus();
  opsConnected = status.opsConnected;
  iss = status.issReady;
  sinceMs = status.sinceMs;
  ringUsed = status.ringUsed;
  outstandingType = status.message.type;
  outstandingSource = sourceName(status.message.source);
  outstandingAgeMs = static_cast<uint32_t>(
      std::min<int64_t>(status.message.age.count(), std::numeric_limits<uint32_t>::max()));
  requestsWaiting = status.requestsWaiting;
  workers = status.workers;
  messagesSent = status.messagesSent;
  messagesReceived = status.messagesReceived;
  reconnects = status.reconnects;
  longestAnswerMs = status.longestAnswerMs;
  meanAnswerMicros = status.meanAnswerMicros;
  interfaces = interfaceLines();
}
