#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "frame/wmi_access.h"
#include "wmi/catalog.h"
#include "wmi/cim/system_properties.h"
#include "wmi/provider.h"
#include "wmi/wql/query.h"

namespace kvwmi::embedded {

/// A request for events, its arguments already checked.
struct NotificationRequest {
  std::shared_ptr<wmi::Sink> sink;
  std::string query;
  std::int32_t flags;
  const wmi::NamedValues* options;  ///< null for none; valid during the call
  wmi::NamedValues context;
  std::shared_ptr<const Catalog> catalog;  ///< of the connection's namespace at this moment
  cim::Location location;
  wql::Limits limits;
};

/// Serves the event queries of a service's connections. Called from any thread.
class Notifier {
 public:
  virtual ~Notifier() = default;
  /// Raises wql::QueryError or Error for a refused request.
  virtual void subscribe(const NotificationRequest& request) = 0;
};

/// The embedded WMI service: namespaces, their classes, and connections to them. Any thread may use it;
/// connections, sets and objects belong to the thread that obtained them and may outlive the service.
class Service {
 public:
  struct Options {
    /// What `__SERVER` and paths tell. "." and "localhost" lead here too.
    std::string server_name = "localhost";
    wql::Limits limits = {};
    /// "root\CIMV2" for connections that name none.
    std::string default_namespace = wmi::kCimv2;
  };

  Service();
  explicit Service(Options options);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  /// Adds a class, or replaces the class of that name in the provider's namespace. Queries that run keep what
  /// they began with.
  void add(std::shared_ptr<Provider> provider);
  /// Takes a class away; an unknown one is no error.
  void remove(std::string_view name_space, std::string_view class_name);

  void set_notifier(std::shared_ptr<Notifier> notifier);

  /// The classes of a namespace, or null for an unknown one.
  [[nodiscard]] std::shared_ptr<const Catalog> catalog(std::string_view name_space) const;

  /// A locator as scripts create it. Connecting raises, from "SWbemLocator": "Transport failure " for another
  /// machine, "User credentials cannot be used for local connections " for a user or password, "Invalid
  /// namespace ". Namespaces are taken in any case and with either separator. Privileges are accepted and
  /// mean nothing here.
  [[nodiscard]] std::unique_ptr<wmi::Locator> create_locator() const;

  class State;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace kvwmi::embedded
