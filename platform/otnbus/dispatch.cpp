// The dispatch of a connection: the bus thread's loop, and the deputy's while a handler blocks.
#include <algorithm>
#include <cerrno>
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

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds flushLimit{200};
constexpr int memorySlice = 50;  ///< ms between two attempts to take a message in for which memory was short
constexpr milliseconds memoryLimit{10000};

}  // namespace

void Connection::run() {
  {
    const Guard guard(&m_bus->mutex);
    if (m_bus->sd() != nullptr) m_running = true;
    replayEarly();
  }
  if (!m_deputy.start(standIn, this)) lost(EAGAIN);
  dispatch();
  m_deputy.stop();
  m_bus->close();
  flush();
  // The killer may be seen before it is through; whoever ends here may destroy what it still uses.
  m_bus->awaitKillers();
  const Guard guard(&m_bus->mutex);
  m_queue.clear();
  m_immediate.clear();
  closeBus();
}

void Connection::dispatch() {
  // Whether to try to take something in. Not after a handler with nothing queued: the wait that comes next
  // tells as well whether there is something, and one of the two is enough.
  bool look = true;
  while (!m_bus->killed()) {
    CallQueue::Entry entry;
    CallQueue::Entry ahead;
    OBstub* stub = nullptr;
    OBstub* stubAhead = nullptr;
    Wait wait{};
    bool immediate;
    bool queued;
    bool waiting;
    int result;
    {
      const Guard guard(&m_bus->mutex);
      result = look ? takeIn() : 0;
      // One of each, so that neither can keep the other from being served.
      immediate = takeImmediate(ahead, stubAhead);
      queued = m_queue.take(entry);
      waiting = !immediate && !queued;
      look = immediate || waiting || !m_queue.empty();
      if (queued) stub = m_registry.stub(entry.registration);
      if (waiting && result >= 0) result = prepare(wait);
    }
    if (result < 0) {
      lost(result);
    } else if (waiting) {
      m_bus->wait(wait);
    }
    if (immediate) carryOut(ahead, stubAhead);
    if (queued) serve(entry, stub);
  }
}

bool Connection::takeImmediate(CallQueue::Entry& entry, OBstub*& stub) {
  if (!m_immediate.take(entry)) return false;
  stub = m_registry.stub(entry.registration);
  return true;
}

/// Runs a handler that may block.
void Connection::serve(CallQueue::Entry& entry, OBstub* stub) {
  m_deputy.handlerStarts();
  carryOut(entry, stub);
  m_deputy.handlerEnds();
}

/// Runs the handler.
void Connection::carryOut(CallQueue::Entry& entry, OBstub* stub) {
  if (stub == nullptr) {
    m_bus->release(entry.call);
    return;
  }
  try {
    if (entry.task) {
      entry.task();
    } else {
      if (entry.call != 0) entry.message.reply = new OBstubReply(m_bus, entry.call);
      stub->dispatch(entry.message);
    }
  } catch (const std::bad_alloc&) {
    m_bus->release(entry.call);
    LOG(ERROR, atRun, HERE, "There is no memory to serve a call, its caller gets no reply");
  }
}

/// While a handler blocks: everything that the bus thread does but the handlers that may block. On the
/// deputy's thread.
void Connection::standIn(void* self) {
  Connection& connection = *static_cast<Connection*>(self);
  for (;;) {
    Wait wait{};
    CallQueue::Entry entry;
    OBstub* stub = nullptr;
    bool immediate;
    int result;
    {
      const Guard guard(&connection.m_bus->mutex);
      // What is taken in now is found by the bus thread: its handler still runs.
      if (!connection.m_deputy.needed()) break;
      result = connection.takeIn();
      immediate = connection.takeImmediate(entry, stub);
      if (result >= 0 && !immediate) result = connection.prepare(wait);
    }
    if (immediate) connection.carryOut(entry, stub);
    if (result < 0) connection.lost(result);
    if (immediate || result < 0) continue;
    wait.fds[2] = {connection.m_deputy.descriptor(), POLLIN, 0};
    connection.m_bus->wait(wait);
    if (wait.fds[2].revents != 0) connection.m_deputy.takeTick();
  }
  // A wake-up taken here may have been meant for the bus thread.
  connection.m_bus->wake();
}

/// Takes in at most one message, and does what is due; an error of sd-bus, or 0.
int Connection::takeIn() {
  if (m_bus->sd() == nullptr) return 0;
  tryAgain();
  if (!m_bus->mayRun()) return 0;
  const int result = sd_bus_process(m_bus->sd(), nullptr);
  if (result == -ENOMEM && waitForMemory()) return 0;
  if (result == 0) m_lackingMemory = false;
  return std::min(result, 0);
}

/// What to wait for; an error of sd-bus, or 0.
int Connection::prepare(Wait& wait) {
  const int result = m_bus->prepare(wait, m_bus->sd() != nullptr ? untilNextTry() : -1);
  if (m_lackingMemory) {
    wait.fds[0].fd = -1;
    wait.limit = memorySlice;
  }
  return result;
}

/// sd-bus leaves a message for which there is no memory where it is, and others may give some back. False
/// when they have not for so long that a new start is better than a deaf daemon.
bool Connection::waitForMemory() {
  if (!std::exchange(m_lackingMemory, true)) {
    m_lackSince = steady_clock::now();
    LOG(WARNING, atWaitForMemory, HERE, "There is no memory for a message from the bus, trying again");
  }
  return steady_clock::now() - m_lackSince < memoryLimit;
}

void Connection::flush() {
  const auto deadline = steady_clock::now() + flushLimit;
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now()).count();
    Wait wait{};
    {
      const Guard guard(&m_bus->mutex);
      if (left <= 0 || m_bus->unsent() == 0 || sd_bus_process(m_bus->sd(), nullptr) < 0) return;
      if (m_bus->prepare(wait, static_cast<int>(left)) < 0) return;
    }
    m_bus->wait(wait);
  }
}

}  // namespace otnbus
