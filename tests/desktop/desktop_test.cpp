// The add-in in the window, with palette and page in the real web engine.
#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QProcess>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QTreeView>
#include <fstream>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/TraceModel.h"
#include "substitute/desktop/TracePanel.h"
#include "substitute/driver/HostMonitor.h"
#include "substitute/driver/OpenRecorder.h"
#include "substitute/driver/ScenarioRunner.h"
#include "substitute/driver/Velorin.h"
#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

using Runs = std::vector<std::vector<std::string>>;

constexpr const char* sketchAddress = "https://learning.velorin.example/fusion360/first-sketch.asp";

TEST_F(Desktop, FirstStartOpensThePaletteDocked) {
  startWithPage();
  const PaletteDock& dock = *learningDock();
  EXPECT_TRUE(dock.isVisible());
  EXPECT_FALSE(dock.isFloating());
  EXPECT_EQ(window.dockWidgetArea(learningDock()), Qt::RightDockWidgetArea);
  EXPECT_EQ(dock.width(), 300);
  EXPECT_EQ(host.state()["palettes"][0]["width"], 300);
  EXPECT_EQ(host.state()["palettes"][0]["height"], 400);
  EXPECT_EQ(dock.windowTitle(), "Velorin");
  EXPECT_TRUE(dock.findChild<QToolButton*>("close")->isVisible());
  EXPECT_EQ(inPage("document.readyState"), "complete");
  EXPECT_EQ(inPage("document.querySelector('h1').innerText"), QString::fromUtf8("První kroky"));
  ASSERT_NE(button(), nullptr);
  EXPECT_TRUE(button()->isVisible());
  EXPECT_EQ(button()->text().trimmed(), "Zobrazit velorin");
  EXPECT_TRUE(
      button()->toolTip().contains(QString::fromUtf8("Velorin je pomocník pro začátečníky")));
  // At the toolbar's right end, after the help control.
  const auto* const help = window.findChild<QToolButton*>("control:HelpGroupCommand");
  EXPECT_GT(button()->x(), help->x());
  EXPECT_GT(button()->geometry().right(), window.width() - 30);
}

// The add-in escapes nothing, so the engine parses the string as part of an address. A space
// becomes %20, and a Czech letter becomes its UTF-8 bytes, percent-encoded. "&" ends the value of
// `lic`. "#" ends the query; the rest is the fragment, which is not sent to a server. Percent
// signs, backslashes and further "#" do not change. The page's script has all of it in
// `location.href`.
TEST_F(Desktop, PageReadsItsAddress) {
  host.setEntitlement("Žlutý kůň & 5 % \\ syn #7, konec #8");
  startWithPage();
  EXPECT_EQ(inPage("location.protocol + '//' + location.host + location.pathname"),
            "https://learning.velorin.example/fusion360/learning.asp");
  EXPECT_EQ(inPage("location.search"),
            "?lang=CSY&lic=%C5%BDlut%C3%BD%20k%C5%AF%C5%88%20&%205%20%%20\\%20syn%20");
  EXPECT_EQ(inPage("location.hash"), "#7,%20konec%20#8");
  EXPECT_EQ(inPage("new URLSearchParams(location.search).get('lang')"), "CSY");
  EXPECT_EQ(inPage("new URLSearchParams(location.search).get('lic')"),
            QString::fromUtf8("Žlutý kůň "));
  EXPECT_EQ(inPage("document.getElementById('licence').innerText"),
            QString::fromUtf8("Žlutý kůň & 5 % \\ syn #7, konec #8"));
}

TEST_F(Desktop, LinkOpensItsAddress) {
  startWithPage();
  clickInPage(".lesson");
  ASSERT_TRUE(waitUntil([this] { return !monitor.opened().empty(); }));
  EXPECT_EQ(monitor.opened(), Runs({{sketchAddress}}));
  EXPECT_TRUE(waitUntilInPage("document.querySelector('.lesson').matches('.opened')"));
  EXPECT_TRUE(inPage("location.pathname").toString().endsWith("learning.asp"));
}

