// The layout of the window: on its screen, with long names, and with many or floating palettes.
#include "substitute/desktop/CommandPanel.h"
#include "substitute/desktop/Playback.h"
#include "substitute/desktop/TracePanel.h"
#include "substitute/desktop/Widgets.h"
#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

class WindowLayout : public Desktop {
 protected:
  QRect placeOf(const QWidget& widget) const {
    return {widget.mapToGlobal(QPoint()), widget.size()};
  }

  bool inWindow(const QWidget& widget) const {
    return placeOf(window).contains(placeOf(widget)) && !widget.visibleRegion().isEmpty();
  }

  QRect canvas() const { return placeOf(*window.centralWidget()); }
  TracePanel& trace_ = part<TracePanel>("trace");
  CommandPanel& commands = part<CommandPanel>("commands");
};

// In several variants: on small screens, and at scale 2.
TEST_F(WindowLayout, FitsItsScreen) {
  const QSize room = window.screen()->availableSize();
  startWithPage();
  window.useLayout(folder.filePath("none"));
  QCoreApplication::processEvents();
  EXPECT_LE(window.width(), room.width());
  EXPECT_LE(window.height(), room.height());
  const int twoFifths = window.height() * 2 / 5;
  EXPECT_NEAR(trace_.height(), twoFifths, 3);
  EXPECT_GE(canvas().height(), window.height() / 4);
  EXPECT_LE(commands.width(), 301);
  for (QWidget* const pane : {static_cast<QWidget*>(&trace_), static_cast<QWidget*>(&commands),
                              static_cast<QWidget*>(learningDock())}) {
    EXPECT_TRUE(inWindow(*pane)) << pane->objectName().toStdString();
  }
}

TEST_F(WindowLayout, IsRemembered) {
  const QString file = folder.filePath("layout");
  window.useLayout(file);
  window.resize(900, 610);
  window.resizeDocks({&trace_}, {200}, Qt::Vertical);
  commands.hide();
  QCoreApplication::processEvents();
  window.close();
  MainWindow again(host, runner, engine, besideProgram("Velorin.so"));
  again.useLayout(file);
  again.show();
  EXPECT_EQ(again.size(), QSize(900, 610));
  EXPECT_EQ(part<TracePanel>("trace", &again).height(), 200);
  EXPECT_TRUE(part<CommandPanel>("commands", &again).isHidden());
}

TEST_F(WindowLayout, IsPaintedBeforeTheAddInStarts) {
  MainWindow later(host, runner, engine, besideProgram("Velorin.so"));
  later.playback().add({parseCommand("start")});
  later.playWhenPainted();
  QCoreApplication::processEvents();
  EXPECT_FALSE(runner.loaded());
  later.show();
  EXPECT_TRUE(waitUntil([this] { return runner.loaded(); }));
}

TEST_F(WindowLayout, ButtonsOfHostAndScenarioStandAtTheLeft) {
  const auto& controls = part<QToolBar>("controls");
  action("speed:atOnce").trigger();
  QStringList names;
  for (QAction* const action : controls.actions()) names << action->iconText();
  EXPECT_EQ(names, QStringList({"Start", "Stop", "Offline", "Next", "Play", "To the end at once"}));
  EXPECT_EQ(controls.x(), 0);
  EXPECT_LT(controls.geometry().right(), part<QToolBar>("toolbar:QATRight").geometry().left());
}

TEST_F(WindowLayout, PalettesOnOneSideShareItAndFitTheScreen) {
  const QSize size = window.size();
  for (int i = 0; i < 20; ++i) {
    addPalette(("side-" + std::to_string(i)).c_str(), "Side", 4, 300, "https://nowhere.example/");
    if (i != 1) continue;
    ASSERT_TRUE(
        waitUntil([this] { return window.dock("side-1")->y() > window.dock("side-0")->y(); }));
    EXPECT_NEAR(window.dock("side-1")->height(), window.dock("side-0")->height(), 3);
    EXPECT_EQ(window.dock("side-0")->width(), 300);
  }
  ASSERT_TRUE(waitUntil([this] { return window.settled(); }));
  QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
  EXPECT_EQ(window.size(), size);
  EXPECT_LE(window.minimumSizeHint().height(), 720);
  EXPECT_TRUE(inWindow(*window.dock("side-0")));
  EXPECT_TRUE(inWindow(*window.dock("side-19")));
  EXPECT_GE(window.dock("side-19")->height(), 120);
}

