// stop: what the add-in takes out of the host when it ends.
#include "tests/AddInFixture.h"

using substitute::Json;
using substitute::ObjectKind;

namespace {

class Stop : public AddInFixture {};

}  // namespace

TEST_F(Stop, WithoutRunAndTheSecondOneReturnTrueAndAskNothing) {
  const Calls nothing = {"stop", "stop returned true"};
  load();
  EXPECT_EQ(stop(), true);
  EXPECT_EQ(calls(), nothing);
  start();
  EXPECT_EQ(stop(), true);
  calls();
  EXPECT_EQ(stop(), true);
  EXPECT_EQ(calls(), nothing);
}

TEST_F(Stop, FindsThePaletteByItsIdAndNotByTheGlobal) {
  ASSERT_EQ(startAfter(9), true);
  host->plant(ObjectKind::palette, "teachPalete");
  EXPECT_FALSE(holds("palette"));
  EXPECT_EQ(stop(), true);
  EXPECT_TRUE(learningPalette().is_null());
}

TEST_F(Stop, LeavesAControlOfAnotherKindAlone) {
  ASSERT_EQ(start(), true);
  host->plant(ObjectKind::definition, "openEshop");
  host->plant(ObjectKind::plainControl, "openEshop");
  EXPECT_EQ(stop(), true);
  EXPECT_EQ(state()["definitions"], Json::array());
  EXPECT_EQ(state()["toolbars"].at(0)["controls"].at(1)["id"], "openEshop");
}
