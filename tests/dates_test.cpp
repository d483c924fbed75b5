// Dates: today's, and the days between two.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

#include "tests/AddInFixture.h"
#include "tests/Clock.h"

namespace {

class Dates : public AddInFixture {
 protected:
  ~Dates() override { setClock.reset(); }
};

}  // namespace

TEST_F(Dates, DifferenceOfADateWithItselfIsZero) {
  EXPECT_EQ(getDifference({16, 11, 2026}, {16, 11, 2026}), 0);
}

TEST_F(Dates, ExchangedDatesChangeTheSign) {
  EXPECT_EQ(getDifference({1, 1, 2026}, {16, 11, 2026}), 319);
  EXPECT_EQ(getDifference({16, 11, 2026}, {1, 1, 2026}), -319);
}

TEST_F(Dates, FebruaryEndsWithItsLeapDay) {
  EXPECT_EQ(getDifference({28, 2, 2024}, {1, 3, 2024}), 2);
  EXPECT_EQ(getDifference({28, 2, 2023}, {1, 3, 2023}), 1);
  EXPECT_EQ(getDifference({29, 2, 2024}, {1, 3, 2024}), 1);
}

TEST_F(Dates, ANewYearIsOneDayAway) {
  EXPECT_EQ(getDifference({31, 12, 2025}, {1, 1, 2026}), 1);
}

TEST_F(Dates, CenturiesFollowTheGregorianRule) {
  EXPECT_EQ(getDifference({1, 1, 1900}, {1, 1, 1901}), 365);
  EXPECT_EQ(getDifference({1, 1, 2000}, {1, 1, 2001}), 366);
  EXPECT_EQ(getDifference({1, 3, 2023}, {1, 3, 2024}), 366);
  EXPECT_EQ(getDifference({1, 3, 2024}, {1, 3, 2025}), 365);
}

TEST_F(Dates, LeapYearsCountFromMarch) {
  EXPECT_EQ(countLeapYears({1, 1, 2024}), 490);
  EXPECT_EQ(countLeapYears({29, 2, 2024}), 490);
  EXPECT_EQ(countLeapYears({1, 3, 2024}), 491);
}

TEST_F(Dates, YearsBeforeTheEraAreDividedTowardsZero) {
  EXPECT_EQ(countLeapYears({1, 3, -1}), 0);
  EXPECT_EQ(countLeapYears({1, 3, -5}), -1);
  EXPECT_EQ(countLeapYears({1, 1, 0}), 0);
  EXPECT_EQ(countLeapYears({1, 3, -401}), -100 + 4 - 1);
}

TEST_F(Dates, YearsTimesDaysAreCountedInThirtyTwoBits) {
  const std::int32_t year = 6000000;
  const std::int64_t wrapped = std::int64_t{year} * 365 + 1 - (std::int64_t{1} << 32);
  EXPECT_EQ(getDifference({1, 1, 1}, {1, 1, year}),
            wrapped + countLeapYears({1, 1, year}) - (365 + 1));
  EXPECT_EQ(countLeapYears({1, 1, -2147483647 - 1}), -536870912 + 21474836 - 5368709);
}

TEST_F(Dates, AnImpossibleDayCountsOnIntoTheNextMonth) {
  EXPECT_EQ(getDifference({31, 2, 2026}, {3, 3, 2026}), 0);
}

TEST_F(Dates, EveryDayOfFourHundredYearsFollowsTheOneBefore) {
  const int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  std::int64_t days = 0;
  for (int year = 1900; year < 2300; ++year) {
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    for (int month = 1; month <= 12; ++month) {
      const int length = lengths[month - 1] + (month == 2 && leap ? 1 : 0);
      ASSERT_EQ(getDifference({1, 1, 1900}, {1, month, year}), days) << month << '.' << year;
      ASSERT_EQ(getDifference({1, 1, 1900}, {length, month, year}), days + length - 1);
      days += length;
    }
  }
}

TEST_F(Dates, MonthsOfOneOrLessAddNothing) {
  EXPECT_EQ(getDifference({5, 0, 2025}, {5, 1, 2025}), 0);
  EXPECT_EQ(getDifference({5, -7, 2025}, {5, 1, 2025}), 0);
}

TEST_F(Dates, AMonthAboveTwelveCountsAsDecember) {
  EXPECT_EQ(getDifference({5, 12, 2025}, {5, 13, 2025}), 0);
  EXPECT_EQ(getDifference({5, 12, 2025}, {5, 2147483647, 2025}), 0);
}

TEST_F(Dates, TodayHasTwoDigitsForDayAndMonth) {
  const std::string today = datetime();
  ASSERT_EQ(today.size(), 10U);
  for (std::size_t i = 0; i < today.size(); ++i) {
    if (i == 2 || i == 5) {
      EXPECT_EQ(today[i], '.');
    } else {
      EXPECT_TRUE(today[i] >= '0' && today[i] <= '9') << today;
    }
  }
}

namespace {

std::time_t at(int year, int month, int day, int hour, int minute) {
  std::tm utc{};
  utc.tm_year = year - 1900;
  utc.tm_mon = month - 1;
  utc.tm_mday = day;
  utc.tm_hour = hour;
  utc.tm_min = minute;
  return timegm(&utc);
}

}  // namespace

TEST_F(Dates, TodayHasLeadingZeros) {
  setClock = at(2026, 3, 5, 12, 0);
  EXPECT_EQ(datetime(), "05.03.2026");
}

TEST_F(Dates, TodayIsThatOfTheLocalTimeZone) {
  setClock = at(2026, 12, 31, 23, 30);
  setenv("TZ", "UTC0", 1);
  tzset();
  EXPECT_EQ(datetime(), "31.12.2026");
  setenv("TZ", "CET-1", 1);
  tzset();
  EXPECT_EQ(datetime(), "01.01.2027");
}
