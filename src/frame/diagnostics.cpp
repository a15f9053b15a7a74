#include "frame/diagnostics.h"

#include <memory>
#include <mutex>
#include <utility>

#include "frame/errors_process.h"

namespace kvwmi {
namespace {

// The hook is the one thing that all threads of the process share here: each call works on its own reference,
// so a hook may be replaced while it runs, also by itself.
struct Slot {
  std::mutex mutex;
  std::shared_ptr<const DiagnosticHook> hook;
};

Slot& slot() {
  // Never destroyed: threads that outlive main may still report.
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): as said above
  static Slot* const instance = new Slot;
  return *instance;
}

}  // namespace

void set_diagnostic_hook(DiagnosticHook hook) {
  auto replacement = hook ? std::make_shared<const DiagnosticHook>(std::move(hook)) : nullptr;
  const std::scoped_lock lock(slot().mutex);
  slot().hook.swap(replacement);
}

void report(const Error& error) noexcept {
  try {
    std::shared_ptr<const DiagnosticHook> hook;
    {
      const std::scoped_lock lock(slot().mutex);
      hook = slot().hook;
    }
    if (hook) (*hook)(error);
  } catch (...) {
    // A hook that fails has nobody to tell.
  }
}

void report_pending_error() noexcept {
  try {
    report(pending_error());
  } catch (...) {
    // No memory left to build the error from.
  }
}

}  // namespace kvwmi
