#pragma once

#include <string>

#include "kvwmi/wmi_session.h"

namespace kvwmi::agent {

/// "; nearest: a, b" for a class that the namespace lacks. Nothing where its classes cannot be had: the
/// failure that this is said of is the one to tell.
[[nodiscard]] std::string nearest_class_hint(WmiSession& session, const std::string& name);

}  // namespace kvwmi::agent
