// AutoOpenPalette and the info file, byte for byte.
#include "tests/AddInFixture.h"
#include "tests/Clock.h"

using namespace std::string_literals;

namespace {

class InfoFile : public AddInFixture {
 protected:
  InfoFile() { setClock = noonOf5March2026; }
  ~InfoFile() override { setClock.reset(); }

  struct Update {
    std::string before;
    std::int32_t returned;
    std::string after;
  };

  // What one start makes of the file.
  void expectUpdates(const std::vector<Update>& updates) {
    for (const auto& [before, returned, after] : updates) {
      writeFile(infoFile, before);
      EXPECT_EQ(AutoOpenPalette(), returned) << before;
      EXPECT_EQ(readFile(infoFile), after);
    }
  }

  // The same for what stands below a date, which is the file's first line.
  void expectUpdatesBelowADate(const std::vector<Update>& updates) {
    for (const auto& [before, returned, after] : updates) {
      expectUpdates({{"16.11.2026\n" + before, returned, "16.11.2026\n" + after}});
    }
  }
};

}  // namespace

TEST_F(InfoFile, AbsentIsMadeWithTodayAndOne) {
  EXPECT_EQ(AutoOpenPalette(), 0);
#if defined(__APPLE__)  // where no test sets the clock
  EXPECT_EQ(readFile(infoFile), datetime() + "\n1");
#else
  EXPECT_EQ(readFile(infoFile), "05.03.2026\n1");
#endif
}

TEST_F(InfoFile, CountsUp) {
  expectUpdatesBelowADate({{"1", 1, "2\n"},
                           {"3\n", 3, "4\n"},
                           {"010\n", 10, "11\n"},
                           {"-5\n", -5, "-4\n"},
                           {"-1\n", -1, "0\n"}});
}

TEST_F(InfoFile, CounterWraps) {
  expectUpdatesBelowADate({{"2147483647\n", 2147483647, "-2147483648\n"},
                           {"-2147483648\n", -2147483647 - 1, "-2147483647\n"}});
}

TEST_F(InfoFile, CounterIsTheNumberThatTheSecondLineBeginsWith) {
  expectUpdatesBelowADate({{" 7x\n", 7, "8\n"},
                           {"\t\v\f\r +7 8\n", 7, "8\n"},
                           {"0x10\n", 0, "1\n"},
                           {"3\r\n", 3, "4\n"}});
}

TEST_F(InfoFile, CounterThatIsNoneStartsAnew) {
  expectUpdatesBelowADate({{"\n5\n", 0, "1\n5\n"},
                           {"abc\n", 0, "1\n"},
                           {"2147483648\n", 0, "1\n"},
                           {"-2147483649\n", 0, "1\n"},
                           {"99999999999\n", 0, "1\n"},
                           {std::string(100'000, '9'), 0, "1\n"}});
}

TEST_F(InfoFile, FurtherLinesAreCarriedAlong) {
  const std::string longLine(100'000, 'x');
  expectUpdatesBelowADate({{"3\nnotes", 3, "4\nnotes\n"},
                           {"3\n\n", 3, "4\n\n"},
                           {"3\n" + longLine, 3, "4\n" + longLine + "\n"}});
}

TEST_F(InfoFile, FileOfLessThanTwoLinesGetsACounter) {
  expectUpdates({{"", 0, "1\n"},
                 {"1\n", 0, "1\n1\n"},
                 {"16.11.2026", 0, "16.11.2026\n1\n"},
                 {"16.11.2026\n", 0, "16.11.2026\n1\n"}});
}

TEST_F(InfoFile, TheFirstLineIsNeverRead) {
  expectUpdates(
      {{"no date\r\n3\n", 3, "no date\r\n4\n"}, {"\0\xFF\n3\n\0\n"s, 3, "\0\xFF\n4\n\0\n"s}});
}

TEST_F(InfoFile, IsLookedForAnewAtEachStart) {
  EXPECT_EQ(AutoOpenPalette(), 0);
  const TemporaryFolder other;
  const std::string otherFile =
      other.path() + "/Autodesk/Autodesk Fusion 360/API/AddIns/Velorin/Velorin_Info.txt";
  std::filesystem::create_directories(std::filesystem::path(otherFile).parent_path());
  install(substitute::settingsIn(other.path()));
  EXPECT_EQ(AutoOpenPalette(), 0);
  EXPECT_TRUE(std::filesystem::exists(otherFile));
}
