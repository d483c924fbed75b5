// Runs tests of the window on the platform "offscreen", on a screen of 1440 by 900 pixels, or as
// VELORIN_TEST_SCREEN says.
#include "tests/desktop/DesktopFixture.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const QByteArray named = qgetenv("VELORIN_TEST_SCREEN");
  const QList<QByteArray> size = (named.isEmpty() ? "1440x900" : named).split('x');
  const QTemporaryDir folder;
  std::ofstream(folder.filePath("screen").toStdString())
      << R"({"screens": [{"name": "screen", "x": 0, "y": 0, "logicalDpi": 96, "dpr": 1, )"
      << R"("logicalBaseDpi": 96, "width": )" << size[0].toStdString() << R"(, "height": )"
      << size[1].toStdString() << "}]}";
  qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + folder.filePath("screen").toUtf8());
  qputenv("XDG_RUNTIME_DIR", folder.path().toUtf8());  // Qt warns where there is none
  QApplication application(argc, argv);
  substitute::apply(substitute::testTheme());
  return RUN_ALL_TESTS();
}
