#include "otnbus/CallQueue.h"

#include <new>
#include <utility>

#include "otnbus/values.h"

namespace otnbus {

bool CallQueue::hasRoom(size_t textSize) const {
  return m_entries.size() < maxEntries && textSize <= maxTextTogether - m_textSize;
}

bool CallQueue::post(Entry&& entry) {
  const size_t textSize = entry.textSize;
  try {
    m_entries.push_back(std::move(entry));
  } catch (const std::bad_alloc&) {
    return false;
  }
  m_textSize += textSize;
  return true;
}

bool CallQueue::take(Entry& entry) {
  if (m_entries.empty()) return false;
  entry = std::move(m_entries.front());
  m_entries.pop_front();
  m_textSize -= entry.textSize;
  return true;
}

void CallQueue::clear() {
  m_entries.clear();
  m_textSize = 0;
}

}  // namespace otnbus
