#pragma once

#include <kvwmi/message_loop.h>
#include <kvwmi/named_event.h>
#include <kvwmi/supervision.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/further_polls.h"
#include "support/own_name.h"

namespace kvwmi::tests {

/// Number and detail of a watch's record.
using Record = std::pair<std::int32_t, std::string>;
using Records = std::vector<Record>;

/// All records of a step that wait.
inline Records take_records(Supervision& supervision, std::int32_t step) {
  Records records;
  for (;;) {
    Record record;
    supervision.m_PopEventInfos(step, record.first, record.second);
    if (record.first == 0) return records;
    records.push_back(std::move(record));
  }
}

/// An initialised engine with its event, and the records that have arrived. Watches are asked for with kStep.
/// A process has one at a time.
class Watching {
 public:
  static constexpr std::int32_t kStep = 7;

  Watching() {
    supervision.p_strSupervisionEventName(own_name("event"));
    supervision.m_Initialize();
  }
  ~Watching() { supervision.m_Release(); }
  Watching(const Watching&) = delete;
  Watching& operator=(const Watching&) = delete;

  /// The first record that was not given yet; waits for the event that tells of one. Nothing where none
  /// comes.
  [[nodiscard]] std::optional<Record> next(std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const bool arrived = message_loop::run_until(
        [&] {
          if (event.wait(std::chrono::milliseconds(0))) drain();
          return records.size() > given_;
        },
        limit);
    return arrived ? std::optional(records[given_++]) : std::nullopt;
  }
  /// Takes what further polls bring.
  void pass_polls(int count = 2) {
    FurtherPolls().pass(count);
    drain();
  }
  void drain() {
    for (Record& record : take_records(supervision, kStep)) records.push_back(std::move(record));
  }

  NamedEvent event{own_name("event"), NamedEvent::Reset::automatic};
  Supervision supervision;
  Records records;

 private:
  std::size_t given_ = 0;
};

}  // namespace kvwmi::tests
