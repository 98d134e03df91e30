#include "frame/ReceiveLoop.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Guard.h"
#include "TraceObject.h"
#include "frame/mainPlace.h"
#include "frame/opsMessage.h"
#include "frame/signals.h"
#include "link/IssSocket.h"
#include "link/MsgArray.h"
#include "link/Traffic.h"
#include "message/MsgHandle.h"
#include "process/running.h"

namespace {

timespec toTimespec(LoopState::Duration duration) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
  const std::chrono::nanoseconds rest = duration - seconds;
  return {static_cast<time_t>(seconds.count()), static_cast<long>(rest.count())};
}

/// What did not come is zero, whatever the record before held.
void clearRest(OtnIpcMsg& msg, ssize_t received) {
  const size_t kept = std::min(static_cast<size_t>(std::max<ssize_t>(received, 0)), sizeof msg);
  memset(reinterpret_cast<uint8_t*>(&msg) + kept, 0, sizeof msg - kept);
}

}  // namespace

ReceiveLoop::ReceiveLoop(CriticalActivity& mainActivity, CriticalActivity& opsActivity, SrvDbg& debugSocket,
                         const boardUtils& board, std::chrono::seconds answerLimit)
    : m_mainActivity(mainActivity),
      m_opsActivity(opsActivity),
      m_debugSocket(debugSocket),
      m_board(board),
      m_waitMask(waitMask()),
      m_answer(answerLimit, debugSocket) {}

void ReceiveLoop::run() {
  m_debugSocket.getFd(m_inputs[debugInput].fd);
  m_maxFd = m_inputs[debugInput].fd;
  while (running != 0) pass();
  // A signal that came while another one's handler ran is told as well.
  letSignalsIn();
}

void ReceiveLoop::pass() {
  const LoopState::Time reminder = std::min(m_answer.lookAgain(), m_report.lookAgain());
  const timespec limit = toTimespec(m_state.waitBegins(LoopState::Clock::now(), reminder));
  const int ready = waitForInput(limit);
  const int error = errno;
  if (running == 0) return;
  switch (m_state.waitEnds(LoopState::Clock::now(), ready)) {
    case Pass::Connect:
      connect();
      break;
    case Pass::Kick:
      m_mainActivity.kick();
      m_opsActivity.kick();
      break;
    case Pass::Interrupted:
      LOG(NOTICE, atMain, 280, "select call interrupted: %s", strerror(error));
      m_mainActivity.kick();
      break;
    case Pass::Input:
      input();
      break;
    case Pass::Reminder:
      break;
  }
  const LoopState::Time now = LoopState::Clock::now();
  watchAnswer(now);
  tellState(now);
}

void ReceiveLoop::watchAnswer(LoopState::Time now) {
  if (m_answer.look(now)) connectionLost(isCsmBoard(m_board));
}

/// ISS's readiness changes in several places, all of which lie in a pass.
void ReceiveLoop::tellState(LoopState::Time now) {
  m_report.look(now, linkState.note(m_state.isConnected(), issReady != 0));
}

int ReceiveLoop::waitForInput(const timespec& limit) {
  const int ready = ppoll(m_inputs, inputCount, &limit, &m_waitMask);
  const int error = errno;
  // A wait that finds input at once delivers no signal; input that never pauses would keep a stop out.
  m_inputsInARow = ready > 0 ? m_inputsInARow + 1 : 0;
  if (m_inputsInARow == inputsPerStopCheck) {
    m_inputsInARow = 0;
    if (stopRequested()) letSignalsIn();
  }
  // Some run-time checkers run the signal's handler only at the next call that they see.
  if (ready < 0) poll(nullptr, 0, 0);
  errno = error;
  return ready;
}

void ReceiveLoop::input() {
  if (hasInput(debugInput) && !debugRequest()) return;
  if (hasInput(opsInput)) receive();
}

