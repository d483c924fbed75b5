// The library as a file: what it shows, and whose names it uses.
#include <dlfcn.h>

#include <array>
#include <cstdio>
#include <set>
#include <sstream>

#include "tests/AddInFixture.h"

namespace {

std::string output(const std::string& command) {
  std::string text;
  FILE* const pipe = popen(command.c_str(), "r");
  std::array<char, 4096> buffer{};
  while (const std::size_t size = fread(buffer.data(), 1, buffer.size(), pipe)) {
    text.append(buffer.data(), size);
  }
  EXPECT_EQ(pclose(pipe), 0) << command;
  return text;
}

std::set<std::string> exportedNames() {
  std::set<std::string> names;
  std::istringstream lines(output("nm -D --defined-only -C '" + addinFile() + "'"));
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
  EXPECT_EQ(exportedNames(), (std::set<std::string>{"run",
                                                    "stop",
                                                    "app",
                                                    "ui",
                                                    "palette",
                                                    "countOpenPalette",
                                                    "_onHTMLEvent",
                                                    "_onHTMLEventFirst3",
                                                    "_cmdExecute",
                                                    "_cmdEshopExecute",
                                                    "_cmdCreated",
                                                    "_cmdEshopCreated",
                                                    "OpenPalette",
                                                    "AutoOpenPalette",
                                                    "SetAddinLocation",
                                                    "GetExecutableDirectory",
                                                    "FileExists",
                                                    "ws2s",
                                                    "datetime",
                                                    "countLeapYears",
                                                    "getDifference"}));
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

TEST_F(Library, IsGoneAfterUnloadingAndLoadsAgain) {
  for (int i = 0; i < 100; ++i) {
    load();
    unload();  // expects that the process does not keep it
  }
  EXPECT_EQ(readFile("/proc/self/maps").find("Velorin.so"), std::string::npos);
}
