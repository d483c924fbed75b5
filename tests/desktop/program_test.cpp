// The program substitute-desktop.
#include <gtest/gtest.h>

#include <QDir>
#include <csignal>

#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

TEST(DesktopProgram, GivesTheTraceOfTheTerminal) {
  const QFileInfoList scenarios = QDir(beside("scenarios")).entryInfoList({"*.txt"});
  ASSERT_FALSE(scenarios.isEmpty());
  for (const QFileInfo& scenario : scenarios) {
    SCOPED_TRACE(scenario.fileName().toStdString());
    const QTemporaryDir folder;
    const QString path = folder.path();
    const QString file = scenario.filePath();
    const ProgramResult shown =
        runProgram("substitute-desktop",
                   {file, "--quit", "--data", path + "/window", "--trace", path + "/window.trace"});
    const ProgramResult played =
        runProgram("substitute-host",
                   {file, "--data", path + "/terminal", "--trace", path + "/terminal.trace"});
    EXPECT_EQ(shown.status, played.status) << shown.errors.toStdString();
    EXPECT_EQ(shown.output, played.output);
    EXPECT_GT(contentOf(path + "/terminal.trace").size(), 200);
    EXPECT_EQ(contentOf(path + "/window.trace"), contentOf(path + "/terminal.trace"));
  }
}

// The add-in's shell removes the library, which a later start then misses.
TEST(DesktopProgram, ReportsThatTheLibraryHasGone) {
  const QTemporaryDir folder;
  const QString library = folder.filePath("Velorin.so");
  ASSERT_TRUE(QFile::copy(beside("Velorin.so"), library));
  std::ofstream(folder.filePath("late.txt").toStdString())
      << "start\nmessage \"; rm " << library.toStdString() << "; : \"\nstop\nstart\noffline\n";
  const ProgramResult ended = runProgram(
      "substitute-desktop",
      {folder.filePath("late.txt"), "--quit", "--data", folder.path(), "--addin", library});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.errors, "substitute-desktop: there is no library " + library.toUtf8() + ".\n");
  EXPECT_FALSE(ended.output.contains("> offline"));
}

// Also behind a proxy, which cannot resolve the learning site.
TEST(DesktopProgram, TakesAScreenshot) {
  const QTemporaryDir folder;
  const QString file = folder.filePath("window.png");
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  environment.insert("https_proxy", "http://127.0.0.1:1");
  const ProgramResult ended =
      runProgram("substitute-desktop",
                 {"--data", folder.path(), "--theme", "dark", "--screenshot", file}, environment);
  EXPECT_EQ(ended.status, 0) << ended.errors.toStdString();
  const QImage picture(file);
  ASSERT_FALSE(picture.isNull());
  // The page on the right is painted in the dark theme, with the colour that its style sheet alone
  // has.
  int dark = 0;
  int accent = 0;
  for (int y = 150; y < 450; ++y) {
    for (int x = picture.width() - 280; x < picture.width() - 20; ++x) {
      dark += qGray(picture.pixel(x, y)) < 80;
      accent += picture.pixel(x, y) == qRgb(0x5a, 0xa7, 0xef);
    }
  }
  EXPECT_GT(accent, 50);
  EXPECT_GT(dark, 40000);
}

// The started add-in is still loaded, since nobody has stopped it.
TEST(DesktopProgram, JudgesWhatItStartedWhenStrict) {
  const QTemporaryDir folder;
  const QStringList data = {"--data", folder.path(), "--quit"};
  const ProgramResult strict = runProgram("substitute-desktop", data + QStringList("--strict"));
  EXPECT_EQ(strict.status, 3) << strict.errors.toStdString();
  EXPECT_TRUE(strict.output.contains("\n  The add-in is still loaded.\n"));
  EXPECT_TRUE(strict.output.endsWith("1 command, 0 expectations, 1 failed\n"))
      << strict.output.toStdString();
  const ProgramResult plain = runProgram("substitute-desktop", data);
  EXPECT_EQ(plain.status, 0) << plain.errors.toStdString();
  EXPECT_FALSE(plain.output.contains("still loaded"));
}

// A window that leaves by itself asks for nothing then.
TEST(DesktopProgram, EndsAsTheAddInEndsIt) {
  const QTemporaryDir folder;
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  for (const auto& [misbehaviour, status, words] :
       {std::tuple("crash", SIGSEGV, "the host is ended by the signal SIGSEGV"),
        std::tuple("hang", 4, "a call of the add-in has not returned after the seconds of --timeo"),
        std::tuple("exit", 3, "the add-in ends the process")}) {
    environment.insert("MISBEHAVE", misbehaviour);
    const ProgramResult ended = runProgram("substitute-desktop",
                                           {"--quit", "--timeout", "1", "--data", folder.path(),
                                            "--addin", beside("libmisbehaving.so")},
                                           environment);
    EXPECT_EQ(ended.status, status);
    EXPECT_TRUE(ended.errors.startsWith(QByteArray("substitute-desktop: ") + words));
  }
}

TEST(DesktopProgram, SaysWhatIsWrong) {
  const QTemporaryDir folder;
  const QStringList data = {"--data", folder.path(), "--quit"};
  const std::tuple<QStringList, int, const char*> cases[] = {
      {{"--wrong"}, 2, "--wrong"},
      {{"--theme", "pink"}, 2, "'pink' is not light or dark"},
      {{"no-such"}, 2, "there is no scenario no-such; there are failing-host, "},
      {{"-"}, 2, "there is no scenario -; there are failing-host, "},
      {{"--addin", "/nowhere/lib.so"}, 1, "there is no library /nowhere/lib.so; see --addin."},
      {{"--site", folder.path()}, 2, "holds no learning.html."},
      {{"--screenshot", "/nowhere/a.png"}, 2, "cannot be written to /nowhere/a.png."},
      {{"--screenshot", folder.filePath("a.docx")}, 2, "cannot be written to "}};
  for (const auto& [arguments, status, words] : cases) {
    const ProgramResult ended = runProgram("substitute-desktop", data + arguments);
    EXPECT_EQ(ended.status, status) << words;
    EXPECT_TRUE(ended.errors.contains(words)) << ended.errors.toStdString();
  }
}

// A window needs a display, a picture does not.
TEST(DesktopProgram, SaysThatThereIsNoDisplay) {
  const QTemporaryDir folder;
  const QStringList data = {"--data", folder.path()};
  QProcessEnvironment blind = QProcessEnvironment::systemEnvironment();
  for (const char* const name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) {
    blind.remove(name);
  }
  const ProgramResult picture = runProgram(
      "substitute-desktop", data + QStringList{"--screenshot", folder.filePath("a.png")}, blind);
  EXPECT_EQ(picture.status, 0);
  EXPECT_EQ(picture.errors.toStdString(), "");
  const ProgramResult without = runProgram("substitute-desktop", data, blind);
  EXPECT_EQ(without.status, 2);
  EXPECT_EQ(without.errors,
            "substitute-desktop: there is no display to open a window on; "
            "substitute-host plays in the terminal.\n");
  blind.insert("DISPLAY", ":4077");
  const ProgramResult misled = runProgram("substitute-desktop", data, blind);
  EXPECT_EQ(misled.status, 2);
  EXPECT_EQ(misled.errors,
            "substitute-desktop: no window can be opened on the display :4077; "
            "substitute-host plays in the terminal.\n");
}

}  // namespace
