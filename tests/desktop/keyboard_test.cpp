// The window without a mouse.
#include <gtest/gtest.h>
#include <qpa/qplatformaccessibility.h>
#include <qpa/qplatformintegration.h>

#include <QtGui/private/qguiapplication_p.h>
#include <QAbstractButton>
#include <QAccessible>
#include <QComboBox>
#include <QDockWidget>
#include <QFocusFrame>
#include <QHeaderView>
#include <QLabel>
#include <QSet>
#include <QStatusBar>
#include <QToolBar>
#include <QToolTip>
#include <QTreeView>
#include <algorithm>
#include <map>
#include <set>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/TracePanel.h"
#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

class Keyboard : public Desktop {
 protected:
  Keyboard() { activate(window); }

  static void activate(QWidget& widget) {
    widget.activateWindow();
    EXPECT_TRUE(waitUntil([&] { return widget.isActiveWindow(); }));
  }

  // Presses a key as the system does, in the window that has the focus.
  static void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
    ASSERT_TRUE(waitUntil([] { return QGuiApplication::focusWindow() != nullptr; }));
    QTest::keyClick(QGuiApplication::focusWindow(), key, modifiers);
  }

  // Presses Tab until `part` has the focus; false when it never gets it.
  static bool tabTo(const QWidget& target) {
    for (int i = 0; i < 60 && !HasFatalFailure(); ++i) {
      if (QApplication::focusWidget() == &target) return true;
      // A page keeps Tab to itself.
      press(QApplication::focusWidget() != nullptr &&
                    QApplication::focusWidget()->inherits("QQuickWidget")
                ? Qt::Key_F6
                : Qt::Key_Tab);
    }
    return false;
  }

  // Goes from pane to pane until the focus is in `pane`.
  static bool goTo(const QWidget& pane) {
    for (int i = 0; i < 10; ++i) {
      if (pane.isAncestorOf(QApplication::focusWidget())) return true;
      press(Qt::Key_F6);
    }
    return false;
  }

  // Shows only the toolbar, the learning palette and the trace.
  void hideOtherPanes() const {
    for (QDockWidget* const dock : window.findChildren<QDockWidget*>()) {
      if (dock != learningDock() && dock != tracePanel()) dock->hide();
    }
  }

  QToolBar* toolbar() const { return qobject_cast<QToolBar*>(button()->parentWidget()); }
  TracePanel* tracePanel() const { return window.findChild<TracePanel*>(); }
  int presses() const {
    return static_cast<int>(std::count_if(trace.begin(), trace.end(), [](const Json& entry) {
      return entry.value("handler", "") == "CmdCreatedEventHandler";
    }));
  }
};

TEST_F(Keyboard, DoesAWholeSession) {
  press(Qt::Key_F9);
  ASSERT_TRUE(runner.loaded());
  ASSERT_TRUE(pageLoaded());
  ASSERT_TRUE(goTo(*toolbar()));
  ASSERT_TRUE(tabTo(*button()));
  press(Qt::Key_Space);
  EXPECT_EQ(presses(), 1);
  EXPECT_EQ(QApplication::focusWidget(), button());

  // Into the page, through its parts, and out of it again.
  ASSERT_TRUE(goTo(*learningDock()));
  ASSERT_TRUE(waitUntilInPage("document.hasFocus()"));
  press(Qt::Key_Tab);
  ASSERT_TRUE(waitUntilInPage("document.activeElement !== document.body"));
  ASSERT_TRUE(learningDock()->isAncestorOf(QApplication::focusWidget()));
  ASSERT_TRUE(goTo(*tracePanel()));
  ASSERT_TRUE(waitUntilInPage("!document.hasFocus()"));

  press(Qt::Key_W, Qt::ControlModifier);
  EXPECT_FALSE(learningDock()->isVisible());
  EXPECT_EQ(host.state()["palettes"][0]["visible"], false);
  press(Qt::Key_O, Qt::ControlModifier | Qt::ShiftModifier);
  EXPECT_EQ(host.state()["offline"], true);
  press(Qt::Key_F9, Qt::ShiftModifier);
  EXPECT_FALSE(runner.loaded());
}

