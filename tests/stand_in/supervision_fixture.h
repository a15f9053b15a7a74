#pragma once

#include <windows.h>

#include <gtest/gtest.h>
#include <objbase.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "kvwmi/message_loop.h"
#include "kvwmi/named_event.h"
#include "kvwmi/supervision.h"
#include "stand_in/class_objects.h"
#include "stand_in/repository.h"

namespace kvwmi::stand_in {

using Record = std::pair<std::int32_t, std::string>;

inline constexpr std::chrono::seconds kDeadline{30};
inline constexpr std::int32_t kStep = 7;
inline constexpr std::int32_t kWatch = 3;
inline constexpr std::int32_t kPeriod = 1;

/// An initialised engine on the Windows ground, over a machine that the test makes up.
struct SupervisionOnWindows : testing::Test {
  SupervisionOnWindows() {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    machine = std::make_shared<Repository>();
    stand_in.emplace(machine);
    supervision.p_strSupervisionEventName(event_name);
    supervision.m_Initialize();
  }
  ~SupervisionOnWindows() override { supervision.m_Release(); }

  [[nodiscard]] Record pop() {
    Record record{-1, "untouched"};
    supervision.m_PopEventInfos(kStep, record.first, record.second);
    return record;
  }
  /// The next record, once the agent's event says that there is one.
  [[nodiscard]] Record next_record() {
    if (!message_loop::run_until([&] { return event.wait(std::chrono::milliseconds(0)); }, kDeadline)) {
      return {0, "nothing was signalled"};
    }
    return pop();
  }
  /// Makes a change and waits until the service has seen it: it reads a class again only after a change.
  template <typename Change>
  void change_and_be_seen(std::string_view class_name, Change change) {
    embedded::MemoryProvider& rows = machine->rows(class_name);
    change(rows);
    ASSERT_TRUE(message_loop::run_until([&] { return rows.is_seen(); }, kDeadline));
  }

  std::string event_name = "kvwmi stand-in " + std::to_string(GetCurrentProcessId());
  NamedEvent event{event_name, NamedEvent::Reset::automatic};
  std::shared_ptr<Repository> machine;
  std::optional<InProcessStandIn> stand_in;
  Supervision supervision;
};

}  // namespace kvwmi::stand_in
