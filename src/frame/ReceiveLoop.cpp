#include "frame/ReceiveLoop.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Guard.h"
#include "frame/opsMessage.h"
#include "frame/signals.h"
#include "link/IssSocket.h"
#include "link/MsgArray.h"
#include "link/running.h"
#include "message/MsgHandle.h"
#include "trace.h"

#define LOG_HERE(LEVEL, line, format, ...) \
  TRACE(LEVEL, "main", line, "main", format __VA_OPT__(, ) __VA_ARGS__)

namespace {

constexpr time_t connectedTimeout = 30;  ///< s, also after an interruption
constexpr time_t retryTimeout = 5;       ///< s

timespec monotonicNow() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now;
}

}  // namespace

timespec timeLeft(const timespec& timeout, const timespec& before, const timespec& after) {
  constexpr long second = 1000000000;
  timespec left{timeout.tv_sec - (after.tv_sec - before.tv_sec),
                timeout.tv_nsec - (after.tv_nsec - before.tv_nsec)};
  if (left.tv_nsec < 0) {
    left.tv_nsec += second;
    --left.tv_sec;
  } else if (left.tv_nsec >= second) {
    left.tv_nsec -= second;
    ++left.tv_sec;
  }
  return left.tv_sec < 0 ? timespec{} : left;
}

ReceiveLoop::ReceiveLoop(CriticalActivity& mainActivity, CriticalActivity& opsActivity, SrvDbg& debugSocket,
                         const boardUtils& board)
    : m_mainActivity(mainActivity),
      m_opsActivity(opsActivity),
      m_debugSocket(debugSocket),
      m_board(board),
      m_waitMask(waitMask()) {
  FD_ZERO(&m_masterSet);
  FD_ZERO(&m_workingSet);
}

void ReceiveLoop::run() {
  m_debugSocket.getFd(m_debugFd);
  if (m_debugFd != -1) FD_SET(m_debugFd, &m_masterSet);
  m_maxFd = m_debugFd;
  while (running != 0) pass();
}

void ReceiveLoop::pass() {
  m_workingSet = m_masterSet;
  const int ready = waitForInput();
  const int error = errno;
  if (running == 0) return;
  if (ready == 0) {
    timedOut();
    return;
  }
  if (ready < 0) {
    interrupted(error);
    return;
  }
  if (m_debugFd != -1 && FD_ISSET(m_debugFd, &m_workingSet) && !debugRequest()) return;
  if (m_opsFd != -1 && m_connected && FD_ISSET(m_opsFd, &m_workingSet)) receive();
}

int ReceiveLoop::waitForInput() {
  const timespec before = monotonicNow();
  const int ready = pselect(m_maxFd + 1, &m_workingSet, nullptr, nullptr, &m_timeout, &m_waitMask);
  const int error = errno;
  m_timeout = timeLeft(m_timeout, before, monotonicNow());
  // A wait that finds input at once delivers no signal; input that never pauses would keep a stop out.
  const bool stopWaits = ready > 0 && stopRequested();
  if (stopWaits) {
    const timespec atOnce{};
    pselect(0, nullptr, nullptr, nullptr, &atOnce, &m_waitMask);
  }
  // Some run-time checkers run the signal's handler only at the next call that they see.
  if (ready < 0 || stopWaits) poll(nullptr, 0, 0);
  errno = error;
  return ready;
}

void ReceiveLoop::timedOut() {
  if (!m_connected) {
    connect();
    return;
  }
  m_mainActivity.kick();
  m_opsActivity.kick();
  setTimeout(connectedTimeout);
}

