// A word that several threads read without a lock. It orders nothing: what must be seen together is guarded
// by a lock.
#pragma once

#include <atomic>

template <class Value>
class Relaxed {
 public:
  constexpr Relaxed(Value value = {}) : m_value(value) {}
  operator Value() const { return m_value.load(std::memory_order_relaxed); }
  Relaxed& operator=(Value value) {
    m_value.store(value, std::memory_order_relaxed);
    return *this;
  }
  Relaxed(const Relaxed&) = delete;
  Relaxed& operator=(const Relaxed&) = delete;

 private:
  std::atomic<Value> m_value;
};
