// Any text as an object path: refused, or a path whose printed form is the same path again.

#include <cstddef>
#include <cstdint>
#include <string>

#include "frame/text.h"
#include "require.h"
#include "wmi/cim/object_path.h"

namespace {

/// Where nothing is known of derivation.
bool same(const kvwmi::cim::ObjectPath& a, const kvwmi::cim::ObjectPath& b) {
  return kvwmi::equals_ignoring_case(a.class_name, b.class_name) &&
         kvwmi::cim::normalised_keys(a) == kvwmi::cim::normalised_keys(b);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvwmi::cim;
  using kvwmi::fuzz::require;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto path = parse_object_path(text);
  if (!path) return 0;
  const std::string printed = to_text(*path);
  const auto again = parse_object_path(printed);
  require(again.has_value(), "a printed path is a path");
  require(to_text(*again) == printed, "printing is stable");
  require(same(*again, *path), "a printed path is the same path");
  require(again->is_class() == path->is_class() && again->singleton == path->singleton, "of the same kind");
  const auto relative = parse_object_path(relative_text(*path));
  require(relative && same(*relative, *path), "the prefix does not matter");
  return 0;
}
