#include "substitute/desktop/Theme.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QFontDatabase>
#include <QPainter>
#include <QPalette>
#include <QProxyStyle>
#include <QStyleOption>
#include <vector>

namespace substitute {

namespace {

QPalette paletteOf(Theme theme) {
  using P = QPalette;
  struct Colour {
    std::vector<P::ColorRole> roles;
    const char* light;
    const char* dark;
  };
  const Colour colours[] = {
      {{P::Window, P::Button}, "#f2f4f6", "#2a2e34"},     // around everything
      {{P::Base, P::ToolTipBase}, "#ffffff", "#1f2327"},  // of fields, pages and lists
      {{P::WindowText, P::Text, P::ButtonText, P::ToolTipText}, "#1f2a35", "#e7eaee"},
      // Less important text. The style sheet has no word for the first of the two.
      {{P::PlaceholderText, P::Shadow}, "#5d6b79", "#9aa4b0"},
      {{P::Mid, P::Dark}, "#d3d9df", "#3d434b"},        // borders
      {{P::Light, P::Midlight}, "#e3e8ed", "#3a4048"},  // under the pointer
      {{P::Highlight, P::Link}, "#1268b8", "#4c9be8"},  // what is selected
      {{P::HighlightedText}, "#ffffff", "#0d1620"},
      {{P::LinkVisited}, "#e3e8ed", "#9aa4b0"},  // behind an icon of Qt's, which is dark
      {{P::BrightText}, "#b3261e", "#ff8f80"},   // failures
  };
  P palette;
  for (const Colour& colour : colours) {
    const QColor value = theme == Theme::dark ? colour.dark : colour.light;
    for (const P::ColorRole role : colour.roles) palette.setColor(role, value);
  }
  for (const P::ColorRole role : {P::WindowText, P::Text, P::ButtonText}) {
    palette.setColor(P::Disabled, role, palette.color(P::PlaceholderText));
  }
  return palette;
}

constexpr const char* styleSheet = R"(
QMainWindow::separator { background: palette(mid); width: 1px; height: 1px; }
QMenuBar { background: palette(window); padding: 2px 6px; border-bottom: 1px solid palette(mid); }
QMenuBar::item { padding: 3px 8px; border: 2px solid transparent; border-radius: 4px; }
QMenuBar::item:selected { background: palette(midlight); border-color: palette(highlight); }
QToolBar { background: palette(window); border: none; border-bottom: 1px solid palette(mid);
           padding: 4px 8px; spacing: 4px; }
QToolButton { border: none; border-radius: 5px; padding: 4px; color: palette(text); }
QToolButton:disabled { color: palette(shadow); }
QToolButton:hover { background: palette(midlight); }
QToolButton:pressed, QToolBar QToolButton:checked { background: palette(mid); }
QToolBar QToolButton { padding: 4px 10px; }
QToolButton::menu-indicator { subcontrol-position: right center; }
QToolBar QToolButton#qt_toolbar_ext_button { padding: 0; background: palette(link-visited); }
QWidget#titleBar { background: palette(window); border-bottom: 1px solid palette(mid); }
QLabel#title, QLabel#heading { font-weight: 600; }
QLabel#count, QLabel#expectations, QLabel#reason, QLabel#values { color: palette(shadow); }
QWidget#errorPage { background: palette(base); }
QWidget#warningBar { background: palette(window); border-top: 1px solid palette(mid); }
QPushButton, QLineEdit, QPlainTextEdit#address { background: palette(base);
                                    border: 1px solid palette(mid); border-radius: 5px; }
QPushButton { padding: 6px 14px; outline: none; }
QPushButton:hover { background: palette(midlight); }
QLineEdit { padding: 4px 8px; }
QTreeView, QPlainTextEdit#traceDetail { background: palette(base); border: none; }
QTreeView::item { padding: 2px 4px; }
QPlainTextEdit#traceDetail { border-top: 1px solid palette(mid); }
QStatusBar { background: palette(window); border-top: 1px solid palette(mid); }
QStatusBar::item { border: none; }
QStatusBar QLabel { padding: 3px 10px; }
)";

class HostStyle : public QProxyStyle {
 public:
  HostStyle() : QProxyStyle("Fusion") {}

  int pixelMetric(PixelMetric metric, const QStyleOption* option,
                  const QWidget* widget) const override {
    // The frame is drawn inside the widget, since many parents leave no room around it. Lists use
    // the same metrics for the space beside their text.
    const bool isMargin = metric == PM_FocusFrameHMargin || metric == PM_FocusFrameVMargin;
    if (isMargin && qobject_cast<const QAbstractItemView*>(widget) == nullptr) return 0;
    if (metric == PM_ToolBarExtensionExtent) return 28;
    return QProxyStyle::pixelMetric(metric, option, widget);
  }

  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* result) const override {
    if (hint == SH_FocusFrame_AboveWidget) return 1;
    if (hint == SH_FocusFrame_Mask || hint == SH_DialogButtonBox_ButtonsHaveIcons) return 0;
    return QProxyStyle::styleHint(hint, option, widget, result);
  }

  void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                   const QWidget* widget) const override {
    if (element != CE_FocusFrame) {
      return QProxyStyle::drawControl(element, option, painter, widget);
    }
    // The inner line separates the frame from a background of the same colour.
    const QRectF place = option->rect;
    painter->setPen(QPen(option->palette.color(QPalette::Highlight), 2, Qt::SolidLine,
                         Qt::SquareCap, Qt::MiterJoin));
    painter->drawRect(place.adjusted(1, 1, -1, -1));
    painter->setPen(QPen(option->palette.color(QPalette::Base), 1));
    painter->drawRect(place.adjusted(2.5, 2.5, -2.5, -2.5));
  }
};

}  // namespace

Theme currentTheme() {
  const QPalette palette = QApplication::palette();
  const bool isDark =
      palette.windowText().color().lightness() > palette.window().color().lightness();
  return isDark ? Theme::dark : Theme::light;
}

void apply(Theme theme) {
  QFont font = QApplication::font();
  if (QFontDatabase::hasFamily("Inter")) font.setFamily("Inter");
  font.setStyleStrategy(QFont::PreferNoShaping);  // it would draw "->" as an arrow
  QApplication::setFont(font);
  QApplication::setStyle(new HostStyle);
  QApplication::setPalette(paletteOf(theme));
  qApp->setStyleSheet(styleSheet);
}

}  // namespace substitute
