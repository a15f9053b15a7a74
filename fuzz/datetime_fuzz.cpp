// Any text as a datetime: refused, or a moment whose text is itself; and as a constant of a query, in which
// case it compares with every kind of datetime the same from both sides.

#include <cstddef>
#include <cstdint>
#include <string>

#include "require.h"
#include "wmi/cim/datetime.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvwmi::cim;
  using kvwmi::fuzz::require;
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (const auto moment = DateTime::parse(text)) {
    const std::string printed = moment->text();
    // "-000" is the one other spelling that a datetime has.
    require(printed == text || (text.substr(21) == "-000" && printed.substr(0, 21) == text.substr(0, 21)),
            "a datetime prints as it was written");
    require(compare(*moment, *DateTime::parse(printed)) == 0, "a printed datetime is the same moment");
  }
  const auto constant = DateTime::parse_constant(text);
  if (!constant) return 0;
  for (const char* other :
       {"20261120105237.250000+060", "00000001020304.000005:000", "2026-11-20 10:52:37", "10:52 AM"}) {
    const auto moment = *DateTime::parse_constant(other);
    const auto forwards = compare(*constant, moment);
    require((forwards < 0) == (compare(moment, *constant) > 0), "comparing is antisymmetric");
    require((forwards == 0) == (compare(moment, *constant) == 0), "equality is symmetric");
  }
  require(compare(*constant, *constant) == 0, "a moment equals itself");
  return 0;
}
