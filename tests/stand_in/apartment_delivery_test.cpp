#include "stand_in/apartment_delivery.h"

#include <gtest/gtest.h>

#include <chrono>
#include <numeric>
#include <optional>
#include <thread>
#include <vector>

#include "kvwmi/message_loop.h"

namespace kvwmi::stand_in {
namespace {

constexpr std::chrono::seconds kDeadline{20};

/// Has the loop do whatever was posted before.
void run_what_is_posted() {
  ApartmentDelivery last;
  bool done = false;
  last.post([&] { done = true; });
  ASSERT_TRUE(message_loop::run_until([&] { return done; }, kDeadline));
}

TEST(ApartmentDelivery, WorkOfOtherThreadsIsDoneByTheMessageLoopInItsOrder) {
  ApartmentDelivery delivery;
  std::vector<int> done;
  std::thread::id where;
  std::thread([&] {
    for (int i = 0; i < 1000; ++i) {
      delivery.post([&, i] {
        done.push_back(i);
        where = std::this_thread::get_id();
      });
    }
  }).join();
  EXPECT_TRUE(done.empty());  // nobody has run the loop yet
  ASSERT_TRUE(message_loop::run_until([&] { return done.size() == 1000; }, kDeadline));
  std::vector<int> in_order(1000);
  std::iota(in_order.begin(), in_order.end(), 0);
  EXPECT_EQ(done, in_order);
  EXPECT_EQ(where, std::this_thread::get_id());
}

TEST(ApartmentDelivery, WhatComesAfterItsEndIsNotDone) {
  bool done = false;
  {
    ApartmentDelivery delivery;
    delivery.post([&] { done = true; });
  }
  run_what_is_posted();
  EXPECT_FALSE(done);
}

TEST(ApartmentDelivery, ItMayEndInsideItsOwnWork) {
  std::optional<ApartmentDelivery> delivery;
  delivery.emplace();
  bool later = false;
  bool ended = false;
  delivery->post([&] {
    delivery->post([&] { later = true; });
    delivery.reset();
    ended = true;
  });
  ASSERT_TRUE(message_loop::run_until([&] { return ended; }, kDeadline));
  run_what_is_posted();
  EXPECT_FALSE(later);
}

}  // namespace
}  // namespace kvwmi::stand_in
