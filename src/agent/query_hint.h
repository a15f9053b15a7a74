#pragma once

#include <string>

#include "kvwmi/error.h"
#include "kvwmi/wmi_session.h"

namespace kvwmi::agent {

/// The valid names nearest to the one that a query was refused for, as a line for people: classes of the
/// namespace or properties of the query's class. Empty where the error is about something else.
[[nodiscard]] std::string query_hint(WmiSession& session, const std::string& query, const Error& error);

}  // namespace kvwmi::agent
