#include "supervision/clauses.h"

#include <array>

#include "frame/runtime_error.h"
#include "supervision/frames.h"

namespace kvwmi::supervision {
namespace {

/// Condition codes 1 to 6.
constexpr std::array<std::string_view, 6> kOperators{">", "<", ">=", "<=", "=", "<>"};

/// How many factors of 1024 a unit code stands for.
std::int32_t factors(std::int32_t unit) {
  return unit >= 1 && unit <= 3 ? unit : 0;
}

std::string_view operator_of(std::int32_t condition) {
  if (condition < 1 || condition > static_cast<std::int32_t>(kOperators.size())) {
    throw Error(kSupervisionError, kComponentName, "Condition unknown: '" + std::to_string(condition) + "'");
  }
  return kOperators[static_cast<std::size_t>(condition) - 1];
}

Currency in_bytes(Currency value, std::int32_t unit) {
  for (std::int32_t i = factors(unit); i > 0; --i) value = value * Currency::from_integer(1024);
  return value;
}

Currency in_unit(Currency bytes, std::int32_t unit) {
  // Through floating point only where there is something to divide: it has not the whole currency range.
  if (factors(unit) == 0) return bytes;
  double quotient = bytes.to_double();
  for (std::int32_t i = factors(unit); i > 0; --i) quotient /= 1024;
  return Currency::from_double(quotient);
}

}  // namespace

std::string strGetConditionFilter(std::string_view property, std::int32_t condition, Currency value,
                                  std::int32_t value_unit, std::int32_t property_unit) {
  return kRoutine("strGetConditionFilter", [&] {
    const Currency threshold = in_unit(in_bytes(value, value_unit), property_unit);
    std::string filter = " AND ";
    filter += property;
    filter += operator_of(condition);
    filter += std::to_string(threshold.rounded());
    return filter;
  });
}

std::string strGetGroupClause(std::int32_t period, std::int32_t threshold) {
  return kRoutine("strGetGroupClause", [&] {
    std::string clause;
    if (period != 0) {
      clause = " GROUP WITHIN " + std::to_string(period);
      if (threshold != 0) clause += " HAVING NumberOfEvents>=" + std::to_string(threshold);
    }
    return clause;
  });
}

}  // namespace kvwmi::supervision
