#include "otnbus/Outbox.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

#include "board/platformTrace.h"

namespace otnbus {

Outbox::Outbox() : m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

Outbox::~Outbox() {
  ::close(m_wake);
}

void Outbox::postReply(uint64_t call, std::vector<OBvalue> values) {
  post({Kind::Reply, call, {}, {}, {}, std::move(values)});
}

void Outbox::postRelease(uint64_t call) {
  post({Kind::Release, call, {}, {}, {}, {}});
}

void Outbox::postSignal(std::string path, std::string interfaceName, std::string member,
                        std::vector<OBvalue> values) {
  post({Kind::Signal, 0, std::move(path), std::move(interfaceName), std::move(member), std::move(values)});
}

void Outbox::post(Item item) {
  bool warn = false;
  {
    const std::lock_guard guard(m_mutex);
    if (m_closed) return;
    if (item.kind == Kind::Signal && m_signals >= maxSignals) {
      warn = !std::exchange(m_dropping, true);
    } else {
      if (item.kind == Kind::Signal) {
        ++m_signals;
        m_dropping = false;
      }
      if (m_items.empty()) wake();
      m_items.push_back(std::move(item));
    }
  }
  if (warn) {
    TRACE_TO(platformTrace(), WARNING, "otnbus", __LINE__, __func__,
             "The bus takes no more signals, they are dropped");
  }
}

void Outbox::close() {
  const std::lock_guard guard(m_mutex);
  m_closed = true;
  wake();
}

std::deque<Outbox::Item> Outbox::take() {
  const std::lock_guard guard(m_mutex);
  if (m_items.empty()) return {};
  if (!m_closed) {
    uint64_t count;
    [[maybe_unused]] const ssize_t size = read(m_wake, &count, sizeof count);
  }
  m_signals = 0;
  return std::exchange(m_items, {});
}

void Outbox::wake() const {
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t size = write(m_wake, &one, sizeof one);
}

}  // namespace otnbus
