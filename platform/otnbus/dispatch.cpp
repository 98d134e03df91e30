// The dispatch of a connection: the bus thread's loop, and the I/O thread that owns the bus meanwhile.
#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <string.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

#include "OBstub.h"
#include "OBstubReply.h"
#include "board/platformTrace.h"
#include "otnbus/Connection.h"

namespace otnbus {

namespace {

constexpr LogPlace atRun{"otnbus", "run", &platformTrace};
constexpr LogPlace atWaitForMemory{"otnbus", "waitForMemory", &platformTrace};
constexpr LogPlace atSendPosted{"otnbus", "sendPosted", &platformTrace};

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds flushLimit{200};
/// Messages that may wait for the socket before the outbox is left alone.
constexpr uint64_t maxQueuedWrites = 1024;
constexpr size_t ioStackSize = 256U << 10;
constexpr int memorySlice = 50;  ///< ms between two attempts to take a message in for which memory was short
constexpr milliseconds memoryLimit{10000};

/// No signal is delivered to the I/O thread: the program's handlers run where the program expects them.
bool startWithSignalsBlocked(pthread_t& thread, void* (*function)(void*), void* argument) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, ioStackSize);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const int error = pthread_create(&thread, &attributes, function, argument);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  pthread_attr_destroy(&attributes);
  return error == 0;
}

}  // namespace

void Connection::run() {
  pthread_t thread{};
  bool started = false;
  if (m_bus != nullptr) {
    m_running = true;
    started = startWithSignalsBlocked(thread, ioThread, this);
    if (!started) lost(EAGAIN);
  }
  CallQueue::Entry entry;
  while (m_queue.take(entry)) {
    try {
      dispatch(entry);
    } catch (const std::bad_alloc&) {
      LOG(ERROR, atRun, HERE, "There is no memory to serve a call, its caller gets no reply");
    }
  }
  m_outbox->close();
  if (started) pthread_join(thread, nullptr);
  m_queue.clear();
  closeBus();
}

void Connection::dispatch(CallQueue::Entry& entry) {
  OBstub* stub = m_registry.stub(entry.registration);
  if (stub == nullptr) {
    OBstubReply::release(entry.message.reply);
  } else if (entry.task) {
    entry.task();
  } else {
    stub->dispatch(entry.message);
  }
}

void* Connection::ioThread(void* self) {
  static_cast<Connection*>(self)->ioLoop();
  return nullptr;
}

void Connection::ioLoop() {
  replayEarly();
  while (!m_outbox->closed()) {
    const bool takePosted = queuedWrites() < maxQueuedWrites;
    if (takePosted) sendPosted();
    tryAgain();
    int result = sd_bus_process(m_bus, nullptr);
    if (result == -ENOMEM && waitForMemory()) continue;
    // A bus that does not read leaves the outbox unwatched, but a stop must be seen.
    if (result == 0) {
      m_lackingMemory = false;
      result = waitForWork(takePosted, takePosted ? untilNextTry() : stopSlice);
    }
    if (result < 0) {
      if (!m_outbox->closed()) lost(result);
      return;
    }
  }
  m_closing = true;
  sendPosted();
  flush();
}

/// sd-bus leaves a message for which there is no memory where it is, and others may give some back. False
/// when they have not for so long that a new start is better than a deaf daemon.
bool Connection::waitForMemory() {
  if (!std::exchange(m_lackingMemory, true)) {
    m_lackSince = steady_clock::now();
    LOG(WARNING, atWaitForMemory, HERE, "There is no memory for a message from the bus, trying again");
  }
  poll(nullptr, 0, memorySlice);
  return steady_clock::now() - m_lackSince < memoryLimit;
}

uint64_t Connection::queuedWrites() const {
  uint64_t count = 0;
  sd_bus_get_n_queued_write(m_bus, &count);
  return count;
}

/// Waits for the bus, for something posted if that is wanted, or for sd-bus's next time-out; `limitMs` -1 for
/// no limit of the caller's.
int Connection::waitForWork(bool takePosted, int limitMs) {
  const int events = sd_bus_get_events(m_bus);
  if (events < 0) return events;
  uint64_t wakeAt = UINT64_MAX;
  sd_bus_get_timeout(m_bus, &wakeAt);
  if (wakeAt != UINT64_MAX) {
    const auto now =
        std::chrono::duration_cast<std::chrono::microseconds>(steady_clock::now().time_since_epoch()).count();
    const int64_t left = (static_cast<int64_t>(wakeAt) - now + 999) / 1000;
    const int wait = static_cast<int>(std::clamp<int64_t>(left, 0, 60000));
    limitMs = limitMs < 0 ? wait : std::min(limitMs, wait);
  }
  pollfd fds[] = {{sd_bus_get_fd(m_bus), static_cast<short>(events), 0},
                  {takePosted ? m_outbox->wakeDescriptor() : -1, POLLIN, 0}};
  poll(fds, 2, limitMs);
  return 0;
}

void Connection::sendPosted() {
  for (Outbox::Item& item : m_outbox->take()) {
    if (item.kind == Outbox::Kind::Task) {
      try {
        item.task();
      } catch (const std::bad_alloc&) {
        LOG(ERROR, atSendPosted, HERE, "There is no memory to ask a component");
      }
      continue;
    }
    if (item.kind == Outbox::Kind::Signal) {
      sd_bus_message* signal = nullptr;
      sd_bus_message_new_signal(m_bus, &signal, item.path.c_str(), item.interfaceName.c_str(),
                                item.member.c_str());
      const Message owned(signal);
      if (signal != nullptr && appendValues(signal, item.values)) sd_bus_send(m_bus, signal, nullptr);
      continue;
    }
    const auto owed = m_owed.find(item.call);
    if (owed == m_owed.end()) continue;
    sd_bus_message* reply = owed->second.reply.get();
    if (item.kind == Outbox::Kind::Reply && reply != nullptr) {
      // A caller that has gone is no failure; a lost bus is noticed by the loop.
      if (appendValues(reply, item.values)) {
        sd_bus_send(m_bus, reply, nullptr);
      } else {
        LOG(ERROR, atSendPosted, HERE, "There is no memory for a reply, it is lost");
      }
    }
    forget(item.call);
  }
}

void Connection::flush() {
  const auto deadline = steady_clock::now() + flushLimit;
  while (queuedWrites() > 0) {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now()).count();
    if (left <= 0) return;
    int result = sd_bus_process(m_bus, nullptr);
    if (result == 0) result = waitForWork(false, static_cast<int>(left));
    if (result < 0) return;
  }
}

}  // namespace otnbus