TEST_F(Keyboard, FollowsALinkOfThePage) {
  startWithPage();
  ASSERT_TRUE(goTo(*learningDock()));
  ASSERT_TRUE(waitUntilInPage("document.hasFocus()"));
  ASSERT_TRUE(waitUntil([&] {
    if (inPage("document.activeElement.matches('.lesson')").toBool()) return true;
    press(Qt::Key_Tab);
    return false;
  }));
  press(Qt::Key_Return);
  EXPECT_TRUE(waitUntil([this] { return !monitor.opened().empty(); }));
}

TEST_F(Keyboard, SpaceAndEnterPressTheButton) {
  startWithPage();
  ASSERT_TRUE(goTo(*toolbar()));
  ASSERT_TRUE(tabTo(*button()));
  int count = 0;
  for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter}) {
    press(key);
    EXPECT_EQ(presses(), ++count) << key;
  }
  press(Qt::Key_B, Qt::ControlModifier);
  EXPECT_EQ(presses(), ++count);
}

TEST_F(Keyboard, TitleBarDetachesDocksAndCloses) {
  startWithPage();
  const auto* const detach = learningDock()->findChild<QToolButton*>("float");
  ASSERT_TRUE(tabTo(*detach));
  press(Qt::Key_Space);
  EXPECT_TRUE(learningDock()->isFloating());
  EXPECT_EQ(host.state()["palettes"][0]["dockingState"], 0);
  ASSERT_TRUE(goTo(*learningDock()));
  ASSERT_TRUE(waitUntil([&] {
    if (QApplication::focusWidget() == detach) return true;
    press(Qt::Key_Tab, Qt::ShiftModifier);
    return false;
  }));
  press(Qt::Key_Return);
  EXPECT_FALSE(learningDock()->isFloating());
  EXPECT_EQ(host.state()["palettes"][0]["dockingState"], 4);
  ASSERT_TRUE(tabTo(*learningDock()->findChild<QToolButton*>("close")));
  press(Qt::Key_Return);
  EXPECT_EQ(host.state()["palettes"][0]["visible"], false);
}

TEST_F(Keyboard, MenuMovesThePalette) {
  startWithPage();
  const std::tuple<Qt::Key, const char*, int> places[] = {{Qt::Key_L, "dock:left", 3},
                                                          {Qt::Key_T, "dock:top", 1},
                                                          {Qt::Key_F, "dock:floating", 0},
                                                          {Qt::Key_B, "dock:bottom", 2},
                                                          {Qt::Key_R, "dock:right", 4}};
  for (const auto& [letter, name, state] : places) {
    SCOPED_TRACE(name);
    activate(window);
    press(Qt::Key_V, Qt::AltModifier);
    auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    QTest::keyClick(menu, Qt::Key_K);
    auto* const submenu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(submenu, menu);
    ASSERT_NE(submenu, nullptr);
    QTest::keyClick(submenu, letter);
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    EXPECT_EQ(host.state()["palettes"][0]["dockingState"], state);
    EXPECT_EQ(learningDock()->isFloating(), state == 0);
    if (state != 0) {
      EXPECT_EQ(window.dockWidgetArea(learningDock()), dockArea(state));
    }
    // The next command does not move it back.
    window.play("state");
    EXPECT_EQ(host.state()["palettes"][0]["dockingState"], state);
    auto* const dockMenu = qobject_cast<QMenu*>(action(name).parent());
    ASSERT_NE(dockMenu, nullptr);
    Q_EMIT dockMenu->aboutToShow();
    EXPECT_TRUE(action(name).isChecked());
  }
}

TEST_F(Keyboard, MenuIsAboutThePaletteThatIsShown) {
  EXPECT_FALSE(action("closePalette").isEnabled());
  EXPECT_FALSE(action("press").isEnabled());
  startWithPage();
  EXPECT_TRUE(action("press").isEnabled());
  EXPECT_TRUE(action("closePalette").isEnabled());
  window.play("hide");
  EXPECT_FALSE(action("closePalette").isEnabled());
  // Without a close button the user has no way to close it.
  host.application()
      .userInterface->palettes->add_raw("bare", "Bare", "", true, false, true, 240, 180, true)
      ->release();
  window.play("state");
  EXPECT_FALSE(action("closePalette").isEnabled());
}

