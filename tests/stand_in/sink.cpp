#include "stand_in/sink.h"

#include <ocidl.h>
#include <olectl.h>

#include <array>
#include <map>
#include <utility>
#include <vector>

#include "frame/text.h"
#include "frame/wmi_status.h"
#include "stand_in/apartment_delivery.h"
#include "stand_in/bag.h"
#include "stand_in/named_value_set.h"
#include "stand_in/object.h"
#include "windows/text/unicode.h"

namespace kvwmi::stand_in {
namespace {

// {C9B2B7E5-2C6B-4D0C-9E2A-5A1D7F0B6E33}: asks a sink for itself, in this process only.
constexpr IID kSinkItself{0xC9B2B7E5, 0x2C6B, 0x4D0C, {0x9E, 0x2A, 0x5A, 0x1D, 0x7F, 0x0B, 0x6E, 0x33}};

constexpr DISPID kCancel = 1;

// Events.
constexpr DISPID kOnObjectReady = 1;
constexpr DISPID kOnCompleted = 2;

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

VARIANT object_argument(IDispatch* object) {
  VARIANT result;
  VariantInit(&result);
  V_VT(&result) = VT_DISPATCH;
  V_DISPATCH(&result) = object;
  return result;
}

/// Hands one event to every receiver that is connected when its turn comes. As in every late-bound call the
/// last argument stands first.
template <std::size_t count>
void raise(const Receivers& receivers, DISPID event, std::array<VARIANT, count> arguments) {
  const auto at_the_start = receivers.connected;
  for (const auto& [cookie, receiver] : at_the_start) {
    if (!receivers.connected.contains(cookie)) continue;
    DISPPARAMS parameters{arguments.data(), nullptr, count, 0};
    receiver->Invoke(event, IID_NULL, LOCALE_NEUTRAL, DISPATCH_METHOD, &parameters, nullptr, nullptr,
                     nullptr);
  }
}

void raise_object_ready(const Receivers& receivers, wmi::Object& event, const wmi::NamedValues& context) {
  const auto object = make_object(std::make_shared<Bag>(event));
  const auto values = make_named_value_set(context);
  raise(receivers, kOnObjectReady, std::array{object_argument(values.get()), object_argument(object.get())});
}

void raise_completed(const Receivers& receivers, wmi::Status status, const wmi::NamedValues& context) {
  const auto values = make_named_value_set(context);
  VARIANT number;
  VariantInit(&number);
  V_VT(&number) = VT_I4;
  V_I4(&number) = static_cast<LONG>(status);
  raise(receivers, kOnCompleted, std::array{object_argument(values.get()), object_argument(nullptr), number});
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

  /// Each call hears that it is over, after the events that it has delivered so far.
  STDMETHODIMP Cancel() override {
    return com::guarded(IID_IDispatch, [&] {
      behind_.reset();
      for (wmi::NamedValues& context : std::exchange(calls_, {})) {
        delivery_.post([receivers = receivers_, context = std::move(context)] {
          raise_completed(*receivers, wmi::Status::call_cancelled, context);
        });
      }
    });
  }
  STDMETHODIMP EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
  STDMETHODIMP FindConnectionPoint(REFIID id, IConnectionPoint** point) override {
    if (!point) return E_POINTER;
    *point = nullptr;
    if (id != __uuidof(ISWbemSinkEvents)) return CONNECT_E_NOCONNECTION;
    *point = new SinkPoint(receivers_, ComPtr<IConnectionPointContainer>::share(this));
    return S_OK;
  }

  void start_call(Backend& backend, const wmi::NamedValues& context, const StartCall& start) {
    if (!behind_) {
      // The receivers are shared rather than the sink, which owns what is made here.
      behind_ =
          backend.create_sink([receivers = receivers_](wmi::Object& event, const wmi::NamedValues& of_call) {
            raise_object_ready(*receivers, event, of_call);
          });
    }
    start(behind_);
    calls_.push_back(context);
  }

 private:
  std::shared_ptr<Receivers> receivers_ = std::make_shared<Receivers>();
  std::shared_ptr<wmi::Sink> behind_;    ///< has all of its calls
  std::vector<wmi::NamedValues> calls_;  ///< the contexts of those that run
  ApartmentDelivery delivery_;
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

void start_call(IDispatch& sink, Backend& backend, const wmi::NamedValues& context, const StartCall& start) {
  sink_itself(sink)->start_call(backend, context, start);
}

}  // namespace kvwmi::stand_in
