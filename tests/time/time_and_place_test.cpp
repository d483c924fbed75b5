// Today's date and the info file wherever and whenever the user is.
#include <clocale>
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

TEST_F(TimeAndPlace, DayChangesAtLocalMidnight) {
  for (const Zone& zone : zones) {
    const std::time_t there = midnight - zone.minutesEast * 60L;
    EXPECT_EQ(dateAt(there - 1, zone.name), "15.11.2026") << zone.name;
    EXPECT_EQ(dateAt(there, zone.name), "16.11.2026") << zone.name;
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

INSTANTIATE_TEST_SUITE_P(Installed, Locale,
                         testing::Values("cs_CZ.UTF-8", "tr_TR.UTF-8", "ar_SA.UTF-8"),
                         [](const auto& locale) { return std::string(locale.param, 5); });

}  // namespace
