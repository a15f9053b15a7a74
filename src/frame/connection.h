#pragma once

#include <memory>
#include <string>

#include "frame/errors_process.h"
#include "frame/ground.h"

namespace kvwmi {

/// `error`, or the same with the Description "WMI not installed" where the scripting component is absent
/// (429).
[[nodiscard]] Error explain_missing_wmi(const Error& error);

/// A connection to a namespace of the local machine. A failure raises, as explain_missing_wmi has it.
[[nodiscard]] std::shared_ptr<wmi::Services> connect(Ground& ground, const std::string& name_space);

/// The connection that a probing or acting class makes in its construction: the local machine, root\CIMV2. A
/// failure leaves through `frame` under the routine name Class_Initialize.
[[nodiscard]] std::shared_ptr<wmi::Services> connect_at_construction(Ground& ground,
                                                                     const MethodFrame& frame);

}  // namespace kvwmi