TEST_F(Keyboard, PanesFollowEachOtherBothWays) {
  host.setEntitlement("short");
  startWithPage();
  hideOtherPanes();
  const std::vector<const QWidget*> panes = {toolbar(), learningDock(), tracePanel()};
  const auto current = [&] {
    const QWidget* const focused = QApplication::focusWidget();
    return std::find_if(panes.begin(), panes.end(),
                        [&](const QWidget* pane) { return pane->isAncestorOf(focused); }) -
           panes.begin();
  };
  ASSERT_TRUE(goTo(*toolbar()));
  for (const int next : {1, 2, 0}) {
    press(Qt::Key_F6);
    EXPECT_EQ(current(), next);
  }
  for (const int previous : {2, 1, 0}) {
    press(Qt::Key_F6, Qt::ShiftModifier);
    EXPECT_EQ(current(), previous);
  }
  press(Qt::Key_Tab, Qt::ControlModifier);
  EXPECT_EQ(current(), 1);
}

// A toolbar is created again when its controls change.
TEST_F(Keyboard, FocusStaysInTheToolbarThatChanges) {
  startWithPage();
  ASSERT_TRUE(goTo(*toolbar()));
  ASSERT_TRUE(tabTo(*button()));
  window.play("plant control extra");
  ASSERT_NE(QApplication::focusWidget(), nullptr);
  EXPECT_EQ(QApplication::focusWidget()->objectName(), "control:runTeachPalette");
  EXPECT_TRUE(QApplication::focusWidget()->isVisible());
  window.play("remove control runTeachPalette");
  ASSERT_NE(QApplication::focusWidget(), nullptr);
  EXPECT_EQ(QApplication::focusWidget()->objectName(), "control:HelpGroupCommand");
}

TEST_F(Keyboard, TabGoesFromTheToolbarToThePaletteToTheTrace) {
  startWithPage();
  hideOtherPanes();
  ASSERT_TRUE(goTo(*toolbar()));
  ASSERT_TRUE(tabTo(*window.findChild<QToolButton*>("control:HelpGroupCommand")));
  QStringList names;
  for (int i = 0; i < 3; ++i) {
    press(Qt::Key_Tab);
    names << QApplication::focusWidget()->objectName();
  }
  EXPECT_EQ(names, QStringList({"control:runTeachPalette", "float", "close"}));
  press(Qt::Key_Tab);
  EXPECT_TRUE(view().isAncestorOf(QApplication::focusWidget()));
  // Back over the palette, and backwards into the last pane.
  ASSERT_TRUE(goTo(*toolbar()));
  ASSERT_TRUE(tabTo(*window.findChild<QToolButton*>("control:HelpGroupCommand")));
  press(Qt::Key_Tab, Qt::ShiftModifier);
  EXPECT_TRUE(tracePanel()->isAncestorOf(QApplication::focusWidget()) ||
              window.statusBar()->isAncestorOf(QApplication::focusWidget()));
}

TEST_F(Keyboard, ShowsTheTooltipOfWhatHasTheFocus) {
  startWithPage();
  ASSERT_TRUE(goTo(*toolbar()));
  ASSERT_TRUE(tabTo(*button()));
  press(Qt::Key_F1, Qt::ControlModifier);
  EXPECT_TRUE(QToolTip::isVisible());
  EXPECT_EQ(QToolTip::text(), button()->toolTip());
  QToolTip::hideText();
}

