#include "checkpoint_client.h"

#include <map>
#include <stdexcept>
#include <variant>

#include "server.h"
#include "windows/com/kvwmi.h"

namespace {

using automation::Bstr;
using automation::ComPtr;
using automation::Variant;
using Outcome = CheckPointClient::Outcome;

ComPtr<_CheckPoint> create() {
  ComPtr<_CheckPoint> result;
  const HRESULT created =
      CoCreateInstance(__uuidof(CheckPoint), nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(result.put()));
  if (FAILED(created)) throw std::runtime_error("CoCreateInstance answered " + std::to_string(created));
  return result;
}

class EarlyBound final : public CheckPointClient {
 public:
  Outcome call(const std::string& method, const std::string& name) override {
    const Bstr text(name);
    // What the places hold before the call must be gone after it.
    LONG result = 77;
    LONG number = -12345;
    VARIANT_BOOL flag = 77;
    CY size{};
    size.int64 = -12345;
    Outcome outcome;
    Variant output;
    const auto members = methods();
    std::visit(
        [&](auto member) {
          using Shape = decltype(member);
          _CheckPoint& object = *object_.get();
          if constexpr (std::is_same_v<Shape, Number>) {
            outcome.status = (object.*member)(&number, &result);
            output = Variant::of(number);
          } else if constexpr (std::is_same_v<Shape, NameNumber>) {
            outcome.status = (object.*member)(text.get(), &number, &result);
            output = Variant::of(number);
          } else if constexpr (std::is_same_v<Shape, NameFlag>) {
            outcome.status = (object.*member)(text.get(), &flag, &result);
            output = Variant::of(SHORT{flag});
            V_VT(&output.raw()) = VT_BOOL;
          } else if constexpr (std::is_same_v<Shape, NameSize>) {
            outcome.status = (object.*member)(text.get(), &size, &result);
            output = Variant::currency(size.int64);
          } else {
            outcome.status = (object.*member)(&size, &result);
            output = Variant::currency(size.int64);
          }
        },
        members.at(method));
    outcome.output = output.text();
    outcome.result = result;
    const server::ErrorText error = server::take_error_text();
    if (error.found && error.raiser != __uuidof(_CheckPoint)) throw std::runtime_error("another raiser");
    if (error.found == SUCCEEDED(outcome.status))
      throw std::runtime_error("error text does not fit the status");
    outcome.source = error.source;
    outcome.description = error.description;
    return outcome;
  }
  [[nodiscard]] std::optional<long> no_result() const override { return 0; }

 private:
  using Number = HRESULT (STDMETHODCALLTYPE _CheckPoint::*)(LONG*, LONG*);
  using NameNumber = HRESULT (STDMETHODCALLTYPE _CheckPoint::*)(BSTR, LONG*, LONG*);
  using NameFlag = HRESULT (STDMETHODCALLTYPE _CheckPoint::*)(BSTR, VARIANT_BOOL*, LONG*);
  using NameSize = HRESULT (STDMETHODCALLTYPE _CheckPoint::*)(BSTR, CY*, LONG*);
  using Size = HRESULT (STDMETHODCALLTYPE _CheckPoint::*)(CY*, LONG*);
  using Member = std::variant<Number, NameNumber, NameFlag, NameSize, Size>;

  static std::map<std::string, Member> methods() {
    return {
        {"m_GetPowerSource", &_CheckPoint::m_GetPowerSource},
        {"m_GetServiceState", &_CheckPoint::m_GetServiceState},
        {"m_GetServiceExistence", &_CheckPoint::m_GetServiceExistence},
        {"m_GetProcessExistence", &_CheckPoint::m_GetProcessExistence},
        {"m_GetProcessMemorySize", &_CheckPoint::m_GetProcessMemorySize},
        {"m_GetProcessCPULoadPercentage", &_CheckPoint::m_GetProcessCPULoadPercentage},
        {"m_GetFreePhysicalMemorySize", &_CheckPoint::m_GetFreePhysicalMemorySize},
        {"m_GetPhysicalMemorySize", &_CheckPoint::m_GetPhysicalMemorySize},
        {"m_GetFreeVirtualMemorySize", &_CheckPoint::m_GetFreeVirtualMemorySize},
        {"m_GetVirtualMemorySize", &_CheckPoint::m_GetVirtualMemorySize},
        {"m_GetFreePagingFilesSize", &_CheckPoint::m_GetFreePagingFilesSize},
        {"m_GetPagingFilesSize", &_CheckPoint::m_GetPagingFilesSize},
        {"m_GetProcessorLoadPercentage", &_CheckPoint::m_GetProcessorLoadPercentage},
    };
  }

  ComPtr<_CheckPoint> object_ = create();
};

class LateBound final : public CheckPointClient {
 public:
  Outcome call(const std::string& method, const std::string& name) override {
    static const std::string kOnlyOutput =
        "m_GetPowerSource m_GetFreePhysicalMemorySize m_GetPhysicalMemorySize "
        "m_GetFreeVirtualMemorySize m_GetVirtualMemorySize "
        "m_GetFreePagingFilesSize m_GetPagingFilesSize "
        "m_GetProcessorLoadPercentage ";
    Variant text = Variant::of(name);
    Variant output;
    std::vector<VARIANT> arguments;
    if (kOnlyOutput.find(method + " ") == std::string::npos) arguments.push_back(automation::variable(text));
    arguments.push_back(automation::variable(output));
    const automation::Answer answer =
        automation::call(*object_.get(), kvwmi::windows::to_utf16(method).c_str(), arguments);
    Outcome outcome;
    outcome.status = answer.status == DISP_E_EXCEPTION ? answer.code : answer.status;
    outcome.result = answer.long_result();
    outcome.output = output.text();
    outcome.source = answer.source;
    outcome.description = answer.description;
    return outcome;
  }
  [[nodiscard]] std::optional<long> no_result() const override { return std::nullopt; }

 private:
  ComPtr<IDispatch> object_ = create().as<IDispatch>();
};

}  // namespace

std::unique_ptr<CheckPointClient> make_early_bound_client() {
  return std::make_unique<EarlyBound>();
}
std::unique_ptr<CheckPointClient> make_late_bound_client() {
  return std::make_unique<LateBound>();
}
