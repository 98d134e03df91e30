#include "otnbus/CallQueue.h"

#include <sched.h>

#include <new>
#include <utility>

#include "OBstubReply.h"

namespace otnbus {

CallQueue::CallQueue() {
  sem_init(&m_semaphore, 0, 0);
}

CallQueue::~CallQueue() {
  clear();
  sem_destroy(&m_semaphore);
}

bool CallQueue::hasRoom(size_t textSize) {
  const std::lock_guard guard(m_mutex);
  return m_entries.size() < maxEntries && textSize <= maxTextSize - m_textSize;
}

bool CallQueue::post(Entry&& entry) {
  const size_t textSize = entry.textSize;
  try {
    const std::lock_guard guard(m_mutex);
    m_entries.push_back(std::move(entry));
    m_textSize += textSize;
  } catch (const std::bad_alloc&) {
    return false;
  }
  sem_post(&m_semaphore);
  return true;
}

bool CallQueue::take(Entry& entry) {
  for (;;) {
    while (sem_wait(&m_semaphore) != 0) {
    }
    if (killed()) {
      // The killer may be seen before it is through; whoever ends here may destroy what it still uses.
      while (m_killers.load(std::memory_order_acquire) != 0) sched_yield();
      return false;
    }
    const std::lock_guard guard(m_mutex);
    if (m_entries.empty()) continue;
    entry = std::move(m_entries.front());
    m_entries.pop_front();
    m_textSize -= entry.textSize;
    return true;
  }
}

void CallQueue::clear() {
  const std::lock_guard guard(m_mutex);
  for (const Entry& entry : m_entries) OBstubReply::release(entry.message.reply);
  m_entries.clear();
  m_textSize = 0;
}

void CallQueue::kill() {
  m_killers.fetch_add(1, std::memory_order_relaxed);
  m_killed.store(true, std::memory_order_release);
  sem_post(&m_semaphore);
  m_killers.fetch_sub(1, std::memory_order_release);
}

}  // namespace otnbus
