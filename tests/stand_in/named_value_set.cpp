#include "stand_in/named_value_set.h"

#include <memory>

#include "frame/text.h"
#include "frame/wmi_status.h"
#include "stand_in/list.h"
#include "stand_in/value.h"
#include "windows/text/bstr.h"

namespace kvwmi::stand_in {
namespace {

constexpr const char* kSource = "SWbemNamedValueSet";

// {B0B0E6B1-6F0C-4B52-9D8D-6C2C3E5C7A11}: asks a set for itself, in this process only.
constexpr IID kSetItself{0xB0B0E6B1, 0x6F0C, 0x4B52, {0x9D, 0x8D, 0x6C, 0x2C, 0x3E, 0x5C, 0x7A, 0x11}};

using Entries = std::vector<std::shared_ptr<wmi::NamedValue>>;

class NamedValue final : public Automation<ISWbemNamedValue> {
 public:
  explicit NamedValue(std::shared_ptr<wmi::NamedValue> entry) : entry_(std::move(entry)) {}

  STDMETHODIMP get_Value(VARIANT* value) override {
    return answer([&] { put_automation_value(entry_->value, value); });
  }
  STDMETHODIMP put_Value(VARIANT* value) override {
    return answer([&] { entry_->value = automation_value(value); });
  }
  STDMETHODIMP get_Name(BSTR* name) override {
    return answer([&] { give_text(name, entry_->name); });
  }

 private:
  std::shared_ptr<wmi::NamedValue> entry_;
};

class NamedValueSet final : public Automation<ISWbemNamedValueSet> {
 public:
  explicit NamedValueSet(const wmi::NamedValues& values) {
    for (const wmi::NamedValue& value : values) entries.push_back(std::make_shared<wmi::NamedValue>(value));
  }

  STDMETHODIMP QueryInterface(REFIID id, void** object) override {
    if (id != kSetItself) return Automation::QueryInterface(id, object);
    *object = this;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP get__NewEnum(IUnknown** list) override {
    return answer([&] {
      std::vector<ComPtr<ISWbemNamedValue>> objects;
      for (const auto& entry : entries) objects.push_back(own<ISWbemNamedValue>(new NamedValue(entry)));
      give(list, enumerator_over(objects));
    });
  }
  STDMETHODIMP Item(BSTR name, LONG, ISWbemNamedValue** value) override {
    return answer([&] { give(value, own(new NamedValue(*find(name)))); });
  }
  STDMETHODIMP get_Count(LONG* count) override {
    if (!count) return E_POINTER;
    *count = static_cast<LONG>(entries.size());
    return S_OK;
  }
  STDMETHODIMP Add(BSTR name, VARIANT* value, LONG, ISWbemNamedValue** added) override {
    return answer([&] {
      if (!added || !name) throw wmi::wmi_error(wmi::Status::invalid_parameter, kSource);
      auto entry = std::make_shared<wmi::NamedValue>(
          wmi::NamedValue{windows::from_bstr(name), automation_value(value)});
      // An entry of that name is replaced where it stands.
      if (const auto known = position_of(name); known != entries.end()) {
        **known = *entry;
        entry = *known;
      } else {
        entries.push_back(entry);
      }
      give(added, own(new NamedValue(entry)));
    });
  }
  STDMETHODIMP Remove(BSTR name, LONG) override {
    return answer([&] { entries.erase(find(name)); });
  }
  STDMETHODIMP Clone(ISWbemNamedValueSet** copy) override {
    return answer([&] { give(copy, make_named_value_set(values())); });
  }
  STDMETHODIMP DeleteAll() override {
    entries.clear();
    return S_OK;
  }

  [[nodiscard]] wmi::NamedValues values() const {
    wmi::NamedValues result;
    for (const auto& entry : entries) result.push_back(*entry);
    return result;
  }

 private:
  [[nodiscard]] Entries::iterator position_of(BSTR name) {
    return std::find_if(entries.begin(), entries.end(),
                        [wanted = windows::from_bstr(name)](const auto& entry) {
                          return equals_ignoring_case(entry->name, wanted);
                        });
  }
  [[nodiscard]] Entries::iterator find(BSTR name) {
    const auto found = position_of(name);
    if (found == entries.end()) throw wmi::wmi_error(wmi::Status::not_found, kSource);
    return found;
  }

  Entries entries;
};

}  // namespace

ComPtr<ISWbemNamedValueSet> make_named_value_set(const wmi::NamedValues& values) {
  return own<ISWbemNamedValueSet>(new NamedValueSet(values));
}

wmi::NamedValues entries_of(IUnknown* set) {
  void* itself = nullptr;
  if (!set) return {};
  if (FAILED(set->QueryInterface(kSetItself, &itself))) {
    throw wmi::wmi_error(wmi::Status::invalid_parameter, wmi::source::kServices);
  }
  const auto held = own(static_cast<NamedValueSet*>(itself));
  return held->values();
}

}  // namespace kvwmi::stand_in
