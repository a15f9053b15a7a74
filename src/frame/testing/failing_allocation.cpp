#include "frame/testing/failing_allocation.h"

#include <cstdlib>
#include <new>

// The allocation functions of the whole test program. Apart from the tests, so that no compiler sees one of
// them without the other.

thread_local int kvwmi::testing::failing_allocation = 0;

void* operator new(std::size_t size) {
  int& failing = kvwmi::testing::failing_allocation;
  if (failing > 0 && --failing == 0) throw std::bad_alloc();
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
