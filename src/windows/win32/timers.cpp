#include "windows/win32/timers.h"

#include <windows.h>

#include <map>
#include <memory>
#include <utility>

#include "frame/diagnostics.h"
#include "windows/win32/system_error.h"

namespace kvwmi::ground {
namespace {

using Tick = std::shared_ptr<const std::function<void()>>;
using Table = std::map<UINT_PTR, Tick>;

// The calling thread's timers while it has any. A plain pointer: a thread-local with a destructor would
// outlive the DLL it belongs to.
thread_local Table* running = nullptr;

void CALLBACK on_timer(HWND, UINT, UINT_PTR timer, DWORD) {
  try {
    // A tick that was queued before its timer was killed finds nothing.
    const auto found = running ? running->find(timer) : Table::iterator();
    if (!running || found == running->end()) return;
    const Tick tick = found->second;  // it may kill its own timer
    (*tick)();
  } catch (...) {
    report_pending_error();
  }
}

}  // namespace

Timers::Id Win32Timers::set(std::int32_t milliseconds, std::function<void()> tick) {
  auto entry = std::make_shared<const std::function<void()>>(std::move(tick));
  if (!running) running = new Table;
  const UINT_PTR timer = SetTimer(nullptr, 0, static_cast<UINT>(milliseconds), on_timer);
  if (timer == 0) throw last_system_error();
  running->insert_or_assign(timer, std::move(entry));
  return timer;
}

void Win32Timers::kill(Id timer) {
  const auto id = static_cast<UINT_PTR>(timer);
  if (!running || running->erase(id) == 0) return;
  KillTimer(nullptr, id);
  if (running->empty()) delete std::exchange(running, nullptr);
}

}  // namespace kvwmi::ground
