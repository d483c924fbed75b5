#include "firstrun/Dates.h"

#include <algorithm>
#include <ctime>

namespace {

// February as in a common year: leap days come from countLeapYears alone.
constexpr std::int32_t monthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

// Days from a fixed origin, the same for every date.
std::int64_t dayNumber(Date date) {
  // 32 bits wide as the date's fields are; unsigned, so that a far-off year wraps.
  const auto yearsAndDay =
      static_cast<std::uint32_t>(date.year) * 365U + static_cast<std::uint32_t>(date.day);
  std::int64_t days = static_cast<std::int32_t>(yearsAndDay);
  const std::int32_t month = std::min(date.month, 12);
  for (std::int32_t i = 0; i + 1 < month; ++i) days += monthDays[i];
  return days + countLeapYears(date);
}

}  // namespace

std::string datetime() {
  const std::time_t now = std::time(nullptr);
  char date[80];
  std::strftime(date, sizeof date, "%d.%m.%Y", std::localtime(&now));
  return date;
}

std::int32_t countLeapYears(Date date) {
  std::int64_t year = date.year;
  // In January and February the year's own leap day is still to come.
  if (date.month <= 2) --year;
  return static_cast<std::int32_t>(year / 4 - year / 100 + year / 400);
}

std::int64_t getDifference(Date first, Date second) {
  return dayNumber(second) - dayNumber(first);
}
