#include "wmi/memory_provider.h"

#include <gtest/gtest.h>

#include <vector>

namespace kvwmi::embedded {
namespace {

std::uint64_t read(MemoryProvider& rows) {
  std::uint64_t time = 0;
  rows.enumerate({}, [&](const std::shared_ptr<cim::Instance>& row) {
    time = *row->get(1).get_if<std::uint64_t>();
    return true;
  });
  return time;
}

TEST(MemoryProvider, ACounterIsHigherInEachEnumerationAndSaysThatItChanged) {
  MemoryProvider rows(
      {.name = "Win32_Counter",
       .properties = {{"Name", cim::CimType::string, cim::kKey}, {"Time", cim::CimType::uint64}}});
  const auto row = rows.add({{"Name", "a"}, {"Time", std::uint64_t{100}}});
  EXPECT_EQ(read(rows), 100U);
  const std::vector<std::size_t> time{1};
  EXPECT_EQ(rows.change_token(time), rows.change_token(time));
  rows.count_up(row, "Time", 7);
  EXPECT_EQ(read(rows), 107U);
  const auto token = rows.change_token(time);
  EXPECT_EQ(read(rows), 114U);
  EXPECT_NE(rows.change_token(time), token);
  // A value that is set counts on from there; one that is Null counts from 0.
  rows.set(row, "Time", std::uint64_t{1000});
  EXPECT_EQ(read(rows), 1007U);
  rows.set(row, "Time", {});
  EXPECT_EQ(read(rows), 7U);
}

TEST(MemoryProvider, IsSeenOnceItWasReadAfterTheLastChange) {
  MemoryProvider rows(
      {.name = "Win32_Thing", .properties = {{"Id", cim::CimType::string, cim::kKey}, {"A"}}});
  const auto read = [&] { rows.enumerate({}, [](const auto&) { return true; }); };
  EXPECT_FALSE(rows.is_seen());
  read();
  EXPECT_TRUE(rows.is_seen());
  const auto row = rows.add({{"Id", "1"}});
  EXPECT_FALSE(rows.is_seen());
  read();
  EXPECT_TRUE(rows.is_seen());
  rows.set(row, "A", "x");
  EXPECT_FALSE(rows.is_seen());
  read();
  rows.remove(row);
  EXPECT_FALSE(rows.is_seen());
  // A failing read shows nothing.
  rows.fail_with(Error(0, "", ""));
  EXPECT_THROW(read(), Error);
  EXPECT_FALSE(rows.is_seen());
}

TEST(MemoryProvider, VouchesForWhatItIsToldToAndForTheRows) {
  MemoryProvider rows(
      {.name = "Win32_Thing", .properties = {{"Id", cim::CimType::string, cim::kKey}, {"A"}, {"B"}}});
  const auto row = rows.add({{"Id", "1"}});
  rows.vouch_only_for({"Id", "A"});
  const std::vector<std::size_t> id{0};
  const std::vector<std::size_t> id_and_a{0, 1};
  EXPECT_FALSE(rows.change_token(std::vector<std::size_t>{0, 2}));
  const auto token = rows.change_token(id);
  const auto more = rows.change_token(id_and_a);
  rows.set(row, "B", "x");
  EXPECT_EQ(rows.change_token(id_and_a), more);
  rows.set(row, "A", "x");
  EXPECT_EQ(rows.change_token(id), token);
  EXPECT_NE(rows.change_token(id_and_a), more);
  rows.remove(row);
  EXPECT_NE(rows.change_token(id), token);
}

}  // namespace
}  // namespace kvwmi::embedded
