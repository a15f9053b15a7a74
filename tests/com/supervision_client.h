#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "automation.h"
#include "kvwmi/supervision.h"
#include "windows/com/kvwmi.h"

/// A request for a watch with its arguments, for every kind of client.
struct SupervisionRequest {
  std::string method;
  std::function<void(kvwmi::Supervision&)> core;
  std::function<HRESULT(_Supervision&, LONG*)> early_bound;
  std::vector<automation::Variant> arguments;
};

namespace supervision_client {

struct BstrArgument {
  automation::Bstr text;
  operator BSTR() const { return text.get(); }  // NOLINT(google-explicit-constructor): stands for one
};

inline LONG early_bound(std::int32_t value) {
  return value;
}
inline VARIANT_BOOL early_bound(bool value) {
  return value ? VARIANT_TRUE : VARIANT_FALSE;
}
inline CY early_bound(kvwmi::Currency value) {
  CY result{};
  result.int64 = value.scaled();
  return result;
}
inline BstrArgument early_bound(const std::string& value) {
  return {automation::Bstr(value)};
}

inline automation::Variant late_bound(std::int32_t value) {
  return automation::Variant::of(LONG{value});
}
inline automation::Variant late_bound(bool value) {
  return automation::Variant::of(value);
}
inline automation::Variant late_bound(kvwmi::Currency value) {
  return automation::Variant::currency(value.scaled());
}
inline automation::Variant late_bound(const std::string& value) {
  return automation::Variant::of(std::string_view(value));
}

}  // namespace supervision_client

template <typename Member, typename... Parameters>
SupervisionRequest make_request(std::string method, std::int32_t (kvwmi::Supervision::*core)(Parameters...),
                                Member early_bound,
                                std::type_identity_t<std::decay_t<Parameters>>... arguments) {
  return {std::move(method),
          [=](kvwmi::Supervision& object) { (object.*core)(arguments...); },
          [=](_Supervision& object, LONG* result) {
            return (object.*early_bound)(supervision_client::early_bound(arguments)..., result);
          },
          {supervision_client::late_bound(arguments)...}};
}

/// `REQUEST(m_SuperviseService, 7, 3, "name", ...)`: the member of that name in the core and in the
/// interface.
#define REQUEST(member, ...) \
  make_request(#member, &kvwmi::Supervision::member, &_Supervision::member, __VA_ARGS__)

/// A client of Supervision, early or late bound.
class SupervisionClient {
 public:
  struct Outcome {
    HRESULT status = S_OK;  ///< S_OK, or the error's number
    /// What the call left in the place for its result, whether it failed or not; none where it has no such
    /// place.
    std::optional<long> result;
    std::string source;  ///< of the error
    std::string description;
  };
  /// Supervision and detail of a popped record.
  using Record = std::pair<long, std::string>;

  virtual ~SupervisionClient() = default;
  virtual Outcome request(const SupervisionRequest& request) = 0;
  /// What a request that fails must leave as its result.
  [[nodiscard]] virtual std::optional<long> no_result() const = 0;
  virtual Outcome initialize() = 0;
  virtual Outcome release() = 0;
  virtual Outcome push_undetected() = 0;
  virtual void name_event(const std::string& name) = 0;
  [[nodiscard]] virtual std::string event_name() = 0;
  [[nodiscard]] virtual Record pop(long step) = 0;
};

/// Through the interface of the generated header; failures through IErrorInfo.
[[nodiscard]] std::unique_ptr<SupervisionClient> make_early_bound_supervision();
/// Through IDispatch, arguments being variables by reference as a script's are; failures through EXCEPINFO.
[[nodiscard]] std::unique_ptr<SupervisionClient> make_late_bound_supervision();
