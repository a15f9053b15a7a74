#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "kvwmi/message_loop.h"
#include "kvwmi/supervision.h"

namespace kvwmi::bench {

/// Runs the thread's message loop until step 1 has a record: its watch's number, or 0 where none comes in
/// time.
inline std::int32_t next_supervision(Supervision& engine, std::chrono::seconds limit) {
  std::int32_t supervision = 0;
  std::string detail;
  message_loop::run_until(
      [&] {
        engine.m_PopEventInfos(1, supervision, detail);
        return supervision != 0;
      },
      limit);
  return supervision;
}

}  // namespace kvwmi::bench