TEST_F(Keyboard, ResizesAColumnOfTheTrace) {
  window.play("start");
  auto& list = *window.findChild<QTreeView*>("traceList");
  list.setFocus();
  list.setCurrentIndex(list.model()->index(1, 0));
  const QList<QModelIndex> selected = list.selectionModel()->selectedIndexes();
  for (int column = 1; column < list.model()->columnCount(); ++column) {
    SCOPED_TRACE(column);
    press(Qt::Key_Right, Qt::AltModifier);
    EXPECT_EQ(list.currentIndex(), list.model()->index(1, column));
    EXPECT_TRUE(list.viewport()->rect().contains(list.visualRect(list.currentIndex()).topLeft()));
    const int width = list.columnWidth(column);
    press(Qt::Key_Right, Qt::AltModifier | Qt::ShiftModifier);
    EXPECT_GT(list.columnWidth(column), width);
    press(Qt::Key_Left, Qt::AltModifier | Qt::ShiftModifier);
    EXPECT_EQ(list.columnWidth(column), width);
  }
  press(Qt::Key_Right, Qt::AltModifier);
  press(Qt::Key_Left, Qt::AltModifier);
  EXPECT_EQ(list.currentIndex().column(), list.model()->columnCount() - 2);
  EXPECT_EQ(list.selectionModel()->selectedIndexes(), selected);
  for (int i = 0; i < 60; ++i) press(Qt::Key_Left, Qt::AltModifier | Qt::ShiftModifier);
  EXPECT_GT(list.columnWidth(list.currentIndex().column()), 0);
}

TEST_F(Keyboard, ResizesTheSplitterAndTheDockAroundTheFocus) {
  startWithPage();
  const auto resizes = [](const QWidget& part, Qt::Key larger, Qt::Key smaller) {
    SCOPED_TRACE(part.objectName().toStdString());
    const auto size = [&] { return larger == Qt::Key_Right ? part.width() : part.height(); };
    const int before = size();
    press(larger, Qt::AltModifier | Qt::ShiftModifier);
    EXPECT_TRUE(waitUntil([&] { return size() > before; }));
    const int between = size();
    press(smaller, Qt::AltModifier | Qt::ShiftModifier);
    EXPECT_TRUE(waitUntil([&] { return size() < between; }));
  };
  auto& detail = *window.findChild<QWidget*>("traceDetail");
  detail.setFocus();
  resizes(detail, Qt::Key_Right, Qt::Key_Left);
  resizes(*tracePanel(), Qt::Key_Up, Qt::Key_Down);

  auto& commands = *window.findChild<QDockWidget*>("commands");
  auto& output = *window.findChild<QWidget*>("commandOutput");
  output.setFocus();
  resizes(output, Qt::Key_Up, Qt::Key_Down);
  resizes(commands, Qt::Key_Right, Qt::Key_Left);

  ASSERT_TRUE(goTo(*learningDock()));
  resizes(*learningDock(), Qt::Key_Right, Qt::Key_Left);
  learningDock()->findChild<QToolButton*>("float")->click();
  activate(*learningDock());
  learningDock()->findChild<QToolButton*>("float")->setFocus();
  resizes(*learningDock(), Qt::Key_Right, Qt::Key_Left);
  resizes(*learningDock(), Qt::Key_Up, Qt::Key_Down);
}

TEST_F(Keyboard, NoTwoEntriesShareAShortcutAndEachIsShown) {
  std::map<QString, QString> owners;
  QSet<const QObject*> menus;
  for (const QMenu* const menu : window.menuBar()->findChildren<QMenu*>()) menus.insert(menu);
  for (const QAction* const entry : window.findChildren<QAction*>()) {
    const QObjectList places = entry->associatedObjects();
    EXPECT_TRUE(entry->shortcuts().isEmpty() ||
                std::any_of(places.begin(), places.end(),
                            [&](const QObject* place) { return menus.contains(place); }))
        << "no menu shows " << entry->shortcut().toString().toStdString();
    for (const QKeySequence& shortcut : entry->shortcuts()) {
      const auto added = owners.emplace(shortcut.toString(), entry->text());
      EXPECT_TRUE(added.second) << shortcut.toString().toStdString() << ": "
                                << entry->text().toStdString() << " and "
                                << added.first->second.toStdString();
    }
  }
  const std::pair<const char*, const char*> usual[] = {{"start", "F9"},
                                                       {"stop", "Shift+F9"},
                                                       {"press", "Ctrl+B"},
                                                       {"again", "Ctrl+F9"},
                                                       {"offline", "Ctrl+Shift+O"},
                                                       {"reloadPage", "F5"},
                                                       {"developerTools", "F12"},
                                                       {"closePalette", "Ctrl+W"},
                                                       {"nextPane", "F6"},
                                                       {"commandLine", "Ctrl+L"},
                                                       {"findInTrace", "Ctrl+F"},
                                                       {"wider", "Alt+Shift+Right"},
                                                       {"narrower", "Alt+Shift+Left"},
                                                       {"taller", "Alt+Shift+Up"},
                                                       {"lower", "Alt+Shift+Down"}};
  for (const auto& [name, shortcut] : usual) {
    EXPECT_EQ(action(name).shortcut().toString(), shortcut) << name;
  }
  EXPECT_EQ(owners.count("Ctrl+Q"), 1U);
}

