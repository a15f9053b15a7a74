#pragma once

#include <string>
#include <vector>

#include "kvwmi/wmi_value.h"

namespace kvwmi::wmi {

/// One input of a method.
struct Parameter {
  std::string name;
  CimType type = CimType::string;
};

/// A method of a class, with what its schema says of it.
struct Method {
  std::string name;
  std::vector<Parameter> in;
  std::string description;  ///< empty where WMI has none
};

}  // namespace kvwmi::wmi
