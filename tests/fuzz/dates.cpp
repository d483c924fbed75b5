// countLeapYears and getDifference against the standard library's calendar, for any two dates.
#include "firstrun/Dates.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "tests/fuzz/Fuzz.h"

namespace {

namespace chrono = std::chrono;

// The calendar's own range of years ends at 32767; ours begins at 1.
bool known(Date date) {
  return date.year >= 1 && date.year <= 32767 && date.month >= 1 && date.month <= 12 &&
         date.day >= 0 && date.day <= 255;
}

// A day beyond the month's end counts on into the next month, there as here.
chrono::sys_days inCalendar(Date date) {
  const chrono::year_month month =
      chrono::year(date.year) / chrono::month(static_cast<unsigned>(date.month));
  return chrono::sys_days(month / 1) + chrono::days(date.day - 1);
}

// Leap days before the first of each year from 1 to 32768.
const std::vector<std::int32_t>& leapDaysBeforeYear() {
  static const std::vector<std::int32_t> counts = [] {
    std::vector<std::int32_t> sums(2, 0);
    for (int year = 1; year <= 32767; ++year) {
      sums.push_back(sums.back() + (chrono::year(year).is_leap() ? 1 : 0));
    }
    return sums;
  }();
  return counts;
}

Date within(Date date) {
  const auto mod = [](std::int32_t value, std::int32_t count) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value) %
                                     static_cast<std::uint32_t>(count));
  };
  return {mod(date.day, 40), 1 + mod(date.month, 12), 1 + mod(date.year, 32767)};
}

void check(Date first, Date second) {
  require(getDifference(first, first) == 0, "no day from a date to itself");
  require(getDifference(first, second) == -getDifference(second, first), "the way back");
  if (!known(first) || !known(second)) return;
  require(getDifference(first, second) == (inCalendar(second) - inCalendar(first)).count(),
          "the days from date to date");
  const auto year = static_cast<std::size_t>(first.year);
  require(countLeapYears(first) == leapDaysBeforeYear()[first.month > 2 ? year + 1 : year],
          "the leap days");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Date dates[2] = {};
  std::memcpy(dates, data, size < sizeof dates ? size : sizeof dates);
  check(dates[0], dates[1]);
  check(within(dates[0]), within(dates[1]));
  return 0;
}
