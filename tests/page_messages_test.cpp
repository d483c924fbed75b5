// The page's messages: what reaches the shell.
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

TEST_P(PageMessage, CallsTheHostOnce) {
  opened("\"https://example.com/a\"");
  EXPECT_EQ(calls(), (Calls{std::string("notify ") + GetParam(),
                            "HTMLEventArgs.data() = \"https://example.com/a\"",
                            "open [https://example.com/a]"}));
}

TEST_P(PageMessage, OpensTheTargetBetweenTheQuotes) {
  EXPECT_EQ(opened("\"https://example.com/a?b=c\""), (Runs{{"https://example.com/a?b=c"}}));
}

TEST_P(PageMessage, DropsTheFirstAndLastCharacterWhateverTheyAre) {
  EXPECT_EQ(opened("abcd"), (Runs{{"bc"}}));
  EXPECT_EQ(opened("abc"), (Runs{{"b"}}));
}

TEST_P(PageMessage, OfTwoCharactersRunsOpenAlone) {
  EXPECT_EQ(opened("\"\""), (Runs{{}}));
}

TEST_P(PageMessage, OfOneCharacterRunsOpenAlone) {
  EXPECT_EQ(opened("\""), (Runs{{}}));
}

TEST_P(PageMessage, ASpaceMakesTwoArguments) {
  EXPECT_EQ(opened("\"one two\""), (Runs{{"one", "two"}}));
}

TEST_P(PageMessage, TheShellReadsTheTargetAsItStands) {
  EXPECT_EQ(opened("\"a'b c'd\""), (Runs{{"ab cd"}}));
  EXPECT_EQ(opened("\"one; open two\""), (Runs{{"one"}, {"two"}}));
  EXPECT_EQ(opened("\"$((1 + 1))\""), (Runs{{"2"}}));
}

TEST_P(PageMessage, BytesBeyondAsciiReachTheCommand) {
  EXPECT_EQ(opened("\"p\xC5\x99\xC3\xADklad\xFF\""), (Runs{{"p\xC5\x99\xC3\xADklad\xFF"}}));
}

TEST_P(PageMessage, AnEmptyOneRunsNothingAndThrows) {
  EXPECT_EQ(opened(""), Runs());
  EXPECT_EQ(calls().back(), "threw std::out_of_range");
}

TEST_P(PageMessage, WithoutTextRunsNothingAndThrows) {
  EXPECT_EQ(opened(std::nullopt), Runs());
  EXPECT_EQ(calls(), (Calls{std::string("notify ") + GetParam(), "HTMLEventArgs.data() = null",
                            "threw std::out_of_range"}));
}

TEST_P(PageMessage, AFailingCommandIsNotNoticed) {
  EXPECT_EQ(opened("\"x; exit 3\""), (Runs{{"x"}}));
  EXPECT_EQ(opened("\"' \""), Runs());  // the shell itself fails
  EXPECT_EQ(opened("\"x\""), (Runs{{"x"}}));
  for (const std::string& call : calls()) EXPECT_NE(call.rfind("threw", 0), 0U) << call;
}

TEST_P(PageMessage, WaitsForTheCommandsEnd) {
  const std::string done = folder.path() + "/done";
  opened("\"x; sleep 0.2; : > '" + done + "'\"");
  EXPECT_TRUE(std::filesystem::exists(done));
}
