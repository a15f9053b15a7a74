#include "stand_in/control.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "frame/conversion.h"
#include "frame/runtime_error.h"
#include "frame/text.h"
#include "frame/wmi_status.h"
#include "kvwmi/message_loop.h"
#include "stand_in/automation.h"
#include "stand_in/value.h"
#include "windows/automation/implements.h"
#include "windows/com/errors.h"
#include "windows/text/unicode.h"
#include "wmi/cim/automation.h"

namespace kvwmi::stand_in {
namespace {

using wmi::Value;
using Arguments = std::span<const Value>;

constexpr const char* kControlName = "KVWMITest.Repository";

cim::Value property_value(embedded::MemoryProvider& rows, const std::string& property, const Value& value) {
  const auto column = rows.schema().find_property(property);
  if (!column) throw wmi::wmi_error(wmi::Status::invalid_property, kControlName);
  auto converted = cim::from_automation(value, rows.schema().properties[*column].type);
  if (!converted) throw wmi::wmi_error(wmi::Status::type_mismatch, kControlName);
  return *std::move(converted);
}

std::size_t row_number(const Value& value) {
  return static_cast<std::size_t>(to_long(value));
}

Value add(Repository& repository, Arguments arguments) {
  auto& rows = repository.rows(to_text(arguments[0]));
  const auto* const pairs = arguments[1].get_if<Value::Array>();
  if (!pairs || pairs->size() % 2 != 0) throw runtime_error(RuntimeError::type_mismatch);
  embedded::MemoryProvider::Values values;
  for (std::size_t i = 0; i < pairs->size(); i += 2) {
    const std::string name = to_text((*pairs)[i]);
    values.emplace_back(name, property_value(rows, name, (*pairs)[i + 1]));
  }
  return Value(static_cast<std::int32_t>(rows.add(values)));
}

Value change(Repository& repository, Arguments arguments) {
  auto& rows = repository.rows(to_text(arguments[0]));
  const std::string name = to_text(arguments[2]);
  rows.set(row_number(arguments[1]), name, property_value(rows, name, arguments[3]));
  return Value();
}

Value count_up(Repository& repository, Arguments arguments) {
  repository.rows(to_text(arguments[0]))
      .count_up(row_number(arguments[1]), to_text(arguments[2]),
                static_cast<std::uint64_t>(to_long(arguments[3])));
  return Value();
}

Value remove(Repository& repository, Arguments arguments) {
  repository.rows(to_text(arguments[0])).remove(row_number(arguments[1]));
  return Value();
}

Value clear(Repository& repository, Arguments) {
  repository.clear();
  return Value();
}

Value fail(Repository& repository, Arguments arguments) {
  const std::int32_t number = to_long(arguments[1]);
  auto& rows = repository.rows(to_text(arguments[0]));
  if (number == 0) {
    rows.fail_with(std::nullopt);
  } else {
    rows.fail_with(wmi::wmi_error(static_cast<wmi::Status>(number), wmi::source::kObjectSet));
  }
  return Value();
}

Value answer(Repository& repository, Arguments arguments) {
  repository.answer(to_text(arguments[0]), to_text(arguments[1]),
                    static_cast<std::uint32_t>(to_long(arguments[2])));
  return Value();
}

Value calls(Repository& repository, Arguments) {
  Value::Array texts;
  for (const std::string& call : repository.calls()) texts.emplace_back(call);
  return Value(std::move(texts));
}

Value seen(Repository& repository, Arguments arguments) {
  return Value(repository.rows(to_text(arguments[0])).is_seen());
}

Value process(Repository&, Arguments) {
  return Value(static_cast<std::int32_t>(GetCurrentProcessId()));
}

Value pump(Repository&, Arguments arguments) {
  message_loop::run_for(std::chrono::milliseconds(to_long(arguments[0])));
  return Value();
}

struct Member {
  std::string_view name;
  std::size_t arguments;
  Value (*call)(Repository&, Arguments);
};

constexpr std::array kMembers{
    Member{"Add", 2, add},         Member{"Change", 4, change}, Member{"CountUp", 4, count_up},
    Member{"Remove", 2, remove},   Member{"Clear", 0, clear},   Member{"Fail", 2, fail},
    Member{"Answer", 3, answer},   Member{"Calls", 0, calls},   Member{"Seen", 1, seen},
    Member{"Process", 0, process}, Member{"Pump", 1, pump},
};

class Control final : public com::Implements<IDispatch> {
 public:
  explicit Control(std::shared_ptr<Repository> repository) : repository_(std::move(repository)) {}

  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    if (!count) return E_POINTER;
    *count = 0;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
    const std::string name = windows::to_utf8(names[0]);
    const auto* const found = std::find_if(kMembers.begin(), kMembers.end(), [&](const Member& member) {
      return equals_ignoring_case(member.name, name);
    });
    std::fill_n(ids, count, DISPID_UNKNOWN);
    if (count != 1 || found == kMembers.end()) return DISP_E_UNKNOWNNAME;
    ids[0] = static_cast<DISPID>(found - kMembers.begin());
    return S_OK;
  }
  STDMETHODIMP Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS* given, VARIANT* result,
                      EXCEPINFO* exception, UINT*) override {
    if (member < 0 || static_cast<std::size_t>(member) >= kMembers.size()) return DISP_E_MEMBERNOTFOUND;
    const Member& called = kMembers[static_cast<std::size_t>(member)];
    if (given->cArgs != called.arguments) return DISP_E_BADPARAMCOUNT;
    const HRESULT answered = com::guarded(IID_IDispatch, [&] {
      std::vector<Value> arguments;
      for (UINT i = given->cArgs; i-- > 0;) arguments.push_back(automation_value(&given->rgvarg[i]));
      const Value value = called.call(*repository_, arguments);
      if (result) put_automation_value(value, result);
    });
    return FAILED(answered) ? raise_late(exception, answered) : answered;
  }

 private:
  std::shared_ptr<Repository> repository_;
};

}  // namespace

ground::ComPtr<IDispatch> make_control(std::shared_ptr<Repository> repository) {
  return own<IDispatch>(new Control(std::move(repository)));
}

}  // namespace kvwmi::stand_in
