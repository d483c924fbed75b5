// Today's date and the info file wherever and whenever the user is.
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <locale>
#include <stdexcept>
#include <string>

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

  // The same date, the zone's distance from Greenwich given in minutes.
  static std::string expected(std::time_t seconds, int minutesEast) {
    const std::time_t there = seconds + minutesEast * 60L;
    std::tm date{};
    gmtime_r(&there, &date);
    char text[40];
    std::snprintf(text, sizeof text, "%02d.%02d.%04d", date.tm_mday, date.tm_mon + 1,
                  date.tm_year + 1900);
    return text;
  }
};

constexpr std::time_t hour = 3600;

// 16 November 2026, 00:00 in Greenwich.
constexpr std::time_t midnight = 1794787200;

struct Zone {
  const char* name;
  int minutesEast;  // in November 2026
};

constexpr Zone zones[] = {
    {"UTC", 0},
    {"Europe/Prague", 60},
    {"Asia/Tokyo", 540},
    {"Asia/Kathmandu", 345},
    {"America/St_Johns", -210},
    {"America/Los_Angeles", -480},
    {"Australia/Lord_Howe", 660},
    {"Pacific/Chatham", 825},
    {"Pacific/Kiritimati", 840},
    {"Pacific/Niue", -660},
    {"<+1245>-12:45", 765},
};

TEST_F(TimeAndPlace, ZoneDecidesTheDay) {
  EXPECT_EQ(dateAt(midnight - 1, "UTC"), "15.11.2026");
  EXPECT_EQ(dateAt(midnight - 1, "Europe/Prague"), "16.11.2026");
  EXPECT_EQ(dateAt(midnight, "America/Los_Angeles"), "15.11.2026");
  EXPECT_EQ(dateAt(midnight + 10 * hour, "Pacific/Kiritimati"), "17.11.2026");
  for (const Zone& zone : zones) {
    for (std::time_t at = midnight - 30 * hour; at <= midnight + 30 * hour; at += hour / 4) {
      ASSERT_EQ(dateAt(at, zone.name), expected(at, zone.minutesEast)) << zone.name << ' ' << at;
    }
  }
}

TEST_F(TimeAndPlace, DayChangesAtLocalMidnight) {
  for (const Zone& zone : zones) {
    const std::time_t there = midnight - zone.minutesEast * 60L;
    EXPECT_EQ(dateAt(there - 1, zone.name), "15.11.2026") << zone.name;
    EXPECT_EQ(dateAt(there, zone.name), "16.11.2026") << zone.name;
  }
}

// The day on which the clock is put on at midnight begins at one; the one on which it is put back
// has its last hour twice.
TEST_F(TimeAndPlace, SummerTimeMovesMidnight) {
  constexpr std::time_t putOn = 1541300400;  // 4 November 2018 in Brazil
  EXPECT_EQ(dateAt(putOn - 1, "America/Sao_Paulo"), "03.11.2018");
  EXPECT_EQ(dateAt(putOn, "America/Sao_Paulo"), "04.11.2018");
  EXPECT_EQ(dateAt(putOn + 23 * hour - 1, "America/Sao_Paulo"), "04.11.2018");
  EXPECT_EQ(dateAt(putOn + 23 * hour, "America/Sao_Paulo"), "05.11.2018");
  constexpr std::time_t putBack = 1550368800;  // 16 February 2019, 24:00, becomes 23:00
  EXPECT_EQ(dateAt(putBack - 1, "America/Sao_Paulo"), "16.02.2019");
  EXPECT_EQ(dateAt(putBack, "America/Sao_Paulo"), "16.02.2019");
  EXPECT_EQ(dateAt(putBack + hour, "America/Sao_Paulo"), "17.02.2019");
}

TEST_F(TimeAndPlace, LeapDays) {
  constexpr std::time_t day = 24 * hour;
  const struct {
    std::time_t last;  // the last second of 28 February
    const char* next;
    const char* afterNext;
  } years[] = {
      {951782399, "29.02.2000", "01.03.2000"},   {1677628799, "01.03.2023", "02.03.2023"},
      {1709164799, "29.02.2024", "01.03.2024"},  {4107542399, "01.03.2100", "02.03.2100"},
      {-2203891201, "01.03.1900", "02.03.1900"},
  };
  for (const auto& year : years) {
    EXPECT_EQ(dateAt(year.last, "UTC").substr(0, 6), "28.02.");
    EXPECT_EQ(dateAt(year.last + 1, "UTC"), year.next);
    EXPECT_EQ(dateAt(year.last + 1 + day, "UTC"), year.afterNext);
  }
}

