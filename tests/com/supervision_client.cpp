#include "supervision_client.h"

#include <stdexcept>

#include "server.h"

namespace {

using automation::Answer;
using automation::Bstr;
using automation::ComPtr;
using automation::Variant;
using Outcome = SupervisionClient::Outcome;
using Record = SupervisionClient::Record;

ComPtr<_Supervision> create() {
  ComPtr<_Supervision> result;
  const HRESULT created =
      CoCreateInstance(__uuidof(Supervision), nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(result.put()));
  if (FAILED(created)) throw std::runtime_error("CoCreateInstance answered " + std::to_string(created));
  return result;
}

void expect(HRESULT status) {
  if (status != S_OK) throw std::runtime_error("a member answered " + std::to_string(status));
}

class EarlyBound final : public SupervisionClient {
 public:
  Outcome request(const SupervisionRequest& request) override {
    LONG result = 77;  // must be gone afterwards
    const HRESULT status = request.early_bound(*object_.get(), &result);
    return outcome(status, result);
  }
  [[nodiscard]] std::optional<long> no_result() const override { return 0; }
  Outcome initialize() override { return outcome(object_->m_Initialize(), {}); }
  Outcome release() override { return outcome(object_->m_Release(), {}); }
  Outcome push_undetected() override { return outcome(object_->m_PushUndetectedEventInfos(), {}); }
  void name_event(const std::string& name) override {
    Bstr text(name);
    BSTR reference = text.release();
    const HRESULT status = object_->put_p_strSupervisionEventName(&reference);
    // By reference, but unchanged.
    const bool unchanged = kvwmi::windows::from_bstr(reference) == name;
    SysFreeString(reference);
    expect(unchanged ? status : E_UNEXPECTED);
  }
  std::string event_name() override {
    Bstr name;
    expect(object_->get_p_strSupervisionEventName(name.receive()));
    return kvwmi::windows::from_bstr(name.get());
  }
  Record pop(long step) override {
    LONG supervision = -1;
    BSTR detail = Bstr("before").release();
    const HRESULT status = object_->m_PopEventInfos(step, &supervision, &detail);
    Record record(supervision, kvwmi::windows::from_bstr(detail));
    SysFreeString(detail);
    expect(status);
    return record;
  }

 private:
  static Outcome outcome(HRESULT status, std::optional<long> result) {
    const server::ErrorText error = server::take_error_text();
    if (error.found == SUCCEEDED(status)) throw std::runtime_error("error text does not fit the status");
    if (error.found && error.raiser != __uuidof(_Supervision)) throw std::runtime_error("another raiser");
    return {status, result, error.source, error.description};
  }

  ComPtr<_Supervision> object_ = create();
};

class LateBound final : public SupervisionClient {
 public:
  Outcome request(const SupervisionRequest& request) override {
    std::vector<Variant> variables = request.arguments;
    std::vector<VARIANT> arguments;
    for (Variant& variable : variables) {
      // What is left out is no variable.
      arguments.push_back(variable.type() == VT_ERROR ? automation::value(variable)
                                                      : automation::variable(variable));
    }
    return call(request.method, std::move(arguments));
  }
  [[nodiscard]] std::optional<long> no_result() const override { return std::nullopt; }
  Outcome initialize() override { return call("m_Initialize"); }
  Outcome release() override { return call("m_Release"); }
  Outcome push_undetected() override { return call("m_PushUndetectedEventInfos"); }
  void name_event(const std::string& name) override {
    Variant text = Variant::of(std::string_view(name));
    expect(automation::put(*object_.get(), L"p_strSupervisionEventName", automation::variable(text)).status);
  }
  std::string event_name() override {
    const std::string kType = "string ";
    const std::string name = automation::get(*object_.get(), L"p_strSupervisionEventName").result.text();
    if (!name.starts_with(kType)) throw std::runtime_error("the event's name is " + name);
    return name.substr(kType.size());
  }
  Record pop(long step) override {
    Variant of_step = Variant::of(LONG{step});
    Variant supervision;
    Variant detail;
    const Answer answer = automation::call(
        *object_.get(), L"m_PopEventInfos",
        {automation::variable(of_step), automation::variable(supervision), automation::variable(detail)});
    expect(answer.status);
    if (supervision.type() != VT_I4 || detail.type() != VT_BSTR) throw std::runtime_error("types of outputs");
    return {V_I4(&supervision.raw()), kvwmi::windows::from_bstr(V_BSTR(&detail.raw()))};
  }

 private:
  Outcome call(const std::string& method, std::vector<VARIANT> arguments = {}) {
    const Answer answer =
        automation::call(*object_.get(), kvwmi::windows::to_utf16(method).c_str(), std::move(arguments));
    return {answer.status == DISP_E_EXCEPTION ? answer.code : answer.status, answer.long_result(),
            answer.source, answer.description};
  }

  ComPtr<IDispatch> object_ = create().as<IDispatch>();
};

}  // namespace

std::unique_ptr<SupervisionClient> make_early_bound_supervision() {
  return std::make_unique<EarlyBound>();
}
std::unique_ptr<SupervisionClient> make_late_bound_supervision() {
  return std::make_unique<LateBound>();
}
