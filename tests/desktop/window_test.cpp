// The add-in in the window, with palette and page in the real web engine.
#include <QSslSocket>
#include <set>

#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

TEST_F(Desktop, FirstStartOpensThePaletteDocked) {
  startWithPage();
  const PaletteDock& dock = *learningDock();
  EXPECT_TRUE(dock.isVisible());
  EXPECT_FALSE(dock.isFloating());
  EXPECT_EQ(window.dockWidgetArea(learningDock()), Qt::RightDockWidgetArea);
  EXPECT_EQ(dock.width(), 300);
  EXPECT_EQ(dock.windowTitle(), "Velorin");
  EXPECT_EQ(inPage("document.querySelector('h1').innerText"), QString::fromUtf8("První kroky"));
  ASSERT_NE(button(), nullptr);
  EXPECT_EQ(button()->text().trimmed(), "Zobrazit velorin");
  EXPECT_TRUE(
      button()->toolTip().contains(QString::fromUtf8("Velorin je pomocník pro začátečníky")));
  // At the toolbar's right end, after the help control.
  EXPECT_GT(button()->x(), part<QToolButton>("control:HelpGroupCommand").x());
  EXPECT_GT(button()->mapTo(&window, QPoint(button()->width(), 0)).x(), window.width() - 30);
}

// The palette is made by going online.
TEST_F(Desktop, MessagesReachTheShellAsTheyStand) {
  play({"offline", "start"});
  ASSERT_EQ(learningDock(), nullptr);
  window.play("online");
  ASSERT_TRUE(pageLoaded());
  for (const char* const data : {"'\"first second\"'", "'\"\"'", "'\"příště\"'"}) {
    ASSERT_TRUE(pageSends(QString::fromUtf8(data)));
  }
  EXPECT_EQ(monitor.opened(),
            (std::vector<std::vector<std::string>>{{"first", "second"}, {}, {"příště"}}));
  // For an empty string the library throws, which the host survives, and nothing is run.
  ASSERT_TRUE(pageSends("''"));
  EXPECT_EQ(monitor.opened().size(), 3U);
  EXPECT_EQ(trace.back()["type"], "std::out_of_range");
}

TEST_F(Desktop, PageOutOfReachIsTriedAgainWhenOnline) {
  setCounter(4);
  play({"offline", "start", "click"});
  ASSERT_TRUE(waitUntil([this] { return learningDock()->settled(); }));
  EXPECT_FALSE(learningDock()->loaded());
  const auto& reason = part<QLabel>("reason", learningDock());
  EXPECT_EQ(reason.text(), "The host is offline. It loads the page when it goes online.");
  const QString message = part<ElidedLabel>("message").fullText();
  EXPECT_TRUE(message.startsWith("The page of teachPalete could not be shown. The host "));
  EXPECT_FALSE(part<QWidget>("retry", learningDock()).isVisible());
  window.play("online");
  ASSERT_TRUE(pageLoaded());
  EXPECT_FALSE(reason.isVisible());
  EXPECT_TRUE(view().isVisible());
}

TEST_F(Desktop, HundredStartsLeaveNoWindowAndNoPage) {
  std::set<std::tuple<qsizetype, qsizetype, long>> counts;
  for (int i = 0; i < 100; ++i) {
    setCounter(0);
    window.play("start");
    ASSERT_TRUE(i % 10 != 0 || pageLoaded());
    window.play("stop");
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
    counts.emplace(QApplication::allWidgets().size(), QApplication::topLevelWindows().size(),
                   resourceCounts().objects);
    ASSERT_EQ(counts.size(), 1U) << "start " << i;
  }
}

TEST_F(Desktop, PaletteFollowsTheValuesOfItsCreation) {
  addPalette("bare", "Bare", 3, 180, "", false, false);
  PaletteDock* const dock = window.dock("bare");
  ASSERT_NE(dock, nullptr);
  EXPECT_EQ(window.dockWidgetArea(dock), Qt::LeftDockWidgetArea);
  EXPECT_FALSE(part<QToolButton>("close", dock).isVisible());
  EXPECT_FALSE(action("closePalette").isEnabled());
  EXPECT_EQ(dock->minimumWidth(), 300);
  EXPECT_EQ(dock->maximumWidth(), 300);
  window.play("hide bare");
  EXPECT_FALSE(dock->isVisible());
  window.play("remove palette bare");
  EXPECT_EQ(window.dock("bare"), nullptr);
}

