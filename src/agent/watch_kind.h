#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agent/watch_values.h"
#include "kvwmi/supervision.h"

namespace kvwmi::agent {

/// What a user asks of one watch, on the command line or in a scenario.
struct WatchRequest {
  std::string name;
  std::string filter;
  std::int32_t condition = 0;  ///< the component's code of the comparison; 0 while there is none
  Size threshold;
  bool first = false;   ///< the first of the kind's two changes, such as start
  bool second = false;  ///< the second one, such as stop
  std::int32_t polling_period = 5;
  std::int32_t group_period = 0;
  std::int32_t group_threshold = 0;
  bool notify_if_undetected = false;
};

/// An option of the command line, and a key of a scenario's watch.
struct WatchOption {
  std::string_view name;
  std::string_view value;  ///< what stands behind it; empty for a flag
  std::string_view summary;
  /// Takes the option's text, "true" or "false" for a flag; raises UsageError.
  void (*set)(WatchRequest& request, const std::string& text);

  [[nodiscard]] bool is_flag() const noexcept { return value.empty(); }
};

/// One kind of watch: a request of Supervision under a name for people.
struct WatchKind {
  enum class Source { wmi, polled };

  std::string_view name;
  Source source;  ///< who finds the events
  std::string_view method;
  std::string_view needs;  ///< what the watch's NAME is; empty for a kind without one
  std::string_view summary;
  std::span<const WatchOption> options;  ///< of its own
  bool compares;                         ///< whether it needs a comparison
  /// Makes the request; raises UsageError for a NAME that cannot be used on this machine, else what it
  /// raises.
  void (*start)(Supervision& supervision, std::int32_t step, std::int32_t id, const WatchRequest& request);
  /// What else a request must be; null for nothing.
  void (*require)(const WatchRequest& request) = nullptr;
  /// The address library's memory that the watch uses: of two with the same, one takes the other's events.
  /// Null where there is none.
  std::string (*memory)(const WatchRequest& request) = nullptr;
};

/// All kinds in the order of the component's methods.
[[nodiscard]] std::span<const WatchKind> watch_kinds();
/// The kind of that name, or null.
[[nodiscard]] const WatchKind* find_watch_kind(std::string_view name);
[[nodiscard]] std::vector<std::string> watch_kind_names();

/// The kind's own options and the common ones; a polled kind cannot tell that it has not fired, and has no
/// option for it.
[[nodiscard]] std::vector<WatchOption> watch_options(const WatchKind& kind);

/// Raises UsageError when the request lacks something that its kind needs, or names what must not be used.
void require_usable(const WatchKind& kind, const WatchRequest& request);

}  // namespace kvwmi::agent
