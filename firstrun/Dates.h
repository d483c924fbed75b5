// Calendar dates: today's as a string, and the days between two of them. The add-in itself calls
// only datetime(). The others are exported for users of the library.
#pragma once

#include <cstdint>
#include <string>

// A day of the Gregorian calendar. Nothing is checked: a day beyond its month's length counts on
// into the next month.
struct Date {
  std::int32_t day;    // 1 to 31
  std::int32_t month;  // 1 (January) to 12
  std::int32_t year;   // in full, such as 2026
};

// Today's date in the process's time zone as "dd.mm.yyyy", such as "05.03.2026". Host's thread
// only: it uses the C library's shared local time.
std::string datetime();

// How many leap days lie before `date`, counted from the start of the era. getDifference() calls
// it.
std::int32_t countLeapYears(Date date);

// How many days it is from `first` to `second`; negative when `second` is the earlier one. A month
// above 12 counts as December.
std::int64_t getDifference(Date first, Date second);
