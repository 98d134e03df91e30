// The main thread's loop over the debug socket and the OPS connection: keeps the connection up, kicks the
// watchdog, and handles what arrives. Owned and run by the main thread.
#pragma once

#include <poll.h>

#include <chrono>
#include <csignal>

#include "OtnIpcMsg.h"
#include "boardUtils.h"
#include "frame/LoopState.h"
#include "frame/OutstandingAnswer.h"
#include "frame/SupervisorReport.h"
#include "link/CriticalActivity.h"
#include "link/SrvDbg.h"

class ReceiveLoop {
 public:
  ReceiveLoop(CriticalActivity& mainActivity, CriticalActivity& opsActivity, SrvDbg& debugSocket,
              const boardUtils& board, std::chrono::seconds answerLimit);

  /// Adds the debug socket, then loops until `running` is cleared. The first pass tries to connect at once.
  void run();

 private:
  void pass();
  /// Handled signals are open meanwhile. Returns as poll() does; what has input is in `m_inputs`.
  int waitForInput(const timespec& limit);
  void input();
  void connect();
  void watchAnswer(LoopState::Time now);
  void tellState(LoopState::Time now);
  /// False when the ring was full: the pass ends.
  bool debugRequest();
  bool queueDebugRequest() REQUIRES(mutex);
  void receive();
  void connectionLost(bool csmBoard);
  bool hasInput(int input) const { return m_inputs[input].revents != 0; }

  CriticalActivity& m_mainActivity;
  CriticalActivity& m_opsActivity;
  SrvDbg& m_debugSocket;
  const boardUtils& m_board;
  sigset_t m_waitMask;
  enum { debugInput, opsInput, inputCount };
  /// What the loop waits for, by any descriptor number; -1 where there is none.
  pollfd m_inputs[inputCount] = {{-1, POLLIN, 0}, {-1, POLLIN, 0}};
  LoopState m_state;
  OutstandingAnswer m_answer;
  SupervisorReport m_report;
  int m_maxFd = -1;  ///< for the log; never lowered
  /// To look for a stop costs a system call, and a stop has 2 s: so many inputs are handled in between.
  static constexpr int inputsPerStopCheck = 8;
  int m_inputsInARow = 0;
  OtnIpcMsg m_msg{};
};
