// What other threads give the bus's I/O thread to do: replies and signals to send, replies to forget, tasks.
//
// Shared by the connection, the stubs and the reply handles, and outlives the connection: once it is closed,
// everything posted is dropped. Any thread may post; one thread takes.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <string>
#include <vector>

#include "OBmessage.h"

namespace otnbus {

class Outbox {
 public:
  enum class Kind { Reply, Release, Signal, Task };
  struct Item {
    Kind kind;
    uint64_t call;  ///< which reply
    std::string path;
    std::string interfaceName;
    std::string member;
    std::vector<OBvalue> values;
    std::function<void()> task;
  };
  /// Signals waiting to be sent; beyond it they are dropped.
  static constexpr size_t maxSignals = 65536;

  Outbox();
  ~Outbox();
  Outbox(const Outbox&) = delete;
  Outbox& operator=(const Outbox&) = delete;

  // Without the memory for it a posted item is lost, with a line in the log.
  void postReply(uint64_t call, std::initializer_list<OBvalue> values);
  void postRelease(uint64_t call);
  void postSignal(const std::string& path, const std::string& interfaceName, const char* member,
                  std::initializer_list<OBvalue> values);
  void postTask(std::function<void()> task);

  /// Everything posted later is dropped.
  void close();
  bool closed() const { return m_closed.load(std::memory_order_acquire); }

  /// Readable when there is something to take, and for ever once the outbox is closed.
  int wakeDescriptor() const { return m_wake; }
  std::vector<Item> take();

 private:
  template <class MakeItem>
  void post(MakeItem make);
  bool admit(Item item);
  void wake() const;

  const int m_wake;
  std::mutex m_mutex;
  std::vector<Item> m_items;  ///< guarded by m_mutex
  size_t m_signals = 0;       ///< how many of them are signals; guarded by m_mutex
  bool m_dropping = false;    ///< the WARNING of this overflow is written; guarded by m_mutex
  std::atomic<bool> m_closed{false};
};

}  // namespace otnbus
