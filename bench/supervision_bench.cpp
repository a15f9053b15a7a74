// The event queue, through the engine's own routines: records pushed for many steps, then popped step by step
// as agents do. The floor is one deque of the same records, which knows no steps.

#include <cstdint>
#include <deque>
#include <string>

#include "frame/testing/fake_ground.h"
#include "measure.h"
#include "supervision/engine.h"

namespace kvwmi::bench {
namespace {

constexpr std::int32_t kRecords = 1'000'000;
constexpr int kRounds = 5;
// As long as a detail of the machine's memory: too long to be kept inside a string object.
const std::string kDetail = "Value: 16291840 Kilobytes";
constexpr const char* kInOrder = "every record comes back, in its order";

/// Pushes `records` round the steps and pops them again, until `kRecords` have gone through.
double queue_seconds(std::int32_t records, std::int32_t steps) {
  testing::FakeGround ground;
  SupervisionEngine engine(ground);
  return best_seconds(kRounds, [&] {
    for (std::int32_t done = 0; done < kRecords; done += records) {
      for (std::int32_t i = 0; i < records; ++i) engine.PushEventInfos(i % steps, i / steps + 1, kDetail);
      std::int32_t popped = 0;
      std::int32_t supervision = 0;
      std::string detail;
      for (std::int32_t step = 0; step < steps; ++step) {
        for (std::int32_t expected = 1;; ++expected) {
          engine.PopEventInfos(step, supervision, detail);
          if (supervision == 0) break;
          require(supervision == expected && detail == kDetail, kInOrder);
          ++popped;
        }
      }
      require(popped == records, kInOrder);
    }
  });
}

double floor_seconds(std::int32_t records) {
  std::deque<SupervisionInfos> queue;
  return best_seconds(kRounds, [&] {
    for (std::int32_t done = 0; done < kRecords; done += records) {
      for (std::int32_t i = 0; i < records; ++i) queue.push_back({i, i + 1, kDetail, false, true});
      for (std::int32_t i = 0; i < records; ++i) {
        const SupervisionInfos popped = std::move(queue.front());
        queue.pop_front();
        require(popped.p_lngSupervisionId == i + 1 && popped.p_strDetail == kDetail, kInOrder);
      }
    }
  });
}

int run() {
  const double small = queue_seconds(1'000, 1);
  const double large = queue_seconds(kRecords, 1);
  const double many_steps = queue_seconds(kRecords, 1'000);
  const double small_floor = floor_seconds(1'000);
  const double large_floor = floor_seconds(kRecords);

  Claims claims;
  claims.at_least("records pushed and popped per second, 1,000,000 held, 1,000 steps", kRecords / many_steps,
                  1e6);
  claims.note("nanoseconds per record, 1,000 held, 1 step", small / kRecords * 1e9);
  claims.note("nanoseconds per record, 1,000,000 held, 1 step", large / kRecords * 1e9);
  claims.note("nanoseconds per record, 1,000,000 held, 1,000 steps", many_steps / kRecords * 1e9);
  claims.note("nanoseconds per record, bare deque, 1,000 held", small_floor / kRecords * 1e9);
  claims.note("nanoseconds per record, bare deque, 1,000,000 held", large_floor / kRecords * 1e9);
  claims.at_most("times a bare deque, 1,000 held", small / small_floor, 4);
  claims.at_most("times a bare deque, 1,000,000 held", large / large_floor, 4);
  claims.at_most("times a bare deque, 1,000,000 held, 1,000 steps", many_steps / large_floor, 4);
  // A queue of a thousand times the length leaves the processor's caches, which a bare deque feels as well:
  // what is left of the difference is the queue's own.
  claims.at_most("growth of a record's cost from 1,000 to 1,000,000 held, less the deque's own",
                 (large / small) / (large_floor / small_floor), 2);
  return claims.exit_code();
}

}  // namespace
}  // namespace kvwmi::bench

int main() {
  return kvwmi::bench::run();
}
