// The library as a file: what it shows, and whose names it uses.
#include <dlfcn.h>

#include <iterator>
#include <set>
#include <sstream>

#include "tests/AddInFixture.h"

namespace {

std::set<std::string> exportedNames(const std::string& folder) {
  const std::string file = folder + "/names";
  EXPECT_EQ(system(("nm -D --defined-only -C '" + addinFile() + "' >'" + file + "'").c_str()), 0);
  std::set<std::string> names;
  std::istringstream lines(readFile(file));
  for (std::string address, kind, name; lines >> address >> kind && std::getline(lines, name);) {
    names.insert(name.substr(1, name.find_first_of("([", 1) - 1));
  }
  return names;
}

class Library : public AddInFixture {};

}  // namespace

// A host may have names like the add-in's. The test program shows these to every library.
extern "C" {
int app = 1;
int ui = 2;
int palette = 3;
int countOpenPalette = 4;
int _cmdCreated = 5;  // NOLINT
bool run(const char* /*context*/) {
  std::abort();
}
bool stop(const char* /*context*/) {
  std::abort();
}
}
bool OpenPalette() {
  std::abort();
}
std::int32_t AutoOpenPalette() {
  std::abort();
}
bool FileExists(const std::string& /*path*/) {
  std::abort();
}

TEST_F(Library, ShowsExactlyItsNames) {
  std::istringstream names(
      "run stop app ui palette countOpenPalette _onHTMLEvent _onHTMLEventFirst3 _cmdExecute "
      "_cmdEshopExecute _cmdCreated _cmdEshopCreated OpenPalette AutoOpenPalette SetAddinLocation "
      "GetExecutableDirectory FileExists ws2s datetime countLeapYears getDifference");
  const std::set<std::string> expected{std::istream_iterator<std::string>(names), {}};
  EXPECT_EQ(exportedNames(folder.path()), expected);
}

TEST_F(Library, BindsItsOwnNamesToItself) {
  ASSERT_EQ(dlsym(RTLD_DEFAULT, "app"), &::app) << "the program does not show its names";
  ASSERT_NE(dlsym(RTLD_DEFAULT, "_Z11OpenPalettev"), nullptr);
  EXPECT_EQ(start(), true);
  EXPECT_EQ(learningPalette()["visible"], true);
  host->click("runTeachPalette");
  EXPECT_EQ(stop(), true);
  EXPECT_EQ(::app, 1);
  EXPECT_EQ(::ui, 2);
  EXPECT_EQ(::palette, 3);
  EXPECT_EQ(::countOpenPalette, 4);
  EXPECT_EQ(::_cmdCreated, 5);
}
