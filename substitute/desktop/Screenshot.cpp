#include "substitute/desktop/Screenshot.h"

#include <QCoreApplication>
#include <QDir>
#include <QDockWidget>
#include <QFileInfo>
#include <QImageWriter>
#include <QPainter>
#include <QTimer>
#include <cstdlib>
#include <memory>
#include <vector>

#include "substitute/desktop/MainWindow.h"
#include "substitute/driver/CommandLine.h"
#include "substitute/driver/Errors.h"
#include "substitute/driver/ExitStatus.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

// Milliseconds. The first is the time that a loaded page takes to be painted.
constexpr int paintDelay = 700;
constexpr int loadTimeout = 20000;
constexpr int pollInterval = 100;

QRect globalRect(const QWidget& widget) {
  return {widget.mapToGlobal(QPoint()), widget.size()};
}

}  // namespace

void checkScreenshot(const std::string& file) {
  if (file.empty()) return;
  const QFileInfo picture(QString::fromStdString(file));
  const QByteArray format = picture.suffix().toLower().toLatin1();
  const QList<QByteArray> formats = QImageWriter::supportedImageFormats();
  if (!formats.contains(format)) {
    std::vector<std::string> names;
    for (const QByteArray& name : formats) names.push_back(name.toStdString());
    throw UsageError("no screenshot can be saved as " + file + "; the formats are " +
                     listed(names));
  }
  if (!picture.absoluteDir().exists()) {
    throw UsageError("there is no folder for the screenshot " + file);
  }
  if (picture.isDir()) throw UsageError("the screenshot " + file + " is a folder");
}

QPixmap pictureOf(QMainWindow& window) {
  QRect whole = globalRect(window);
  std::vector<QDockWidget*> floating;
  for (QDockWidget* const dock :
       window.findChildren<QDockWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
    if (!dock->isFloating() || !dock->isVisible()) continue;
    floating.push_back(dock);
    whole |= globalRect(*dock);
  }
  QPixmap picture(whole.size() * window.devicePixelRatio());
  picture.setDevicePixelRatio(window.devicePixelRatio());
  picture.fill(window.palette().color(QPalette::Mid));
  QPainter painter(&picture);
  painter.drawPixmap(globalRect(window).topLeft() - whole.topLeft(), window.grab());
  for (QDockWidget* const dock : floating) {
    const QRect place = globalRect(*dock).translated(-whole.topLeft());
    painter.drawPixmap(place.topLeft(), dock->grab());
    // In place of the frame that the desktop draws.
    painter.setPen(window.palette().color(QPalette::Mid));
    painter.drawRect(place.adjusted(0, 0, -1, -1));
  }
  return picture;
}

void takeScreenshot(MainWindow& window, const std::string& file, const std::string& program) {
  auto* const poll = new QTimer(&window);
  auto left = std::make_shared<int>(loadTimeout / pollInterval);
  QObject::connect(poll, &QTimer::timeout, &window, [&window, poll, left, file, program] {
    if (!window.settled() && --*left > 0) return;
    poll->stop();
    const bool complete = window.settled();
    if (!complete) printError(program, "a page was still loading when the screenshot was taken");
    QTimer::singleShot(paintDelay, &window, [&window, file, program, complete] {
      const bool saved = pictureOf(window).save(QString::fromStdString(file));
      if (!saved) printError(program, "the screenshot cannot be written to " + file);
      QCoreApplication::exit(saved && complete ? EXIT_SUCCESS : exit_status::wrongInput);
    });
  });
  poll->start(pollInterval);
}

}  // namespace substitute
