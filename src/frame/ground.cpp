#include "frame/ground.h"

#include <cstddef>
#include <new>

namespace kvwmi {

std::unique_ptr<ThreadBound>& Ground::thread_slot() {
  using Slot = std::unique_ptr<ThreadBound>;
  // Storage of the thread itself, which goes with it without a destructor being called.
  alignas(Slot) thread_local std::byte storage[sizeof(Slot)];
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): the thread's own
  thread_local Slot* slot = nullptr;
  if (slot == nullptr) slot = new (storage) Slot;
  return *slot;
}

}  // namespace kvwmi
