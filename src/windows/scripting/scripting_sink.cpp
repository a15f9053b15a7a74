#include "windows/scripting/scripting_sink.h"

#include <memory>

#include "frame/diagnostics.h"
#include "frame/runtime_error.h"
#include "windows/automation/implements.h"
#include "windows/scripting/call_error.h"
#include "windows/scripting/create.h"
#include "windows/scripting/named_value_set.h"
#include "windows/scripting/scripting_object.h"

namespace kvwmi::ground {
namespace {

constexpr const char* kSink = "SWbemSink";

/// Dispatch identifier of the event that an object has arrived.
constexpr DISPID kOnObjectReady = 1;

/// The object that an event's argument refers to, however it is passed; null where it is none.
IUnknown* object_argument(const VARIANT& argument) {
  switch (argument.vt) {
    case VT_DISPATCH:
    case VT_UNKNOWN:
      return argument.punkVal;
    case VT_BYREF | VT_DISPATCH:
    case VT_BYREF | VT_UNKNOWN:
      return *argument.ppunkVal;
    case VT_BYREF | VT_VARIANT:
      return object_argument(*argument.pvarVal);
    default:
      return nullptr;
  }
}

}  // namespace

/// The receiver of the sink's events.
class SinkEvents final : public com::Implements<ISWbemSinkEvents> {
 public:
  explicit SinkEvents(wmi::ObjectReady handler)
      : handler_(std::make_shared<wmi::ObjectReady>(std::move(handler))) {}

  /// Nothing reaches the handler any more.
  void disconnect() noexcept { handler_.reset(); }

  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    if (!count) return E_POINTER;
    *count = 0;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return DISP_E_UNKNOWNNAME; }
  STDMETHODIMP Invoke(DISPID event, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT*, EXCEPINFO*,
                      UINT*) override {
    if (event != kOnObjectReady) return S_OK;
    // The handler may drop the sink, and with it this object and the handler itself.
    const auto self = ComPtr<SinkEvents>::share(this);
    try {
      if (const auto handler = handler_) deliver(*handler, arguments);
    } catch (...) {
      report_pending_error();
    }
    return S_OK;
  }

 private:
  static void deliver(const wmi::ObjectReady& handler, const DISPPARAMS* arguments) {
    if (!arguments || arguments->cArgs < 2) throw runtime_error(RuntimeError::internal_error);
    // Arguments come in reverse order: the context first, then the event object.
    IUnknown* const object = object_argument(arguments->rgvarg[1]);
    if (!object) throw runtime_error(RuntimeError::object_variable_not_set);
    const auto event = scripting_object_from(*object);
    handler(*event, named_values_from(object_argument(arguments->rgvarg[0])));
  }

  std::shared_ptr<wmi::ObjectReady> handler_;
};

ScriptingSink::ScriptingSink(wmi::ObjectReady handler)
    : sink_(create<SWbemSink, ISWbemSink>()),
      events_(ComPtr<SinkEvents>::own(new SinkEvents(std::move(handler)))) {
  const auto container = sink_.as<IConnectionPointContainer>();
  if (!container) throw call_error(E_NOINTERFACE, kSink);
  invoke(kSink,
         [&] { return container->FindConnectionPoint(__uuidof(ISWbemSinkEvents), connection_point_.put()); });
  invoke(kSink, [&] { return connection_point_->Advise(events_.get(), &connection_); });
}

ScriptingSink::~ScriptingSink() {
  events_->disconnect();
  connection_point_->Unadvise(connection_);
}

}  // namespace kvwmi::ground