// A palette that was dragged onto another pane, or has no room of its own, is a tab.
TEST_F(WindowLayout, TabsComeToTheFrontWhenTheyAreUsed) {
  window.play("start");
  addPalette("other", "Other");
  QDockWidget& other = *window.dock("other");
  const std::pair<QDockWidget*, std::function<void()>> uses[] = {
      {learningDock(), [this] { QTest::mouseClick(button(), Qt::LeftButton); }},
      {learningDock(), [this] { window.play("show"); }},
      {&commands, [] { press(Qt::Key_L, Qt::ControlModifier); }},
      {&trace_, [] { press(Qt::Key_F, Qt::ControlModifier); }},
      {&commands, [this] { commands.showMessage("Said."); }}};
  for (const auto& [pane, use] : uses) {
    const auto inFront = [](const QWidget& one) { return !one.visibleRegion().isEmpty(); };
    window.tabifyDockWidget(pane, &other);
    other.raise();
    ASSERT_TRUE(waitUntil([&, hidden = pane] { return inFront(other) && !inFront(*hidden); }));
    use();
    EXPECT_TRUE(waitUntil([&, shown = pane] { return inFront(*shown); }));
  }
}

TEST_F(WindowLayout, FloatingPaletteOpensOverTheCanvasAndOnTheScreen) {
  const QRect screen = window.screen()->availableGeometry();
  const std::pair<int, int> palettes[] = {{0, 300}, {1, 300},  {2, 300}, {3, 300},
                                          {4, 300}, {0, 5000}, {4, 5000}};
  for (const auto& [state, height] : palettes) {
    SCOPED_TRACE(std::to_string(state) + ", " + std::to_string(height));
    addPalette("loose", "Loose", state, height);
    PaletteDock& dock = *window.dock("loose");
    if (state != 0) QTest::mouseClick(&part<QToolButton>("float", &dock), Qt::LeftButton);
    ASSERT_TRUE(dock.isFloating());
    EXPECT_TRUE(screen.contains(placeOf(dock)));
    EXPECT_EQ(dock.height(), std::min(height, screen.height()));
    EXPECT_TRUE(height != 300 || canvas().contains(placeOf(dock)));
    window.play("remove palette loose");
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }
  addPalette("one", "One", 0);
  addPalette("two", "Two", 0);
  EXPECT_NE(window.dock("one")->pos(), window.dock("two")->pos());
}

// A drag is what happens while the mouse button is down.
TEST_F(WindowLayout, DragIsOneDockAndEndsOnTheScreen) {
  play({"start", "dock teachPalete 1"});
  PaletteDock& dock = *learningDock();
  const auto drag = [&](const std::function<void()>& drop, int state) {
    const int before = commands.current();
    QTest::mousePress(window.windowHandle(), Qt::LeftButton, {}, canvas().center());
    dock.setFloating(true);
    QCoreApplication::processEvents();
    drop();
    QCoreApplication::processEvents();
    window.play("language 2");  // does not move it back
    EXPECT_EQ(dock.isFloating(), state == 0);
    QTest::mouseRelease(window.windowHandle(), Qt::LeftButton, {}, canvas().center());
    ASSERT_TRUE(waitUntil([&] { return commands.current() == before + 2; }));
    EXPECT_EQ(host.state()["palettes"][0]["dockingState"], state);
  };
  drag([] {}, 0);
  EXPECT_EQ(dock.size(), QSize(300, 400));
  EXPECT_TRUE(window.screen()->availableGeometry().contains(placeOf(dock)));
  const auto dropAtLeft = [&] {
    window.addDockWidget(Qt::LeftDockWidgetArea, &dock);
    dock.setFloating(false);
  };
  drag(dropAtLeft, 3);
  for (const int state : {0, 3}) {
    const int before = commands.current();
    QTest::mouseClick(&part<QToolButton>("float", &dock), Qt::LeftButton);
    ASSERT_TRUE(waitUntil([&] { return commands.current() == before + 1; }));
    EXPECT_EQ(host.state()["palettes"][0]["dockingState"], state);
  }
}

