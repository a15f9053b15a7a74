#include "frame/wmi_status.h"

#include <algorithm>
#include <array>
#include <utility>

namespace kvwmi::wmi {
namespace {

constexpr std::array kTexts{
    std::pair{Status::failed, "Generic failure "},
    std::pair{Status::not_found, "Not found "},
    std::pair{Status::access_denied, "Access denied "},
    std::pair{Status::provider_failure, "Provider failure "},
    std::pair{Status::type_mismatch, "Type mismatch "},
    std::pair{Status::out_of_memory, "Out of memory "},
    std::pair{Status::invalid_parameter, "Invalid parameter "},
    std::pair{Status::not_supported, "Not supported "},
    std::pair{Status::invalid_namespace, "Invalid namespace "},
    std::pair{Status::invalid_object, "Invalid object "},
    std::pair{Status::invalid_class, "Invalid class "},
    std::pair{Status::provider_not_found, "Provider not found "},
    std::pair{Status::invalid_provider_registration, "Invalid provider registration "},
    std::pair{Status::provider_load_failure, "Provider load failure "},
    std::pair{Status::initialization_failure, "Initialization failure "},
    std::pair{Status::transport_failure, "Transport failure "},
    std::pair{Status::invalid_operation, "Invalid operation "},
    std::pair{Status::invalid_query, "Invalid query "},
    std::pair{Status::invalid_query_type, "Invalid query type "},
    std::pair{Status::invalid_syntax, "Invalid syntax "},
    std::pair{Status::read_only, "Read only "},
    std::pair{Status::provider_not_capable, "Provider is not capable of the attempted operation "},
    std::pair{Status::invalid_method, "Invalid method "},
    std::pair{Status::invalid_method_parameters, "Invalid method Parameter(s) "},
    std::pair{Status::invalid_property, "Invalid property "},
    std::pair{Status::call_cancelled, "Call cancelled "},
    std::pair{Status::shutting_down, "Shutting down "},
    std::pair{Status::invalid_object_path, "Invalid object path "},
    std::pair{Status::unparsable_query, "Unparsable query. "},
    std::pair{Status::not_event_class,
              "The FROM clause of a filtering query references a class that is not an event class. "},
    std::pair{Status::missing_group_within,
              "A GROUP BY clause was used without the corresponding GROUP WITHIN clause. "},
    std::pair{Status::missing_aggregation_list,
              "A GROUP BY clause was used. Aggregation on all properties is not supported. "},
    std::pair{Status::property_not_an_object,
              "Dot notation was used on a property that is not an embedded object. "},
    std::pair{
        Status::aggregating_by_object,
        "A GROUP BY clause references a property that is an embedded object without using dot notation. "},
    std::pair{Status::queue_overflow, "Queue overflow "},
    std::pair{Status::privilege_not_held, "Privilege not held "},
    std::pair{Status::invalid_operator, "Operator is not valid for this property type. "},
    std::pair{Status::local_credentials, "User credentials cannot be used for local connections "},
    std::pair{Status::quota_violation, "Quota violation "},
    std::pair{Status::registration_too_broad,
              "Provider registration overlaps with the system event domain. "},
    std::pair{Status::registration_too_precise, "A WITHIN clause was not used in this query. "},
    std::pair{Status::timed_out, "Timed out "},
};

}  // namespace

std::string_view status_text(std::int32_t number) {
  const auto status = static_cast<Status>(number);
  const auto* entry =
      std::find_if(kTexts.begin(), kTexts.end(), [&](auto& row) { return row.first == status; });
  return entry == kTexts.end() ? "" : entry->second;
}

Error wmi_error(Status status, const char* source) {
  const auto number = static_cast<std::int32_t>(status);
  return Error(number, source, std::string(status_text(number)));
}

bool is_status(const Error& error, Status status) noexcept {
  return error.number() == static_cast<std::int32_t>(status);
}

}  // namespace kvwmi::wmi
