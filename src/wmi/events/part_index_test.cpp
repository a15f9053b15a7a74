#include "wmi/events/part_index.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "wmi/catalog.h"
#include "wmi/memory_provider.h"
#include "wmi/wql/class_scope.h"

namespace kvwmi::embedded {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr std::uint8_t kCreation = static_cast<std::uint8_t>(Change::creation);
constexpr std::uint8_t kDeletion = static_cast<std::uint8_t>(Change::deletion);

struct PartIndexTest : ::testing::Test {
  const MemoryProvider provider{MemoryClass{.name = "Test",
                                            .properties = {{"Name", cim::CimType::string, cim::kKey},
                                                           {"Id", cim::CimType::uint32},
                                                           {"Load", cim::CimType::real64}}}};
  const cim::Class& schema = provider.schema();
  const cim::Location here{"here", R"(root\CIMV2)"};
  const Catalog catalog{{}};
  PartIndex index{schema};

  /// A part of that condition, which its first BY slot makes known again.
  SubscriptionPart part(std::size_t number, const std::string& condition, std::uint8_t changes = kCreation) {
    const wql::Query query = wql::parse_query("SELECT * FROM Test WHERE " + condition, {});
    SubscriptionPart result;
    result.subscription = std::make_shared<Subscription>();
    result.changes = changes;
    result.condition = wql::Predicate(*query.where, wql::ClassScope(schema, here, catalog));
    result.by = {number};
    return result;
  }
  void add(std::size_t number, const std::string& condition, std::uint8_t changes = kCreation) {
    index.add(part(number, condition, changes));
  }
  /// The numbers of the parts that an instance may concern.
  std::vector<std::size_t> found(const std::string& name, std::uint64_t id, double load = 0,
                                 std::uint8_t changes = kCreation) {
    FrozenInstance row(schema);
    row.set(0, name);
    row.set(1, id);
    row.set(2, load);
    Side target(row, here);
    std::vector<std::size_t> numbers;
    for (const PartIndex::Part* part : index.find(target, changes)) numbers.push_back(part->by.front());
    return numbers;
  }
};

TEST_F(PartIndexTest, FindsPartsByTheConstantsOfTheirConditions) {
  add(1, "Name='a'");
  add(2, "Name='b' AND Load > 1");
  add(3, "Id=7");
  add(4, "Name='A'");
  EXPECT_THAT(found("a", 0), UnorderedElementsAre(1, 4));
  EXPECT_THAT(found("B", 0), ElementsAre(2));
  EXPECT_THAT(found("b", 7), UnorderedElementsAre(2, 3));
  EXPECT_THAT(found("c", 8), IsEmpty());
}

TEST_F(PartIndexTest, FindsAPartOnceHoweverManyConstantsLeadToIt) {
  add(1, "Name='a' OR Name='A' OR Id=7");
  EXPECT_THAT(found("a", 7), ElementsAre(1));
  EXPECT_THAT(found("b", 7), ElementsAre(1));
  EXPECT_THAT(found("a", 8), ElementsAre(1)) << "at each look-up anew";
}

TEST_F(PartIndexTest, AlwaysFindsWhatNoLookUpFinds) {
  add(1, "Name LIKE 'x%'");
  add(2, "Load=1");
  add(3, "Name='a' OR Load=1");
  add(4, "Name='a'");
  EXPECT_FALSE(index.all()[1]->equalities) << "equal numbers may have other texts";
  EXPECT_THAT(found("b", 0), UnorderedElementsAre(1, 2, 3));
  EXPECT_THAT(found("a", 0), UnorderedElementsAre(1, 2, 3, 4));
}

TEST_F(PartIndexTest, FindsOnlyPartsThatAskForTheChange) {
  add(1, "Name='a'", kCreation);
  add(2, "Name='a'", kDeletion);
  add(3, "Load=1", kDeletion | kCreation);
  EXPECT_THAT(found("a", 0, 0, kDeletion), UnorderedElementsAre(2, 3));
  EXPECT_THAT(found("a", 0, 0, kCreation), UnorderedElementsAre(1, 3));
  EXPECT_THAT(found("a", 0, 0, kCreation | kDeletion), UnorderedElementsAre(1, 2, 3));
}

TEST_F(PartIndexTest, WhatIsTakenAwayIsNotFoundAndTheRestIs) {
  add(1, "Name='a'");
  add(2, "Name='a'");
  add(3, "Load=1");
  add(4, "Load=1");
  const auto odd = [](const PartIndex::Part& part) { return part.by.front() % 2 == 1; };
  EXPECT_TRUE(index.erase_if(odd));
  EXPECT_THAT(found("a", 0), UnorderedElementsAre(2, 4));
  EXPECT_FALSE(index.erase_if(odd));
  index.shrink(1);
  EXPECT_THAT(found("a", 0), ElementsAre(2));
}

TEST_F(PartIndexTest, KnowsThePartsWithGroups) {
  add(1, "Name='a'");
  SubscriptionPart grouped = part(2, "Name='b'");
  grouped.subscription->aggregation = std::make_unique<Aggregation>(5, std::nullopt);
  const PartIndex::Part& added = index.add(std::move(grouped));
  EXPECT_THAT(index.grouped(), ElementsAre(&added));
  index.shrink(1);
  EXPECT_THAT(index.grouped(), IsEmpty());
}

}  // namespace
}  // namespace kvwmi::embedded
