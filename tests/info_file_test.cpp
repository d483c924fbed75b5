// AutoOpenPalette and the info file, byte for byte.
#include <cstdint>
#include <filesystem>
#include <locale>
#include <string>

#include "tests/AddInFixture.h"
#include "tests/Clock.h"

namespace fs = std::filesystem;

namespace {

class InfoFile : public AddInFixture {
 protected:
  // No midnight comes between a date that is written and one that is asked for.
  InfoFile() { setClock = 1772712000; }  // noon of 5 March 2026 in Greenwich
  ~InfoFile() override { setClock.reset(); }

  // Counts a start with `before` in the file.
  std::int32_t after(const std::string& before) {
    writeFile(infoFile, before);
    return AutoOpenPalette();
  }
  std::string file() { return readFile(infoFile); }
};

const std::string date = "16.11.2026";

}  // namespace

TEST_F(InfoFile, AbsentIsMadeWithTodayAndOne) {
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(file(), datetime() + "\n1");
  EXPECT_EQ(file().size(), 12U);
}

TEST_F(InfoFile, ASecondStartEndsTheLastLine) {
  EXPECT_EQ(after(date + "\n1"), 1);
  EXPECT_EQ(file(), date + "\n2\n");
}

TEST_F(InfoFile, CountsFromThree) {
  EXPECT_EQ(after(date + "\n3\n"), 3);
  EXPECT_EQ(file(), date + "\n4\n");
}

TEST_F(InfoFile, CarriesFurtherLinesAlong) {
  EXPECT_EQ(after(date + "\n3\nnotes"), 3);
  EXPECT_EQ(file(), date + "\n4\nnotes\n");
}

TEST_F(InfoFile, CarriesAnEmptyThirdLineAlong) {
  EXPECT_EQ(after(date + "\n3\n\n"), 3);
  EXPECT_EQ(file(), date + "\n4\n\n");
}

TEST_F(InfoFile, OfZeroBytesGetsTheCounterOnItsFirstLine) {
  EXPECT_EQ(after(""), 0);
  EXPECT_EQ(file(), "1\n");
}

TEST_F(InfoFile, OfTheCounterAloneGetsAnother) {
  EXPECT_EQ(after("1\n"), 0);
  EXPECT_EQ(file(), "1\n1\n");
}

TEST_F(InfoFile, OfTwoCountersCountsTheSecond) {
  EXPECT_EQ(after("1\n1\n"), 1);
  EXPECT_EQ(file(), "1\n2\n");
}

TEST_F(InfoFile, OfOneLineGetsItsCounter) {
  EXPECT_EQ(after(date), 0);
  EXPECT_EQ(file(), date + "\n1\n");
  EXPECT_EQ(after(date + "\n"), 0);
  EXPECT_EQ(file(), date + "\n1\n");
}

TEST_F(InfoFile, AnEmptySecondLineStartsAnew) {
  EXPECT_EQ(after(date + "\n\n5\n"), 0);
  EXPECT_EQ(file(), date + "\n1\n5\n");
}

TEST_F(InfoFile, ASecondLineOfLettersStartsAnew) {
  EXPECT_EQ(after(date + "\nabc\n"), 0);
  EXPECT_EQ(file(), date + "\n1\n");
}

TEST_F(InfoFile, SpacesBeforeAndLettersBehindTheNumberAreIgnored) {
  EXPECT_EQ(after(date + "\n 7x\n"), 7);
  EXPECT_EQ(file(), date + "\n8\n");
  EXPECT_EQ(after(date + "\n\t\v\f\r +7 8\n"), 7);
  EXPECT_EQ(file(), date + "\n8\n");
}

TEST_F(InfoFile, NumbersAreDecimal) {
  EXPECT_EQ(after(date + "\n010\n"), 10);
  EXPECT_EQ(after(date + "\n0x10\n"), 0);
  EXPECT_EQ(file(), date + "\n1\n");
}

TEST_F(InfoFile, CountsNegativeNumbersUp) {
  EXPECT_EQ(after(date + "\n-5\n"), -5);
  EXPECT_EQ(file(), date + "\n-4\n");
  EXPECT_EQ(after(date + "\n-1\n"), -1);
  EXPECT_EQ(file(), date + "\n0\n");
}

TEST_F(InfoFile, ANumberOutOfRangeStartsAnew) {
  EXPECT_EQ(after(date + "\n99999999999\n"), 0);
  EXPECT_EQ(file(), date + "\n1\n");
  EXPECT_EQ(after(date + "\n2147483648\n"), 0);
  EXPECT_EQ(file(), date + "\n1\n");
  EXPECT_EQ(after(date + "\n-2147483649\n"), 0);
  EXPECT_EQ(file(), date + "\n1\n");
}

TEST_F(InfoFile, CounterWraps) {
  EXPECT_EQ(after(date + "\n2147483647\n"), 2147483647);
  EXPECT_EQ(file(), date + "\n-2147483648\n");
  EXPECT_EQ(AutoOpenPalette(), -2147483647 - 1);
  EXPECT_EQ(file(), date + "\n-2147483647\n");
}

TEST_F(InfoFile, TheFirstLineKeepsItsCarriageReturnAndTheCounterLosesIt) {
  EXPECT_EQ(after(date + "\r\n3\r\n"), 3);
  EXPECT_EQ(file(), date + "\r\n4\n");
}

TEST_F(InfoFile, TheFirstLineIsNeverRead) {
  EXPECT_EQ(after("no date\n3\n"), 3);
  EXPECT_EQ(file(), "no date\n4\n");
  EXPECT_EQ(after(std::string("\0\xFF\n3\n\0\n", 7)), 3);
  EXPECT_EQ(file(), std::string("\0\xFF\n4\n\0\n", 7));
}

TEST_F(InfoFile, TheKthStartReturnsOneLess) {
  for (std::int32_t start = 1; start <= 12; ++start) {
    EXPECT_EQ(AutoOpenPalette(), start - 1);
    EXPECT_EQ(file().substr(11, file().find('\n', 11) - 11), std::to_string(start));
  }
}

TEST_F(InfoFile, DeletedByHandIsAFirstStartAgain) {
  EXPECT_EQ(after(date + "\n9\n"), 9);
  fs::remove(infoFile);
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(file(), datetime() + "\n1");
}

TEST_F(InfoFile, IsFoundBesideTheHost) {
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(substitute::infoFileOf(*host), infoFile);
  EXPECT_TRUE(fs::exists(folder.path() +
                         "/Autodesk/Autodesk Fusion 360/API/AddIns/Velorin/Velorin_Info.txt"));
}

TEST_F(InfoFile, IsLeftAloneWhenTheLibraryIsOnlyLoaded) {
  writeFile(infoFile, date + "\n3\n");
  load();
  unload();
  EXPECT_EQ(file(), date + "\n3\n");
}

namespace {

// Digits in groups, as many a locale has them.
class Grouping : public std::numpunct<char> {
 protected:
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

}  // namespace

TEST_F(InfoFile, IsTheSameInTheHostsCppLocale) {
  const std::locale before = std::locale::global(std::locale(std::locale(), new Grouping));
  EXPECT_EQ(after(date + "\n1234567\n"), 1234567);
  EXPECT_EQ(file(), date + "\n1234568\n");
  fs::remove(infoFile);
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(file(), datetime() + "\n1");
  std::locale::global(before);
}