TEST_F(WindowLayout, ToolbarShowsThatThereAreMoreControls) {
  for (int i = 1; i <= 40; ++i) window.play("plant control planted-" + std::to_string(i));
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  auto& more = part<QToolButton>("qt_toolbar_ext_button", &part<QToolBar>("toolbar:QATRight"));
  ASSERT_TRUE(waitUntil([&] { return more.isVisible(); }));
  EXPECT_EQ(more.accessibleName(), "More controls");
  auto& last = part<QToolButton>("control:planted-40");
  EXPECT_FALSE(last.isVisible());
  more.setFocus();
  press(Qt::Key_Space);
  EXPECT_TRUE(waitUntil([&] { return last.isVisible(); }));
}

TEST_F(WindowLayout, LongNamesAreShortenedAndWholeInTheTooltip) {
  const QString name = QString(150, 'n') + "<h1>x</h1> & y";
  host.application()
      .userInterface->definitions
      ->addButtonDefinition_raw("long", name.toUtf8().constData(), "<b>tip</b>", "")
      ->release();
  window.play("plant control long");
  auto& control = part<QToolButton>("control:long");
  EXPECT_LE(control.width(), 300);
  EXPECT_TRUE(control.text().endsWith("x</h1> && y"));
  EXPECT_EQ(control.accessibleName(), name);
  EXPECT_TRUE(control.toolTip().remove(QChar(0x200B)).contains(name.toHtmlEscaped()));
  EXPECT_TRUE(control.toolTip().endsWith("<p>&lt;b&gt;tip&lt;/b&gt;</p>"));
  addPalette("wide", name);
  const auto& title = part<ElidedLabel>("title", window.dock("wide"));
  ASSERT_TRUE(waitUntil([&] { return title.elidedText().endsWith(QChar(0x2026)); }));
  EXPECT_EQ(title.toolTip().remove(QChar(0x200B)), "<p>" + name.toHtmlEscaped() + "</p>");
  EXPECT_EQ(window.dock("wide")->width(), 300);
}

TEST(Tooltip, BreaksLongWordsBetweenCharacters) {
  const QString word(32, 'x');
  const QString accented = QString(32, 'e').replace('e', QString("e") + QChar(0x301));
  for (const QString& whole : {word, QString(word + ' ' + word), accented}) {
    EXPECT_EQ(toTooltip(whole), "<p>" + whole + "</p>");
  }
  for (const QString& begin : {word, accented, QString(64, 'x').replace("xx", "🐎")}) {
    EXPECT_EQ(toTooltip(begin + "y z"), "<p>" + begin + QChar(0x200B) + "y z</p>");
  }
}

// It has no ligatures: Inter would draw "->" as an arrow.
TEST_F(WindowLayout, FontDrawsEachCharacterAsItIs) {
  const QFontMetricsF font(part<QLabel>("message").font());
  EXPECT_DOUBLE_EQ(font.horizontalAdvance("->"),
                   font.horizontalAdvance('-') + font.horizontalAdvance('>'));
}

TEST_F(WindowLayout, PictureHoldsFloatingPalettes) {
  addPalette("loose", "Loose", 0);
  PaletteDock& dock = *window.dock("loose");
  const QImage with = window.picture().toImage();
  EXPECT_EQ(with.size(), window.size() * window.devicePixelRatio());
  const QPoint corner = placeOf(dock).topLeft() - placeOf(window).topLeft();
  EXPECT_EQ(with.copy(QRect(corner, dock.size())),
            dock.grab().toImage().convertToFormat(with.format()));
}

}  // namespace
