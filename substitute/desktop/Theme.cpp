#include "substitute/desktop/Theme.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QFontDatabase>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QProxyStyle>
#include <QStyleOption>
#include <utility>

namespace substitute {

namespace {

struct Colours {
  QColor window;   // around everything
  QColor surface;  // of fields, pages and lists
  QColor text;
  QColor faint;     // less important text
  QColor line;      // borders
  QColor hover;     // under the pointer
  QColor accent;    // what is selected
  QColor onAccent;  // text on it
  QColor failure;   // text about failures
};

Colours coloursOf(Theme theme) {
  if (theme == Theme::dark) {
    return {"#2a2e34", "#1f2327", "#e7eaee", "#9aa4b0", "#3d434b",
            "#3a4048", "#4c9be8", "#0d1620", "#ff8f80"};
  }
  return {"#f2f4f6", "#ffffff", "#1f2a35", "#5d6b79", "#d3d9df",
          "#e3e8ed", "#1268b8", "#ffffff", "#b3261e"};
}

QPalette paletteOf(const Colours& colours) {
  QPalette palette;
  palette.setColor(QPalette::Window, colours.window);
  palette.setColor(QPalette::WindowText, colours.text);
  palette.setColor(QPalette::Base, colours.surface);
  palette.setColor(QPalette::AlternateBase, colours.window);
  palette.setColor(QPalette::Text, colours.text);
  palette.setColor(QPalette::PlaceholderText, colours.faint);
  palette.setColor(QPalette::Button, colours.window);
  palette.setColor(QPalette::ButtonText, colours.text);
  palette.setColor(QPalette::ToolTipBase, colours.surface);
  palette.setColor(QPalette::ToolTipText, colours.text);
  palette.setColor(QPalette::Highlight, colours.accent);
  palette.setColor(QPalette::HighlightedText, colours.onAccent);
  palette.setColor(QPalette::Link, colours.accent);
  palette.setColor(QPalette::BrightText, colours.failure);
  palette.setColor(QPalette::Light, colours.hover);
  palette.setColor(QPalette::Midlight, colours.hover);
  palette.setColor(QPalette::Mid, colours.line);
  palette.setColor(QPalette::Dark, colours.line);
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(QPalette::Disabled, role, colours.faint);
  }
  return palette;
}

constexpr const char* styleSheet = R"(
QMainWindow::separator { background: LINE; width: 1px; height: 1px; }
QMenuBar { background: WINDOW; padding: 2px 6px; border-bottom: 1px solid LINE; }
QMenuBar::item { padding: 3px 8px; border: 2px solid transparent; border-radius: 4px; }
QMenuBar::item:selected { background: HOVER; border-color: ACCENT; }
QMenu { background: SURFACE; border: 1px solid LINE; padding: 4px; }
QMenu::item { padding: 4px 24px 4px 22px; border: 2px solid transparent; border-radius: 4px; }
QMenu::item:selected { background: HOVER; color: TEXT; border-color: ACCENT; }
QMenu::item:disabled { color: FAINT; }
QMenu::separator { height: 1px; background: LINE; margin: 4px 6px; }
QMenu::indicator { width: 14px; height: 14px; left: 5px; }
QToolBar { background: WINDOW; border: none; border-bottom: 1px solid LINE; padding: 4px 8px;
           spacing: 4px; }
QToolButton { border: none; border-radius: 5px; padding: 4px; color: TEXT; }
QToolButton:hover { background: HOVER; }
QToolButton:pressed { background: LINE; }
QToolBar QToolButton { padding: 4px 10px; }
QToolBar QToolButton#qt_toolbar_ext_button { padding: 0; }
QToolBar QToolButton:checked { background: LINE; }
QToolTip { background: SURFACE; color: TEXT; border: 1px solid LINE; padding: 6px; }
QWidget#titleBar { background: WINDOW; border-bottom: 1px solid LINE; }
QWidget#titleBar QLabel { font-weight: 600; }
QWidget#errorPage { background: SURFACE; }
QLabel#heading { font-weight: 600; }
QLabel#reason { color: FAINT; }
QPlainTextEdit#address { background: SURFACE; border: 1px solid LINE; border-radius: 5px; }
QPlainTextEdit#traceDetail { background: SURFACE; border: none; }
QSplitter#traceSplitter::handle { background: LINE; }
QPlainTextEdit#address:focus { border-color: ACCENT; }
QWidget#warningBar { background: WINDOW; border-top: 1px solid LINE; }
QWidget#titleBar QLabel#count { color: FAINT; font-weight: 400; }
QAbstractScrollArea::corner { background: SURFACE; }
QPushButton { background: SURFACE; border: 1px solid LINE; border-radius: 5px; padding: 6px 14px; }
QPushButton:hover { background: HOVER; }
QLineEdit { background: SURFACE; border: 1px solid LINE; border-radius: 5px; padding: 4px 8px; }
QLineEdit:focus { border-color: ACCENT; }
QTreeView { background: SURFACE; alternate-background-color: SURFACE; border: none; }
QTreeView::item { padding: 2px 4px; }
QHeaderView::section { background: WINDOW; color: FAINT; border: none;
                       border-bottom: 1px solid LINE; padding: 4px 3px; }
QScrollBar { background: transparent; border: none; }
QScrollBar:vertical { width: 10px; }
QScrollBar:horizontal { height: 10px; }
QScrollBar::handle { background: LINE; border-radius: 5px; min-height: 24px; min-width: 24px; }
QScrollBar::add-line, QScrollBar::sub-line { width: 0; height: 0; }
QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }
QStatusBar { background: WINDOW; border-top: 1px solid LINE; }
QStatusBar::item { border: none; }
QStatusBar QLabel { padding: 3px 10px; color: FAINT; }
)";

