// The window without a mouse, and as a screen reader reads it out.
#include <gtest/gtest.h>
#include <qpa/qplatformaccessibility.h>
#include <qpa/qplatformintegration.h>

#include <QtGui/private/qguiapplication_p.h>
#include <QAbstractButton>
#include <QAccessible>
#include <QFocusFrame>
#include <QSet>
#include <QToolBar>
#include <map>

#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

class Keyboard : public Desktop {
 protected:
  // Goes from pane to pane until the focus is in `pane`.
  static bool goTo(const QWidget& pane) {
    for (int i = 0; i < 10; ++i) {
      if (pane.isAncestorOf(QApplication::focusWidget())) return true;
      press(Qt::Key_F6);
    }
    return false;
  }

  // Presses Tab until `target` has the focus; false when it never gets it.
  static bool tabTo(const QWidget& target) {
    for (int i = 0; i < 60; ++i) {
      if (QApplication::focusWidget() == &target) return true;
      // A page keeps Tab to itself.
      const bool inPage = QApplication::focusWidget() != nullptr &&
                          QApplication::focusWidget()->inherits("QQuickWidget");
      press(inPage ? Qt::Key_F6 : Qt::Key_Tab);
    }
    return false;
  }

  QString focused() const {
    const QWidget* const widget = QApplication::focusWidget();
    return widget == nullptr ? "" : widget->objectName();
  }
};

TEST_F(Keyboard, PressesTheButtonAndALinkOfThePage) {
  startWithPage();
  ASSERT_TRUE(goTo(*button()->parentWidget()));
  ASSERT_TRUE(tabTo(*button()));
  int count = 0;
  for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter}) {
    press(key);
    EXPECT_EQ(std::count_if(trace.begin(), trace.end(),
                            [](const Json& entry) {
                              return entry.value("handler", "") == "CmdCreatedEventHandler";
                            }),
              ++count);
  }
  // Into the page, to a link, and out of it again.
  ASSERT_TRUE(goTo(*learningDock()));
  ASSERT_TRUE(waitUntil([&] {
    if (inPage("document.activeElement.matches('.lesson')").toBool()) return true;
    press(Qt::Key_Tab);
    return false;
  }));
  press(Qt::Key_Return);
  EXPECT_TRUE(waitUntil([this] { return !monitor.opened().empty(); }));
  ASSERT_TRUE(goTo(part<QWidget>("trace")));
  ASSERT_TRUE(waitUntilInPage("!document.hasFocus()"));
}

TEST_F(Keyboard, TitleBarDetachesDocksAndCloses) {
  startWithPage();
  auto& detach = part<QToolButton>("float", learningDock());
  for (const int state : {0, 4}) {
    detach.setFocus();
    press(state == 0 ? Qt::Key_Space : Qt::Key_Return);
    EXPECT_EQ(learningDock()->isFloating(), state == 0);
    EXPECT_TRUE(waitUntil([&] { return host.state()["palettes"][0]["dockingState"] == state; }));
  }
  part<QToolButton>("close", learningDock()).setFocus();
  press(Qt::Key_Return);
  EXPECT_EQ(host.state()["palettes"][0]["visible"], false);
}

TEST_F(Keyboard, F6GoesToWhatIsUsedInEachPane) {
  startWithPage();
  addPalette("empty", "Empty");
  window.setFocus();
  QStringList names;
  for (int i = 0; i < 6; ++i) {
    press(Qt::Key_F6);
    names << (view().isAncestorOf(QApplication::focusWidget()) ? "page" : focused());
  }
  // The empty palette is passed over.
  EXPECT_EQ(names.join(' ').toStdString(),
            "control:stop commandLine traceList page control:HelpGroupCommand control:stop");
  // Back to where the focus was last.
  part<QWidget>("commandList").setFocus();
  press(Qt::Key_F6);
  press(Qt::Key_F6, Qt::ShiftModifier);
  EXPECT_EQ(focused(), "commandList");
  press(Qt::Key_Tab, Qt::ControlModifier);
  EXPECT_NE(focused(), "commandList");
}

TEST_F(Keyboard, TabGoesFromTheToolbarThroughThePanelsToThePalette) {
  startWithPage();
  part<QToolBar>("controls").widgetForAction(&action("stop"))->setFocus();
  const std::vector<QWidget*> order = {&part<QWidget>("commandList"), &part<QWidget>("commandLine"),
                                       &part<QWidget>("traceFilter"), &part<QWidget>("traceList"),
                                       &part<QWidget>("float", learningDock())};
  for (QWidget* const next : order) ASSERT_TRUE(tabTo(*next)) << next->objectName().toStdString();
}

// A toolbar is created again when its controls change.
TEST_F(Keyboard, FocusStaysInTheToolbarThatChanges) {
  startWithPage();
  button()->setFocus();
  window.play("plant control extra");
  EXPECT_EQ(focused(), "control:runTeachPalette");
  EXPECT_TRUE(QApplication::focusWidget()->isVisible());
  window.play("remove control runTeachPalette");
  EXPECT_EQ(focused(), "control:extra");
}

