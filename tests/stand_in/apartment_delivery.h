#pragma once

#include <windows.h>

#include <functional>
#include <memory>

#include "wmi/events/delivery.h"

namespace kvwmi::stand_in {

/// Has work done on the thread that made it, by that thread's message loop: a message to a hidden window
/// tells the loop that there is some.
class ApartmentDelivery final : public embedded::Delivery {
 public:
  ApartmentDelivery();
  ~ApartmentDelivery() override;
  ApartmentDelivery(const ApartmentDelivery&) = delete;
  ApartmentDelivery& operator=(const ApartmentDelivery&) = delete;

  /// From any thread; in the order of the calls. Work that the loop has not come to when this object goes is
  /// destroyed.
  void post(std::function<void()> work) override;

  struct Queue;

 private:
  std::shared_ptr<Queue> queue_;
  HWND window_;
};

}  // namespace kvwmi::stand_in