TEST_F(Desktop, PaletteMadeByGoingOnlineTakesMessages) {
  window.play("offline");
  window.play("start");
  ASSERT_EQ(learningDock(), nullptr);
  window.play("online");
  ASSERT_TRUE(pageLoaded());
  ASSERT_TRUE(pageSends("'\"first\"'"));
  EXPECT_EQ(monitor.opened(), Runs({{"first"}}));
}

TEST_F(Desktop, MessageReachesTheShellAsItStands) {
  startWithPage();
  ASSERT_TRUE(pageSends("'\"first second\"'"));
  ASSERT_TRUE(pageSends("'\"\"'"));
  ASSERT_TRUE(pageSends("'\"příště\"'"));
  EXPECT_EQ(monitor.opened(), Runs({{"first", "second"}, {}, {"příště"}}));
  // For an empty string the library throws, which the host survives, and nothing is run.
  ASSERT_TRUE(pageSends("''"));
  EXPECT_EQ(monitor.opened().size(), 3U);
  EXPECT_EQ(trace.back()["event"], "threw");
  EXPECT_EQ(trace.back()["type"], "std::out_of_range");
}

TEST_F(Desktop, ButtonBringsBackTheSamePage) {
  startWithPage();
  clickInPage("#search");
  QTest::keyClicks(view().focusProxy(), "otvor");
  ASSERT_TRUE(waitUntilInPage("document.getElementById('search').value === 'otvor'"));
  inPage("window.mark = 'still here'; 0");

  QTest::mouseClick(learningDock()->findChild<QToolButton*>("close"), Qt::LeftButton);
  ASSERT_NE(learningDock(), nullptr);
  EXPECT_FALSE(learningDock()->isVisible());
  EXPECT_EQ(host.state()["palettes"][0]["visible"], false);

  QTest::mouseClick(button(), Qt::LeftButton);
  EXPECT_TRUE(learningDock()->isVisible());
  EXPECT_EQ(host.state()["palettes"][0]["visible"], true);
  EXPECT_EQ(inPage("document.getElementById('search').value"), "otvor");
  EXPECT_EQ(inPage("window.mark"), "still here");
}

TEST_F(Desktop, GoingOnlineBringsThePaletteBackInTheFirstStarts) {
  auto* const offline = window.findChild<QAction*>("offline");
  for (const int count : {0, 3, 4}) {
    SCOPED_TRACE(count);
    setCounter(count);
    window.play("start");
    if (count == 4) {
      EXPECT_EQ(learningDock(), nullptr);
      QTest::mouseClick(button(), Qt::LeftButton);
    }
    ASSERT_NE(learningDock(), nullptr);
    EXPECT_TRUE(learningDock()->isVisible());
    QTest::mouseClick(learningDock()->findChild<QToolButton*>("close"), Qt::LeftButton);
    EXPECT_FALSE(learningDock()->isVisible());
    offline->trigger();
    EXPECT_FALSE(learningDock()->isVisible());
    offline->trigger();
    EXPECT_EQ(learningDock()->isVisible(), count < 4);
    window.play("stop");
  }
}

TEST_F(Desktop, PageOutOfReachIsTriedAgainWhenOnline) {
  window.play("offline");
  setCounter(4);
  window.play("start");
  window.play("click");
  ASSERT_TRUE(waitUntil([this] { return learningDock()->settled(); }));
  EXPECT_FALSE(learningDock()->loaded());
  const auto* const reason = learningDock()->findChild<QLabel*>("reason");
  EXPECT_TRUE(reason->isVisible());
  EXPECT_TRUE(reason->text().contains("offline")) << reason->text().toStdString();
  window.play("online");
  ASSERT_TRUE(pageLoaded());
  EXPECT_FALSE(reason->isVisible());
  EXPECT_TRUE(view().isVisible());
  EXPECT_EQ(inPage("location.pathname"), "/fusion360/learning.asp");
}

