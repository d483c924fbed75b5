// Going online and offline.
#include "tests/AddInFixture.h"

namespace {

class OnlineStatus : public AddInFixture {
 protected:
  // Starts offline after `starts` starts, so that no palette is there, and forgets the calls.
  void begin(int starts) {
    host->setOffline(true);
    ASSERT_EQ(startAfter(starts), true);
    ASSERT_TRUE(learningPalette().is_null());
    calls();
  }

  const Calls online = {"notify OnlineStatusChangedHandler",
                        "ApplicationEventArgs.isOffLine() = false"};
};

}  // namespace

TEST_F(OnlineStatus, CountersZeroToThreeAloneBringThePalette) {
  for (const int count : {0, 1, 2, 3, 4, 5, 2147483647, -1, -2147483647}) {
    SCOPED_TRACE(count);
    begin(count);
    host->setOffline(true);
    EXPECT_EQ(calls(), (Calls{"notify OnlineStatusChangedHandler",
                              "ApplicationEventArgs.isOffLine() = true"}));
    host->setOffline(false);
    if (count >= 0 && count <= 3) {
      EXPECT_EQ(learningPalette()["visible"], true);
    } else {
      EXPECT_EQ(calls(), online);
    }
    stop();
    unload();
  }
}

TEST_F(OnlineStatus, EmptyArgumentsDoNothing) {
  begin(0);
  host->reportStatusWithoutArguments();
  EXPECT_EQ(calls(), Calls{"notify OnlineStatusChangedHandler"});
}

TEST_F(OnlineStatus, AfterStopUsesAnEmptyHandle) {
  begin(0);
  ASSERT_EQ(stop(), true);
  expectFatal([this] { host->setOffline(false); });
}
