// AutoOpenPalette and the info file, byte for byte.
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <locale>
#include <string>
#include <vector>

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

  // What AutoOpenPalette returns where the user is not root, who may read and write everything.
  void expectReturnedToAUser(std::int32_t expected) {
    load();
    EXPECT_EXIT(
        {
          becomeAnyUser();
          std::exit(AutoOpenPalette() == expected ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
  }
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

TEST_F(InfoFile, AnEmptyOneCostsTwoStarts) {
  EXPECT_EQ(after(""), 0);
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(AutoOpenPalette(), 1);
  EXPECT_EQ(AutoOpenPalette(), 2);
  EXPECT_EQ(file(), "1\n3\n");
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

TEST_F(InfoFile, BlanksBeforeAndLettersBehindTheNumberAreIgnored) {
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

TEST_F(InfoFile, WithoutItsFolderEveryStartIsTheFirst) {
  fs::remove_all(substitute::addinFolderIn(folder.path()));
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_FALSE(fs::exists(infoFile));
}

TEST_F(InfoFile, InAFolderThatCannotBeWrittenEveryStartIsTheFirst) {
  openFolderToAll();
  fs::permissions(substitute::addinFolderIn(folder.path()),
                  fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read |
                      fs::perms::others_exec);
  expectReturnedToAUser(0);
  EXPECT_FALSE(fs::exists(infoFile));
}

TEST_F(InfoFile, ThatCannotBeReadGivesMinusOneAndStays) {
  openFolderToAll();
  writeFile(infoFile, date + "\n3\n");
  fs::permissions(infoFile, fs::perms::none);
  expectReturnedToAUser(-1);
  fs::permissions(infoFile, fs::perms::owner_all);
  EXPECT_EQ(file(), date + "\n3\n");
}

TEST_F(InfoFile, ThatCannotBeWrittenGivesTheSameCountEveryTime) {
  openFolderToAll();
  writeFile(infoFile, date + "\n3\n");
  fs::permissions(infoFile, fs::perms::owner_read | fs::perms::others_read);
  expectReturnedToAUser(3);
  expectReturnedToAUser(3);
  EXPECT_EQ(file(), date + "\n3\n");
}

TEST_F(InfoFile, AFolderInItsPlaceIsAFileWithoutLines) {
  fs::create_directory(infoFile);
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_TRUE(fs::is_directory(infoFile));
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

TEST_F(InfoFile, IsTheSameInTheHostsCLocale) {
  const std::string today = datetime();
  ASSERT_NE(std::setlocale(LC_ALL, "cs_CZ.UTF-8"), nullptr) << "the locale has not been built";
  EXPECT_EQ(after(date + "\n1234567\n"), 1234567);
  EXPECT_EQ(file(), date + "\n1234568\n");
  fs::remove(infoFile);
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_EQ(file(), today + "\n1");
}

TEST_F(InfoFile, CommandsAndAddressesAreTheSameInTheHostsLocales) {
  ASSERT_NE(std::setlocale(LC_ALL, "cs_CZ.UTF-8"), nullptr) << "the locale has not been built";
  const std::locale before = std::locale::global(std::locale(std::locale(), new Grouping));
  host->setLanguage(2000000);
  ASSERT_EQ(start(), true);
  EXPECT_EQ(learningPalette()["address"],
            "https://learning.velorin.example/fusion360/learning.asp?lang=ENG&lic=TEXT");
  host->message("teachPalete", "\"https://example.com/1000000\"");
  EXPECT_EQ(runsOfOpen().at(0), std::vector<std::string>{"https://example.com/1000000"});
  std::locale::global(before);
}
