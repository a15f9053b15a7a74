#include "frame/ground.h"

namespace kvwmi {

std::unique_ptr<ThreadBound>& Ground::thread_slot() {
  thread_local std::unique_ptr<ThreadBound>* slot = nullptr;
  if (!slot) slot = new std::unique_ptr<ThreadBound>;
  return *slot;
}

}  // namespace kvwmi
