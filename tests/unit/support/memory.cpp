#include "support/memory.h"

#include <cstdlib>
#include <new>

void* operator new(size_t size) {
  if (memoryLacks()) throw std::bad_alloc();
  if (void* const memory = malloc(size == 0 ? 1 : size); memory != nullptr) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
  free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  free(memory);
}
