#include "windows/scripting/scripting_services.h"

#include "frame/runtime_error.h"
#include "frame/wmi_status.h"
#include "windows/scripting/automation_list.h"
#include "windows/scripting/call_error.h"
#include "windows/scripting/create.h"
#include "windows/scripting/named_value_set.h"
#include "windows/scripting/scripting_object.h"
#include "windows/scripting/scripting_sink.h"
#include "windows/text/bstr.h"

namespace kvwmi::ground {
namespace {

using wmi::source::kLocator;
using wmi::source::kObjectSet;
using wmi::source::kServices;

class Walk final : public wmi::Enumerator {
 public:
  explicit Walk(ComPtr<IEnumVARIANT> list) : list_(std::move(list)) {}

  std::shared_ptr<wmi::Object> next() override {
    auto entry = next_entry<ISWbemObject>(*list_.get(), kObjectSet);
    if (!entry) return nullptr;
    return std::make_shared<ScriptingObject>(std::move(entry));
  }

 private:
  ComPtr<IEnumVARIANT> list_;
};

}  // namespace

std::int32_t ScriptingObjectSet::count() {
  LONG count = 0;
  invoke(kObjectSet, [&] { return set_->get_Count(&count); });
  return count;
}

std::unique_ptr<wmi::Enumerator> ScriptingObjectSet::enumerate() {
  ComPtr<IUnknown> list;
  invoke(kObjectSet, [&] { return set_->get__NewEnum(list.put()); });
  auto entries = list.as<IEnumVARIANT>();
  if (!entries) throw call_error(E_NOINTERFACE, kObjectSet);
  return std::make_unique<Walk>(std::move(entries));
}

std::shared_ptr<wmi::ObjectSet> ScriptingServices::exec_query(const std::string& query,
                                                              const std::string& language,
                                                              std::int32_t flags) {
  const windows::Bstr text(query);
  const windows::Bstr dialect(language);
  ComPtr<ISWbemObjectSet> set;
  invoke(kServices,
         [&] { return services_->ExecQuery(text.get(), dialect.get(), flags, nullptr, set.put()); });
  return std::make_shared<ScriptingObjectSet>(std::move(set));
}

void ScriptingServices::exec_notification_query_async(const std::shared_ptr<wmi::Sink>& sink,
                                                      const std::string& query, const std::string& language,
                                                      std::int32_t flags, const wmi::NamedValues* options,
                                                      const wmi::NamedValues& context) {
  const auto* const receiver = dynamic_cast<const ScriptingSink*>(sink.get());
  if (!receiver) throw runtime_error(RuntimeError::object_variable_not_set);
  const windows::Bstr text(query);
  const windows::Bstr dialect(language);
  const auto option_set = options ? make_named_value_set(*options) : nullptr;
  const auto context_set = make_named_value_set(context);
  invoke(kServices, [&] {
    return services_->ExecNotificationQueryAsync(receiver->automation_object(), text.get(), dialect.get(),
                                                 flags, option_set.get(), context_set.get());
  });
}

ScriptingLocator::ScriptingLocator() : locator_(create<SWbemLocator, ISWbemLocator>()) {}

void ScriptingLocator::add_privilege(std::int32_t privilege, bool enabled) {
  ComPtr<ISWbemSecurity> security;
  invoke(kLocator, [&] { return locator_->get_Security_(security.put()); });
  ComPtr<ISWbemPrivilegeSet> privileges;
  invoke("SWbemSecurity", [&] { return security->get_Privileges(privileges.put()); });
  ComPtr<ISWbemPrivilege> added;
  invoke("SWbemPrivilegeSet", [&] {
    return privileges->Add(static_cast<WbemPrivilegeEnum>(privilege), enabled ? VARIANT_TRUE : VARIANT_FALSE,
                           added.put());
  });
}

std::shared_ptr<wmi::Services> ScriptingLocator::connect_server(const wmi::ConnectArguments& arguments) {
  const windows::Bstr server(arguments.server);
  const windows::Bstr name_space(arguments.name_space);
  const windows::Bstr user(arguments.user);
  const windows::Bstr password(arguments.password);
  const windows::Bstr locale(arguments.locale);
  const windows::Bstr authority(arguments.authority);
  const auto context = arguments.context ? make_named_value_set(*arguments.context) : nullptr;
  ComPtr<ISWbemServices> services;
  invoke(kLocator, [&] {
    return locator_->ConnectServer(server.get(), name_space.get(), user.get(), password.get(), locale.get(),
                                   authority.get(), arguments.security_flags, context.get(), services.put());
  });
  return std::make_shared<ScriptingServices>(std::move(services));
}

}  // namespace kvwmi::ground
