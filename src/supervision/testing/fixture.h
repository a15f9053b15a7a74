#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "frame/testing/fake_ground.h"
#include "kvwmi/diagnostics.h"
#include "kvwmi/supervision.h"

/// What the tests of this folder share.
namespace kvwmi::supervision::testing {

using kvwmi::testing::FakeGround;
using kvwmi::testing::FakeObject;
using kvwmi::testing::Objects;

/// The supervision and the detail of a popped record.
using Popped = std::pair<std::int32_t, std::string>;
inline const Popped kNothing{0, ""};

inline Popped pop(Supervision& supervision, std::int32_t step) {
  Popped popped{-1, "before"};
  supervision.m_PopEventInfos(step, popped.first, popped.second);
  return popped;
}

/// The error that `action` raises.
template <typename Action>
Error error_of(Action action) {
  try {
    action();
  } catch (const Error& error) {
    return error;
  }
  throw std::logic_error("no error was raised");
}

using Queries = std::vector<std::string>;
using Entries = std::vector<std::pair<std::string, wmi::Value>>;

/// The queries of the subscriptions made so far.
inline Queries subscribed(const FakeGround& ground) {
  Queries queries;
  for (const auto& subscription : ground.wmi.subscriptions) queries.push_back(subscription.query);
  return queries;
}

/// Names and values of a context or an options set, in order.
inline Entries entries(const wmi::NamedValues& values) {
  Entries result;
  for (const wmi::NamedValue& entry : values) result.emplace_back(entry.name, entry.value);
  return result;
}

/// What a request may ask of groups, and what its queries end with then.
struct Grouping {
  std::int32_t period, threshold;
  const char* clause;
};
inline constexpr Grouping kGroupings[]{
    {0, 0, ""},
    {0, 3, ""},  // a threshold is of a group
    {60, 0, " GROUP WITHIN 60"},
    {60, 3, " GROUP WITHIN 60 HAVING NumberOfEvents>=3"},
};

inline constexpr std::int32_t kClassError = -2147220977;

inline std::string tag(const std::string& routine) {
  return "\r\n\tKVWMI : Supervision." + routine;
}

/// An instance event over `target`.
inline FakeObject instance_event(wmi::NamedValues target) {
  return FakeObject(
      {{"TargetInstance",
        wmi::Value(std::shared_ptr<wmi::Object>(std::make_shared<FakeObject>(std::move(target))))}},
      "__InstanceModificationEvent");
}

/// The aggregate that stands for a group of `events`, the last of which represents it.
inline FakeObject aggregate_event(const FakeObject& representative, std::int32_t events) {
  return FakeObject({{"Representative",
                      wmi::Value(std::shared_ptr<wmi::Object>(std::make_shared<FakeObject>(representative)))},
                     {"NumberOfEvents", wmi::Value(events)}},
                    "__AggregateEvent");
}

/// Collects what goes to the diagnostic hook while it lives.
class Diagnostics {
 public:
  Diagnostics() {
    set_diagnostic_hook([this](const Error& error) { errors.push_back(error); });
  }
  ~Diagnostics() { set_diagnostic_hook({}); }
  Diagnostics(const Diagnostics&) = delete;
  Diagnostics& operator=(const Diagnostics&) = delete;

  std::vector<Error> errors;
};

/// An engine at work on a fake machine: what the tests of each family of requests start from.
class RequestTest : public ::testing::Test {
 protected:
  void SetUp() override { supervision.m_Initialize(); }
  ~RequestTest() override { supervision.m_Release(); }

  /// No watch of step 7 that asks to be told of has been registered.
  void expect_unregistered() {
    supervision.m_PushUndetectedEventInfos();
    EXPECT_EQ(pop(supervision, 7), kNothing);
  }

  FakeGround ground;
  Supervision supervision{ground};
};

}  // namespace kvwmi::supervision::testing