TEST_F(TimeAndPlace, ClockBefore1970) {
  EXPECT_EQ(dateAt(-1, "UTC"), "31.12.1969");
  EXPECT_EQ(dateAt(-1, "<+01>-1"), "01.01.1970");
  EXPECT_EQ(dateAt(0, "<-01>1"), "31.12.1969");
  EXPECT_EQ(dateAt(-2208988801, "UTC"), "31.12.1899");
  EXPECT_EQ(dateAt(-30610224000, "UTC"), "01.01.1000");
}

TEST_F(TimeAndPlace, ClockAfter2038) {
  EXPECT_EQ(dateAt(2147483647, "UTC"), "19.01.2038");
  EXPECT_EQ(dateAt(2147483648, "UTC"), "19.01.2038");
  EXPECT_EQ(dateAt(4294967296, "UTC"), "07.02.2106");
  EXPECT_EQ(dateAt(253402300799, "UTC"), "31.12.9999");
  EXPECT_EQ(dateAt(253402300800, "UTC"), "01.01.10000");
}

TEST_F(TimeAndPlace, FirstStartAtMidnightBearsTheNewDay) {
  dateAt(midnight - hour, "Europe/Prague");
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(readFile(infoFile), "16.11.2026\n1");
  // The date is never touched again.
  dateAt(midnight + 48 * hour, "Europe/Prague");
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
// are not ours; the file knows nothing of it.
TEST_P(Locale, DateKeepsItsForm) {
  EXPECT_EQ(dateAt(midnight, "UTC"), "16.11.2026");
  EXPECT_EQ(dateAt(midnight + 111 * (24 * hour), "UTC"), "07.03.2027");
}

TEST_P(Locale, CounterKeepsItsForm) {
  writeFile(infoFile, "16.11.2026\n1234567\n");
  EXPECT_EQ(AutoOpenPalette(), 1234567);
  EXPECT_EQ(readFile(infoFile), "16.11.2026\n1234568\n");
  EXPECT_EQ(AutoOpenPalette(), 1234568);
  writeFile(infoFile, "16.11.2026\n-1234567\n");
  EXPECT_EQ(AutoOpenPalette(), -1234567);
  EXPECT_EQ(readFile(infoFile), "16.11.2026\n-1234566\n");
  // Separators of thousands end a number; digits of another script begin none.
  writeFile(infoFile, "16.11.2026\n1.234\n");
  EXPECT_EQ(AutoOpenPalette(), 1);
  writeFile(infoFile, "16.11.2026\n\u0663\n");
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(readFile(infoFile), "16.11.2026\n1\n");
}

TEST_P(Locale, FirstStartIsWrittenAsEverywhere) {
  dateAt(midnight, "UTC");
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(readFile(infoFile), "16.11.2026\n1");
}

TEST_P(Locale, AddressAndButtonsAreTheSame) {
  EXPECT_EQ(startAfter(3), true);
  const substitute::Json now = state();
  EXPECT_EQ(now["palettes"][0]["width"], 300);
  EXPECT_EQ(now["palettes"][0]["address"],
            "https://learning.velorin.example/fusion360/learning.asp?lang=CSY&lic=TEXT");
  EXPECT_EQ(readFile(infoFile), "16.11.2026\n4\n");
  EXPECT_EQ(now["definitions"][0]["name"], "Zobrazit velorin");
  EXPECT_EQ(now["definitions"][0]["tooltip"],
            "Velorin je pomocník pro začátečníky, integrovaný do prostředí programu Fusion 360 a "
            "napomáhá s prvními kroky v aplikaci.");
  EXPECT_EQ(now["definitions"][0]["resourceFolder"], "resources/Velorin");
  EXPECT_EQ(stop(), true);
}

INSTANTIATE_TEST_SUITE_P(Czech, Locale, testing::Values("cs_CZ.UTF-8"));
INSTANTIATE_TEST_SUITE_P(Turkish, Locale, testing::Values("tr_TR.UTF-8"));
INSTANTIATE_TEST_SUITE_P(Arabic, Locale, testing::Values("ar_SA.UTF-8"));

}  // namespace