TEST_F(Desktop, StopClearsTheWindow) {
  startWithPage();
  window.play("stop");
  EXPECT_EQ(learningDock(), nullptr);
  EXPECT_TRUE(waitUntil([this] {
    return button() == nullptr && window.findChildren<PaletteDock*>().isEmpty() &&
           window.findChildren<QWebEnginePage*>().isEmpty();
  }));
  EXPECT_EQ(resourceCounts().references, 0);
  EXPECT_EQ(resourceCounts().strings, 0);
  startWithPage();
  ASSERT_NE(button(), nullptr);
}

// Whether a process runs. A zombie does not.
bool runs(qint64 process) {
  QFile file(QStringLiteral("/proc/%1/stat").arg(process));
  return file.open(QIODevice::ReadOnly) && !file.readAll().contains(") Z ");
}

TEST_F(Desktop, HundredStartsLeaveNoWindowAndNoPage) {
  const auto count = [] {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
    return std::tuple(QApplication::allWidgets().size(), QApplication::topLevelWindows().size(),
                      resourceCounts().objects);
  };
  std::vector<qint64> pages;  // the engine's processes for pages
  const auto startAndStop = [&](bool waitForPage) {
    setCounter(0);
    window.play("start");
    ASSERT_NE(learningDock(), nullptr);
    if (waitForPage) {
      ASSERT_TRUE(pageLoaded());
      pages.push_back(view().page()->renderProcessPid());
      ASSERT_TRUE(runs(pages.back()));
    }
    window.play("stop");
  };
  startAndStop(true);
  const auto before = count();
  for (int i = 0; i < 100; ++i) {
    startAndStop(i % 10 == 0);
    ASSERT_EQ(count(), before) << "start " << i;
    ASSERT_TRUE(window.findChildren<QWebEnginePage*>().isEmpty());
  }
  EXPECT_EQ(resourceCounts().references, 0);
  EXPECT_TRUE(waitUntil([&] { return std::none_of(pages.begin(), pages.end(), runs); }));
}

TEST_F(Desktop, PaletteFollowsTheValuesOfItsCreation) {
  adsk::core::Palette* const made = host.application().userInterface->palettes->add_raw(
      "bare", "Bare", "", true, false, false, 240, 180, true);
  made->dockingState_raw(static_cast<adsk::core::PaletteDockingStates>(3));
  window.play("state");
  const PaletteDock* const dock = window.dock("bare");
  ASSERT_NE(dock, nullptr);
  EXPECT_EQ(window.dockWidgetArea(window.dock("bare")), Qt::LeftDockWidgetArea);
  EXPECT_FALSE(dock->findChild<QToolButton*>("close")->isVisible());
  EXPECT_EQ(dock->minimumWidth(), 240);
  EXPECT_EQ(dock->maximumWidth(), 240);
  made->isVisible_raw(false);
  window.play("state");
  EXPECT_FALSE(dock->isVisible());
  made->deleteMe_raw();
  made->release();
  EXPECT_EQ(window.dock("bare"), nullptr);
}

TEST_F(Desktop, PaletteWithoutASizeTakesNoneFromItsNeighbour) {
  startWithPage();
  ASSERT_EQ(learningDock()->width(), 300);
  window.play("plant palette planted");
  static bool warned;
  warned = false;
  const QtMessageHandler others =
      qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& text) {
        warned = warned || text.contains("resizeDocks");
      });
  window.play("dock planted 4");
  qInstallMessageHandler(others);
  EXPECT_FALSE(warned);
  ASSERT_TRUE(waitUntil([this] { return window.dock("planted")->y() > learningDock()->y(); }));
  EXPECT_EQ(learningDock()->width(), 300);
}

