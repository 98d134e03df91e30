// Cuts OPS's byte stream into records, in whatever pieces it arrives. One owner, one thread.
#pragma once

#include <cstddef>
#include <span>

#include "OtnIpcMsg.h"

namespace sim {

class RecordStream {
 public:
  /// Where the next bytes go: the rest of the current record, never empty.
  std::span<std::byte> room() { return bytes().subspan(m_filled); }

  /// `count` bytes of room() were filled; true when that made a whole record, which record() holds until the
  /// next bytes are filled in.
  bool filled(size_t count) {
    m_filled += count;
    if (m_filled < sizeof m_record) return false;
    m_filled = 0;
    return true;
  }

  const OtnIpcMsg& record() const { return m_record; }

  /// The bytes of a record that is not whole yet.
  std::span<const std::byte> partial() { return bytes().first(m_filled); }

  void reset() { m_filled = 0; }

 private:
  std::span<std::byte> bytes() { return std::as_writable_bytes(std::span(&m_record, 1)); }

  OtnIpcMsg m_record{};
  size_t m_filled = 0;
};

}  // namespace sim
