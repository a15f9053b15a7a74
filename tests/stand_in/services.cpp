#include "stand_in/services.h"

#include "frame/conversion.h"
#include "frame/text.h"
#include "frame/wmi_status.h"
#include "stand_in/named_value_set.h"
#include "stand_in/object_set.h"
#include "stand_in/partial.h"
#include "stand_in/security.h"
#include "stand_in/sink.h"
#include "windows/text/bstr.h"

namespace kvwmi::stand_in {
namespace {

using windows::from_bstr;

class Services final : public PartialServices {
 public:
  Services(std::shared_ptr<wmi::Services> services, std::shared_ptr<Backend> backend)
      : services_(std::move(services)), backend_(std::move(backend)) {}

  STDMETHODIMP Get(BSTR, LONG, IDispatch*, ISWbemObject**) override { return not_supported(); }
  STDMETHODIMP ExecMethod(BSTR, BSTR, IDispatch*, LONG, IDispatch*, ISWbemObject**) override {
    return not_supported();
  }
  STDMETHODIMP InstancesOf(BSTR name, LONG flags, IDispatch*, ISWbemObjectSet** set) override {
    return answer([&] { give(set, query("SELECT * FROM " + from_bstr(name), wmi::kLanguage, flags)); });
  }
  STDMETHODIMP ExecQuery(BSTR text, BSTR language, LONG flags, IDispatch*, ISWbemObjectSet** set) override {
    return answer([&] { give(set, query(from_bstr(text), from_bstr(language), flags)); });
  }
  STDMETHODIMP ExecNotificationQueryAsync(IDispatch* sink, BSTR text, BSTR language, LONG flags,
                                          IDispatch* options, IDispatch* context) override {
    return answer([&] {
      if (!sink) throw wmi::wmi_error(wmi::Status::invalid_parameter, wmi::source::kServices);
      const auto option_values = entries_of(options);
      const auto context_values = entries_of(context);
      start_call(*sink, *backend_, context_values, [&](const std::shared_ptr<wmi::Sink>& behind) {
        services_->exec_notification_query_async(behind, from_bstr(text), from_bstr(language), flags,
                                                 options ? &option_values : nullptr, context_values);
      });
    });
  }
  STDMETHODIMP get_Security_(ISWbemSecurity** security) override {
    return answer([&] { give(security, make_security()); });
  }

 private:
  [[nodiscard]] ComPtr<ISWbemObjectSet> query(const std::string& text, const std::string& language,
                                              LONG flags) {
    return make_object_set(services_->exec_query(text, language, flags), backend_);
  }

  std::shared_ptr<wmi::Services> services_;
  std::shared_ptr<Backend> backend_;
};

class Locator final : public Automation<ISWbemLocator> {
 public:
  explicit Locator(std::shared_ptr<Backend> backend)
      : backend_(std::move(backend)), locator_(backend_->create_locator()) {
    security_ = make_security([locator = locator_](std::int32_t privilege, bool enabled) {
      locator->add_privilege(privilege, enabled);
    });
  }

  STDMETHODIMP ConnectServer(BSTR server, BSTR name_space, BSTR user, BSTR password, BSTR locale,
                             BSTR authority, LONG flags, IDispatch* context,
                             ISWbemServices** services) override {
    return answer([&] {
      const auto context_values = entries_of(context);
      const wmi::ConnectArguments arguments{
          from_bstr(server), from_bstr(name_space), from_bstr(user), from_bstr(password),
          from_bstr(locale), from_bstr(authority),  flags,           context ? &context_values : nullptr};
      give(services, own(new Services(locator_->connect_server(arguments), backend_)));
    });
  }
  STDMETHODIMP get_Security_(ISWbemSecurity** security) override {
    return answer([&] { give(security, security_); });
  }

 private:
  std::shared_ptr<Backend> backend_;
  std::shared_ptr<wmi::Locator> locator_;
  ComPtr<ISWbemSecurity> security_;
};

}  // namespace

ComPtr<ISWbemLocator> make_locator(std::shared_ptr<Backend> backend) {
  return own<ISWbemLocator>(new Locator(std::move(backend)));
}

}  // namespace kvwmi::stand_in
