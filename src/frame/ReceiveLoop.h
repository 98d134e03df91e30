// The main thread's loop over the debug socket and the OPS connection: keeps the connection up, kicks the
// watchdog, and handles what arrives. Owned and run by the main thread.
#pragma once

#include <signal.h>
#include <sys/select.h>

#include <ctime>

#include "OtnIpcMsg.h"
#include "boardUtils.h"
#include "link/CriticalActivity.h"
#include "link/SrvDbg.h"

/// What is left of a time-out after the time from `before` to `after`; never negative.
timespec timeLeft(const timespec& timeout, const timespec& before, const timespec& after);

class ReceiveLoop {
 public:
  ReceiveLoop(CriticalActivity& mainActivity, CriticalActivity& opsActivity, SrvDbg& debugSocket,
              const boardUtils& board);

  /// Adds the debug socket, then loops until `running` is cleared. The first pass tries to connect at once.
  void run();

 private:
  void pass();
  /// select() with one time-out that runs down over all calls; handled signals are open meanwhile.
  int waitForInput();
  void timedOut();
  void connect();
  void interrupted(int error);
  /// False when the ring was full: the pass ends.
  bool debugRequest();
  void receive();
  void connectionLost(bool csmBoard);
  void setTimeout(time_t seconds) { m_timeout = {seconds, 0}; }

  CriticalActivity& m_mainActivity;
  CriticalActivity& m_opsActivity;
  SrvDbg& m_debugSocket;
  const boardUtils& m_board;
  sigset_t m_waitMask;
  fd_set m_masterSet;
  fd_set m_workingSet;
  int m_debugFd = -1;
  int m_opsFd = -1;
  int m_maxFd = -1;  ///< never lowered
  timespec m_timeout{};
  bool m_connected = false;
  uint8_t m_buffer[sizeof(OtnIpcMsg)] = {};
  OtnIpcMsg m_msg{};
};
