#include "ops/Outbox.h"

#include <algorithm>
#include <utility>

#include "record/SentText.h"

namespace sim {

void Outbox::add(Delivery delivery) {
  for (const Told& told : delivery.dropped) m_tell({told.record.get(), 0, 1, told.how, told.rules});
  for (Write& write : delivery.writes) {
    m_waitingBytes += write.bytes.size();
    m_waiting.push_back({std::move(write), Ending::none});
  }
  if (delivery.ending != Ending::none) m_waiting.push_back({{}, delivery.ending});
}

bool Outbox::wrote(size_t count) {
  Write& first = m_waiting.front().write;
  m_written += count;
  if (m_written < first.bytes.size()) return false;
  m_written = 0;
  ++m_repeated;
  if (--first.repeats > 0) return true;
  const Write done = std::move(first);
  m_waiting.pop_front();
  m_waitingBytes -= done.bytes.size();
  m_piecesOut = done.told.empty() ? m_piecesOut + done.bytes.size() : 0;
  const uint32_t times = std::exchange(m_repeated, 0);
  for (const Told& told : done.told) m_tell({told.record.get(), told.size, times, told.how, told.rules});
  return true;
}

void Outbox::forget(std::string_view why) {
  m_waitingBytes = 0;
  for (const Waiting& waiting : std::exchange(m_waiting, {})) {
    if (waiting.write.told.empty()) {
      // A piece of a record that a later one tells of.
      m_piecesOut += std::exchange(m_written, 0);
    } else {
      forgetOne(waiting.write, why);
    }
  }
  m_piecesOut = 0;
}

void Outbox::forgetOne(const Write& write, std::string_view why) {
  if (const uint32_t times = std::exchange(m_repeated, 0); times > 0) {
    for (const Told& told : write.told) m_tell({told.record.get(), told.size, times, told.how, told.rules});
  }
  // Of several in a row only the first has begun.
  const size_t out = std::exchange(m_piecesOut, 0) + std::exchange(m_written, 0);
  uint32_t left = write.repeats;
  if (out > 0) {
    tellUnsent(write.told, 1, why, out);
    --left;
  }
  if (left > 0) tellUnsent(write.told, left, why, 0);
}

void Outbox::tellUnsent(const Delivery& delivery, std::string_view why) {
  for (const Told& told : delivery.dropped) m_tell({told.record.get(), 0, 1, told.how, told.rules});
  for (const Write& write : delivery.writes) tellUnsent(write.told, write.repeats, why, 0);
}

/// Of a message whose first `out` bytes went out all the same.
void Outbox::tellUnsent(const std::vector<Told>& told, uint32_t count, std::string_view why, size_t out) {
  for (const Told& one : told) {
    const size_t part = std::min(out, one.size);
    out -= part;
    std::string how = one.how;
    if (part < one.size) {
      appendHow(how, part == 0 ? "not sent" : partText(part));
      appendHow(how, why);
    }
    m_tell({one.record.get(), part, count, how, one.rules});
  }
}

}  // namespace sim
