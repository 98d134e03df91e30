// The daemon's status, for operators. Served on whichever thread has the bus, also while a handler blocks it:
// it takes no lock, waits for nothing and changes nothing.
#pragma once

#include "OBdiagnostics_1_0_S.h"
#include "OBdiagnostics_1_0_SI.h"
#include "services/diagnostics/DaemonStatus.h"

class SrvDiagnostics : public OBdiagnostics_1_0_SI {
 public:
  explicit SrvDiagnostics(DaemonIdentity identity) : m_identity(std::move(identity)) {}
  ~SrvDiagnostics() override;

  void register_interface(OBcomponent* component) override;

  void getStatus(std::string& version, std::string& boardName, std::string& boardMac, std::string& options,
                 bool& opsConnected, bool& issReady, int64_t& sinceMs, uint32_t& ringUsed,
                 uint32_t& outstandingType, std::string& outstandingSource, uint32_t& outstandingAgeMs,
                 uint32_t& requestsWaiting, uint32_t& workers, uint64_t& messagesSent,
                 uint64_t& messagesReceived, uint32_t& reconnects, uint32_t& longestAnswerMs,
                 uint32_t& meanAnswerMicros, std::string& interfaces) override;
  using OBdiagnostics_1_0_SI::getStatus;

 private:
  const DaemonIdentity m_identity;
  OBdiagnostics_1_0_S* m_pStub = nullptr;
};
