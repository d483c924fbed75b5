// Dates: the days between two.
#include "firstrun/Dates.h"

#include "tests/AddInFixture.h"

namespace {

constexpr std::int32_t lowest = -2147483647 - 1;
constexpr std::int32_t highest = 2147483647;

class Dates : public AddInFixture {
 protected:
  std::int32_t (*countLeapYears)(Date) = function<std::int32_t(Date)>("_Z14countLeapYears4Date");
  std::int64_t (*getDifference)(Date, Date) =
      function<std::int64_t(Date, Date)>("_Z13getDifference4DateS_");
};

}  // namespace

TEST_F(Dates, EveryDayOfFourHundredYearsFollowsTheOneBefore) {
  const int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  std::int64_t days = 0;
  int leapDays = 460;  // before 1900
  for (int year = 1900; year < 2300; ++year) {
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    for (int month = 1; month <= 12; ++month) {
      const int length = lengths[month - 1] + (month == 2 && leap ? 1 : 0);
      for (int day = 1; day <= length; ++day, ++days) {
        const Date date = {day, month, year};
        ASSERT_EQ(getDifference({1, 1, 1900}, date), days) << day << '.' << month << '.' << year;
        ASSERT_EQ(getDifference(date, {1, 1, 1900}), -days);
        ASSERT_EQ(countLeapYears(date), leapDays);
      }
      if (month == 2 && leap) ++leapDays;
    }
  }
}

TEST_F(Dates, LieFarApart) {
  EXPECT_EQ(getDifference({1, 1, 1}, {31, 12, 9999}), 3652058);
  EXPECT_EQ(getDifference({1, 1, 1}, {31, 12, 32767}), 11967899);
}

TEST_F(Dates, YearsBeforeTheEraAreDividedTowardsZero) {
  EXPECT_EQ(countLeapYears({1, 3, -1}), 0);
  EXPECT_EQ(countLeapYears({1, 3, -5}), -1);
  EXPECT_EQ(countLeapYears({1, 1, 0}), 0);
  EXPECT_EQ(countLeapYears({1, 3, -401}), -100 + 4 - 1);
  EXPECT_EQ(countLeapYears({1, 1, lowest}), -536870912 + 21474836 - 5368709);
}

TEST_F(Dates, YearsTimesDaysAreCountedInThirtyTwoBits) {
  const std::int32_t year = 6000000;
  const std::int64_t wrapped = std::int64_t{year} * 365 + 1 - (std::int64_t{1} << 32);
  EXPECT_EQ(getDifference({1, 1, 1}, {1, 1, year}),
            wrapped + countLeapYears({1, 1, year}) - (365 + 1));
}

TEST_F(Dates, AnImpossibleDayOrMonthCountsAllTheSame) {
  EXPECT_EQ(getDifference({31, 2, 2026}, {3, 3, 2026}), 0);
  for (const std::int32_t month : {lowest, -7, 0}) {
    EXPECT_EQ(getDifference({5, month, 2025}, {5, 1, 2025}), 0);
  }
  for (const std::int32_t month : {13, highest}) {
    EXPECT_EQ(getDifference({5, 12, 2025}, {5, month, 2025}), 0);
  }
}

TEST_F(Dates, DifferenceIsTheSameInBothDirections) {
  std::vector<Date> dates;
  for (const std::int32_t year : {lowest, -1, 0, 2024, highest}) {
    for (const std::int32_t month : {lowest, 0, 2, 3, highest}) {
      for (const std::int32_t day : {lowest, 0, 29, highest}) dates.push_back({day, month, year});
    }
  }
  for (const Date& first : dates) {
    for (const Date& second : dates) {
      ASSERT_EQ(getDifference(first, second), -getDifference(second, first));
    }
  }
}
