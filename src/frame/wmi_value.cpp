#include "kvwmi/wmi_value.h"

namespace kvwmi::wmi {

std::string_view type_name(CimType type) {
  switch (type) {
    case CimType::sint8:
      return "sint8";
    case CimType::uint8:
      return "uint8";
    case CimType::sint16:
      return "sint16";
    case CimType::uint16:
      return "uint16";
    case CimType::sint32:
      return "sint32";
    case CimType::uint32:
      return "uint32";
    case CimType::sint64:
      return "sint64";
    case CimType::uint64:
      return "uint64";
    case CimType::real32:
      return "real32";
    case CimType::real64:
      return "real64";
    case CimType::boolean:
      return "boolean";
    case CimType::string:
      return "string";
    case CimType::datetime:
      return "datetime";
    case CimType::reference:
      return "ref";
    case CimType::object:
      return "object";
    case CimType::char16:
      return "char16";
  }
  return "";
}

}  // namespace kvwmi::wmi
