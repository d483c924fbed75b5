// Where the add-in keeps its data, and the helpers for files and strings.
#include "tests/AddInFixture.h"

using namespace std::string_literals;

namespace {

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
  const std::pair<std::string, std::string> paths[] = {
      {"/X/Y/Autodesk/Z/Contents/MacOS", "/X/Y/"},
      {"/Users/AutodeskFan/Autodesk/Host", "/Users/"},
      {"/a\0b/Autodesk/c"s, "/a\0b/"s},
      // Where the word is missing, the place is glued to the end.
      {"/opt/autodesk/host", "/opt/autodesk/host"},
      {"", ""}};
  for (const auto& [path, before] : paths) {
    EXPECT_EQ(SetAddinLocation(path), before + "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin");
  }
}

TEST_F(DataLocation, FilesAndFoldersExist) {
  writeFile(folder.path() + "/file", "");
  EXPECT_TRUE(FileExists(folder.path()));
  EXPECT_TRUE(FileExists(folder.path() + "/file"));
  EXPECT_FALSE(FileExists(folder.path() + "/none"));
  EXPECT_FALSE(FileExists(folder.path() + "/none/below"));
  EXPECT_FALSE(FileExists(""));
}

TEST_F(DataLocation, EveryCodePointBecomesUtf8) {
  std::wstring all;
  for (wchar_t point = 0; point <= 0x10FFFF; ++point) {
    if (point < 0xD800 || point > 0xDFFF) all += point;
  }
  // The standard library's own conversion.
  const std::u32string points(all.begin(), all.end());
  EXPECT_TRUE(ws2s(all) == std::filesystem::path(points).u8string());
  EXPECT_EQ(ws2s(L""), "");
  EXPECT_EQ(ws2s(L"P\u0159\U0001F4A9"), "P\xC5\x99\xF0\x9F\x92\xA9");
}

TEST_F(DataLocation, AUnitThatIsNoCodePointFailsWithItsMessage) {
  std::vector<std::uint32_t> units = {0x110000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  for (std::uint32_t surrogate = 0xD800; surrogate <= 0xDFFF; ++surrogate) {
    units.push_back(surrogate);
  }
  for (const std::uint32_t unit : units) {
    try {
      ws2s(L"a" + std::wstring(1, static_cast<wchar_t>(unit)));
      ADD_FAILURE() << std::hex << unit << " was converted";
    } catch (const std::range_error& error) {
      EXPECT_EQ(typeid(error), typeid(std::range_error));
      EXPECT_STREQ(error.what(), "wstring_convert: to_bytes error");
    }
  }
}
