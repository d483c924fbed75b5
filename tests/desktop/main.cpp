// Runs tests of the window on the platform "offscreen".
#include <gtest/gtest.h>

#include <QApplication>

#include "tests/desktop/DesktopFixture.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  substitute::apply(substitute::testTheme());
  return RUN_ALL_TESTS();
}
