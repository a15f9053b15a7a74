#include "supervision/event_queue.h"

#include <gtest/gtest.h>

#include <vector>

namespace kvwmi::supervision {
namespace {

void push(EventQueue& queue, std::int32_t step, std::int32_t supervision) {
  queue.push({.p_lngCurrentStepId = step,
              .p_lngSupervisionId = supervision,
              .p_strDetail = std::to_string(step) + "/" + std::to_string(supervision),
              .p_blnNotifyIfUndetected = false,
              .p_blnHasBeenDetected = true});
}

TEST(EventQueueTest, EmptyQueueAndUnknownStepHaveNothing) {
  EventQueue queue;
  EXPECT_FALSE(queue.pop(1));
  push(queue, 1, 1);
  EXPECT_FALSE(queue.pop(2));
}

TEST(EventQueueTest, FirstInFirstOutWithinAStepSkippingOthers) {
  EventQueue queue;
  push(queue, 5, 1);
  push(queue, 5, 2);
  push(queue, 6, 9);
  push(queue, 5, 1);
  EXPECT_EQ(queue.pop(5)->p_lngSupervisionId, 1);
  EXPECT_EQ(queue.pop(5)->p_lngSupervisionId, 2);
  EXPECT_EQ(queue.pop(5)->p_lngSupervisionId, 1);
  EXPECT_FALSE(queue.pop(5));
  EXPECT_EQ(queue.pop(6)->p_strDetail, "6/9");
}

TEST(EventQueueTest, RecordComesBackWhole) {
  EventQueue queue;
  push(queue, -1, 7);
  const auto event = queue.pop(-1);
  ASSERT_TRUE(event);
  EXPECT_EQ(event->p_lngCurrentStepId, -1);
  EXPECT_EQ(event->p_lngSupervisionId, 7);
  EXPECT_EQ(event->p_strDetail, "-1/7");
  EXPECT_FALSE(event->p_blnNotifyIfUndetected);
  EXPECT_TRUE(event->p_blnHasBeenDetected);
}

TEST(EventQueueTest, ManyRecordsOfManyStepsKeepTheirOrder) {
  constexpr std::int32_t kSteps = 1'000;
  constexpr std::int32_t kEach = 100;
  EventQueue queue;
  for (std::int32_t i = 1; i <= kEach; ++i) {
    for (std::int32_t step = 0; step < kSteps; ++step) push(queue, step, i);
  }
  for (std::int32_t step = kSteps - 1; step >= 0; --step) {
    for (std::int32_t i = 1; i <= kEach; ++i) ASSERT_EQ(queue.pop(step)->p_lngSupervisionId, i);
    ASSERT_FALSE(queue.pop(step));
  }
}

TEST(EventQueueTest, NewRecordIsEmpty) {
  const SupervisionInfos infos;
  EXPECT_EQ(infos.p_lngCurrentStepId, 0);
  EXPECT_EQ(infos.p_lngSupervisionId, 0);
  EXPECT_EQ(infos.p_strDetail, "");
  EXPECT_FALSE(infos.p_blnNotifyIfUndetected);
  EXPECT_FALSE(infos.p_blnHasBeenDetected);
}

}  // namespace
}  // namespace kvwmi::supervision
