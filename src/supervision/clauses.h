#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kvwmi/currency.h"

namespace kvwmi::supervision {

/// " AND " + property + operator + the value as a whole number of the property's unit. An unknown condition
/// raises "Condition unknown: '7'", a value beyond the currency range 6 "Overflow". A unit that is none means
/// bytes, and so does that of percentages: those of a size are turned into one before.
[[nodiscard]] std::string strGetConditionFilter(std::string_view property, std::int32_t condition,
                                                Currency value, std::int32_t value_unit,
                                                std::int32_t property_unit);

/// The end of every event query: " GROUP WITHIN 60 HAVING NumberOfEvents>=3", or nothing without a period.
[[nodiscard]] std::string strGetGroupClause(std::int32_t period, std::int32_t threshold);

}  // namespace kvwmi::supervision
