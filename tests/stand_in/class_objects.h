#pragma once

#include <windows.h>

#include <functional>
#include <memory>
#include <vector>

#include "stand_in/automation.h"
#include "stand_in/backend.h"

namespace kvwmi::stand_in {

/// One class that the stand-in serves.
struct ServedClass {
  CLSID id;
  std::function<ComPtr<IUnknown>()> make;
};

/// The scripting classes over `backend`: locator, sink, named value set.
[[nodiscard]] std::vector<ServedClass> scripting_classes(std::shared_ptr<Backend> backend);

/// A class factory of `served`.
[[nodiscard]] ComPtr<IClassFactory> make_factory(ServedClass served);

/// While it lives, every scripting class that the calling thread's apartment creates is the stand-in's.
/// The thread must have joined an apartment.
class InProcessStandIn {
 public:
  explicit InProcessStandIn(std::shared_ptr<Backend> backend);
  ~InProcessStandIn();
  InProcessStandIn(const InProcessStandIn&) = delete;
  InProcessStandIn& operator=(const InProcessStandIn&) = delete;

 private:
  std::vector<DWORD> registrations_;
};

}  // namespace kvwmi::stand_in