TEST_F(Keyboard, NoTwoEntriesShareAShortcutAndEachIsInAMenu) {
  std::map<QString, QString> owners;
  QSet<const QObject*> menus;
  for (const QMenu* const menu : window.menuBar()->findChildren<QMenu*>()) menus.insert(menu);
  for (const QAction* const entry : window.findChildren<QAction*>()) {
    const QObjectList places = entry->associatedObjects();
    const bool isInMenu = std::any_of(places.begin(), places.end(),
                                      [&](const QObject* place) { return menus.contains(place); });
    for (const QKeySequence& shortcut : entry->shortcuts()) {
      const QString keys = shortcut.toString();
      EXPECT_TRUE(isInMenu) << keys.toStdString();
      EXPECT_TRUE(owners.emplace(keys, entry->text()).second) << keys.toStdString();
    }
  }
  for (const char* const shortcut : {"Ctrl+O", "Ctrl+S", "Ctrl+Q", "F10", "F8", "Ctrl+L", "F5",
                                     "F12", "F6", "Ctrl+F", "Esc", "Ctrl+C", "Ctrl+Return"}) {
    EXPECT_EQ(owners.count(shortcut), 1U) << shortcut;
  }
}

// The part of the window that `widget` covers.
QImage pictureOf(QWidget& widget) {
  QWidget& top = *widget.window();
  return top.grab(QRect(widget.mapTo(&top, QPoint()), widget.size())).toImage();
}

// Every widget that takes the focus gets a frame of two pixels inside its edges, in both themes.
TEST_F(Keyboard, FocusIsFramedAfterUseOfTheKeyboardAlone) {
  play({"start", "offline", "click"});
  ASSERT_TRUE(waitUntil([this] { return window.settled(); }));  // on an error page
  auto& frame = part<QFocusFrame>("");
  for (const Theme theme : {Theme::light, Theme::dark}) {
    apply(theme);
    for (QWidget* const widget : window.findChildren<QWidget*>()) {
      if (!widget->isVisible() || !(widget->focusPolicy() & Qt::TabFocus)) continue;
      SCOPED_TRACE(widget->metaObject()->className() + widget->objectName().toStdString());
      QTest::mouseClick(window.centralWidget(), Qt::LeftButton);
      widget->setFocus();
      if (!widget->hasFocus()) continue;  // it passes the focus on
      EXPECT_FALSE(frame.isVisible());
      const QImage plain = pictureOf(*widget);
      press(Qt::Key_Shift);
      ASSERT_TRUE(frame.isVisible());
      const QImage framed = pictureOf(*widget);
      const QPoint middle = plain.rect().center();
      for (const QPoint& point : {QPoint(0, 0), QPoint(1, 1), QPoint(1, middle.y()),
                                  QPoint(middle.x(), plain.height() - 2)}) {
        EXPECT_GE(contrast(plain.pixelColor(point), framed.pixelColor(point)), 3);
      }
      // Nothing else shows the focus.
      EXPECT_EQ(plain.pixel(middle.x(), 4), framed.pixel(middle.x(), 4));
    }
  }
  apply(testTheme());
}

TEST_F(Keyboard, PageWithTheFocusIsFramed) {
  startWithPage();
  ASSERT_TRUE(goTo(*learningDock()));
  const auto& frame = part<QFocusFrame>("");
  EXPECT_TRUE(frame.isVisible());
  EXPECT_EQ(frame.geometry(), QRect(view().mapTo(&window, QPoint()), view().size()));
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
  for (int i = 0; i < 2; ++i) window.play("message ");
  auto& line = part<QLineEdit>("commandLine");
  line.setText("nonsense");
  QTest::keyClick(&line, Qt::Key_Return);
  inPage("setTimeout(() => { throw new Error('broken'); }); 0");
  ASSERT_TRUE(waitUntil([] { return announced.size() == 4; }));
  for (const char* const words :
       {"std::out_of_range", "std::out_of_range", "'nonsense' is not a command", "Error: broken"}) {
    const QString spoken = announced.takeFirst();
    EXPECT_TRUE(spoken.contains(words)) << spoken.toStdString();
  }
  QAccessible::installUpdateHandler(former);
  QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(false);
}

TEST_F(Keyboard, EveryPartHasAName) {
  startWithPage();
  play({"plant control extra", "plant plain-control label"});
  for (int i = 0; i < 40; ++i) window.play("plant control more" + std::to_string(i));
  QTest::keyClicks(&part<QLineEdit>("traceFilter"), "x");
  int parts = 0;
  for (QWidget* const widget : window.findChildren<QWidget*>()) {
    const bool isNamed = (widget->focusPolicy() & Qt::TabFocus) != 0 ||
                         qobject_cast<QAbstractButton*>(widget) != nullptr ||
                         widget == window.centralWidget();
    // The name is that of the view around it, or there is no warning.
    if (!isNamed || widget->inherits("QQuickWidget") || widget->objectName() == "warningText") {
      continue;
    }
    QAccessibleInterface* const face = QAccessible::queryAccessibleInterface(widget);
    EXPECT_FALSE(face->text(QAccessible::Name).trimmed().isEmpty())
        << widget->metaObject()->className() << " " << widget->objectName().toStdString() << " in "
        << widget->parentWidget()->objectName().toStdString();
    ++parts;
  }
  EXPECT_GT(parts, 50);
  EXPECT_FALSE(window.centralWidget()->accessibleDescription().isEmpty());
}

}  // namespace
