// Calls, signals and tasks on their way from the bus's I/O thread to the bus thread, and the kill message.
//
// One thread posts, one thread takes; kill() may come from any thread and from a signal handler.
#pragma once

#include <semaphore.h>

#include <atomic>
#include <deque>
#include <functional>
#include <mutex>

#include "OBmessage.h"

namespace otnbus {

class CallQueue {
 public:
  struct Entry {
    int registration = -1;
    OBmessage message;
    size_t textSize = 0;         ///< bytes of all text arguments
    std::function<void()> task;  ///< in place of the message, where there is one
  };
  static constexpr size_t maxEntries = 1024;
  static constexpr size_t maxTextSize = 8U << 20;  ///< of all entries together

  CallQueue();
  /// Releases the handles of the calls that are left.
  ~CallQueue();
  CallQueue(const CallQueue&) = delete;
  CallQueue& operator=(const CallQueue&) = delete;

  bool hasRoom(size_t textSize);
  /// Takes the entry; false, and the entry is as it was, when there is no memory for it.
  bool post(Entry&& entry);

  /// Waits for the next entry; false at the kill message, which overtakes what is queued. From then on no
  /// earlier kill() touches the queue any more.
  bool take(Entry& entry);
  void clear();

  void kill();
  bool killed() const { return m_killed.load(std::memory_order_acquire); }

 private:
  sem_t m_semaphore;  ///< one for each entry and each kill()
  std::atomic<bool> m_killed{false};
  std::atomic<int> m_killers{0};  ///< inside kill()
  std::mutex m_mutex;
  std::deque<Entry> m_entries;  ///< guarded by m_mutex
  size_t m_textSize = 0;        ///< guarded by m_mutex
};

}  // namespace otnbus