// Draws the focus frame inside the widget, since many parents leave no room around it.
class HostStyle : public QProxyStyle {
 public:
  HostStyle() : QProxyStyle("Fusion") {}

  int pixelMetric(PixelMetric metric, const QStyleOption* option,
                  const QWidget* widget) const override {
    // Lists use the same metrics for the space beside their text.
    const bool isList = qobject_cast<const QAbstractItemView*>(widget) != nullptr;
    switch (metric) {
      case PM_FocusFrameHMargin:
      case PM_FocusFrameVMargin:
        return isList ? QProxyStyle::pixelMetric(metric, option, widget) : 0;
      case PM_ToolBarExtensionExtent:
        return 28;
      default:
        return QProxyStyle::pixelMetric(metric, option, widget);
    }
  }

  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* result) const override {
    if (hint == SH_FocusFrame_AboveWidget) return 1;
    if (hint == SH_FocusFrame_Mask) return 0;
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

class DrawnIcon : public QIconEngine {
 public:
  DrawnIcon(Drawing drawing, QColor colour) : drawing_(drawing), colour_(colour) {}

  QIconEngine* clone() const override { return new DrawnIcon(drawing_, colour_); }

  QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
    QPixmap picture(size);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    paint(&painter, QRect(QPoint(), size), mode, state);
    return picture;
  }

  // Draws on a square of 16 by 16 units.
  void paint(QPainter* painter, const QRect& place, QIcon::Mode mode,
             QIcon::State /*state*/) override {
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->translate(place.topLeft());
    painter->scale(place.width() / 16.0, place.height() / 16.0);
    QColor colour = colour_;
    if (mode == QIcon::Disabled) colour.setAlphaF(0.4F);
    painter->setPen(QPen(colour, 1.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    switch (drawing_) {
      case Drawing::cross:
        painter->drawLine(QPointF(4, 4), QPointF(12, 12));
        painter->drawLine(QPointF(12, 4), QPointF(4, 12));
        break;
      case Drawing::window:
        painter->drawRoundedRect(QRectF(3, 5.5, 7.5, 7.5), 1, 1);
        painter->drawPolyline(QPolygonF({{6, 3}, {13, 3}, {13, 10}}));
        break;
      case Drawing::more:
        for (const double x : {3.5, 8.5}) {
          painter->drawPolyline(QPolygonF({{x, 4}, {x + 4, 8}, {x, 12}}));
        }
        break;
      case Drawing::help: {
        // Smaller than the icons beside it.
        painter->translate(8, 8);
        painter->scale(0.7, 0.7);
        painter->translate(-8, -8);
        painter->drawEllipse(QPointF(8, 8), 6.5, 6.5);
        QPainterPath mark(QPointF(6, 6.3));
        mark.cubicTo(6, 3.9, 10, 3.9, 10, 6.3);
        mark.cubicTo(10, 7.9, 8, 7.8, 8, 9.4);
        painter->drawPath(mark);
        painter->setBrush(colour);
        painter->setPen(Qt::NoPen);
        painter->drawEllipse(QPointF(8, 11.6), 0.9, 0.9);
        break;
      }
    }
    painter->restore();
  }

 private:
  Drawing drawing_;
  QColor colour_;
};

}  // namespace

Theme systemTheme() {
  const QPalette palette = QApplication::palette();
  return palette.color(QPalette::WindowText).lightness() >
                 palette.color(QPalette::Window).lightness()
             ? Theme::dark
             : Theme::light;
}

void apply(Theme theme) {
  const Colours colours = coloursOf(theme);
  if (QFontDatabase::hasFamily("Inter")) {
    QFont font = QApplication::font();
    font.setFamily("Inter");
    QApplication::setFont(font);
  }
  QApplication::setStyle(new HostStyle);
  QApplication::setPalette(paletteOf(colours));
  QString text = styleSheet;
  const std::pair<const char*, QColor> names[] = {
      {"WINDOW", colours.window}, {"SURFACE", colours.surface}, {"FAINT", colours.faint},
      {"LINE", colours.line},     {"HOVER", colours.hover},     {"ONACCENT", colours.onAccent},
      {"ACCENT", colours.accent}, {"TEXT", colours.text},
  };
  for (const auto& [name, colour] : names) text.replace(name, colour.name());
  qApp->setStyleSheet(text);
}

QIcon drawnIcon(Drawing drawing, const QColor& colour) {
  return QIcon(new DrawnIcon(drawing, colour));
}

}  // namespace substitute
