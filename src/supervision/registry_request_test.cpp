#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "supervision/testing/fixture.h"

namespace kvwmi::supervision {
namespace {

using namespace testing;

const std::string kKey = R"(HKEY_LOCAL_MACHINE\SOFTWARE\App)";

class RegistryRequestTest : public RequestTest {
 protected:
  kvwmi::testing::Subscription watch(const std::string& key, bool tree = false, const std::string& value = "",
                                     bool use_32_bit_view = false) {
    EXPECT_EQ(supervision.m_SuperviseRegistry(7, 3, key, tree, value, 5, 0, 0, false, use_32_bit_view), 0);
    return ground.wmi.subscriptions.back();
  }
  std::string query_of(const std::string& key, bool tree = false, const std::string& value = "",
                       bool use_32_bit_view = false) {
    return watch(key, tree, value, use_32_bit_view).query;
  }
  /// The key that a 32-bit process on a 64-bit system watches for `key` in the 32-bit view.
  std::string in_32_bit_view(const std::string& key) {
    ground.fake_system_info.wow64 = 1;
    return query_of(key, false, "", true);
  }
};

// Two blanks before each AND; backslashes of the path doubled, the value's name as given.
TEST_F(RegistryRequestTest, Queries) {
  EXPECT_EQ(query_of(kKey), R"(SELECT * FROM RegistryKeyChangeEvent WITHIN 5 WHERE Hive='HKEY_LOCAL_MACHINE')"
                            R"(  AND KeyPath='SOFTWARE\\App')");
  EXPECT_EQ(query_of(kKey, true),
            R"(SELECT * FROM RegistryTreeChangeEvent WITHIN 5 WHERE Hive='HKEY_LOCAL_MACHINE')"
            R"(  AND RootPath='SOFTWARE\\App')");
  EXPECT_EQ(query_of(kKey, false, R"(Lev\el)"),
            R"(SELECT * FROM RegistryValueChangeEvent WITHIN 5 WHERE Hive='HKEY_LOCAL_MACHINE')"
            R"(  AND KeyPath='SOFTWARE\\App'  AND ValueName='Lev\el')");
  // The whole hive, with or without a backslash.
  for (const char* hive : {"HKEY_LOCAL_MACHINE", R"(HKEY_LOCAL_MACHINE\)"}) {
    EXPECT_EQ(query_of(hive),
              "SELECT * FROM RegistryKeyChangeEvent WITHIN 5 WHERE Hive='HKEY_LOCAL_MACHINE'");
    EXPECT_EQ(query_of(hive, true),
              "SELECT * FROM RegistryTreeChangeEvent WITHIN 5 WHERE Hive='HKEY_LOCAL_MACHINE'");
  }
}

TEST_F(RegistryRequestTest, ValueLeavesTheTreeOutOfAccount) {
  const auto subscription = watch(kKey, true, "Level");
  EXPECT_EQ(subscription.query,
            R"(SELECT * FROM RegistryValueChangeEvent WITHIN 5 WHERE Hive='HKEY_LOCAL_MACHINE')"
            R"(  AND KeyPath='SOFTWARE\\App'  AND ValueName='Level')");
  EXPECT_EQ(subscription.context[0].value, wmi::Value(std::int16_t{16}));
}

TEST_F(RegistryRequestTest, IncompleteKeysThatAreForWmiToRefuse) {
  EXPECT_EQ(query_of(R"(\SOFTWARE)"),
            "SELECT * FROM RegistryKeyChangeEvent WITHIN 5 WHERE Hive=''  AND KeyPath='SOFTWARE'");
  EXPECT_EQ(query_of(R"(\SOFTWARE)", true),
            "SELECT * FROM RegistryTreeChangeEvent WITHIN 5 WHERE Hive=''  AND RootPath='SOFTWARE'");
  EXPECT_EQ(query_of("", false, "Level"),
            "SELECT * FROM RegistryValueChangeEvent WITHIN 5 WHERE Hive=''  AND KeyPath=''  AND "
            "ValueName='Level'");
}

TEST_F(RegistryRequestTest, PeriodAndGroup) {
  supervision.m_SuperviseRegistry(7, 3, kKey, false, "Level", 10, 60, 3);
  EXPECT_EQ(
      ground.wmi.subscriptions.back().query,
      R"(SELECT * FROM RegistryValueChangeEvent WITHIN 10 WHERE Hive='HKEY_LOCAL_MACHINE')"
      R"(  AND KeyPath='SOFTWARE\\App'  AND ValueName='Level' GROUP WITHIN 60 HAVING NumberOfEvents>=3)");
}

TEST_F(RegistryRequestTest, SubscriptionIsOverDefaultWithOptionsAndTheTypeFirst) {
  EXPECT_EQ(supervision.m_SuperviseRegistry(7, 3, kKey), 0);
  supervision.m_SuperviseRegistry(7, 3, kKey, true);
  supervision.m_SuperviseRegistry(7, 3, kKey, false, "Level");
  const std::int16_t types[]{15, 29, 16};
  ASSERT_EQ(ground.wmi.subscriptions.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    const kvwmi::testing::Subscription& subscription = ground.wmi.subscriptions[i];
    EXPECT_FALSE(subscription.sink.expired());
    EXPECT_EQ(subscription.name_space, R"(root\DEFAULT)");
    EXPECT_EQ(subscription.language, "WQL");
    EXPECT_EQ(subscription.flags, 0);
    ASSERT_TRUE(subscription.options);
    EXPECT_EQ(entries(*subscription.options),
              (Entries{{"__ProviderArchitecture", wmi::Value(std::int16_t{32})}}));
    EXPECT_EQ(entries(subscription.context), (Entries{{"SupervisionType", wmi::Value(types[i])},
                                                      {"SupervisionId", wmi::Value(3)},
                                                      {"CurrentStepId", wmi::Value(7)}}));
  }
}

TEST_F(RegistryRequestTest, ThirtyTwoBitViewOfA32BitProcessOnA64BitSystem) {
  ground.fake_system_info.wow64 = 1;
  const auto subscription = watch(kKey, false, "", true);
  EXPECT_EQ(subscription.query,
            R"(SELECT * FROM RegistryKeyChangeEvent WITHIN 5 WHERE Hive='HKEY_LOCAL_MACHINE')"
            R"(  AND KeyPath='SOFTWARE\\Wow6432Node\\App')");
  EXPECT_EQ(entries(*subscription.options),
            (Entries{{"__ProviderArchitecture", wmi::Value(std::int16_t{64})}}));
}

TEST_F(RegistryRequestTest, SixtyFourBitViewOfA32BitProcessOnA64BitSystem) {
  ground.fake_system_info.wow64 = 1;
  const auto subscription = watch(kKey);
  EXPECT_EQ(subscription.query,
            R"(SELECT * FROM RegistryKeyChangeEvent WITHIN 5 WHERE Hive='HKEY_LOCAL_MACHINE')"
            R"(  AND KeyPath='SOFTWARE\\App')");
  EXPECT_EQ(entries(*subscription.options),
            (Entries{{"__ProviderArchitecture", wmi::Value(std::int16_t{64})}}));
}

TEST_F(RegistryRequestTest, ElsewhereThereIsOneView) {
  const auto subscription = watch(kKey, false, "", true);
  EXPECT_EQ(subscription.query,
            R"(SELECT * FROM RegistryKeyChangeEvent WITHIN 5 WHERE Hive='HKEY_LOCAL_MACHINE')"
            R"(  AND KeyPath='SOFTWARE\\App')");
  EXPECT_EQ(entries(*subscription.options),
            (Entries{{"__ProviderArchitecture", wmi::Value(std::int16_t{32})}}));
}

TEST_F(RegistryRequestTest, KeysWithoutA32BitViewOfTheirOwn) {
  const std::string head = "SELECT * FROM RegistryKeyChangeEvent WITHIN 5 WHERE Hive='";
  EXPECT_EQ(in_32_bit_view(R"(HKEY_CURRENT_USER\SOFTWARE\App)"),
            head + R"(HKEY_CURRENT_USER'  AND KeyPath='SOFTWARE\\Wow6432Node\\App')");
  // Never twice.
  EXPECT_EQ(in_32_bit_view(R"(HKEY_LOCAL_MACHINE\SOFTWARE\Wow6432Node\App)"),
            head + R"(HKEY_LOCAL_MACHINE'  AND KeyPath='SOFTWARE\\Wow6432Node\\App')");
  // These letters only, also in the node's name.
  EXPECT_EQ(in_32_bit_view(R"(HKEY_LOCAL_MACHINE\Software\App)"),
            head + R"(HKEY_LOCAL_MACHINE'  AND KeyPath='Software\\App')");
  EXPECT_EQ(in_32_bit_view(R"(HKEY_LOCAL_MACHINE\SOFTWARE\WOW6432NODE\App)"),
            head + R"(HKEY_LOCAL_MACHINE'  AND KeyPath='SOFTWARE\\Wow6432Node\\WOW6432NODE\\App')");
  EXPECT_EQ(in_32_bit_view(R"(HKEY_USERS\x\SOFTWARE)"), head + R"(HKEY_USERS'  AND KeyPath='x\\SOFTWARE')");
  // Every occurrence, wherever it stands; the user's before the machine's.
  EXPECT_EQ(in_32_bit_view(R"(HKEY_CURRENT_USER\SOFTWARE\HKEY_CURRENT_USER\SOFTWARE)"),
            head + R"(HKEY_CURRENT_USER'  AND KeyPath='SOFTWARE\\Wow6432Node\\HKEY_CURRENT_USER\\SOFTWARE\\)"
                   R"(Wow6432Node')");
  EXPECT_EQ(
      in_32_bit_view(R"(HKEY_LOCAL_MACHINE\SOFTWARE\HKEY_CURRENT_USER\SOFTWARE)"),
      head + R"(HKEY_LOCAL_MACHINE'  AND KeyPath='SOFTWARE\\HKEY_CURRENT_USER\\SOFTWARE\\Wow6432Node')");
  EXPECT_EQ(in_32_bit_view(R"(HKEY_LOCAL_MACHINE\SOFTWAREx)"),
            head + R"(HKEY_LOCAL_MACHINE'  AND KeyPath='SOFTWARE\\Wow6432Nodex')");
}

TEST_F(RegistryRequestTest, KeyOfNothingFailsBeforeAnythingIsSubscribed) {
  for (const std::string key : {"", R"(\)"}) {
    for (const bool tree : {false, true}) {
      const Error error =
          error_of([&] { supervision.m_SuperviseRegistry(7, 3, key, tree, "", 5, 0, 0, true); });
      EXPECT_EQ(error.number(), kClassError);
      EXPECT_EQ(error.source(), "KVWMI" + tag("m_SuperviseRegistry"));
      EXPECT_EQ(error.description(), "Incorrect registry key: '" + key + "'");
    }
  }
  EXPECT_EQ(subscribed(ground), std::vector<std::string>{});
  supervision.m_PushUndetectedEventInfos();
  EXPECT_EQ(pop(supervision, 7), kNothing);
}

TEST_F(RegistryRequestTest, RefusedWatchIsNotRegistered) {
  const Error refusal = wmi::wmi_error(wmi::Status::unparsable_query, wmi::source::kServices);
  ground.wmi.errors.insert_or_assign("SELECT * FROM RegistryKeyChangeEvent WITHIN 5 WHERE Hive='it's'",
                                     refusal);
  const Error error =
      error_of([&] { supervision.m_SuperviseRegistry(7, 3, "it's", false, "", 5, 0, 0, true); });
  EXPECT_EQ(error.number(), kClassError);
  EXPECT_EQ(error.source(), refusal.source() + tag("m_SuperviseRegistry"));
  EXPECT_EQ(error.description(), refusal.description());
  supervision.m_PushUndetectedEventInfos();
  EXPECT_EQ(pop(supervision, 7), kNothing);
}

TEST_F(RegistryRequestTest, NotInitialised) {
  Supervision other(ground);
  const Error error = error_of([&] { other.m_SuperviseRegistry(7, 3, kKey); });
  EXPECT_EQ(error.number(), kClassError);
  EXPECT_EQ(error.source(), "KVWMI" + tag("m_SuperviseRegistry"));
  EXPECT_EQ(error.description(), "Object variable or With block variable not set");
}

TEST_F(RegistryRequestTest, EventHasNoTargetInstanceAndNoDetail) {
  const std::string query = query_of(kKey);
  FakeObject event({}, "RegistryKeyChangeEvent");
  EXPECT_EQ(ground.wmi.fire(query, event), 1);
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
}

}  // namespace
}  // namespace kvwmi::supervision
