#include "wmi/cim/datetime.h"

#include <gtest/gtest.h>

namespace kvwmi::cim {
namespace {

using namespace std::chrono;
using namespace std::chrono_literals;

DateTime::Instant at(year_month_day day, microseconds time = 0us) {
  return sys_days(day) + time;
}

TEST(DateTime, ParsesAndPrintsAnInstant) {
  const auto parsed = DateTime::parse("20261120105237.250000+060");
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->kind(), DateTime::Kind::instant);
  EXPECT_EQ(parsed->utc(), at(2026y / November / 20, 9h + 52min + 37s + 250ms));
  EXPECT_EQ(parsed->offset(), 60min);
  EXPECT_EQ(parsed->text(), "20261120105237.250000+060");
}

TEST(DateTime, PrintsAnInstantInTheClockOfItsOffset) {
  const auto utc = at(2026y / January / 1, 1h);
  EXPECT_EQ(DateTime::instant(utc).text(), "20260101010000.000000+000");
  EXPECT_EQ(DateTime::instant(utc, -120min).text(), "20251231230000.000000-120");
}

TEST(DateTime, ParsesAndPrintsAnInterval) {
  const auto parsed = DateTime::parse("00000001020304.000005:000");
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->kind(), DateTime::Kind::interval);
  EXPECT_EQ(parsed->reading(), days(1) + 2h + 3min + 4s + 5us);
  EXPECT_EQ(parsed->text(), "00000001020304.000005:000");
  EXPECT_EQ(DateTime::parse("99999999235959.999999:000")->text(), "99999999235959.999999:000");
}

TEST(DateTime, RefusesWhatIsNo25CharacterForm) {
  for (const char* text :
       {"", "2026", "20261120105237.250000", "20261320105237.250000+060", "20260230105237.250000+060",
        "20261120245237.250000+060", "20261120106037.250000+060", "20261120105260.250000+060",
        "20261120105237,250000+060", "20261120105237.250000:060", "20261120105237.250000*060",
        "20261120******.******+000", "**************.000000:000", "20261120105237.250000+0600",
        "2026112010523x.250000+060", "00010101000000.000000:001"}) {
    EXPECT_FALSE(DateTime::parse(text)) << text;
  }
}

TEST(DateTime, ComparesInstantsAsPointsInTime) {
  const auto paris = *DateTime::parse("20261120110000.000000+060");
  const auto london = *DateTime::parse("20261120100000.000000+000");
  const auto later = *DateTime::parse("20261120100000.000001+000");
  EXPECT_EQ(compare(paris, london), std::partial_ordering::equivalent);
  EXPECT_EQ(compare(paris, later), std::partial_ordering::less);
  EXPECT_EQ(compare(later, paris), std::partial_ordering::greater);
}

TEST(DateTime, IntervalsCompareWithIntervalsOnly) {
  const auto hour = DateTime::interval(1h);
  EXPECT_EQ(compare(hour, DateTime::interval(60min)), std::partial_ordering::equivalent);
  EXPECT_EQ(compare(hour, DateTime::instant({})), std::partial_ordering::unordered);
}

TEST(DateTime, TakesTheDateFormsOfQueries) {
  const auto day = sys_days(1932y / January / 21).time_since_epoch();
  const auto time = 22h + 5min + 30s;
  struct Case {
    const char* text;
    microseconds reading;
  };
  for (const auto& [text, reading] : {
           Case{"Jan 21 1932", day},
           Case{"january 21, 1932", day},
           Case{"21 JAN 1932", day},
           Case{"1/21/1932", day},
           Case{"01/21/1932", day},
           Case{"1932-01-21", day},
           Case{" 1932-1-21 ", day},
           Case{"1932-01-21 22:05:30:250", day + time + 250ms},
           Case{"1932-01-21 22:05:30.25", day + time + 250ms},
           Case{"1/21/1932 10:05:30 PM", day + time},
           Case{"Jan 21 1932 10:05 pm", day + 22h + 5min},
       }) {
    const auto parsed = DateTime::parse_constant(text);
    ASSERT_TRUE(parsed) << text;
    EXPECT_EQ(parsed->kind(), DateTime::Kind::clock_reading) << text;
    EXPECT_EQ(parsed->reading(), reading) << text;
  }
}

TEST(DateTime, TakesATimeOfDayAlone) {
  struct Case {
    const char* text;
    microseconds reading;
  };
  for (const auto& [text, reading] : {Case{"12:00:00 AM", 0h}, Case{"12:00 pm", 12h},
                                      Case{"1:02:03PM", 13h + 2min + 3s}, Case{"23:59", 23h + 59min}}) {
    const auto parsed = DateTime::parse_constant(text);
    ASSERT_TRUE(parsed) << text;
    EXPECT_EQ(parsed->kind(), DateTime::Kind::time_of_day) << text;
    EXPECT_EQ(parsed->reading(), reading) << text;
  }
}

TEST(DateTime, RefusesConstantsThatAreNoDate) {
  for (const char* text : {"", " ", "yesterday", "21/1/1932", "1/21/32", "Jan 1932", "Feb 30 1932", "1932-01",
                           "13:00 PM", "0:30 AM", "1932-01-21T10:00", "1932-01-21 10",
                           "1932-01-21 10:00:00 XM", "1932-01-21 10:00:00:1234567", "1/21-1932"}) {
    EXPECT_FALSE(DateTime::parse_constant(text)) << text;
  }
}

TEST(DateTime, AClockReadingComparesWithTheClockOfTheInstant) {
  const auto evening = *DateTime::parse("20261120220000.000000-300");
  EXPECT_EQ(compare(evening, *DateTime::parse_constant("2026-11-20 22:00:00")),
            std::partial_ordering::equivalent);
  EXPECT_EQ(compare(evening, *DateTime::parse_constant("11/21/2026")), std::partial_ordering::less);
  EXPECT_EQ(compare(evening, *DateTime::parse_constant("9:59:59 PM")), std::partial_ordering::greater);
}

}  // namespace
}  // namespace kvwmi::cim
