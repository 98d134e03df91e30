// Calls, signals and tasks that wait for the bus thread. Guarded by the bus's lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>

#include "OBmessage.h"

namespace otnbus {

class CallQueue {
 public:
  struct Entry {
    int registration = -1;
    OBmessage message;           ///< without its handle, which is made when the call is served
    uint64_t call = 0;           ///< number of the reply owed; 0 for a signal or a task
    size_t textSize = 0;         ///< bytes of all text arguments
    std::function<void()> task;  ///< in place of the message, where there is one
  };
  static constexpr size_t maxEntries = 1024;

  bool empty() const { return m_entries.empty(); }
  bool hasRoom(size_t textSize) const;
  /// Takes the entry; false when there is no memory for it.
  bool post(Entry&& entry);
  /// The oldest entry; false when there is none.
  bool take(Entry& entry);
  void clear();

 private:
  std::deque<Entry> m_entries;
  size_t m_textSize = 0;
};

}  // namespace otnbus
