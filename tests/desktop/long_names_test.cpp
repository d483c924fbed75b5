// The layout of the window with long names and with many or floating palettes.
#include <gtest/gtest.h>

#include <QAccessible>
#include <QClipboard>
#include <QLabel>
#include <QPainter>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QToolBar>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/ElidedLabel.h"
#include "substitute/desktop/Screenshot.h"
#include "substitute/desktop/TracePanel.h"
#include "tests/desktop/DesktopFixture.h"

namespace {

using namespace substitute;

class WindowLayout : public Desktop {
 protected:
  template <class Widget>
  Widget& part(const QString& name) const {
    auto* const found = window.findChild<Widget*>(name);
    if (found == nullptr) throw std::runtime_error(name.toStdString());
    return *found;
  }

  bool toolbarHasFocus() const {
    return more().parentWidget()->isAncestorOf(QApplication::focusWidget());
  }

  QToolButton& more() const { return part<QToolButton>("qt_toolbar_ext_button"); }

  void plantControls(int count) {
    for (int i = 1; i <= count; ++i) window.play("plant control planted-" + std::to_string(i));
    // The toolbars that were replaced.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    ASSERT_TRUE(waitUntil([this] { return more().isVisible() || window.width() > 2000; }));
  }

  static QString nameOf(QWidget& widget) {
    return QAccessible::queryAccessibleInterface(&widget)->text(QAccessible::Name);
  }

  void addPalette(const char* id, const QString& title, int state = 4, int height = 300) {
    adsk::core::Palette* const made = host.application().userInterface->palettes->add_raw(
        id, title.toUtf8().constData(), "", true, true, true, 300, height, true);
    made->dockingState_raw(static_cast<adsk::core::PaletteDockingStates>(state));
    made->release();
    window.play("state");
  }

  QRect placeOf(const QWidget& widget) const {
    return {widget.mapToGlobal(QPoint()), widget.size()};
  }

  void expectOverCanvas(const PaletteDock& dock) const {
    EXPECT_TRUE(dock.isFloating());
    EXPECT_TRUE(placeOf(*window.centralWidget()).contains(placeOf(dock)));
    EXPECT_FALSE(placeOf(*window.findChild<TracePanel*>()).intersects(placeOf(dock)));
  }
};

TEST_F(WindowLayout, ToolbarShowsThatThereAreMoreControls) {
  window.play("start");
  EXPECT_FALSE(more().isVisible());
  plantControls(40);
  auto& last = part<QToolButton>("control:planted-40");
  EXPECT_FALSE(last.isVisible());
  ASSERT_TRUE(more().isVisible());
  EXPECT_GE(more().width(), 24);
  EXPECT_FALSE(nameOf(more()).isEmpty());
  // Its icon is visible.
  const QImage picture = more().grab().toImage();
  const QRgb ground = picture.pixel(0, 0);
  int drawn = 0;
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) drawn += picture.pixel(x, y) != ground;
  }
  EXPECT_GT(drawn, 30);

  window.activateWindow();
  ASSERT_TRUE(waitUntil([this] { return window.isActiveWindow(); }));
  auto& help = part<QToolButton>("control:HelpGroupCommand");
  help.setFocus();
  for (int i = 0; i < 60 && !more().hasFocus(); ++i) {
    ASSERT_TRUE(toolbarHasFocus()) << "left the toolbar at step " << i;
    QTest::keyClick(window.windowHandle(), Qt::Key_Tab);
  }
  ASSERT_TRUE(more().hasFocus());
  QTest::keyClick(&more(), Qt::Key_Space);
  ASSERT_TRUE(waitUntil([&] { return last.isVisible(); }));
  EXPECT_TRUE(window.rect().contains(QRect(last.mapTo(&window, QPoint()), last.size())));
  const auto presses = [&] {
    return std::count_if(trace.begin(), trace.end(), [](const Json& entry) {
      return entry.value("handler", "") == "CmdCreatedEventHandler";
    });
  };
  ASSERT_EQ(presses(), 0);
  // Each that is shown now can be pressed.
  button()->setFocus();
  QTest::keyClick(button(), Qt::Key_Space);
  EXPECT_EQ(presses(), 1);
  report.str("");
  last.setFocus();
  QTest::keyClick(&last, Qt::Key_Return);
  EXPECT_NE(report.str().find("planted-40"), std::string::npos) << report.str();
}

