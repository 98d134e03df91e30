// What the client has not taken yet, in order. Reports which messages left and which did not. One owner, one
// thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string_view>

#include "directive/Fault.h"
#include "record/Observer.h"

namespace sim {

class Outbox {
 public:
  /// `tell` gets each message once its last byte was written, or once it is certain that it never will be.
  explicit Outbox(std::function<void(const Sent&)> tell) : m_tell(std::move(tell)) {}

  /// What is dropped is told at once, the rest goes behind what is there.
  void add(Delivery delivery);

  bool empty() const { return m_waiting.empty(); }
  size_t size() const { return m_waiting.size(); }        ///< writes and endings
  size_t waitingBytes() const { return m_waitingBytes; }  ///< a repeated write counted once

  // Of the first; not when empty:

  Ending ending() const { return m_waiting.front().ending; }  ///< none = it is a write
  std::chrono::milliseconds pause() const { return m_waiting.front().write.pause; }
  std::string_view rest() const { return std::string_view(m_waiting.front().write.bytes).substr(m_written); }
  bool begun() const { return m_written > 0; }

  /// So many bytes of rest() were written; true when that was all of it.
  bool wrote(size_t count);

  /// Gives up everything that waits.
  void forget(std::string_view why);

  /// Reports a message that was never put in here.
  void tellUnsent(const Delivery& delivery, std::string_view why);

 private:
  struct Waiting {
    Write write;
    Ending ending;
  };

  void tellUnsent(const std::vector<Told>& told, uint32_t count, std::string_view why, size_t out);
  void forgetOne(const Write& write, std::string_view why);

  std::function<void(const Sent&)> m_tell;
  std::deque<Waiting> m_waiting;
  size_t m_waitingBytes = 0;
  size_t m_written = 0;     ///< bytes of the first that are out
  uint32_t m_repeated = 0;  ///< how often the first is out whole
  size_t m_piecesOut = 0;   ///< bytes of earlier writes that are reported together with a later one
};

}  // namespace sim
