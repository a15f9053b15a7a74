#include "stand_in/sink.h"

#include <ocidl.h>
#include <olectl.h>

#include <map>
#include <utility>

#include "frame/text.h"
#include "frame/wmi_status.h"
#include "stand_in/bag.h"
#include "stand_in/named_value_set.h"
#include "stand_in/object.h"
#include "windows/text/unicode.h"

namespace kvwmi::stand_in {
namespace {

// {C9B2B7E5-2C6B-4D0C-9E2A-5A1D7F0B6E33}: asks a sink for itself, in this process only.
constexpr IID kSinkItself{0xC9B2B7E5, 0x2C6B, 0x4D0C, {0x9E, 0x2A, 0x5A, 0x1D, 0x7F, 0x0B, 0x6E, 0x33}};

constexpr DISPID kCancel = 1;
constexpr DISPID kOnObjectReady = 1;

/// The receivers of a sink's events.
struct Receivers {
  std::map<DWORD, ComPtr<IDispatch>> connected;
  DWORD last = 0;
};

class SinkPoint final : public com::Implements<IConnectionPoint> {
 public:
  SinkPoint(std::shared_ptr<Receivers> receivers, ComPtr<IConnectionPointContainer> container)
      : receivers_(std::move(receivers)), container_(std::move(container)) {}

  STDMETHODIMP GetConnectionInterface(IID* id) override {
    if (!id) return E_POINTER;
    *id = __uuidof(ISWbemSinkEvents);
    return S_OK;
  }
  STDMETHODIMP GetConnectionPointContainer(IConnectionPointContainer** container) override {
    if (!container) return E_POINTER;
    *container = ComPtr(container_).detach();
    return S_OK;
  }
  STDMETHODIMP Advise(IUnknown* receiver, DWORD* cookie) override {
    if (!receiver || !cookie) return E_POINTER;
    auto events = ComPtr<IUnknown>::query<IDispatch>(receiver);
    if (!events) return CONNECT_E_CANNOTCONNECT;
    *cookie = ++receivers_->last;
    receivers_->connected[*cookie] = std::move(events);
    return S_OK;
  }
  STDMETHODIMP Unadvise(DWORD cookie) override {
    return receivers_->connected.erase(cookie) == 1 ? S_OK : CONNECT_E_NOCONNECTION;
  }
  STDMETHODIMP EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

 private:
  std::shared_ptr<Receivers> receivers_;
  ComPtr<IConnectionPointContainer> container_;
};

/// Hands one event to every receiver that is connected when its turn comes.
void fire(Receivers& receivers, wmi::Object& event, IDispatch* context) {
  const auto object = make_object(std::make_shared<Bag>(event));
  const auto at_the_start = receivers.connected;
  for (const auto& [cookie, receiver] : at_the_start) {
    if (!receivers.connected.contains(cookie)) continue;
    // In reverse order, as every late-bound call has its arguments.
    VARIANT arguments[2];
    VariantInit(&arguments[0]);
    V_VT(&arguments[0]) = VT_DISPATCH;
    V_DISPATCH(&arguments[0]) = context;
    VariantInit(&arguments[1]);
    V_VT(&arguments[1]) = VT_DISPATCH;
    V_DISPATCH(&arguments[1]) = object.get();
    DISPPARAMS parameters{arguments, nullptr, 2, 0};
    receiver->Invoke(kOnObjectReady, IID_NULL, LOCALE_NEUTRAL, DISPATCH_METHOD, &parameters, nullptr, nullptr,
                     nullptr);
  }
}

/// The type library of the machine may lack this interface, so its one method is served here.
class Sink final : public com::Implements<ISWbemSink, IConnectionPointContainer, ISupportErrorInfo> {
 public:
  STDMETHODIMP QueryInterface(REFIID id, void** object) override {
    if (id != kSinkItself) return Implements::QueryInterface(id, object);
    *object = this;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    if (!count) return E_POINTER;
    *count = 0;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
    const bool known = count == 1 && equals_ignoring_case(windows::to_utf8(names[0]), "Cancel");
    std::fill_n(ids, count, known ? kCancel : DISPID_UNKNOWN);
    return known ? S_OK : DISP_E_UNKNOWNNAME;
  }
  STDMETHODIMP Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
    return member == kCancel ? Cancel() : DISP_E_MEMBERNOTFOUND;
  }
  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID) override { return S_OK; }

  STDMETHODIMP Cancel() override {
    behind.reset();
    return S_OK;
  }
  STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
  STDMETHODIMP FindConnectionPoint(REFIID id, IConnectionPoint** point) override {
    if (!point) return E_POINTER;
    *point = nullptr;
    if (id != __uuidof(ISWbemSinkEvents)) return CONNECT_E_NOCONNECTION;
    *point = new SinkPoint(receivers, ComPtr<IConnectionPointContainer>::share(this));
    return S_OK;
  }

  std::shared_ptr<Receivers> receivers = std::make_shared<Receivers>();
  /// Has all of its subscriptions.
  std::shared_ptr<wmi::Sink> behind;
};

ComPtr<Sink> sink_itself(IUnknown& sink) {
  void* itself = nullptr;
  if (FAILED(sink.QueryInterface(kSinkItself, &itself))) {
    throw wmi::wmi_error(wmi::Status::invalid_parameter, wmi::source::kServices);
  }
  return own(static_cast<Sink*>(itself));
}

}  // namespace

ComPtr<ISWbemSink> make_sink() {
  return own<ISWbemSink>(new Sink);
}

std::shared_ptr<wmi::Sink> service_sink(IDispatch& sink, Backend& backend) {
  const auto itself = sink_itself(sink);
  if (!itself->behind) {
    // The receivers are shared rather than the sink, which owns what is made here.
    itself->behind = backend.create_sink(
        [receivers = itself->receivers](wmi::Object& event, const wmi::NamedValues& context) {
          fire(*receivers, event, make_named_value_set(context).get());
        });
  }
  return itself->behind;
}

}  // namespace kvwmi::stand_in