TEST_F(WindowLayout, LongNamesAreShortenedAndWholeInTheTooltip) {
  const QString name = QString(150, 'n') + "<h1>x</h1> & y";
  host.application()
      .userInterface->definitions
      ->addButtonDefinition_raw("long", name.toUtf8().constData(), "<b>tip</b>", "")
      ->release();
  window.play("plant control long");
  auto& control = part<QToolButton>("control:long");
  EXPECT_LT(control.width(), 320);
  EXPECT_TRUE(control.text().endsWith(QChar(0x2026))) << control.text().toStdString();
  EXPECT_EQ(nameOf(control), name);
  const QString tip = control.toolTip().remove(QChar(0x200B));
  EXPECT_TRUE(tip.contains(name.toHtmlEscaped())) << tip.toStdString();
  EXPECT_TRUE(tip.contains("&lt;b&gt;tip"));

  const QString id = QString(150, 'i') + "<h1>";
  window.play("plant plain-control " + id.toStdString());
  auto& label = part<ElidedLabel>("control:" + id);
  EXPECT_TRUE(label.elidedText().endsWith(QChar(0x2026)));
  EXPECT_EQ(nameOf(label), id);
  EXPECT_LE(label.width(), 240);

  addPalette("wide", name);
  auto& title = *window.dock("wide")->findChild<ElidedLabel*>("title");
  ASSERT_TRUE(waitUntil([&] { return title.elidedText().endsWith(QChar(0x2026)); }));
  EXPECT_EQ(title.textFormat(), Qt::PlainText);
  EXPECT_EQ(title.toolTip().remove(QChar(0x200B)), "<p>" + name.toHtmlEscaped() + "</p>");
  EXPECT_EQ(window.dock("wide")->width(), 300);
}

TEST_F(WindowLayout, ShortNamesAreNotShortened) {
  host.application()
      .userInterface->definitions->addButtonDefinition_raw("and", "This & that", "", "")
      ->release();
  window.play("plant control and");
  EXPECT_EQ(part<QToolButton>("control:and").text().trimmed(), "This && that");
  EXPECT_EQ(nameOf(part<QToolButton>("control:and")), "This & that");
  addPalette("short", "Short & plain");
  const auto& title = *window.dock("short")->findChild<ElidedLabel*>("title");
  EXPECT_EQ(title.elidedText(), "Short & plain");
  EXPECT_TRUE(title.toolTip().isEmpty());
  EXPECT_EQ(title.focusPolicy(), Qt::NoFocus);
}

TEST_F(WindowLayout, ShortenedLabelIsReachedAndCopiedByKeyboard) {
  const QString name = QString(4096, 'x') + "end";
  addPalette("wide", name);
  auto& title = *window.dock("wide")->findChild<ElidedLabel*>("title");
  ASSERT_TRUE(waitUntil([&] { return title.focusPolicy() == Qt::TabFocus; }));
  window.activateWindow();
  title.setFocus();
  QTest::keyClick(&title, Qt::Key_C, Qt::ControlModifier);
  EXPECT_EQ(QApplication::clipboard()->text(), name);
}

TEST_F(WindowLayout, TooltipBreaksLongWordsAndKeepsTheRest) {
  const QString tip = toTooltip(QString(100, 'x') + " <i>\nnext");
  EXPECT_TRUE(tip.contains(QChar(0x200B)));
  EXPECT_EQ(QString(tip).remove(QChar(0x200B)),
            "<p>" + QString(100, 'x') + " &lt;i&gt;<br>next</p>");
  EXPECT_EQ(toTooltip("two words"), "<p>two words</p>");
}

TEST_F(WindowLayout, LongSentenceKeepsItsBeginningAndItsEnd) {
  EXPECT_EQ(shortenedForLabel("two words"), "two words");
  const QString shown = shortenedForLabel("begin " + QString(4096, 'x') + " end");
  EXPECT_TRUE(shown.startsWith("begin x"));
  EXPECT_TRUE(shown.endsWith("x end"));
  EXPECT_TRUE(shown.contains(QChar(0x2026)));
  EXPECT_LT(shown.size(), 260);
  // No line must be longer than 32 characters.
  for (const QString& word : shown.split(QRegularExpression("[ \\x{200B}]"))) {
    EXPECT_LE(word.size(), 32) << word.toStdString();
  }
}

