#pragma once

#include <windows.h>

#include <wbemdisp.h>

#include <memory>
#include <string>

#include "frame/wmi_access.h"
#include "windows/win32/com_ptr.h"

/// The WMI access layer over the system's own scripting objects.
namespace kvwmi::ground {

/// One SWbemObjectSet.
class ScriptingObjectSet final : public wmi::ObjectSet {
 public:
  explicit ScriptingObjectSet(ComPtr<ISWbemObjectSet> set) : set_(std::move(set)) {}

  std::int32_t count() override;
  std::unique_ptr<wmi::Enumerator> enumerate() override;

 private:
  ComPtr<ISWbemObjectSet> set_;
};

/// One SWbemServices.
class ScriptingServices final : public wmi::Services {
 public:
  explicit ScriptingServices(ComPtr<ISWbemServices> services) : services_(std::move(services)) {}

  std::shared_ptr<wmi::ObjectSet> exec_query(const std::string& query, const std::string& language,
                                             std::int32_t flags) override;
  void exec_notification_query_async(const std::shared_ptr<wmi::Sink>& sink, const std::string& query,
                                     const std::string& language, std::int32_t flags,
                                     const wmi::NamedValues* options,
                                     const wmi::NamedValues& context) override;

 private:
  ComPtr<ISWbemServices> services_;
};

/// One SWbemLocator.
class ScriptingLocator final : public wmi::Locator {
 public:
  ScriptingLocator();

  void add_privilege(std::int32_t privilege, bool enabled) override;
  std::shared_ptr<wmi::Services> connect_server(const wmi::ConnectArguments& arguments) override;

 private:
  ComPtr<ISWbemLocator> locator_;
};

}  // namespace kvwmi::ground