// The part of the window that `widget` covers.
QImage pictureOf(QWidget& widget) {
  QWidget& top = *widget.window();
  return top.grab(QRect(widget.mapTo(&top, QPoint()), widget.size())).toImage();
}

// Gives the focus to every widget of the window that takes it, and checks the frame.
void expectFrames(MainWindow& window) {
  std::set<QString> checked;
  for (QWidget* const widget : window.findChildren<QWidget*>()) {
    if (!widget->isVisible() || !(widget->focusPolicy() & Qt::TabFocus)) continue;
    SCOPED_TRACE(widget->metaObject()->className() + std::string(" ") +
                 widget->objectName().toStdString());
    widget->activateWindow();
    ASSERT_TRUE(waitUntil([&] { return widget->isActiveWindow(); }));
    if (QApplication::focusWidget() != nullptr) QApplication::focusWidget()->clearFocus();
    const QImage before = pictureOf(*widget);
    widget->setFocus(Qt::TabFocusReason);
    if (!widget->hasFocus()) continue;  // it passes the focus on
    const QImage after = pictureOf(*widget);
    ASSERT_EQ(before.size(), after.size());
    // The outer two pixels on all sides.
    for (const int depth : {0, 1}) {
      const QRect edge = before.rect().adjusted(depth, depth, -depth, -depth);
      for (const QPoint& point :
           {edge.topLeft(), QPoint(edge.center().x(), edge.top()), edge.topRight(),
            QPoint(edge.left(), edge.center().y()), QPoint(edge.right(), edge.center().y()),
            edge.bottomLeft(), edge.bottomRight(), QPoint(edge.center().x(), edge.bottom())}) {
        const double between = contrast(before.pixelColor(point), after.pixelColor(point));
        EXPECT_GE(between, 3) << "at " << point.x() << ", " << point.y() << " of " << before.width()
                              << " by " << before.height();
      }
    }
    checked.insert(widget->objectName());
  }
  for (const char* const name : {"control:runTeachPalette", "float", "close", "address",
                                 "traceFilter", "traceList", "clear"}) {
    EXPECT_TRUE(checked.count(name)) << name;
  }
}

TEST_F(Keyboard, FocusCanBeSeenInBothThemes) {
  for (const Theme theme : {Theme::light, Theme::dark}) {
    SCOPED_TRACE(theme == Theme::dark ? "dark" : "light");
    apply(theme);
    window.play("start");
    window.play("stop");
    // An error page with an address.
    window.play("start");
    window.play("offline");
    window.play("click");
    host.application()
        .userInterface->palettes
        ->add_raw("page", "Page", "https://nowhere.example/", true, true, true, 300, 400, true)
        ->release();
    window.play("state");
    ASSERT_TRUE(waitUntil([this] {
      return window.settled() && window.dock("page") && !window.dock("page")->loaded();
    }));
    expectFrames(window);
    window.play("stop");
    window.play("remove palette page");
    window.play("online");
  }
  apply(testTheme());
}