TEST_F(Desktop, DetachingChangesThePaletteOfTheHost) {
  startWithPage();
  auto* const detach = learningDock()->findChild<QToolButton*>("float");
  QTest::mouseClick(detach, Qt::LeftButton);
  EXPECT_TRUE(learningDock()->isFloating());
  EXPECT_EQ(host.state()["palettes"][0]["dockingState"], 0);
  window.play("state");
  EXPECT_TRUE(learningDock()->isFloating());
  QTest::mouseClick(detach, Qt::LeftButton);
  EXPECT_FALSE(learningDock()->isFloating());
  EXPECT_EQ(host.state()["palettes"][0]["dockingState"], 4);
}

// The picture in `folder` for the toolbar's icon size at the screen's scale.
QImage fileFor(const QString& folder) {
  const QString scale = qApp->devicePixelRatio() > 1 ? "@2x" : "";
  return QImage(folder + "/32x32" + scale + ".png");
}

// Whether the button paints `picture` somewhere.
bool shows(QToolButton& button, const QImage& picture) {
  const qreal scale = qApp->devicePixelRatio();
  const auto onWhite = [scale](const QSize& size, const std::function<void(QPainter&)>& paint) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::white);
    image.setDevicePixelRatio(scale);
    QPainter painter(&image);
    paint(painter);
    painter.end();
    image.setDevicePixelRatio(1);
    return image;
  };
  const QImage painted = onWhite(button.size() * scale, [&](QPainter& painter) {
    button.render(&painter, {}, {}, QWidget::RenderFlags());
  });
  QImage source = picture;
  source.setDevicePixelRatio(scale);
  const QImage wanted =
      onWhite(picture.size(), [&](QPainter& painter) { painter.drawImage(0, 0, source); });
  for (int y = 0; y + wanted.height() <= painted.height(); ++y) {
    for (int x = 0; x + wanted.width() <= painted.width(); ++x) {
      if (painted.copy(QRect(QPoint(x, y), wanted.size())) == wanted) return true;
    }
  }
  return false;
}

TEST_F(Desktop, EveryIconFolderShows) {
  const QStringList names = {"resources/Velorin", "resources/Velorin/LessTen", "resources/Eshop",
                             "resources/Eshop/LessTen"};
  for (const QString& name : names) {
    SCOPED_TRACE(name.toStdString());
    const QImage wanted = fileFor(beside("") + name);
    ASSERT_FALSE(wanted.isNull());
    ASSERT_EQ(wanted.width(), 32 * qApp->devicePixelRatio());
    auto& definitions = *host.application().userInterface->definitions;
    definitions.addButtonDefinition_raw("pictured", "Pictured", "", name.toUtf8().constData())
        ->release();
    window.play("plant control pictured");
    auto* const pictured = window.findChild<QToolButton*>("control:pictured");
    ASSERT_NE(pictured, nullptr);
    EXPECT_EQ(pictured->toolButtonStyle(), Qt::ToolButtonTextBesideIcon);
    EXPECT_TRUE(shows(*pictured, wanted));
    for (const QString& different : names) {
      if (different != name) {
        EXPECT_FALSE(shows(*pictured, fileFor(beside("") + different)));
      }
    }
    window.play("remove control pictured");
    window.play("remove definition pictured");
    QTest::qWait(0);
  }
}

TEST_F(Desktop, ButtonBearsTheIconOfTheFolderThatTheAddInNamed) {
  window.play("start");
  ASSERT_NE(button(), nullptr);
  EXPECT_TRUE(shows(*button(), fileFor(beside("resources/Velorin/LessTen"))));
  window.play("stop");
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  window.play("start");
  ASSERT_NE(button(), nullptr);
  EXPECT_TRUE(shows(*button(), fileFor(beside("resources/Velorin"))));
}

