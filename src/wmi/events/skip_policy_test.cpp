#include "wmi/events/skip_policy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "wmi/memory_provider.h"

namespace kvwmi::embedded {
namespace {

using Vouched = SkipPolicy::Vouched;
using ColumnList = std::vector<std::size_t>;

/// Gives the tokens that a test wants, by the columns asked for.
class TokenProvider final : public Provider {
 public:
  const cim::Class& schema() const override { return memory_.schema(); }
  void enumerate(const Request&, const RowSink&) override {}
  std::optional<std::uint64_t> change_token(std::span<const std::size_t> columns) override {
    const auto found = tokens.find({columns.begin(), columns.end()});
    return found == tokens.end() ? std::nullopt : std::optional(found->second);
  }

  std::map<ColumnList, std::uint64_t> tokens;

 private:
  MemoryProvider memory_{MemoryClass{.name = "Test", .properties = {}}};
};

struct SkipPolicyTest : ::testing::Test {
  static constexpr std::size_t kColumns = 4;

  TokenProvider provider;
  SkipPolicy policy;
  const ColumnList keys{0};
  const ColumnList kept{0, 2};
  std::shared_ptr<const Columns> kept_columns = std::make_shared<const Columns>(kept, kColumns);

  Vouched ask() { return policy.ask(provider, kept_columns, keys); }
  /// How many polls in a row go without the rows, `most` at most.
  unsigned skipped(Vouched vouched, unsigned most) {
    unsigned count = 0;
    while (count < most && policy.may_skip(vouched, true)) ++count;
    return count;
  }
};

TEST_F(SkipPolicyTest, AProviderWithoutTokensVouchesForNothing) {
  EXPECT_EQ(ask(), Vouched::nothing);
  EXPECT_EQ(ask(), Vouched::nothing);
}

TEST_F(SkipPolicyTest, TheSameTokenAsTheLastTimeVouchesForEverything) {
  provider.tokens[kept] = 7;
  EXPECT_EQ(ask(), Vouched::nothing) << "there is nothing to compare with";
  EXPECT_EQ(ask(), Vouched::everything);
  provider.tokens[kept] = 8;
  EXPECT_EQ(ask(), Vouched::nothing);
  EXPECT_EQ(ask(), Vouched::everything);
  provider.tokens[kept] = 7;
  EXPECT_EQ(ask(), Vouched::nothing) << "the last time counts, not an earlier one";
}

TEST_F(SkipPolicyTest, ATokenOfTheKeysAloneVouchesForTheRows) {
  provider.tokens[keys] = 7;
  EXPECT_EQ(ask(), Vouched::nothing);
  EXPECT_EQ(ask(), Vouched::rows);
  provider.tokens[keys] = 8;
  EXPECT_EQ(ask(), Vouched::nothing);
}

TEST_F(SkipPolicyTest, ATokenOfOtherColumnsSaysNothingOfThese) {
  const ColumnList more{0, 2, 3};
  provider.tokens = {{kept, 7}, {more, 7}};
  EXPECT_EQ(ask(), Vouched::nothing);
  kept_columns = std::make_shared<const Columns>(more, kColumns);
  EXPECT_EQ(ask(), Vouched::nothing);
  EXPECT_EQ(ask(), Vouched::everything);
}

TEST_F(SkipPolicyTest, WhatIsForgottenIsNotComparedWith) {
  provider.tokens[kept] = 7;
  EXPECT_EQ(ask(), Vouched::nothing);
  policy.forget_kept();
  EXPECT_EQ(ask(), Vouched::nothing);
  policy.forget();
  EXPECT_EQ(ask(), Vouched::nothing);

  provider.tokens = {{keys, 7}};
  EXPECT_EQ(ask(), Vouched::nothing);
  policy.forget_kept();
  EXPECT_EQ(ask(), Vouched::rows);
  policy.forget();
  EXPECT_EQ(ask(), Vouched::nothing);
}

TEST_F(SkipPolicyTest, SkipsWhatTheProviderVouchesFor) {
  EXPECT_FALSE(policy.may_skip(Vouched::nothing, true));
  EXPECT_TRUE(policy.may_skip(Vouched::everything, false));
  EXPECT_FALSE(policy.may_skip(Vouched::rows, false)) << "somebody asks for more than coming and going";
  EXPECT_TRUE(policy.may_skip(Vouched::rows, true));
}

TEST_F(SkipPolicyTest, RowsThatAreOnlyVouchedForAreReadNowAndThen) {
  EXPECT_EQ(skipped(Vouched::everything, 100), 100U);
  EXPECT_EQ(skipped(Vouched::rows, 100), 9U);
  policy.rows_are_read();
  EXPECT_EQ(skipped(Vouched::rows, 100), 9U);
}

TEST_F(SkipPolicyTest, NewRowsAreReadTwiceMore) {
  policy.row_appeared();
  EXPECT_FALSE(policy.may_skip(Vouched::everything, true));
  EXPECT_FALSE(policy.may_skip(Vouched::rows, true));
  EXPECT_TRUE(policy.may_skip(Vouched::everything, true));
}

}  // namespace
}  // namespace kvwmi::embedded