TEST_F(Keyboard, FocusOfThePageIsFramed) {
  startWithPage();
  ASSERT_TRUE(goTo(*learningDock()));
  const auto* const frame = window.findChild<QFocusFrame*>();
  ASSERT_NE(frame, nullptr);
  EXPECT_TRUE(frame->isVisible());
  const auto placeIn = [this](const QWidget& part) {
    return QRect(part.mapTo(&window, QPoint()), part.size());
  };
  EXPECT_EQ(placeIn(*frame), placeIn(view()));
  EXPECT_EQ(pictureOf(view()).pixelColor(1, view().height() / 2),
            window.palette().color(QPalette::Highlight));
}

// What a screen reader reads out.
TEST_F(Keyboard, ImportantMessagesAreAnnounced) {
  static QStringList announced;
  announced.clear();
  // No screen reader is here that would activate it.
  QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(true);
  const auto former = QAccessible::installUpdateHandler([](QAccessibleEvent* event) {
    if (event->type() != QAccessible::Alert) return;
    announced << event->accessibleInterface()->text(QAccessible::Name);
  });
  startWithPage();
  EXPECT_EQ(announced, QStringList());
  const QString thrown = "An exception left the add-in: std::out_of_range, ";
  for (int i = 0; i < 2; ++i) {
    window.play("message ");
    ASSERT_EQ(announced.size(), 1);
    EXPECT_TRUE(announced.takeFirst().startsWith(thrown));
  }
  auto& line = *window.findChild<QLineEdit*>("commandLine");
  line.setText("nonsense");
  QTest::keyClick(&line, Qt::Key_Return);
  ASSERT_EQ(announced.size(), 1);
  EXPECT_TRUE(announced.takeFirst().startsWith("'nonsense' is not a command"));
  inPage("setTimeout(() => { throw new Error('broken'); }); 0");
  ASSERT_TRUE(waitUntil([] { return !announced.isEmpty(); }));
  EXPECT_TRUE(announced.takeFirst().contains("broken"));
  EXPECT_EQ(announced, QStringList());
  QAccessible::installUpdateHandler(former);
  QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(false);
}

TEST_F(Keyboard, EveryPartHasAName) {
  startWithPage();
  window.play("plant control extra");
  window.play("plant plain-control label");
  for (int i = 0; i < 40; ++i) window.play("plant control more" + std::to_string(i));
  QTest::keyClicks(window.findChild<QLineEdit*>("traceFilter"), "x");
  int buttons = 0;
  for (QWidget* const widget : window.findChildren<QWidget*>()) {
    const bool button = qobject_cast<QAbstractButton*>(widget) != nullptr;
    const bool named = button || qobject_cast<QLineEdit*>(widget) != nullptr ||
                       qobject_cast<QAbstractItemView*>(widget) != nullptr ||
                       qobject_cast<QComboBox*>(widget) != nullptr ||
                       qobject_cast<QWebEngineView*>(widget) != nullptr ||
                       widget->inherits("QTextEdit") || widget->inherits("QPlainTextEdit") ||
                       widget == window.centralWidget();
    if (!named || qobject_cast<QHeaderView*>(widget) != nullptr) continue;
    QAccessibleInterface* const face = QAccessible::queryAccessibleInterface(widget);
    ASSERT_NE(face, nullptr);
    EXPECT_FALSE(face->text(QAccessible::Name).trimmed().isEmpty())
        << widget->metaObject()->className() << " " << widget->objectName().toStdString() << " in "
        << widget->parentWidget()->objectName().toStdString();
    buttons += button;
  }
  EXPECT_GT(buttons, 45);
  EXPECT_FALSE(window.centralWidget()->accessibleDescription().isEmpty());
  for (const QLabel* const value : window.statusBar()->findChildren<QLabel*>()) {
    if (!value->isVisible() || value->objectName() == "message") continue;
    QAccessibleInterface* const face =
        QAccessible::queryAccessibleInterface(const_cast<QLabel*>(value));
    EXPECT_TRUE(face->text(QAccessible::Name).contains(':')) << value->objectName().toStdString();
    EXPECT_FALSE(face->text(QAccessible::Name).contains('<'));
  }
}

}  // namespace
