// What the daemon tells operators of itself.
#pragma once

#include <cstdint>
#include <string>

#include "link/Traffic.h"

/// What does not change while the process runs.
struct DaemonIdentity {
  std::string version;
  std::string boardName;
  std::string boardMac;  ///< six hexadecimal bytes with colons
  std::string options;   ///< of the command line
};

/// What changes.
struct DaemonStatus {
  bool opsConnected;
  bool issReady;
  int64_t sinceMs;               ///< CLOCK_REALTIME: when one of these two last changed
  uint32_t ringUsed;             ///< messages in the ring, the outstanding one included
  Outstanding::Message message;  ///< that is with ISS
  uint32_t requestsWaiting;      ///< for a worker
  uint32_t workers;
  uint64_t messagesSent;
  uint64_t messagesReceived;
  uint32_t reconnects;
  uint32_t longestAnswerMs;
  uint32_t meanAnswerMicros;
  uint64_t refusedByIss;   ///< messages of all interfaces
  uint64_t refusedByRing;  ///< calls and signals of all interfaces
};

/// As it is now. Takes no lock; any thread.
DaemonStatus daemonStatus();

/// One line for each bus interface: name received answered refusedByIss refusedByRing neverAnswered.
std::string interfaceLines();
