#pragma once

#include <windows.h>

#include <ocidl.h>
#include <wbemdisp.h>

#include "frame/wmi_access.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::ground {

class SinkEvents;

/// One SWbemSink with its events connected to a handler.
///
/// Its end disconnects the handler; the subscriptions made with it are not cancelled, they find nobody any
/// more.
class ScriptingSink final : public wmi::Sink {
 public:
  explicit ScriptingSink(wmi::ObjectReady handler);
  ~ScriptingSink() override;
  ScriptingSink(const ScriptingSink&) = delete;
  ScriptingSink& operator=(const ScriptingSink&) = delete;

  [[nodiscard]] IDispatch* automation_object() const noexcept { return sink_.get(); }

 private:
  ComPtr<ISWbemSink> sink_;
  ComPtr<IConnectionPoint> connection_point_;
  ComPtr<SinkEvents> events_;
  DWORD connection_ = 0;
};

}  // namespace kvwmi::ground