void ReceiveLoop::connect() {
  if (opsSocket.StartTcpClient() != 0) {
    LOG(DEBUG3, atMain, 258, "retry connecting with ISS in 5 s");
    m_state.connectFailed();
    m_mainActivity.kick();
    return;
  }
  LOG(INFO, atMain, 242, "Connected to OPS");
  m_state.connected();
  ++linkCounts.connections;
  int& opsFd = m_inputs[opsInput].fd;
  opsSocket.getFd(opsFd);
  m_maxFd = std::max(m_maxFd, opsFd);
  LOG(DEBUG1, atMain, 249, "TrelvikFd=%d, dbgservfd=%d, maxfd=%d", opsFd, m_inputs[debugInput].fd, m_maxFd);
  {
    const Guard guard(&mutex);
    if (answerOutstanding) {
      LOG(NOTICE, atMain, HERE,
          "a message is still outstanding since before the connection was lost: RP=%d WP=%d type=%s [%d], "
          "it is not sent again",
          static_cast<int>(readpointer), static_cast<int>(writepointer),
          msgTypeName(MsgArray[readpointer].msg.msgType),
          static_cast<int>(MsgArray[readpointer].msg.msgType));
    }
  }
  if (!m_opsActivity.registered()) m_opsActivity.start("OPS");
  if (m_opsActivity.registered()) m_opsActivity.setTimeout(criticalActivityTimeout);
}

bool ReceiveLoop::debugRequest() {
  LOG(DEBUG3, atMain, 291, "Message from debug server received: RP=%d WP=%d\n", static_cast<int>(readpointer),
      static_cast<int>(writepointer));
  const ssize_t size = m_debugSocket.recvRequest(&m_msg, sizeof m_msg);
  if (size >= 0 && size != static_cast<ssize_t>(sizeof m_msg)) {
    LOG(WARNING, atMain, HERE, "debug request of %zd bytes instead of %zu: %s", size, sizeof m_msg,
        size < static_cast<ssize_t>(sizeof m_msg) ? "the rest is taken as zero"
                                                  : "what is beyond is dropped");
  }
  clearRest(m_msg, size);
  printPacket(m_msg);

  m_answer.takeRing();
  const bool queued = queueDebugRequest();
  mutex.unlock();
  return queued;
}

bool ReceiveLoop::queueDebugRequest() {
  if (admit(writepointer, readpointer, 1) != Admission::Fits) {
    LOG(DEBUG3, atMain, 301, "Out of Mem for debug server msg: RP=%d WP=%d\n", static_cast<int>(readpointer),
        static_cast<int>(writepointer));
    m_debugSocket.sendReply(&m_msg, sizeof m_msg);
    return false;
  }
  MsgArrayEntry& slot = copyToSlot(m_msg);
  slot.source = MsgSource::Debug;
  slot.msgNo = 1;
  slot.msgCount = 1;
  advanceWritePointer();
  LOG(DEBUG3, atMain, 314, "main thread: send signal for sending message\n");
  wakeSender();
  LOG(DEBUG3, atMain, 316, "main thread: mutex unlock\n");
  return true;
}

void ReceiveLoop::receive() {
  LOG(DEBUG3, atMain, 322, "Message from OPS received: RP=%d WP=%d\n", static_cast<int>(readpointer),
      static_cast<int>(writepointer));
  const ssize_t n = opsSocket.getPacket(&m_msg, sizeof m_msg);
  if (n == 0) {
    connectionLost(isCsmBoard(m_board));
  } else if (n > 0) {
    clearRest(m_msg, n);
    m_answer.takeRing();
    handleOpsMessage(m_msg, m_board, m_opsActivity, m_debugSocket);
    mutex.unlock();
  }
}

void ReceiveLoop::connectionLost(bool csmBoard) {
  m_state.connectionLost();
  m_inputs[opsInput].fd = -1;
  {
    // Before the descriptor is closed, so that the sender cannot write to one that is used anew.
    const Guard guard(&mutex);
    issReady = 0;
    m_answer.connectionLost();
  }
  opsSocket.close();
  if (csmBoard) {
    LOG(CRITICAL, atMain, 340, "CONNECTION TO OPS LOST\n");
    reportCriticalEvent("CONNECTION TO OPS LOST !\n");
  } else {
    LOG(INFO, atMain, 343, "CONNECTION TO OPS LOST, try reconnecting in 5s\n");
    m_mainActivity.kick();
  }
}
