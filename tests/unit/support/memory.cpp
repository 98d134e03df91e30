#include "support/memory.h"

#include <cstdlib>
#include <new>

void* operator new(size_t size) {
  if (memoryLacks()) throw std::bad_alloc();
  if (void* const memory = malloc(size == 0 ? 1 : size); memory != nullptr) return memory;
  throw std::bad_alloc();
}

// A sanitizer's own would not ask the one above.
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return memoryLacks() ? nullptr : malloc(size == 0 ? 1 : size);
}

void operator delete(void* memory) noexcept {
  free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  free(memory);
}
