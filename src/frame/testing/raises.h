#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>

#include "frame/runtime_error.h"

namespace kvwmi::testing {

/// The three texts and numbers of an error, compared and printed as one.
struct Raised {
  std::int32_t number = 0;
  std::string source;
  std::string description;

  friend bool operator==(const Raised&, const Raised&) = default;
  friend void PrintTo(const Raised& raised, std::ostream* out) {
    *out << raised.number << " | " << ::testing::PrintToString(raised.source) << " | "
         << ::testing::PrintToString(raised.description);
  }
};

[[nodiscard]] inline Raised raised(const Error& error) {
  return {error.number(), error.source(), error.description()};
}

/// What `steps` raise; a failure of the test where they raise nothing.
template <typename Steps>
[[nodiscard]] Raised raised_by(Steps&& steps) {
  try {
    static_cast<void>(std::forward<Steps>(steps)());
  } catch (const Error& error) {
    return raised(error);
  }
  ADD_FAILURE() << "nothing was raised";
  return {};
}

/// A run-time failure as it leaves the place where it happened.
[[nodiscard]] inline Raised runtime(RuntimeError number) {
  return raised(runtime_error(number));
}

}  // namespace kvwmi::testing
