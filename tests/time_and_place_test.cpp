// Today's date and the info file wherever and whenever the user is.
#include <clocale>
#include <cstdlib>
#include <locale>

#include "tests/AddInFixture.h"
#include "tests/Clock.h"

// The C library never frees the list of folders that it looks for locales in.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:argz_add_sep";
}

namespace {

class TimeAndPlace : public AddInFixture {
 protected:
  ~TimeAndPlace() override {
    setClock.reset();
    unsetenv("TZ");
    tzset();
    std::locale::global(std::locale::classic());
    std::setlocale(LC_ALL, "C");
  }

  // The date at `seconds` after the beginning of 1970, Greenwich, in the time zone `zone`.
  std::string dateAt(std::time_t seconds, const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
    setClock = seconds;
    return datetime();
  }
};

// 16 November 2026, 00:00 in Greenwich.
constexpr std::time_t midnight = 1794787200;

TEST_F(TimeAndPlace, DayChangesAtLocalMidnight) {
  const std::pair<const char*, int> zones[] = {
      // and how many minutes east they are in November
      {"UTC", 0},
      {"Europe/Prague", 60},
      {"Asia/Kathmandu", 345},
      {"Australia/Lord_Howe", 660},
      {"Pacific/Kiritimati", 840},
      {"Pacific/Niue", -660},
      {"<+1245>-12:45", 765},
  };
  for (const auto& [zone, minutesEast] : zones) {
    const std::time_t there = midnight - minutesEast * 60L;
    EXPECT_EQ(dateAt(there - 1, zone), "15.11.2026") << zone;
    EXPECT_EQ(dateAt(there, zone), "16.11.2026") << zone;
  }
}

TEST_F(TimeAndPlace, ClockBefore1970AndAfter2038) {
  const std::pair<std::time_t, const char*> moments[] = {
      {-30610224000, "01.01.1000"}, {-2208988801, "31.12.1899"}, {-1, "31.12.1969"},
      {2147483648, "19.01.2038"},   {4294967296, "07.02.2106"},  {253402300799, "31.12.9999"},
      {253402300800, "01.01.10000"}};
  for (const auto& [seconds, date] : moments) EXPECT_EQ(dateAt(seconds, "UTC"), date);
  EXPECT_EQ(dateAt(-1, "<+01>-1"), "01.01.1970");
  EXPECT_EQ(dateAt(0, "<-01>1"), "31.12.1969");
}

TEST_F(TimeAndPlace, FirstStartAtMidnightBearsTheNewDay) {
  dateAt(midnight - 3600, "Europe/Prague");
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(readFile(infoFile), "16.11.2026\n1");
  // The date is never touched again.
  dateAt(midnight + 48 * 3600L, "Europe/Prague");
  EXPECT_EQ(AutoOpenPalette(), 1);
  EXPECT_EQ(readFile(infoFile), "16.11.2026\n2\n");
}

class Locale : public TimeAndPlace, public testing::WithParamInterface<const char*> {
 protected:
  // The host may set the C library's locale, the C++ library's, or both.
  Locale() {
    setenv("LOCPATH", VELORIN_LOCALES, 1);
    if (std::setlocale(LC_ALL, GetParam()) == nullptr) {
      throw std::runtime_error(std::string("there is no locale ") + GetParam());
    }
    std::locale::global(std::locale(GetParam()));
  }
};

// These locales write a thousand with a separator, months in letters of their own, or digits that
// are not ours; neither the file nor the host sees any of it.
TEST_P(Locale, ChangesNoDateNoCounterAndNoNumber) {
  EXPECT_EQ(dateAt(midnight, "UTC"), "16.11.2026");
  const struct {
    const char* before;
    std::int32_t count;
    const char* after;
  } counters[] = {{"1234567", 1234567, "1234568\n"},
                  {"-1234567", -1234567, "-1234566\n"},
                  // Separators of thousands end a number; digits of another script begin none.
                  {"1.234", 1, "2\n"},
                  {"\u0663", 0, "1\n"}};
  for (const auto& [before, count, after] : counters) {
    writeFile(infoFile, std::string("16.11.2026\n") + before);
    EXPECT_EQ(AutoOpenPalette(), count);
    EXPECT_EQ(readFile(infoFile), std::string("16.11.2026\n") + after);
  }
  EXPECT_EQ(startAfter(1233), true);
  OpenPalette();
  EXPECT_EQ(readFile(infoFile), "16.11.2026\n1234\n");
  const substitute::Json opened = learningPalette();
  EXPECT_EQ(opened["width"], 300);
  EXPECT_EQ(opened["address"],
            "https://learning.velorin.example/fusion360/learning.asp?lang=CSY&lic=TEXT");
  EXPECT_EQ(state()["definitions"][0]["name"], "Zobrazit velorin");
}

INSTANTIATE_TEST_SUITE_P(Installed, Locale,
                         testing::Values("cs_CZ.UTF-8", "tr_TR.UTF-8", "ar_SA.UTF-8"),
                         [](const auto& locale) { return std::string(locale.param, 5); });

}  // namespace
