#include "wmi/events/skip_policy.h"

namespace kvwmi::embedded {
namespace {

/// Properties that belong to a row's identity may change without a trace soon after its beginning: a kernel
/// thread is forked first and named then. So a change token counts only after polls without newcomers.
constexpr unsigned kPollsToSettle = 2;
/// Where only the coming and going of rows is vouched for, they may also do so later, though seldom (a
/// process executes another program). So such a token does not always count.
constexpr unsigned kMostSkippedPolls = 9;

}  // namespace

SkipPolicy::Vouched SkipPolicy::ask(Provider& provider, const std::shared_ptr<const Columns>& kept,
                                    const std::vector<std::size_t>& keys) {
  if (std::exchange(kept_columns_, kept) != kept) kept_.forget();
  const auto token = provider.change_token(kept->list());
  if (kept_.same_as_last(token)) return Vouched::everything;
  if (token) return Vouched::nothing;
  return rows_.same_as_last(provider.change_token(keys)) ? Vouched::rows : Vouched::nothing;
}

bool SkipPolicy::may_skip(Vouched vouched, bool rows_suffice) {
  if (vouched == Vouched::nothing || (vouched == Vouched::rows && !rows_suffice)) return false;
  if (restless_polls_ > 0) {
    --restless_polls_;
    return false;
  }
  return vouched == Vouched::everything || skipped_polls_++ < kMostSkippedPolls;
}

void SkipPolicy::row_appeared() noexcept {
  restless_polls_ = kPollsToSettle;
}

void SkipPolicy::forget() noexcept {
  kept_.forget();
  rows_.forget();
}

}  // namespace kvwmi::embedded
