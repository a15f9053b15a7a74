#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kvwmi/export.h"
#include "kvwmi/wmi_method.h"
#include "kvwmi/wmi_value.h"

namespace kvwmi {

class Ground;
namespace wmi {
class Services;
}

/// One property of an object, or of a class, with what its schema says of it.
struct WmiProperty {
  std::string name;  ///< in the schema's spelling
  wmi::Value value;  ///< Null in the description of a class without a default
  wmi::CimType type = wmi::CimType::string;
  bool is_array = false;
  bool is_key = false;
  std::string description;  ///< empty where WMI has none
};

/// One object of a query's answer, read out completely.
struct WmiObject {
  std::string class_name;  ///< in the schema's spelling
  std::vector<WmiProperty>
      properties;         ///< in the schema's order, then the system properties asked for by name
  bool is_class = false;  ///< whether it is a class, as schema queries answer, and no instance
};

/// A class with what its schema says of it.
struct WmiClass {
  std::string name;                       ///< in the schema's spelling
  std::vector<std::string> superclasses;  ///< nearest first
  std::string description;                ///< empty where WMI has none
  std::vector<WmiProperty> properties;    ///< in the schema's order
  std::vector<wmi::Method> methods;
};

/// A connection to one WMI namespace of the local machine, for queries of any kind.
///
/// Failures raise Error with WMI's own number, Source and Description; a refused query also tells the place,
/// where WMI does (Error::query_diagnostic). An instance belongs to the thread that made it.
class KVWMI_API WmiSession {
 public:
  /// Connects. Where WMI's scripting component is absent the Description is "WMI not installed".
  explicit WmiSession(const std::string& name_space = R"(root\CIMV2)");
  /// For the component's own doors and tests.
  explicit WmiSession(Ground& ground, const std::string& name_space = R"(root\CIMV2)");
  ~WmiSession();
  WmiSession(const WmiSession&) = delete;
  WmiSession& operator=(const WmiSession&) = delete;

  /// All objects that a WQL data query or schema query answers, in WMI's order. System properties such as
  /// __PATH come with them where the query selects them by name.
  [[nodiscard]] std::vector<WmiObject> query(const std::string& wql);
  /// The names of the namespace's classes, in WMI's order.
  [[nodiscard]] std::vector<std::string> classes();
  /// What the schema says of a class, its name in any case. A class that the namespace lacks raises
  /// "Not found " (0x80041002).
  [[nodiscard]] WmiClass class_description(const std::string& name);

  /// Reads out an object that is the value of a property.
  [[nodiscard]] static WmiObject read(wmi::Object& object);

 private:
  std::shared_ptr<wmi::Services> services_;
};

}  // namespace kvwmi
