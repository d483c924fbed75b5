// The page's messages: what reaches the shell.
#include <unistd.h>

#include "tests/AddInFixture.h"

using substitute::Json;

namespace {

using Runs = std::vector<std::vector<std::string>>;

// With either handler: the palette of OpenPalette, or that of the online status.
class PageMessage : public AddInFixture, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    const bool first = std::string(GetParam()) == "RovaHTMLEventHandler";
    host->setOffline(!first);
    ASSERT_EQ(start(), true);
    if (!first) host->setOffline(false);
    ASSERT_EQ(learningPalette()["handlers"], Json::array({GetParam()}));
    calls();
  }

  // What `open` was given, run by run, for a message of `data`.
  Runs opened(const std::optional<std::string>& data) {
    const std::size_t before = runsOfOpen().size();
    EXPECT_TRUE(host->message("teachPalete", data));
    const auto& all = runsOfOpen();
    return {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()};
  }
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Handler, PageMessage,
                         testing::Values("RovaHTMLEventHandler", "CadFirst3sHTMLEventHandler"),
                         [](const auto& handler) { return std::string(handler.param); });

TEST_P(PageMessage, GivesTheShellAllButTheFirstAndLastCharacter) {
  const std::pair<const char*, Runs> messages[] = {
      {"\"https://example.com/a?b=c\"", {{"https://example.com/a?b=c"}}},
      // Whatever these are.
      {"abcd", {{"bc"}}},
      {"\"\"", {{}}},
      {"\"", {{}}},
      // The shell reads the rest as it stands.
      {"\"one two\"", {{"one", "two"}}},
      {"\"a'b c'd '' '\n'\"", {{"ab cd", "", "\n"}}},
      {"\"one; open two\"", {{"one"}, {"two"}}},
      {"\"$((1 + 1))\"", {{"2"}}},
      {"\"p\xC5\x99\xC3\xADklad\xFF\"", {{"p\xC5\x99\xC3\xADklad\xFF"}}}};
  for (const auto& [data, runs] : messages) EXPECT_EQ(opened(data), runs) << data;
}

TEST_P(PageMessage, WithoutAnyTextRunsNothingAndThrows) {
  for (const std::optional<std::string>& none : {std::optional<std::string>(""), {}}) {
    EXPECT_EQ(opened(none), Runs());
    EXPECT_EQ(calls().back().rfind("threw std::out_of_range(", 0), 0U);
  }
}

TEST_P(PageMessage, AFailingCommandIsNotNoticed) {
  EXPECT_EQ(opened("\"x; exit 3\""), (Runs{{"x"}}));
  EXPECT_EQ(opened("\"' \""), Runs());  // the shell itself fails
  EXPECT_EQ(opened("\"x\""), (Runs{{"x"}}));
  EXPECT_EQ(monitor->thrown(), std::vector<std::string>());
}

TEST_P(PageMessage, WaitsForTheCommandsEnd) {
  const std::string done = folder.path() + "/done";
  opened("\"x; sleep 0.2; : > '" + done + "'\"");
  EXPECT_TRUE(std::filesystem::exists(done));
}

// The shell gets the command as one argument, and the system sets an end to those: 32 pages, the
// closing zero included. A longer message opens nothing, and nobody is told.
#if !defined(__APPLE__)
TEST_P(PageMessage, LongerThanAnArgumentOpensNothing) {
  const std::size_t argument = 32 * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::string longest(argument - sizeof "open ", 'x');
  for (const std::string& target : {longest + "x", std::string(8'000'000, 'x')}) {
    EXPECT_EQ(opened('"' + target + '"'), Runs());
  }
  EXPECT_TRUE(opened('"' + longest + '"') == (Runs{{longest}}));
  EXPECT_EQ(monitor->thrown(), std::vector<std::string>());
}
#endif
