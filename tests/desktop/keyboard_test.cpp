// The window without a mouse, and as a screen reader reads it out.
#include <qpa/qplatformaccessibility.h>
#include <qpa/qplatformintegration.h>

#include <QtGui/private/qguiapplication_p.h>

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
    for (int i = 0; i < 60 && QApplication::focusWidget() != &target; ++i) press(Qt::Key_Tab);
    return QApplication::focusWidget() == &target;
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
  for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter}) {
    trace.clear();
    press(key);
    ASSERT_FALSE(trace.empty());
    EXPECT_EQ(trace.front()["handler"], "CmdCreatedEventHandler");
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

TEST_F(Keyboard, F6GoesToWhatIsUsedInEachPaneAndTabThroughThePanels) {
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
  part<QToolBar>("controls").widgetForAction(&action("stop"))->setFocus();
  for (QWidget* const next :
       {&part<QWidget>("commandList"), &part<QWidget>("commandLine"), &part<QWidget>("traceFilter"),
        &part<QWidget>("traceList"), &part<QWidget>("float", learningDock())}) {
    ASSERT_TRUE(tabTo(*next)) << next->objectName().toStdString();
  }
}

TEST_F(Keyboard, EachShortcutIsOneEntrysAndStandsInAMenu) {
  QSet<QKeySequence> shortcuts;
  for (const QAction* const entry : window.findChildren<QAction*>()) {
    if (entry->shortcut().isEmpty()) continue;
    const QObjectList places = entry->associatedObjects();
    EXPECT_TRUE(std::any_of(places.begin(), places.end(), [](QObject* place) {
      return qobject_cast<QMenu*>(place) != nullptr;
    })) << entry->text().toStdString();
    EXPECT_FALSE(shortcuts.contains(entry->shortcut())) << entry->text().toStdString();
    shortcuts.insert(entry->shortcut());
  }
  EXPECT_GT(shortcuts.size(), 20);
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
      const QRect place(widget->mapTo(widget->window(), QPoint()), widget->size());
      const QImage plain = widget->window()->grab(place).toImage();
      press(Qt::Key_Shift);
      ASSERT_TRUE(frame.isVisible());
      const QImage framed = widget->window()->grab(place).toImage();
      for (const QPoint& point : {QPoint(0, 0), QPoint(1, 1), QPoint(1, plain.height() / 2)}) {
        EXPECT_GT(std::abs(qGray(plain.pixel(point)) - qGray(framed.pixel(point))), 60);
      }
      // Nothing else shows the focus.
      EXPECT_EQ(plain.pixel(plain.width() / 2, 4), framed.pixel(plain.width() / 2, 4));
    }
  }
  apply(testTheme());
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
  window.play("message ");
  auto& line = part<QLineEdit>("commandLine");
  line.setText("nonsense");
  QTest::keyClick(&line, Qt::Key_Return);
  inPage("setTimeout(() => { throw new Error('broken'); }); 0");
  ASSERT_TRUE(waitUntil([] { return announced.size() == 3; }));
  for (const char* const words :
       {"std::out_of_range", "'nonsense' is not a command", "Error: broken"}) {
    const QString spoken = announced.takeFirst();
    EXPECT_TRUE(spoken.contains(words)) << spoken.toStdString();
  }
  QAccessible::installUpdateHandler(former);
  QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(false);
}

TEST_F(Keyboard, EveryPartHasAName) {
  startWithPage();
  play({"plant control extra", "plant plain-control label"});
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
        << widget->metaObject()->className() << " " << widget->objectName().toStdString();
    ++parts;
  }
  EXPECT_GT(parts, 20);
  EXPECT_FALSE(window.centralWidget()->accessibleDescription().isEmpty());
}

}  // namespace
