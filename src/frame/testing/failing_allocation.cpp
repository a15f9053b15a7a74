#include "frame/testing/failing_allocation.h"

#include <cstdlib>
#include <new>

// The allocation functions of the whole test program, all for single objects: with some of them only, the
// address sanitizer would see what one has allocated freed by another. Apart from the tests, so that no
// compiler sees one of them without the others.

thread_local int kvwmi::testing::failing_allocation = 0;

void* operator new(std::size_t size) {
  int& failing = kvwmi::testing::failing_allocation;
  if (failing > 0 && --failing == 0) throw std::bad_alloc();
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
