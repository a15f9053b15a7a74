#pragma once

#include "frame/errors_process.h"

namespace kvwmi::supervision {

/// Frame of `m_Initialize` and of the requests.
inline constexpr MethodFrame kRequest{"Supervision", kSupervisionError};
/// Frame of the queue operations and of the routines behind the requests: they keep the inner number.
inline constexpr MethodFrame kRoutine{"Supervision"};

}  // namespace kvwmi::supervision