TEST_F(Desktop, TracePanelGrowsAndFilters) {
  auto* const list = window.findChild<QTreeView*>("traceList");
  auto* const filter = window.findChild<QLineEdit*>("traceFilter");
  window.play("start");
  ASSERT_FALSE(trace.empty());
  EXPECT_EQ(list->model()->rowCount(), static_cast<int>(trace.size()));
  EXPECT_EQ(list->model()->index(0, TraceModel::call).data(), "run");
  QTest::keyClicks(filter, "palettes.");
  const auto about = std::count_if(trace.begin(), trace.end(), [](const Json& entry) {
    return line(entry).find("Palettes.") != std::string::npos;
  });
  EXPECT_GT(about, 0);
  EXPECT_EQ(list->model()->rowCount(), static_cast<int>(about));
  filter->clear();
  window.play("stop");
  EXPECT_EQ(list->model()->rowCount(), static_cast<int>(trace.size()));
  const std::string next = std::to_string(trace.size() + 1);
  QTest::mouseClick(window.findChild<QToolButton*>("clear"), Qt::LeftButton);
  EXPECT_EQ(list->model()->rowCount(), 0);
  window.play("start");
  EXPECT_EQ(list->model()->index(0, 0).data().toString().toStdString(), next);
}

TEST_F(Desktop, TracePanelHidesAndComesBackWithWhatHappenedMeanwhile) {
  auto* const panel = window.findChild<TracePanel*>();
  auto* const list = window.findChild<QTreeView*>("traceList");
  QAction& show = action("showTrace");
  EXPECT_TRUE(panel->isVisible());
  EXPECT_TRUE(show.isChecked());
  window.play("start");
  const int height = window.centralWidget()->height();
  show.trigger();
  EXPECT_FALSE(panel->isVisible());
  EXPECT_FALSE(show.isChecked());
  EXPECT_TRUE(waitUntil([&] { return window.centralWidget()->height() > height; }));
  window.play("stop");
  show.trigger();
  EXPECT_TRUE(panel->isVisible());
  EXPECT_TRUE(show.isChecked());
  EXPECT_EQ(list->model()->rowCount(), static_cast<int>(trace.size()));
  EXPECT_EQ(list->model()->index(list->model()->rowCount() - 1, TraceModel::call).data(),
            "stop returned");
  QTest::mouseClick(panel->findChild<QToolButton*>("close"), Qt::LeftButton);
  EXPECT_FALSE(panel->isVisible());
  EXPECT_FALSE(show.isChecked());
}

TEST_F(Desktop, MenuChangesTheLanguage) {
  EXPECT_TRUE(action("language:2").isChecked());
  action("language:3").trigger();
  EXPECT_EQ(host.state()["language"], 3);
  EXPECT_FALSE(action("language:2").isChecked());
  EXPECT_TRUE(action("language:3").isChecked());
  startWithPage();
  EXPECT_EQ(inPage("document.querySelector('h1').innerText"), "First steps");

  // An open palette keeps its page; the next start has the new language.
  action("language:2").trigger();
  EXPECT_EQ(host.state()["language"], 2);
  EXPECT_TRUE(action("language:2").isChecked());
  EXPECT_FALSE(action("language:3").isChecked());
  EXPECT_EQ(inPage("document.querySelector('h1').innerText"), "First steps");
  action("again").trigger();
  ASSERT_TRUE(pageLoaded());
  EXPECT_EQ(inPage("document.querySelector('h1').innerText"), QString::fromUtf8("První kroky"));
}

TEST_F(Desktop, MenuAsksForTheNumberOfALanguage) {
  EXPECT_EQ(answer("askLanguage", "17"), "2");
  EXPECT_EQ(host.state()["language"], 17);
  EXPECT_FALSE(action("language:2").isChecked());
  EXPECT_FALSE(action("language:3").isChecked());
  EXPECT_EQ(answer("askLanguage", std::nullopt), "17");
  EXPECT_EQ(host.state()["language"], 17);
  EXPECT_EQ(answer("askLanguage", "-2147483647"), "17");
  EXPECT_EQ(host.state()["language"], -2147483647);
  EXPECT_EQ(answer("askLanguage", "2"), "-2147483647");
  EXPECT_TRUE(action("language:2").isChecked());
}

