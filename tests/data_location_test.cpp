// Where the add-in keeps its data, and the helpers for files and strings.
#include <sys/stat.h>

#include "tests/AddInFixture.h"

namespace {

const std::string place = "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin";

class DataLocation : public AddInFixture {
 protected:
  std::string directoryOf(const std::string& executable) {
    substitute::Settings settings;
    settings.executable = executable;
    install(settings);
    return GetExecutableDirectory();
  }
};

}  // namespace

TEST_F(DataLocation, DirectoryIsWhatStandsBeforeTheLastSeparator) {
  const std::pair<const char*, const char*> executables[] = {
      {"/Applications/Host.app/Contents/MacOS/Host", "/Applications/Host.app/Contents/MacOS"},
      {"/Host", ""},
      {"C:\\Apps\\Host.exe", "C:\\Apps"},
      {"/A/B\\C/Host", "/A/B\\C"},
      {"/A/B/C\\Host", "/A/B/C"},
      {"Host", ""},
      {"", ""}};
  for (const auto& [executable, directory] : executables) {
    EXPECT_EQ(directoryOf(executable), directory) << executable;
  }
}

TEST_F(DataLocation, DirectoryFitsUpToTheBuffersEndAndIsEmptyBeyond) {
  const std::string directory = "/" + std::string(505, 'd');
  const std::string longest = directory + "/Host";
  ASSERT_EQ(longest.size(), 511U);
  EXPECT_EQ(directoryOf(longest), directory);
  EXPECT_EQ(directoryOf("/" + std::string(506, 'd') + "/Host"), "");
  EXPECT_EQ(directoryOf("/" + std::string(100000, 'd') + "/Host"), "");
}

TEST_F(DataLocation, AddinFolderStandsBesideTheFirstAutodesk) {
  using namespace std::string_literals;
  const std::pair<std::string, std::string> paths[] = {
      {"/X/Y/Autodesk/Z/Contents/MacOS", "/X/Y/"},
      {"/Users/AutodeskFan/Autodesk/Host", "/Users/"},
      {"/a\0b/Autodesk/c"s, "/a\0b/"s},
      // Where the word is missing, the place is glued to the end.
      {"/opt/autodesk/host", "/opt/autodesk/host"},
      {"", ""}};
  for (const auto& [path, before] : paths) {
    EXPECT_EQ(SetAddinLocation(path), before + place) << path;
  }
}

TEST_F(DataLocation, FilesAndFoldersExist) {
  EXPECT_TRUE(FileExists(folder.path()));
  writeFile(folder.path() + "/file", "");
  EXPECT_TRUE(FileExists(folder.path() + "/file"));
}

TEST_F(DataLocation, AFileThatNobodyMayReadExists) {
  const std::string file = folder.path() + "/file";
  writeFile(file, "");
  chmod(file.c_str(), 0);
  chmod(folder.path().c_str(), 0755);
  load();
  EXPECT_EXIT(
      {
        becomeAnyUser();
        std::exit(FileExists(file) ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(DataLocation, AMissingFileAndTheEmptyPathDoNotExist) {
  EXPECT_FALSE(FileExists(folder.path() + "/none"));
  EXPECT_FALSE(FileExists(folder.path() + "/none/below"));
  EXPECT_FALSE(FileExists(""));
}

TEST_F(DataLocation, AFileBehindABarredFolderDoesNotExist) {
  const std::string barred = folder.path() + "/barred";
  mkdir(barred.c_str(), 0700);
  writeFile(barred + "/file", "");
  writeFile(folder.path() + "/file", "");
  chmod(barred.c_str(), 0);
  chmod(folder.path().c_str(), 0755);
  load();
  EXPECT_EXIT(
      {
        becomeAnyUser();
        std::exit(FileExists(folder.path() + "/file") && !FileExists(barred + "/file") ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  chmod(barred.c_str(), 0700);
}

TEST_F(DataLocation, WideStringBecomesUtf8) {
  EXPECT_EQ(ws2s(L""), "");
  EXPECT_EQ(ws2s(L"\u010D"), "\xC4\x8D");
  EXPECT_EQ(ws2s(L"Velorin"), "Velorin");
  EXPECT_EQ(ws2s(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
}

TEST_F(DataLocation, WideStringOfEveryLengthOfUtf8) {
  const std::pair<wchar_t, const char*> bounds[] = {
      {L'\x01', "\x01"},
      {L'\x7F', "\x7F"},
      {L'\x80', "\xC2\x80"},
      {L'\x7FF', "\xDF\xBF"},
      {L'\x800', "\xE0\xA0\x80"},
      {L'\xD7FF', "\xED\x9F\xBF"},
      {L'\xE000', "\xEE\x80\x80"},
      {L'\xFFFF', "\xEF\xBF\xBF"},
      {L'\x10000', "\xF0\x90\x80\x80"},
      {L'\x10FFFF', "\xF4\x8F\xBF\xBF"},
  };
  for (const auto& [unit, bytes] : bounds) EXPECT_EQ(ws2s(std::wstring(1, unit)), bytes);
}

TEST_F(DataLocation, WideStringThatIsNoCodePointFailsWithItsMessage) {
  for (const auto unit : {0x110000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU, 0xD800U, 0xDFFFU}) {
    try {
      ws2s(L"a" + std::wstring(1, static_cast<wchar_t>(unit)));
      ADD_FAILURE() << std::hex << unit << " was converted";
    } catch (const std::range_error& error) {
      EXPECT_EQ(typeid(error), typeid(std::range_error));
      EXPECT_STREQ(error.what(), "wstring_convert: to_bytes error");
    }
  }
}