TEST_F(WindowLayout, FloatingPaletteOpensOverTheCanvas) {
  addPalette("loose", "Loose", 0);
  expectOverCanvas(*window.dock("loose"));
  EXPECT_EQ(window.dock("loose")->size(), QSize(300, 300));
  addPalette("second", "Second", 0);
  expectOverCanvas(*window.dock("second"));
  EXPECT_NE(window.dock("second")->pos(), window.dock("loose")->pos());

  // A palette without a size gets the minimum size.
  window.play("plant palette planted");
  expectOverCanvas(*window.dock("planted"));

  addPalette("docked", "Docked", 4);
  QTest::mouseClick(window.dock("docked")->findChild<QToolButton*>("float"), Qt::LeftButton);
  expectOverCanvas(*window.dock("docked"));
  addPalette("low", "Low", 2, 200);
  // The menu acts on the palette with the focus.
  window.activateWindow();
  ASSERT_TRUE(waitUntil([this] { return window.isActiveWindow(); }));
  window.dock("low")->findChild<QToolButton*>("float")->setFocus();
  action("dock:floating").trigger();
  expectOverCanvas(*window.dock("low"));
}

TEST_F(WindowLayout, PictureHoldsFloatingPalettes) {
  addPalette("loose", "Loose", 0);
  PaletteDock& dock = *window.dock("loose");
  const QSize size = window.size() * window.devicePixelRatio();
  const QImage without = window.grab().toImage();
  const QImage with = pictureOf(window).toImage();
  EXPECT_EQ(with.size(), size);
  const QPoint corner = placeOf(dock).topLeft() - placeOf(window).topLeft();
  const QImage palette = dock.grab().toImage();
  EXPECT_EQ(with.copy(QRect(corner, dock.size()).adjusted(1, 1, -1, -1)),
            palette.copy(dock.rect().adjusted(1, 1, -1, -1)).convertToFormat(with.format()));
  EXPECT_NE(with, without);
  // A palette beside the window is in the picture, too.
  dock.move(window.mapToGlobal(QPoint(window.width() - 100, 50)));
  EXPECT_EQ(pictureOf(window).width(), window.width() + 200);
}

// The page of each has failed, and its error page has an address and a button.
TEST_F(WindowLayout, ManyPalettesOnOneSideFitTheScreen) {
  window.play("offline");
  const QSize size = window.size();
  for (int i = 0; i < 10; ++i) {
    const std::string id = "side-" + std::to_string(i);
    host.application()
        .userInterface->palettes
        ->add_raw(id.c_str(), id.c_str(), "https://nowhere.example/", true, true, true, 300, 300,
                  true)
        ->release();
    window.play("dock " + id + " 4");
  }
  ASSERT_TRUE(waitUntil([this] { return window.settled(); }));
  QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
  EXPECT_LE(window.minimumSizeHint().height(), 720);
  EXPECT_EQ(window.size(), size);
  const PaletteDock& last = *window.dock("side-9");
  EXPECT_TRUE(
      QRect(QPoint(), window.size()).contains(QRect(last.mapTo(&window, QPoint()), last.size())));
  // What does not fit is scrolled to.
  auto& address = *last.findChild<QPlainTextEdit*>("address");
  window.activateWindow();
  ASSERT_TRUE(waitUntil([this] { return window.isActiveWindow(); }));
  last.findChild<QToolButton*>("close")->setFocus();
  const int height = last.height();
  for (int i = 0; i < 10; ++i) action("taller").trigger();
  ASSERT_TRUE(waitUntil([&] { return last.height() > height; }));
  for (int i = 0; i < 3 && !address.hasFocus(); ++i) QTest::keyClick(&window, Qt::Key_Tab);
  ASSERT_TRUE(address.hasFocus());
  EXPECT_FALSE(address.visibleRegion().isEmpty());
}

}  // namespace
