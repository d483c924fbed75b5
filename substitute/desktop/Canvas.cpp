#include "substitute/desktop/Canvas.h"

#include <QPainter>
#include <algorithm>

namespace substitute {

namespace {

// A point of the model, in units of the grid, in isometric projection.
QPointF projected(double x, double y, double z) {
  return {(x - y) * 0.866, (x + y) * 0.5 - z};
}

}  // namespace

Canvas::Canvas() {
  setAccessibleName(tr("Model"));
  setAccessibleDescription(tr("A ground grid with a plate. It is a picture."));
}

void Canvas::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.fillRect(rect(), palette().window());
  const double unit = std::min(width() / 16.0, height() / 11.0);
  painter.translate(width() / 2.0, height() * 0.56);
  painter.scale(unit, unit);
  const auto colour = [this](QPalette::ColorRole role, double strength) {
    QColor result = palette().color(role);
    result.setAlphaF(static_cast<float>(strength));
    return result;
  };
  constexpr int half = 8;  // the grid's cells from its middle to its edge
  for (int i = -half; i <= half; ++i) {
    painter.setPen(QPen(colour(QPalette::WindowText, i == 0 ? 0.3 : 0.1), 0));
    painter.drawLine(projected(i, -half, 0), projected(i, half, 0));
    painter.drawLine(projected(-half, i, 0), projected(half, i, 0));
  }
  // A plate, as in the first lessons.
  painter.setPen(
      QPen(colour(QPalette::WindowText, 0.5), 0.03, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
  const auto face = [&](const QPolygonF& corners, double strength) {
    painter.setBrush(palette().window());  // hides the grid
    painter.drawPolygon(corners);
    painter.setBrush(colour(QPalette::Highlight, strength));
    painter.drawPolygon(corners);
  };
  constexpr double a = 2.4;
  constexpr double top = 1.1;
  face({projected(-a, a, 0), projected(a, a, 0), projected(a, a, top), projected(-a, a, top)},
       0.35);
  face({projected(a, -a, 0), projected(a, a, 0), projected(a, a, top), projected(a, -a, top)}, 0.5);
  face({projected(-a, -a, top), projected(a, -a, top), projected(a, a, top), projected(-a, a, top)},
       0.22);
}

}  // namespace substitute
