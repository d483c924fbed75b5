// AutoOpenPalette and the info file, byte for byte.
#include <cstdint>
#include <filesystem>
#include <string>

#include "tests/AddInFixture.h"
#include "tests/Clock.h"

namespace fs = std::filesystem;

namespace {

class InfoFile : public AddInFixture {
 protected:
  // No midnight comes between a date that is written and one that is asked for (Linux only).
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

namespace {

struct Update {
  const char* name;
  const char* before;  // below the date, which is the file's first line
  std::int32_t returned;
  const char* after;
};

constexpr Update updates[] = {
    {"ASecondStartEndsTheLastLine", "1", 1, "2\n"},
    {"CountsFromThree", "3\n", 3, "4\n"},
    {"CarriesFurtherLinesAlong", "3\nnotes", 3, "4\nnotes\n"},
    {"CarriesAnEmptyThirdLineAlong", "3\n\n", 3, "4\n\n"},
    {"OfOneLineGetsItsCounter", "", 0, "1\n"},
    {"AnEmptySecondLineStartsAnew", "\n5\n", 0, "1\n5\n"},
    {"ASecondLineOfLettersStartsAnew", "abc\n", 0, "1\n"},
    {"SpacesBeforeAndLettersBehindTheNumberAreIgnored", " 7x\n", 7, "8\n"},
    {"EverySpaceBeforeTheNumberIsIgnored", "\t\v\f\r +7 8\n", 7, "8\n"},
    {"NumbersAreDecimal", "010\n", 10, "11\n"},
    {"ANumberEndsBeforeItsX", "0x10\n", 0, "1\n"},
    {"CountsNegativeNumbersUp", "-5\n", -5, "-4\n"},
    {"CountsFromMinusOneToZero", "-1\n", -1, "0\n"},
    {"ANumberOutOfRangeStartsAnew", "2147483648\n", 0, "1\n"},
    {"ANegativeNumberOutOfRangeStartsAnew", "-2147483649\n", 0, "1\n"},
    {"CounterWraps", "2147483647\n", 2147483647, "-2147483648\n"},
    {"TheLowestNumberIsCountedUp", "-2147483648\n", -2147483647 - 1, "-2147483647\n"},
    {"TheCounterLosesItsCarriageReturn", "3\r\n", 3, "4\n"},
};

class InfoFileUpdate : public InfoFile {
 public:
  explicit InfoFileUpdate(const Update& update) : update_(update) {}

 private:
  void TestBody() override {
    EXPECT_EQ(after(date + "\n" + update_.before), update_.returned);
    EXPECT_EQ(file(), date + "\n" + update_.after);
  }

  const Update& update_;
};

// Each under a name of its own.
const bool registered = [] {
  for (const Update& update : updates) {
    testing::RegisterTest("InfoFile", update.name, nullptr, nullptr, __FILE__, __LINE__,
                          [&update]() -> InfoFile* { return new InfoFileUpdate(update); });
  }
  return true;
}();

}  // namespace

TEST_F(InfoFile, OfZeroBytesGetsTheCounterOnItsFirstLine) {
  EXPECT_EQ(after(""), 0);
  EXPECT_EQ(file(), "1\n");
}

TEST_F(InfoFile, OfTheCounterAloneGetsAnother) {
  EXPECT_EQ(after("1\n"), 0);
  EXPECT_EQ(file(), "1\n1\n");
}

TEST_F(InfoFile, OfADateWithoutAnEndGetsItsCounter) {
  EXPECT_EQ(after(date), 0);
  EXPECT_EQ(file(), date + "\n1\n");
}

TEST_F(InfoFile, TheFirstLineIsNeverRead) {
  EXPECT_EQ(after("no date\r\n3\n"), 3);
  EXPECT_EQ(file(), "no date\r\n4\n");
  EXPECT_EQ(after(std::string("\0\xFF\n3\n\0\n", 7)), 3);
  EXPECT_EQ(file(), std::string("\0\xFF\n4\n\0\n", 7));
}

TEST_F(InfoFile, TheKthStartReturnsOneLess) {
  for (std::int32_t start = 1; start <= 12; ++start) {
    EXPECT_EQ(AutoOpenPalette(), start - 1);
    EXPECT_EQ(file().substr(11, file().find('\n', 11) - 11), std::to_string(start));
  }
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
