#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kvwmi/error.h"

namespace kvwmi::wmi {

/// WMI's own error numbers (WBEM_E_...), as far as this system raises or recognises them.
enum class Status : std::uint32_t {
  failed = 0x80041001,
  not_found = 0x80041002,
  access_denied = 0x80041003,
  provider_failure = 0x80041004,
  type_mismatch = 0x80041005,
  out_of_memory = 0x80041006,
  invalid_parameter = 0x80041008,
  not_supported = 0x8004100C,
  invalid_namespace = 0x8004100E,
  invalid_object = 0x8004100F,
  invalid_class = 0x80041010,
  provider_not_found = 0x80041011,
  invalid_provider_registration = 0x80041012,
  provider_load_failure = 0x80041013,
  initialization_failure = 0x80041014,
  transport_failure = 0x80041015,
  invalid_operation = 0x80041016,
  invalid_query = 0x80041017,
  invalid_query_type = 0x80041018,
  invalid_syntax = 0x80041021,
  read_only = 0x80041023,
  provider_not_capable = 0x80041024,
  invalid_method = 0x8004102E,
  invalid_method_parameters = 0x8004102F,
  invalid_property = 0x80041031,
  call_cancelled = 0x80041032,
  shutting_down = 0x80041033,
  invalid_object_path = 0x8004103A,
  unparsable_query = 0x80041058,
  not_event_class = 0x80041059,
  missing_group_within = 0x8004105A,
  missing_aggregation_list = 0x8004105B,
  property_not_an_object = 0x8004105C,
  aggregating_by_object = 0x8004105D,
  queue_overflow = 0x80041061,
  privilege_not_held = 0x80041062,
  invalid_operator = 0x80041063,
  local_credentials = 0x80041064,
  quota_violation = 0x8004106C,
  registration_too_broad = 0x80042001,
  registration_too_precise = 0x80042002,
  timed_out = 0x80043001,
};

/// WMI's standard English text of a number, its trailing blank included; empty for a number without one.
[[nodiscard]] std::string_view status_text(std::int32_t number);

/// The scripting objects under whose names WMI's errors travel.
namespace source {
inline constexpr const char* kLocator = "SWbemLocator";
inline constexpr const char* kServices = "SWbemServicesEx";
inline constexpr const char* kObjectSet = "SWbemObjectSet";
inline constexpr const char* kObject = "SWbemObjectEx";
inline constexpr const char* kObjectPath = "SWbemObjectPath";
inline constexpr const char* kPropertySet = "SWbemPropertySet";
}  // namespace source

/// The error that `source` raises for `status`, with the standard text.
[[nodiscard]] Error wmi_error(Status status, const char* source);

/// Whether `error` carries the number of `status`.
[[nodiscard]] bool is_status(const Error& error, Status status) noexcept;

}  // namespace kvwmi::wmi
