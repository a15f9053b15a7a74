#include "wmi/wql/scope.h"

#include "kvwmi/nearest.h"

namespace kvwmi::wql {

std::string Scope::nearest(std::string_view name) const {
  return nearest_hint(name.substr(0, name.find('.')), names());
}

}  // namespace kvwmi::wql
