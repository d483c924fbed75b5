#include "substitute/desktop/Canvas.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace substitute {

namespace {

// A point of the model, in units of the grid, in isometric projection.
QPointF projected(double x, double y, double z) {
  return {(x - y) * 0.866, (x + y) * 0.5 - z};
}

QColor blend(const QColor& one, const QColor& other, float part) {
  const auto mix = [part](float a, float b) { return a + (b - a) * part; };
  return QColor::fromRgbF(mix(one.redF(), other.redF()), mix(one.greenF(), other.greenF()),
                          mix(one.blueF(), other.blueF()));
}

void drawGrid(QPainter& painter, const QColor& ground, const QColor& lines) {
  constexpr int half = 8;  // the grid's cells from its middle to its edge
  for (int i = -half; i <= half; ++i) {
    const float strength = i == 0 ? 0.32F : 0.11F;
    painter.setPen(QPen(blend(ground, lines, strength), 0));
    painter.drawLine(projected(i, -half, 0), projected(i, half, 0));
    painter.drawLine(projected(-half, i, 0), projected(half, i, 0));
  }
}

QPolygonF circle(double radius, double z) {
  QPolygonF points;
  for (int i = 0; i < 72; ++i) {
    const double angle = i * 3.14159265358979 / 36;
    points << projected(radius * std::cos(angle), radius * std::sin(angle), z);
  }
  return points;
}

// A plate with a round hole, as in the first lessons.
void drawPlate(QPainter& painter, const QColor& body, const QColor& lines, bool dark) {
  constexpr double a = 2.4;
  constexpr double top = 1.1;
  const auto face = [&](const QPolygonF& corners, const QColor& colour) {
    painter.setPen(QPen(blend(colour, lines, dark ? 0.25F : 0.45F), 0.03, Qt::SolidLine,
                        Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(colour);
    painter.drawPolygon(corners);
  };
  face({projected(-a, a, 0), projected(a, a, 0), projected(a, a, top), projected(-a, a, top)},
       body.darker(112));
  face({projected(a, -a, 0), projected(a, a, 0), projected(a, a, top), projected(a, -a, top)},
       body.darker(126));
  face({projected(-a, -a, top), projected(a, -a, top), projected(a, a, top), projected(-a, a, top)},
       body.lighter(dark ? 118 : 104));
  face(circle(1.1, top), body.darker(140));
  QPainterPath hole;
  hole.addPolygon(circle(1.1, top));
  painter.setClipPath(hole);
  face(circle(1.1, 0.25), body.darker(112));
}

}  // namespace

Canvas::Canvas(QWidget* parent) : QWidget(parent) {
  setAccessibleName(tr("Model"));
  setAccessibleDescription(
      tr("A ground grid with a plate that has a round hole. It is a picture."));
}

void Canvas::paintEvent(QPaintEvent* /*event*/) {
  const QColor ground = palette().color(QPalette::Window);
  const QColor lines = palette().color(QPalette::WindowText);
  const QColor accent = palette().color(QPalette::Highlight);
  const bool dark = lines.lightness() > ground.lightness();

  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  QLinearGradient background(0, 0, 0, height());
  background.setColorAt(0, dark ? ground.darker(115) : QColor("#ffffff"));
  background.setColorAt(1, dark ? ground.darker(135) : QColor("#e3e9ef"));
  painter.fillRect(rect(), background);

  const double unit = std::min(width() / 16.0, height() / 11.0);
  painter.translate(width() / 2.0, height() * 0.56);
  painter.scale(unit, unit);
  drawGrid(painter, dark ? ground.darker(125) : QColor("#f1f4f7"), lines);
  drawPlate(painter, blend(ground, accent, dark ? 0.30F : 0.22F), lines, dark);
}

}  // namespace substitute
