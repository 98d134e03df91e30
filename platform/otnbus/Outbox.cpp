#include "otnbus/Outbox.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <new>
#include <utility>

#include "board/platformTrace.h"

namespace {

constexpr LogPlace atPost{"otnbus", "post", &platformTrace};

}  // namespace

namespace otnbus {

Outbox::Outbox() : m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

Outbox::~Outbox() {
  ::close(m_wake);
}

void Outbox::postReply(uint64_t call, std::initializer_list<OBvalue> values) {
  post([&] { return Item{Kind::Reply, call, {}, {}, {}, values, {}}; });
}

void Outbox::postRelease(uint64_t call) {
  post([&] { return Item{Kind::Release, call, {}, {}, {}, {}, {}}; });
}

void Outbox::postSignal(const std::string& path, const std::string& interfaceName, const char* member,
                        std::initializer_list<OBvalue> values) {
  post([&] { return Item{Kind::Signal, 0, path, interfaceName, member, values, {}}; });
}

void Outbox::postTask(std::function<void()> task) {
  post([&] { return Item{Kind::Task, 0, {}, {}, {}, {}, std::move(task)}; });
}

template <class MakeItem>
void Outbox::post(MakeItem make) {
  // Whoever posts, a worker perhaps, must not end the process for want of memory.
  try {
    if (admit(make())) return;
    LOG(WARNING, atPost, HERE, "The bus takes no more signals, they are dropped");
  } catch (const std::bad_alloc&) {
    LOG(ERROR, atPost, HERE, "There is no memory for a reply or a signal, it is lost");
  }
}

/// False for the first signal of an overflow.
bool Outbox::admit(Item item) {
  const std::lock_guard guard(m_mutex);
  if (m_closed) return true;
  const bool signal = item.kind == Kind::Signal;
  if (signal && m_signals >= maxSignals) return std::exchange(m_dropping, true);
  m_items.push_back(std::move(item));
  if (m_items.size() == 1) wake();
  if (signal) {
    ++m_signals;
    m_dropping = false;
  }
  return true;
}

void Outbox::close() {
  const std::lock_guard guard(m_mutex);
  m_closed = true;
  wake();
}

std::vector<Outbox::Item> Outbox::take() {
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
