#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kvwmi/wmi_method.h"
#include "kvwmi/wmi_value.h"

/// The WMI access layer: the operations that the core needs of WMI's scripting objects, whoever provides
/// them. Every failure is raised as kvwmi::Error with WMI's number, Source and Description. An object belongs
/// to the thread that obtained it.
namespace kvwmi::wmi {

inline constexpr const char* kLanguage = "WQL";
inline constexpr const char* kCimv2 = R"(root\CIMV2)";
inline constexpr const char* kDefault = R"(root\DEFAULT)";

/// Flags of ExecQuery.
inline constexpr std::int32_t kReturnWhenComplete = 0;
inline constexpr std::int32_t kReturnImmediately = 16;
inline constexpr std::int32_t kForwardOnly = 32;

/// wbemPrivilegeSecurity
inline constexpr std::int32_t kPrivilegeSecurity = 7;

/// One entry of an SWbemNamedValueSet: a context, an options set, or the arguments of a method.
struct NamedValue {
  std::string name;
  Value value;
};
/// In the order in which the entries are to be added.
using NamedValues = std::vector<NamedValue>;

/// The value under `name` in any case; an absent one raises "Not found ".
[[nodiscard]] const Value& named_value(const NamedValues& values, std::string_view name);

/// One property of an object with what its schema says of it.
struct Property {
  std::string name;
  Value value;
  CimType type = CimType::string;
  bool is_array = false;
  bool is_key = false;
  std::string description;  ///< empty where the ground has none
};

/// An SWbemObject: one instance, one event, or (as the result of a schema query) one class.
class Object {
 public:
  virtual ~Object() = default;

  /// The property's value; a name that the class lacks (any case) raises "Not found ". System properties
  /// such as `__CLASS` are properties too.
  [[nodiscard]] virtual Value get(std::string_view property) = 0;
  /// All non-system properties, in schema order.
  [[nodiscard]] virtual std::vector<Property> properties() = 0;
  /// Calls a method and gives its return code, 0 for success.
  virtual std::int32_t call(std::string_view method, const NamedValues& arguments) = 0;
  /// Class part of the object's path, in the schema's spelling.
  [[nodiscard]] virtual std::string class_name() = 0;
  /// What the schema says of its class, and the class's methods; empty where the ground does not tell.
  [[nodiscard]] virtual std::string class_description() { return {}; }
  [[nodiscard]] virtual std::vector<Method> methods() { return {}; }
};

/// Walks one result set; ends with null.
class Enumerator {
 public:
  virtual ~Enumerator() = default;
  virtual std::shared_ptr<Object> next() = 0;
};

/// An SWbemObjectSet. With kReturnImmediately the query's errors surface here, at the first access.
class ObjectSet {
 public:
  virtual ~ObjectSet() = default;
  [[nodiscard]] virtual std::int32_t count() = 0;
  /// A walk from the start, in WMI's order; stopping early is cheap.
  [[nodiscard]] virtual std::unique_ptr<Enumerator> enumerate() = 0;
};

/// The first object of a set, or null where it has none.
[[nodiscard]] std::shared_ptr<Object> first_of(ObjectSet& set);

/// An SWbemSink with its handler connected. Once it is destroyed nothing is delivered any more.
class Sink {
 public:
  virtual ~Sink() = default;
};

/// Called for each delivered event, on the thread that made the sink and from its message loop, with the
/// asynchronous context of the subscription.
using ObjectReady = std::function<void(Object& event, const NamedValues& context)>;

/// An SWbemServices: one connection to one namespace.
class Services {
 public:
  virtual ~Services() = default;

  [[nodiscard]] virtual std::shared_ptr<ObjectSet> exec_query(const std::string& query,
                                                              const std::string& language = kLanguage,
                                                              std::int32_t flags = kReturnImmediately) = 0;

  /// Subscribes `sink` to an event query. `options` is the optional options set; `context` comes back with
  /// every event. A refused query raises here and leaves nothing behind.
  virtual void exec_notification_query_async(const std::shared_ptr<Sink>& sink, const std::string& query,
                                             const std::string& language, std::int32_t flags,
                                             const NamedValues* options, const NamedValues& context) = 0;
};

/// Arguments of ConnectServer with the component's defaults: the local machine, nobody's credentials.
struct ConnectArguments {
  std::string server = ".";
  std::string name_space;
  std::string user;
  std::string password;
  std::string locale;
  std::string authority;
  std::int32_t security_flags = 0;
  const NamedValues* context = nullptr;
};

/// An SWbemLocator.
class Locator {
 public:
  virtual ~Locator() = default;
  /// Adds a privilege (WbemPrivilegeEnum) to the set that later connections are made with.
  virtual void add_privilege(std::int32_t privilege, bool enabled) = 0;
  [[nodiscard]] virtual std::shared_ptr<Services> connect_server(const ConnectArguments& arguments) = 0;
};

}  // namespace kvwmi::wmi
