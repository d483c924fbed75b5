#include "substitute/desktop/PaletteDock.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QStackedWidget>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWebEngineLoadingInfo>
#include <QWebEngineView>
#include <chrono>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/Theme.h"
#include "substitute/desktop/WebPage.h"

namespace substitute {

namespace {

constexpr const char* startPage = "about:blank";

}  // namespace

Qt::DockWidgetArea dockArea(int dockingState) {
  switch (dockingState) {
    case 1:
      return Qt::TopDockWidgetArea;
    case 2:
      return Qt::BottomDockWidgetArea;
    case 3:
      return Qt::LeftDockWidgetArea;
    case 4:
      return Qt::RightDockWidgetArea;
    default:
      return Qt::NoDockWidgetArea;
  }
}

PaletteDock::PaletteDock(const PaletteObject& object, WebEngine& engine, QWidget* parent)
    : QDockWidget(parent),
      object_(object),
      engine_(engine),
      address_(QString::fromStdString(object.values().address)),
      pages_(new QStackedWidget),
      view_(new QWebEngineView) {
  setObjectName("palette:" + QString::fromStdString(object.id()));
  setTitleBarWidget(makeTitleBar());
  notice_ = makeNotice();
  pages_->addWidget(view_);
  pages_->addWidget(notice_);
  setWidget(pages_);

  auto* const page = new WebPage(engine, view_);
  view_->setPage(page);
  view_->setContextMenuPolicy(Qt::NoContextMenu);
  page->setBackgroundColor(palette().color(QPalette::Base));
  connect(page, &WebPage::messageSent, this, &PaletteDock::messageSent);
  connect(page, &QWebEnginePage::loadingChanged, this, [this](const QWebEngineLoadingInfo& info) {
    switch (info.status()) {
      case QWebEngineLoadingInfo::LoadStartedStatus:
        state_ = State::loading;
        break;
      case QWebEngineLoadingInfo::LoadSucceededStatus:
        if (info.url() == QUrl(startPage)) return leaveStartPage();
        state_ = State::reached;
        pages_->setCurrentWidget(view_);
        break;
      case QWebEngineLoadingInfo::LoadFailedStatus:
        // The end of a page that failed before can break off the start page, which is always there.
        if (info.url() == QUrl(startPage)) {
          QTimer::singleShot(std::chrono::milliseconds(50), this, &PaletteDock::load);
          break;
        }
        fail(info.errorDomain() == QWebEngineLoadingInfo::HttpStatusCodeDomain ? info.errorCode()
                                                                               : 0);
        break;
      case QWebEngineLoadingInfo::LoadStoppedStatus:  // by the next load
        break;
    }
  });
  resize(object.values().width, object.values().height);
  if (!address_.isEmpty()) load();
}

void PaletteDock::refresh() {
  const PaletteValues& values = object_.values();
  const QString title = QString::fromStdString(values.title);
  if (title != windowTitle()) setWindowTitle(title);
  title_->setText(title);
  closeButton_->setVisible(values.closeButton);
  DockWidgetFeatures wanted = DockWidgetMovable | DockWidgetFloatable;
  if (values.closeButton) wanted |= DockWidgetClosable;
  if (wanted != features()) setFeatures(wanted);
  if (!values.resizable) {
    const Qt::DockWidgetArea area = dockArea(object_.dockingState);
    const bool lying = area == Qt::TopDockWidgetArea || area == Qt::BottomDockWidgetArea;
    const bool upright = area == Qt::LeftDockWidgetArea || area == Qt::RightDockWidgetArea;
    // Docked, the other measure is the window's.
    setMinimumSize(lying ? 0 : values.width, upright ? 0 : values.height);
    setMaximumSize(lying ? QWIDGETSIZE_MAX : values.width,
                   upright ? QWIDGETSIZE_MAX : values.height);
  }
  if (values.visible == isHidden()) setVisible(values.visible);
}

void PaletteDock::retry() {
  if (state_ == State::failed) load();
}

void PaletteDock::closeEvent(QCloseEvent* event) {
  event->ignore();
  Q_EMIT closeRequested();
}

// The style's own title bar draws its buttons for light windows only.
QWidget* PaletteDock::makeTitleBar() {
  auto* const bar = new QWidget;
  bar->setObjectName("titleBar");
  bar->setAttribute(Qt::WA_StyledBackground);
  auto* const row = new QHBoxLayout(bar);
  row->setContentsMargins(12, 4, 6, 4);
  row->setSpacing(2);
  const QColor colour = palette().color(QPalette::WindowText);
  title_ = new QLabel;
  row->addWidget(title_, 1);
  floatButton_ = new QToolButton;
  floatButton_->setObjectName("float");
  floatButton_->setIcon(drawnIcon(Drawing::window, colour));
  floatButton_->setAutoRaise(true);
  floatButton_->setToolTip(tr("Detach or dock"));
  connect(floatButton_, &QToolButton::clicked, this, [this] { setFloating(!isFloating()); });
  row->addWidget(floatButton_);
  closeButton_ = new QToolButton;
  closeButton_->setObjectName("close");
  closeButton_->setIcon(drawnIcon(Drawing::cross, colour));
  closeButton_->setAutoRaise(true);
  closeButton_->setToolTip(tr("Close"));
  connect(closeButton_, &QToolButton::clicked, this, &QWidget::close);
  row->addWidget(closeButton_);
  return bar;
}

QWidget* PaletteDock::makeNotice() {
  auto* const page = new QWidget;
  page->setObjectName("notice");
  page->setAttribute(Qt::WA_StyledBackground);
  auto* const column = new QVBoxLayout(page);
  column->setContentsMargins(24, 24, 24, 24);
  column->setSpacing(10);
  column->addStretch(2);
  auto* const heading = new QLabel(tr("The page is out of reach"));
  heading->setObjectName("heading");
  heading->setWordWrap(true);
  heading->setAlignment(Qt::AlignCenter);
  column->addWidget(heading);
  reason_ = new QLabel;
  reason_->setObjectName("reason");
  reason_->setWordWrap(true);
  reason_->setAlignment(Qt::AlignCenter);
  column->addWidget(reason_);
  auto* const again = new QPushButton(tr("Try again"));
  connect(again, &QPushButton::clicked, this, &PaletteDock::retry);
  column->addWidget(again, 0, Qt::AlignHCenter);
  column->addStretch(3);
  return page;
}

// The add-in's address is not always well formed. QUrl would mend it, so the engine is given the
// text itself, by a script in an empty page.
void PaletteDock::load() {
  state_ = State::loading;
  const bool byScript = address_.scheme() == "https" || address_.scheme() == "http";
  view_->load(byScript ? QUrl(startPage) : address_);
}

void PaletteDock::leaveStartPage() {
  const QString address = QString::fromStdString(line(object_.values().address));
  view_->page()->runJavaScript(
      QStringLiteral("(() => { try { location.replace(%1); return true; } catch { return false; } "
                     "})()")
          .arg(address),
      [dock = QPointer<PaletteDock>(this)](const QVariant& leaves) {
        // Nothing comes back from a page that has been left already.
        if (dock && leaves.isValid() && !leaves.toBool()) dock->fail(0);
      });
}

void PaletteDock::fail(int httpStatus) {
  state_ = State::failed;
  if (engine_.offline()) {
    reason_->setText(tr("The host is offline. It loads the page when it goes online."));
  } else if (httpStatus != 0) {
    reason_->setText(tr("%1 answers with the error %2. The host tries again when it goes online.")
                         .arg(address_.host())
                         .arg(httpStatus));
  } else {
    reason_->setText(
        tr("%1 does not answer. The host tries again when it goes online.").arg(address_.host()));
  }
  pages_->setCurrentWidget(notice_);
}

}  // namespace substitute