// At scale 2, too, it is the picture that was drawn for that size.
TEST_F(Desktop, ButtonBearsTheIconOfItsFolder) {
  const bool isDouble = qApp->devicePixelRatio() > 1;
  const auto expectIcon = [&](const QToolButton& shown, const QString& icons) {
    const QImage file(beside("") + icons + (isDouble ? "/32x32@2x.png" : "/32x32.png"));
    ASSERT_EQ(file.width(), isDouble ? 64 : 32);
    const QImage icon = shown.icon().pixmap(shown.iconSize(), qApp->devicePixelRatio()).toImage();
    EXPECT_EQ(icon, file.convertToFormat(icon.format())) << icons.toStdString();
  };
  auto& definitions = *host.application().userInterface->definitions;
  for (const char* const icons : {"resources/Velorin", "resources/Velorin/LessTen",
                                  "resources/Eshop", "resources/Eshop/LessTen"}) {
    definitions.addButtonDefinition_raw("pictured", "Pictured", "", icons)->release();
    window.play("plant control pictured");
    expectIcon(part<QToolButton>("control:pictured"), icons);
    play({"remove control pictured", "remove definition pictured"});
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }
  window.play("start");
  expectIcon(*button(), "resources/Velorin/LessTen");
}

// What each entry and its shortcut do, one after the other.
TEST_F(Desktop, MenusAndShortcutsChangeTheHost) {
  // Without a shortcut, the entry is triggered.
  using Step = std::tuple<const char*, QKeySequence, const char*, Json>;
  const std::vector<Step> steps = {
      {"start", Qt::Key_F9, "/run", true},
      {"press", Qt::CTRL | Qt::Key_B, "/palettes/0/visible", true},
      {"showPalette", Qt::CTRL | Qt::SHIFT | Qt::Key_P, "/palettes/0/visible", false},
      {"showPalette", Qt::CTRL | Qt::SHIFT | Qt::Key_P, "/palettes/0/visible", true},
      {"closePalette", Qt::CTRL | Qt::Key_W, "/palettes/0/visible", false},
      {"offline", Qt::CTRL | Qt::SHIFT | Qt::Key_O, "/offline", true},
      {"offline", Qt::CTRL | Qt::SHIFT | Qt::Key_O, "/offline", false},
      {"language:3", {}, "/language", 3},
      {"language:2", {}, "/language", 2},
      {"again", Qt::CTRL | Qt::Key_F9, "/infoLines/1", "2"},
      {"newUser", {}, "/infoLines/1", "1"},
      {"stop", Qt::SHIFT | Qt::Key_F9, "/stop", true}};
  for (const char* const none : {"stop", "press", "showPalette", "closePalette"}) {
    EXPECT_FALSE(action(none).isEnabled()) << none;
  }
  for (const auto& [entry, shortcut, pointer, value] : steps) {
    SCOPED_TRACE(entry);
    ASSERT_TRUE(action(entry).isEnabled());
    EXPECT_EQ(action(entry).shortcut(), shortcut);
    if (shortcut.isEmpty()) {
      action(entry).trigger();
    } else {
      QTest::keySequence(&window, shortcut);
    }
    EXPECT_EQ(runner.state().at(Json::json_pointer(pointer)), value);
    EXPECT_EQ(action(entry).isChecked(), action(entry).isCheckable() && value != false);
  }
}

TEST_F(Desktop, SiteServesItsOwnFolderOnly) {
  const auto answerTo = [](const QByteArray& path) {
    QSslSocket socket;
    socket.setPeerVerifyMode(QSslSocket::VerifyNone);
    const QByteArray port = site().engineSwitch().split(':').last().chopped(1);
    socket.connectToHostEncrypted("127.0.0.1", port.toUShort());
    EXPECT_TRUE(waitUntil([&] { return socket.isEncrypted(); }));
    socket.write("GET " + path + " HTTP/1.1\r\nHost: " + LearningSite::host + "\r\n\r\n");
    EXPECT_TRUE(waitUntil([&] { return socket.state() == QAbstractSocket::UnconnectedState; }));
    return socket.readAll();
  };
  EXPECT_TRUE(answerTo("/fusion360/learning.asp?lang=CSY").startsWith("HTTP/1.1 200 "));
  for (const QByteArray path : {"/fusion360/../learning-site.key", "/",
                                "/fusion360/%2e%2e/learning-site.key", "/fusion360//etc/passwd"}) {
    EXPECT_TRUE(answerTo(path).startsWith("HTTP/1.1 404 ")) << path.toStdString();
  }
}

}  // namespace