TEST_F(Desktop, MenuChangesTheEntitlementText) {
  const std::string before = host.state()["entitlement"];
  EXPECT_EQ(answer("askEntitlement", std::nullopt).toStdString(), before);
  EXPECT_EQ(host.state()["entitlement"], before);
  EXPECT_EQ(answer("askEntitlement", QString::fromUtf8(" Žlutý & kůň")).toStdString(), before);
  EXPECT_EQ(host.state()["entitlement"], " Žlutý & kůň");
  EXPECT_TRUE(action("noEntitlement").isEnabled());
  startWithPage();
  EXPECT_EQ(inPage("document.getElementById('licence').innerText"),
            QString::fromUtf8("Žlutý & kůň"));

  // No text differs from an empty one in the host, but not in the address of the page.
  action("noEntitlement").trigger();
  EXPECT_EQ(host.state()["entitlement"], nullptr);
  EXPECT_FALSE(action("noEntitlement").isEnabled());
  action("again").trigger();
  ASSERT_TRUE(pageLoaded());
  EXPECT_EQ(inPage("location.search"), "?lang=CSY&lic=");
  EXPECT_EQ(answer("askEntitlement", ""), "");
  EXPECT_EQ(host.state()["entitlement"], "");
  EXPECT_TRUE(action("noEntitlement").isEnabled());
}

TEST_F(Desktop, MenuHidesAndShowsThePalette) {
  EXPECT_FALSE(action("showPalette").isEnabled());
  startWithPage();
  EXPECT_TRUE(action("showPalette").isEnabled());
  EXPECT_TRUE(action("showPalette").isChecked());
  action("showPalette").trigger();
  EXPECT_FALSE(learningDock()->isVisible());
  EXPECT_EQ(host.state()["palettes"][0]["visible"], false);
  EXPECT_FALSE(action("showPalette").isChecked());
  action("showPalette").trigger();
  EXPECT_TRUE(learningDock()->isVisible());
  EXPECT_EQ(host.state()["palettes"][0]["visible"], true);
  window.play("stop");
  EXPECT_FALSE(action("showPalette").isEnabled());
  EXPECT_FALSE(action("showPalette").isChecked());
}

TEST_F(Desktop, ClosingTheWindowStopsTheAddIn) {
  startWithPage();
  window.close();
  EXPECT_FALSE(runner.loaded());
  EXPECT_EQ(trace.back()["event"], "stop returned");
}

TEST_F(Desktop, SiteServesItsOwnFolderOnly) {
  const auto answerTo = [](const QByteArray& path) {
    QSslSocket socket;
    socket.setPeerVerifyMode(QSslSocket::VerifyNone);
    const QByteArray port = site().engineSwitch().split(':').last().chopped(1);
    socket.connectToHostEncrypted("127.0.0.1", port.toUShort());
    EXPECT_TRUE(waitUntil([&] { return socket.isEncrypted(); }));
    EXPECT_TRUE(site().isOwnCertificate(socket.peerCertificate()));
    socket.write("GET " + path + " HTTP/1.1\r\nHost: " + LearningSite::host + "\r\n\r\n");
    EXPECT_TRUE(waitUntil([&] { return socket.state() == QAbstractSocket::UnconnectedState; }));
    return socket.readAll();
  };
  EXPECT_TRUE(answerTo("/fusion360/learning.asp?lang=CSY").startsWith("HTTP/1.1 200 "));
  EXPECT_TRUE(answerTo("/fusion360/learning.css").contains("text/css"));
  for (const QByteArray path : {"/fusion360/../learning-site.key", "/fusion360/none.asp", "/",
                                "/fusion360/%2e%2e/learning-site.key", "/fusion360//etc/passwd"}) {
    EXPECT_TRUE(answerTo(path).startsWith("HTTP/1.1 404 ")) << path.toStdString();
  }
  EXPECT_FALSE(site().isOwnCertificate(QSslCertificate()));
}

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
    const QList<QByteArray> seen = contentOf(path + "/window.trace").split('\n');
    const QList<QByteArray> wanted = contentOf(path + "/terminal.trace").split('\n');
    EXPECT_GT(wanted.size(), 2);
    ASSERT_EQ(seen.size(), wanted.size());
    for (int i = 0; i < wanted.size(); ++i) ASSERT_EQ(seen[i], wanted[i]) << "line " << i + 1;
  }
}

