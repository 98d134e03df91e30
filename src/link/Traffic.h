// What passes through the daemon, counted for operators since its start, and how the link to ISS is.
//
// Written by the thread that knows, read by any, without a lock: a count orders nothing, and two of them need
// not be of the same moment.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

#include "link/MsgArray.h"
#include "process/Relaxed.h"

/// Only goes up. Any thread.
class Count {
 public:
  void operator++() { *this += 1; }
  void operator+=(uint64_t more) { m_value.fetch_add(more, std::memory_order_relaxed); }
  operator uint64_t() const { return m_value.load(std::memory_order_relaxed); }

 private:
  std::atomic<uint64_t> m_value{0};
};
static_assert(std::atomic<uint64_t>::is_always_lock_free, "a count must not hide a lock");

/// The bus interfaces whose calls and signals are counted.
enum class BusInterface : uint8_t { Common, PortParams, LifeCycle, IssMgr, SyncE, SmartSfp, Redundancy };
inline constexpr size_t busInterfaces = 7;

/// The name under which callers know it.
const char* busInterfaceName(BusInterface interface);

struct InterfaceCounts {
  Count received;       ///< calls and signals
  Count answered;       ///< calls whose caller has its reply
  Count refusedByIss;   ///< messages, of which a call may come to several
  Count refusedByRing;  ///< calls and signals that found no room in the ring
  Count neverAnswered;  ///< calls that get no reply by design
};
InterfaceCounts& countsOf(BusInterface interface);
/// Null for a source that is no bus interface.
InterfaceCounts* countsOf(MsgSource source);
/// A call or a signal has come in.
void countArrival(BusInterface interface);
/// A caller is about to get its reply.
void countReply(BusInterface interface);
/// As callers know it; empty for none.
const char* sourceName(MsgSource source);

/// What was exchanged with OPS.
struct LinkCounts {
  Count sent;
  Count received;
  Count connections;
  Count answers;
  Count answerMicros;                  ///< that all answers took together
  Relaxed<uint64_t> longestAnswer{0};  ///< microseconds; main thread
};
extern LinkCounts linkCounts;

/// Notes the answer to the message that is with OPS, if there is one. Main thread.
void countAnswer(std::chrono::steady_clock::time_point now) REQUIRES(mutex);

/// The message that is with OPS, or that OPS does not take. In one word, so that type, source and age that
/// are read together belong together.
class Outstanding {
 public:
  struct Message {
    uint32_t type;  ///< 65535 stands for all from there on
    MsgSource source;
    std::chrono::milliseconds age;
  };

  // Both with the ring's mutex held.
  void begins(uint32_t type, MsgSource source, std::chrono::steady_clock::time_point now);
  void ends() { m_word = 0; }

  /// Source None when there is none. Any thread.
  Message look(std::chrono::steady_clock::time_point now) const;

 private:
  /// From the top: 40 bits of milliseconds, 16 of type, 8 of source.
  Relaxed<uint64_t> m_word{0};
};
extern Outstanding outstanding;

/// How the link is, as the main thread last saw it.
class LinkState {
 public:
  /// Whether this is a change, as the first one always is. Main thread.
  bool note(bool connected, bool ready);

  // Any thread.
  bool connected() const { return m_connected; }
  /// CLOCK_REALTIME in ms: when the connection or ISS's readiness last changed.
  int64_t since() const { return m_since; }

 private:
  Relaxed<bool> m_connected{false};
  Relaxed<int64_t> m_since{0};
  bool m_ready = false;  ///< main thread
};
extern LinkState linkState;