void ReceiveLoop::connect() {
  if (opsSocket.StartTcpClient() != 0) {
    LOG_HERE(DEBUG3, 258, "retry connecting with ISS in 5 s");
    setTimeout(retryTimeout);
    m_mainActivity.kick();
    return;
  }
  LOG_HERE(INFO, 242, "Connected to OPS");
  setTimeout(connectedTimeout);
  opsSocket.getFd(m_opsFd);
  FD_SET(m_opsFd, &m_masterSet);
  m_maxFd = std::max(m_maxFd, m_opsFd);
  LOG_HERE(DEBUG1, 249, "TrelvikFd=%d, dbgservfd=%d, maxfd=%d", m_opsFd, m_debugFd, m_maxFd);
  {
    const Guard guard(&mutex);
    if (answerOutstanding)
      LOG_HERE(
          NOTICE, __LINE__,
          "a message is still outstanding since before the connection was lost: RP=%d WP=%d type=%s [%d], "
          "it is not sent again",
          static_cast<int>(readpointer), static_cast<int>(writepointer),
          msgTypeName(MsgArray[readpointer].msg.msgType),
          static_cast<int>(MsgArray[readpointer].msg.msgType));
  }
  if (!m_opsActivity.registered()) m_opsActivity.start("OPS");
  if (m_opsActivity.registered()) m_opsActivity.setTimeout(criticalActivityTimeout);
  m_connected = true;
}

void ReceiveLoop::interrupted(int error) {
  LOG_HERE(NOTICE, 280, "select call interrupted: %s", strerror(error));
  m_mainActivity.kick();
  setTimeout(connectedTimeout);
}

bool ReceiveLoop::debugRequest() {
  LOG_HERE(DEBUG3, 291, "Message from debug server received: RP=%d WP=%d\n", static_cast<int>(readpointer),
           static_cast<int>(writepointer));
  memset(m_buffer, 0, sizeof m_buffer);
  m_debugSocket.recvRequest(m_buffer, sizeof m_buffer);
  CopyPacket(m_msg, m_buffer);
  printPacket(m_msg);

  const Guard guard(&mutex);
  if (admit(writepointer, readpointer, 1) != Admission::Fits) {
    LOG_HERE(DEBUG3, 301, "Out of Mem for debug server msg: RP=%d WP=%d\n", static_cast<int>(readpointer),
             static_cast<int>(writepointer));
    m_debugSocket.sendReply(m_buffer, sizeof m_buffer);
    m_workingSet = m_masterSet;
    return false;
  }
  MsgArrayEntry& slot = copyToSlot(m_msg);
  slot.source = MsgSource::Debug;
  slot.msgNo = 1;
  slot.msgCount = 1;
  advanceWritePointer();
  LOG_HERE(DEBUG3, 314, "main thread: send signal for sending message\n");
  pthread_cond_signal(&cond);
  LOG_HERE(DEBUG3, 316, "main thread: mutex unlock\n");
  return true;
}

void ReceiveLoop::receive() {
  LOG_HERE(DEBUG3, 322, "Message from OPS received: RP=%d WP=%d\n", static_cast<int>(readpointer),
           static_cast<int>(writepointer));
  memset(m_buffer, 0, sizeof m_buffer);
  const ssize_t n = opsSocket.getPacket(m_buffer, sizeof m_buffer);
  const std::string boardName = m_board.getName();
  if (n == 0) {
    connectionLost(isCsmBoard(boardName));
  } else if (n > 0) {
    CopyPacket(m_msg, m_buffer);
    handleOpsMessage(m_msg, boardName, m_opsActivity, m_debugSocket);
  }
}

void ReceiveLoop::connectionLost(bool csmBoard) {
  setTimeout(retryTimeout);
  FD_CLR(m_opsFd, &m_masterSet);
  {
    // Before the descriptor is closed, so that the sender cannot write to one that is used anew.
    const Guard guard(&mutex);
    issReady = 0;
  }
  opsSocket.close();
  if (csmBoard) {
    LOG_HERE(CRITICAL, 340, "CONNECTION TO OPS LOST\n");
    reportCriticalEvent("CONNECTION TO OPS LOST !\n");
  } else {
    LOG_HERE(INFO, 343, "CONNECTION TO OPS LOST, try reconnecting in 5s\n");
    m_mainActivity.kick();
  }
  m_connected = false;
}
