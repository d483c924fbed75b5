// The learning palette: its page's address, and going online.
#include "tests/AddInFixture.h"

namespace {

class LearningPalette : public AddInFixture {
 protected:
  // The address of a palette that is made now.
  std::string address() {
    host->remove(substitute::ObjectKind::palette, "teachPalete");
    EXPECT_TRUE(OpenPalette());
    return learningPalette()["address"];
  }

  void SetUp() override { ASSERT_EQ(start(), true); }

  const std::string page = "https://learning.velorin.example/fusion360/learning.asp?lang=";
};

using OnlineStatus = AddInFixture;

}  // namespace

TEST_F(LearningPalette, LanguageTwoIsCzechAndEveryOtherEnglish) {
  for (const int language : {2, 0, 1, 3, 4, -2, 258, 2147483647, -2147483647 - 1}) {
    host->setLanguage(language);
    EXPECT_EQ(address(), page + (language == 2 ? "CSY" : "ENG") + "&lic=TEXT") << language;
  }
}

TEST_F(LearningPalette, TheEntitlementTextIsTakenAsItIs) {
  for (const char* const text : {"", " a b&lang=x#y?%20\"'\\\x01 \xC5\x99 "}) {
    host->setEntitlement(text);
    EXPECT_EQ(address(), page + "CSY&lic=" + text);
  }
  host->setEntitlement(std::nullopt);
  EXPECT_EQ(address(), page + "CSY&lic=");
}

TEST_F(OnlineStatus, EmptyArgumentsDoNothing) {
  start();
  calls();
  host->reportStatusWithoutArguments();
  EXPECT_EQ(calls(), Calls{"notify OnlineStatusChangedHandler"});
}

TEST_F(OnlineStatus, AfterStopUsesAnEmptyHandle) {
  start();
  ASSERT_EQ(stop(), true);
  expectFatal([this] { host->setOffline(false); });
}
