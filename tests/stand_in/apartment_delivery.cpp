#include "stand_in/apartment_delivery.h"

#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "frame/diagnostics.h"

namespace kvwmi::stand_in {

struct ApartmentDelivery::Queue {
  std::mutex mutex;
  std::vector<std::function<void()>> work;
  bool closed = false;

  [[nodiscard]] std::vector<std::function<void()>> take() {
    const std::scoped_lock lock(mutex);
    return std::exchange(work, {});
  }
};

namespace {

constexpr const wchar_t* kWindowClass = L"KVWMI stand-in delivery";
constexpr UINT kWork = WM_APP;
constexpr UINT kClose = WM_APP + 1;

using QueuePtr = std::shared_ptr<ApartmentDelivery::Queue>;

void do_work(const QueuePtr& queue) {
  for (std::function<void()>& piece : queue->take()) {
    try {
      piece();
    } catch (...) {
      report_pending_error();
    }
    piece = nullptr;
  }
}

LRESULT CALLBACK on_message(HWND window, UINT message, WPARAM first, LPARAM second) {
  auto* const held = reinterpret_cast<QueuePtr*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  switch (message) {
    case kWork:
      // The work may end the delivery, so the queue is held here.
      if (held) do_work(QueuePtr(*held));
      return 0;
    case kClose:
      DestroyWindow(window);
      return 0;
    case WM_NCDESTROY:
      SetWindowLongPtrW(window, GWLP_USERDATA, 0);
      delete held;
      break;
    default:
      break;
  }
  return DefWindowProcW(window, message, first, second);
}

}  // namespace

ApartmentDelivery::ApartmentDelivery() : queue_(std::make_shared<Queue>()) {
  WNDCLASSW type{};
  type.lpfnWndProc = on_message;
  type.hInstance = GetModuleHandleW(nullptr);
  type.lpszClassName = kWindowClass;
  RegisterClassW(&type);  // fails where it is registered already
  window_ = CreateWindowExW(0, kWindowClass, nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, type.hInstance,
                            nullptr);
  if (!window_) throw std::runtime_error("no window for deliveries");
  SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(new QueuePtr(queue_)));
}

ApartmentDelivery::~ApartmentDelivery() {
  {
    const std::scoped_lock lock(queue_->mutex);
    queue_->closed = true;
  }
  const auto abandoned = queue_->take();
  // Only its own thread can destroy a window; this one may be another.
  PostMessageW(window_, kClose, 0, 0);
}

void ApartmentDelivery::post(std::function<void()> work) {
  const std::scoped_lock lock(queue_->mutex);
  if (queue_->closed) return;
  const bool asleep = queue_->work.empty();
  queue_->work.push_back(std::move(work));
  if (asleep) PostMessageW(window_, kWork, 0, 0);
}

}  // namespace kvwmi::stand_in
