// Memory of the program under test: it can run out. A program that links memory.cpp has it.
#pragma once

#include <unistd.h>

#include <atomic>

/// While it exists this thread gets no memory from `new`.
class NoMemory {
 public:
  NoMemory();
  ~NoMemory();
  NoMemory(const NoMemory&) = delete;
  NoMemory& operator=(const NoMemory&) = delete;
};

/// While it lasts no thread but the one that made it gets memory from `new`.
class NoMemoryElsewhere {
 public:
  enum class From { Now, Begin };
  explicit NoMemoryElsewhere(From from = From::Now) : m_here(gettid()) {
    if (from == From::Now) begin();
  }
  ~NoMemoryElsewhere() { end(); }
  NoMemoryElsewhere(const NoMemoryElsewhere&) = delete;
  NoMemoryElsewhere& operator=(const NoMemoryElsewhere&) = delete;

  // Any thread.
  void begin() const { m_only = m_here; }
  void end() const { m_only = 0; }

 private:
  friend bool memoryLacks();
  static inline std::atomic<pid_t> m_only{0};  ///< the thread that has memory; 0 for all

  const pid_t m_here;
};

/// Memory all the same, for what stands in a test for something outside the program.
class MemoryOutside {
 public:
  MemoryOutside() : m_before(lacking), m_outsideBefore(outside) {
    lacking = false;
    outside = true;
  }
  ~MemoryOutside() {
    lacking = m_before;
    outside = m_outsideBefore;
  }
  MemoryOutside(const MemoryOutside&) = delete;
  MemoryOutside& operator=(const MemoryOutside&) = delete;

 private:
  friend class NoMemory;
  friend bool memoryLacks();
  static inline thread_local bool lacking = false;
  static inline thread_local bool outside = false;

  bool m_before;
  bool m_outsideBefore;
};

inline bool memoryLacks() {
  if (MemoryOutside::lacking) return true;
  const pid_t only = NoMemoryElsewhere::m_only;
  return only != 0 && !MemoryOutside::outside && only != gettid();
}

inline NoMemory::NoMemory() {
  MemoryOutside::lacking = true;
}
inline NoMemory::~NoMemory() {
  MemoryOutside::lacking = false;
}