TEST(DesktopProgram, ReportsThatTheLibraryHasGone) {
  const QTemporaryDir folder;
  const QString library = folder.filePath("Velorin.so");
  const QString trace = folder.filePath("trace");
  ASSERT_TRUE(QFile::copy(beside("Velorin.so"), library));
  std::ofstream(folder.filePath("late.txt").toStdString()) << "offline\noffline\noffline\nstart\n";
  QProcess process;
  process.start(beside("substitute-desktop"), {folder.filePath("late.txt"), "--data", folder.path(),
                                               "--trace", trace, "--addin", library});
  // The trace file is created after the library was loaded once.
  ASSERT_TRUE(waitUntil([&] { return QFile::exists(trace); }));
  ASSERT_TRUE(QFile::remove(library));
  ASSERT_TRUE(process.waitForFinished(longestWait));
  EXPECT_EQ(process.exitCode(), 1);
  const QByteArray errors = process.readAllStandardError();
  EXPECT_TRUE(
      errors.contains("substitute-desktop: there is no library " + library.toUtf8() + ".\n"))
      << errors.toStdString();
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
  // The page on the right is painted in the dark theme: bright pixels on a dark background.
  const QRect page(picture.width() - 280, 150, 260, 300);
  int bright = 0;
  int dark = 0;
  int accent = 0;  // pixels of a colour that only the page's style sheet has
  for (int y = page.top(); y < page.bottom(); ++y) {
    for (int x = page.left(); x < page.right(); ++x) {
      const int value = qGray(picture.pixel(x, y));
      bright += value > 180;
      dark += value < 80;
      accent += picture.pixel(x, y) == qRgb(0x5a, 0xa7, 0xef);
    }
  }
  EXPECT_GT(bright, 200);
  EXPECT_GT(accent, 50);
  EXPECT_GT(dark, page.width() * page.height() / 2);
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

TEST(DesktopProgram, SaysWhatIsWrong) {
  const QTemporaryDir folder;
  const QStringList data = {"--data", folder.path()};
  const auto expect = [&](const QStringList& arguments, int status, const char* words) {
    const ProgramResult ended = runProgram("substitute-desktop", data + arguments);
    EXPECT_EQ(ended.status, status);
    EXPECT_TRUE(ended.errors.contains(words)) << ended.errors.toStdString();
  };
  expect({"--wrong"}, 2, "--wrong");
  expect({"--theme", "pink"}, 2, "light");
  expect({"no-such"}, 2, "there is no scenario no-such; there are failing-host, ");
  expect({"--quit", "--addin", "/nowhere/lib.so"}, 1,
         "there is no library /nowhere/lib.so; see --addin.");
  expect({"--quit", "--site", folder.path()}, 2, "holds no learning.html.");
  expect({"--screenshot", "/nowhere/a.png"}, 2, "no folder for the screenshot /nowhere/a.png");
  expect({"--screenshot", folder.filePath("a.docx")}, 2, "a.docx; the formats are ");

  QProcessEnvironment blind = QProcessEnvironment::systemEnvironment();
  for (const char* const name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
    blind.remove(name);
  const ProgramResult ended = runProgram("substitute-desktop", data, blind);
  EXPECT_EQ(ended.status, 2);
  EXPECT_EQ(ended.errors,
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
