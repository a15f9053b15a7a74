#pragma once

#include <cstdint>

/// The numbers that the component's methods take and give, by name.
namespace kvwmi {

/// `f_lngCondition` of a threshold: how the machine's value compares with the client's.
namespace condition {
inline constexpr std::int32_t kGreater = 1;
inline constexpr std::int32_t kLess = 2;
inline constexpr std::int32_t kGreaterOrEqual = 3;
inline constexpr std::int32_t kLessOrEqual = 4;
inline constexpr std::int32_t kEqual = 5;
inline constexpr std::int32_t kDifferent = 6;
}  // namespace condition

/// `f_lngUnit` of a threshold; each of the first four is 1024 times the one before it.
namespace unit {
inline constexpr std::int32_t kBytes = 0;
inline constexpr std::int32_t kKilobytes = 1;
inline constexpr std::int32_t kMegabytes = 2;
inline constexpr std::int32_t kGigabytes = 3;
inline constexpr std::int32_t kPercent = 4;  ///< of a capacity
}  // namespace unit

/// `f_lngState` of the power source.
namespace power_source {
inline constexpr std::int32_t kMains = 25;
inline constexpr std::int32_t kBattery = 26;
}  // namespace power_source

/// `f_lngState` of a service.
namespace service_state {
inline constexpr std::int32_t kUnknown = 0;
inline constexpr std::int32_t kStopped = 1;
inline constexpr std::int32_t kStartPending = 2;
inline constexpr std::int32_t kStopPending = 3;
inline constexpr std::int32_t kRunning = 4;
inline constexpr std::int32_t kContinuePending = 5;
inline constexpr std::int32_t kPausePending = 6;
inline constexpr std::int32_t kPaused = 7;
}  // namespace service_state

}  // namespace kvwmi
