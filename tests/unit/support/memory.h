// Memory of the program under test: it can run out. A program that links memory.cpp has it.
#pragma once

/// While it exists this thread gets no memory from `new`.
class NoMemory {
 public:
  NoMemory();
  ~NoMemory();
  NoMemory(const NoMemory&) = delete;
  NoMemory& operator=(const NoMemory&) = delete;
};

/// Memory all the same, for what stands in a test for something outside the program.
class MemoryOutside {
 public:
  MemoryOutside() : m_before(lacking) { lacking = false; }
  ~MemoryOutside() { lacking = m_before; }
  MemoryOutside(const MemoryOutside&) = delete;
  MemoryOutside& operator=(const MemoryOutside&) = delete;

 private:
  friend class NoMemory;
  friend bool memoryLacks();
  static inline thread_local bool lacking = false;

  bool m_before;
};

inline bool memoryLacks() {
  return MemoryOutside::lacking;
}

inline NoMemory::NoMemory() {
  MemoryOutside::lacking = true;
}
inline NoMemory::~NoMemory() {
  MemoryOutside::lacking = false;
}
