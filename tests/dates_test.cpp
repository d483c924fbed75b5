// Dates: today's, and the days between two.
#include <cstdint>
#include <regex>

#include "tests/AddInFixture.h"

namespace {

class Dates : public AddInFixture {};

}  // namespace

TEST_F(Dates, DaysLieBetweenTwo) {
  const struct {
    Date first, second;
    std::int64_t days;
  } differences[] = {
      {{16, 11, 2026}, {16, 11, 2026}, 0},
      {{1, 1, 2026}, {16, 11, 2026}, 319},
      {{16, 11, 2026}, {1, 1, 2026}, -319},
      {{31, 12, 2025}, {1, 1, 2026}, 1},
      // February with its leap day.
      {{28, 2, 2024}, {1, 3, 2024}, 2},
      {{28, 2, 2023}, {1, 3, 2023}, 1},
      {{29, 2, 2024}, {1, 3, 2024}, 1},
      {{1, 3, 2023}, {1, 3, 2024}, 366},
      {{1, 3, 2024}, {1, 3, 2025}, 365},
  };
  for (const auto& [first, second, days] : differences) {
    EXPECT_EQ(getDifference(first, second), days) << first.day << '.' << first.month;
  }
}

TEST_F(Dates, CenturiesFollowTheGregorianRule) {
  EXPECT_EQ(getDifference({1, 1, 1900}, {1, 1, 1901}), 365);
  EXPECT_EQ(getDifference({1, 1, 2000}, {1, 1, 2001}), 366);
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
  EXPECT_TRUE(std::regex_match(datetime(), std::regex("[0-9]{2}\\.[0-9]{2}\\.[0-9]{4}")));
}
