// One connection to D-Bus: sd-bus, the lock under which alone it is entered, and what any thread may ask of
// it.
//
// Shared by the connection, the stubs and the reply handles, and outlives the connection: once it is closed,
// replies and signals go nowhere. A reply or a signal is written by the thread that has it; what the socket
// has no room for stays with sd-bus, for the thread that waits on the bus.
#pragma once

#include <poll.h>
#include <systemd/sd-bus.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <unordered_map>

#include "Guard.h"
#include "OBmessage.h"
#include "otnbus/values.h"

namespace otnbus {

/// The bus daemon's own, and its interface's.
inline constexpr const char* busName = "org.freedesktop.DBus";

/// What the thread waits for that has the bus.
struct Wait {
  pollfd fds[3];  ///< the bus, the wake-up, one of the waiter's own; -1 where there is none
  int limit;      ///< ms; -1 for none
};

class Bus {
 public:
  Bus();
  /// After disconnect().
  ~Bus();
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;

  // Any thread, also with a lock of the program's held. What there is no memory for is lost, with a line in
  // the log.
  void reply(uint64_t call, std::initializer_list<OBvalue> values) EXCLUDES(mutex);
  /// Nothing is sent, and the call is forgotten.
  void release(uint64_t call) EXCLUDES(mutex);
  void signal(const std::string& path, const std::string& interfaceName, const char* member,
              std::initializer_list<OBvalue> values) EXCLUDES(mutex);
  /// Replies and signals that come later go nowhere.
  void close() EXCLUDES(mutex);

  /// Ends the dispatch. Async-signal-safe.
  void kill();
  bool killed() const { return m_killed.load(std::memory_order_acquire); }
  /// Returns when no kill() that was seen touches the bus any more.
  void awaitKillers() const;

  /// Makes whoever waits look again what to wait for.
  void wake() const;
  /// Waits; takes the wake-up when there is one.
  void wait(Wait& wait) const EXCLUDES(mutex);

  /// Guards sd-bus with all its messages and slots, and the state of the connection. The last of all locks:
  /// who holds it takes no other, calls no handler and waits for nothing.
  Mutex mutex;

  /// An error of sd-bus, or 0.
  int connect() REQUIRES(mutex);
  /// Calls not answered are forgotten.
  void disconnect() REQUIRES(mutex);
  /// Null while not connected.
  sd_bus* sd() const REQUIRES(mutex) { return m_sd; }
  bool closed() const REQUIRES(mutex) { return m_closed; }

  /// False while so much is unsent that nothing more is to be read, and there is no room to send it.
  bool mayRun() const REQUIRES(mutex);
  /// What to wait for, until sd-bus's next time-out and `limitMs` at most; an error of sd-bus, or 0.
  int prepare(Wait& wait, int limitMs) REQUIRES(mutex);
  /// To be called when something was sent by a thread that may not be the one that waits.
  void sent() REQUIRES(mutex);
  uint64_t unsent() const REQUIRES(mutex);

  /// Whether text of this size may come in.
  bool hasRoom(size_t textSize) const REQUIRES(mutex);
  /// Begins a call's reply, so that the call itself, which may be large, need not be kept. The call's number,
  /// 0 without memory.
  uint64_t begin(sd_bus_message* call, size_t textSize) REQUIRES(mutex);
  void forget(uint64_t call) REQUIRES(mutex);

 private:
  /// A reply that is begun and not given: null where the caller expects none.
  struct Owed {
    Message reply;
    size_t textSize;  ///< of the call
  };
  enum class Outcome { Done, Refused, NoMemory };

  Outcome sendReply(uint64_t call, std::initializer_list<OBvalue> values) REQUIRES(mutex);
  Outcome sendSignal(const std::string& path, const std::string& interfaceName, const char* member,
                     std::initializer_list<OBvalue> values) REQUIRES(mutex);
  bool backedUp() const REQUIRES(mutex);

  const int m_wake;  ///< an eventfd
  std::atomic<bool> m_killed{false};
  std::atomic<int> m_killers{0};  ///< inside kill()

  sd_bus* m_sd GUARDED_BY(mutex) = nullptr;
  bool m_closed GUARDED_BY(mutex) = false;
  bool m_awaitsRoom GUARDED_BY(mutex) = false;       ///< whoever waits does so for room in the socket too
  bool m_droppingSignals GUARDED_BY(mutex) = false;  ///< the WARNING of this overflow is written
  std::unordered_map<uint64_t, Owed> m_owed GUARDED_BY(mutex);  ///< by call
  uint64_t m_lastCall GUARDED_BY(mutex) = 0;
  size_t m_owedText GUARDED_BY(mutex) = 0;    ///< text of all in m_owed
  size_t m_unsentText GUARDED_BY(mutex) = 0;  ///< text of replies, since last nothing was unsent
};

}  // namespace otnbus
