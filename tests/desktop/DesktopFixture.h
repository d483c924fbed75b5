// The fixture for tests of the window: a host with its window, on the platform "offscreen".
#pragma once

#include <gtest/gtest.h>

#include <QWebEnginePage>
#include <QWebEngineView>
#include <QtTest>
#include <QtWidgets>
#include <filesystem>
#include <fstream>
#include <functional>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/LearningSite.h"
#include "substitute/desktop/MainWindow.h"
#include "substitute/desktop/PaletteDock.h"
#include "substitute/desktop/Theme.h"
#include "substitute/desktop/WebPage.h"
#include "substitute/desktop/Widgets.h"
#include "substitute/driver/Folders.h"
#include "substitute/driver/HostMonitor.h"
#include "substitute/driver/OpenRecorder.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/ScenarioRunner.h"
#include "substitute/driver/Velorin.h"

namespace substitute {

inline constexpr int longestWait = 60000;

inline QString beside(const char* name) {
  return QString::fromStdString(besideProgram(name));
}

// One for the process, since the engine reads its port only once.
inline const LearningSite& site() {
  static const LearningSite site(beside("site"), beside("learning-site.crt"),
                                 beside("learning-site.key"));
  return site;
}

// The theme of window and pages, also one for the process: VELORIN_TEST_THEME, or light.
inline Theme testTheme() {
  return qgetenv("VELORIN_TEST_THEME") == "dark" ? Theme::dark : Theme::light;
}

// Runs the event loop until `condition` is true. False when it is not within a minute. (QTest's own
// functions give the engine too little time.)
inline bool waitUntil(const std::function<bool()>& condition) {
  QEventLoop loop;
  QElapsedTimer clock;
  clock.start();
  QTimer poll;
  QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
    if (condition() || clock.hasExpired(longestWait)) loop.quit();
  });
  poll.start(5);
  loop.exec();
  return condition();
}

// The value of a JavaScript expression in a page.
inline QVariant valueIn(QWebEnginePage& page, const QString& expression) {
  QVariant result;
  bool done = false;
  page.runJavaScript(expression, [&](const QVariant& value) {
    result = value;
    done = true;
  });
  EXPECT_TRUE(waitUntil([&] { return done; })) << expression.toStdString();
  return result;
}

// When a dialog is open, has `use` deal with it.
template <class Dialog>
void inDialog(const std::function<void(Dialog&)>& use) {
  QTimer::singleShot(0, qApp, [use] {
    auto* const dialog = qobject_cast<Dialog*>(QApplication::activeModalWidget());
    ASSERT_NE(dialog, nullptr);
    use(*dialog);
  });
}

// The same for a dialog that asks for a file.
inline void typeInFileDialog(const QString& path) {
  inDialog<QFileDialog>([path](QFileDialog& dialog) {
    auto* const name = dialog.findChild<QLineEdit*>("fileNameEdit");
    name->setText(path);
    QTest::keyClick(name, Qt::Key_Return);
  });
}

// A host with its window. The add-in is not started yet.
class Desktop : public testing::Test {
 protected:
  Desktop() {
    window.show();
    activate();
    subscription =
        host.interceptor().trace.subscribe([this](const Json& entry) { trace.push_back(entry); });
  }

  static Settings settingsIn(const QTemporaryDir& folder) {
    const std::string path = folder.path().toStdString();
    std::filesystem::create_directories(addinFolderIn(path));
    return substitute::settingsIn(path);
  }

  // Only an active window has focus and shortcuts; no window manager activates it.
  void activate() {
    window.activateWindow();
    EXPECT_TRUE(waitUntil([this] { return window.isActiveWindow(); }));
  }

  // Presses a key as the system does, in the window that has the focus.
  static void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
    ASSERT_TRUE(waitUntil([] { return QGuiApplication::focusWindow() != nullptr; }));
    QTest::keyClick(QGuiApplication::focusWindow(), key, modifiers);
  }

  void play(std::initializer_list<const char*> lines) {
    for (const char* const line : lines) window.play(line);
  }

  // A part of the window, or of `parent`. Throws std::runtime_error when there is none.
  template <class Widget>
  Widget& part(const QString& name, const QObject* parent = nullptr) const {
    auto* const found = (parent == nullptr ? &window : parent)->findChild<Widget*>(name);
    if (found == nullptr) throw std::runtime_error(name.toStdString());
    return *found;
  }

  // The entry of a menu by its object name.
  QAction& action(const char* name) const { return part<QAction>(name); }

  // Sets the counter that the next start finds in the info file.
  void setCounter(int count) { std::ofstream(infoFileOf(host)) << "1.1.2026\n" << count << '\n'; }

  void addPalette(const char* id, const QString& title, int state = 4, int height = 300,
                  const char* address = "", bool closeButton = true, bool resizable = true) {
    adsk::core::Palette* const made = host.application().userInterface->palettes->add_raw(
        id, title.toUtf8().constData(), address, true, closeButton, resizable, 300, height, true);
    made->dockingState_raw(static_cast<adsk::core::PaletteDockingStates>(state));
    made->release();
    window.play("language 2");
  }

  PaletteDock* learningDock() const { return window.dock("teachPalete"); }
  QWebEngineView& view() const { return learningDock()->view(); }
  QToolButton* button() const { return window.findChild<QToolButton*>("control:runTeachPalette"); }

  bool pageLoaded() const {
    return waitUntil([this] { return learningDock() && learningDock()->loaded(); });
  }

  // Starts the add-in and waits for the page that it opens.
  void startWithPage() {
    window.play("start");
    ASSERT_NE(learningDock(), nullptr);
    ASSERT_TRUE(pageLoaded());
  }

  // The value of a JavaScript expression in the learning page.
  QVariant inPage(const QString& expression) const { return valueIn(*view().page(), expression); }

  bool waitUntilInPage(const QString& expression) {
    return waitUntil([&] { return inPage(expression).toBool(); });
  }

  // Has the page send `data`, a JavaScript expression. True once the page has the answer.
  bool pageSends(const QString& data) {
    inPage(QStringLiteral("window.answered = false; adsk.fusionSendData('open', %1)"
                          ".then(() => { window.answered = true; }); 0")
               .arg(data));
    return waitUntilInPage("window.answered");
  }

  QTemporaryDir folder;
  Host host{settingsIn(folder)};
  OpenRecorder recorder{host};
  HostMonitor monitor{host};
  std::ostringstream report;
  ScenarioRunner runner{host, besideProgram("Velorin.so"), report};
  WebEngine engine{host, site(), testTheme()};
  MainWindow window{host, runner, engine, besideProgram("Velorin.so")};
  std::vector<Json> trace;
  Signal<Json>::Subscription subscription;
};

// The output and the exit status of one of the project's programs.
struct ProgramResult {
  int status = -1;
  QByteArray output;
  QByteArray errors;
};

// The switches that the user gave the engine, before the tests of this process added their own.
inline const QByteArray originalEngineSwitches = qgetenv("QTWEBENGINE_CHROMIUM_FLAGS");

inline ProgramResult runProgram(
    const char* name, const QStringList& arguments,
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment()) {
  environment.insert("QTWEBENGINE_CHROMIUM_FLAGS", originalEngineSwitches);
  QProcess process;
  process.setProcessEnvironment(environment);
  process.start(beside(name), arguments);
  EXPECT_TRUE(process.waitForFinished(longestWait)) << name;
  return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

inline QByteArray contentOf(const QString& name) {
  QFile file(name);
  EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
  return file.readAll();
}

}  // namespace substitute
