#include "substitute/desktop/PaletteDock.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QMainWindow>
#include <QPointer>
#include <QStackedWidget>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWebEngineLoadingInfo>
#include <QWebEngineView>
#include <algorithm>
#include <chrono>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/ElidedLabel.h"
#include "substitute/desktop/ErrorPage.h"
#include "substitute/desktop/Theme.h"
#include "substitute/desktop/WarningBar.h"
#include "substitute/desktop/WebPage.h"

namespace substitute {

namespace {

constexpr const char* blankPage = "about:blank";

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
      view_(new QWebEngineView),
      page_(new WebPage(engine, view_)),
      errorPage_(new ErrorPage),
      warnings_(new WarningBar) {
  setObjectName("palette:" + QString::fromStdString(object.id()));
  // A palette that the add-in opens floating must not take the focus.
  setAttribute(Qt::WA_ShowWithoutActivating);
  setTitleBarWidget(makeTitleBar());
  pages_->addWidget(view_);
  pages_->addWidget(errorPage_);
  auto* const content = new QWidget;
  auto* const column = new QVBoxLayout(content);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(0);
  column->addWidget(pages_, 1);
  column->addWidget(warnings_);
  setWidget(content);
  connectPage();
  resize(object.values().width, object.values().height);
  if (!address_.isEmpty()) load();
}

void PaletteDock::refresh() {
  const PaletteValues& values = object_.values();
  const QString title = QString::fromStdString(values.title);
  if (title != windowTitle()) setWindowTitle(title);
  title_->setFullText(title);
  view_->setAccessibleName(tr("Page of %1").arg(title));
  floatButton_->setAccessibleName(tr("Detach or dock %1").arg(title));
  closeButton_->setAccessibleName(tr("Close %1").arg(title));
  closeButton_->setVisible(values.closeButton);
  DockWidgetFeatures wanted = DockWidgetMovable | DockWidgetFloatable;
  if (values.closeButton) wanted |= DockWidgetClosable;
  if (wanted != features()) setFeatures(wanted);
  if (!values.resizable) {
    const Qt::DockWidgetArea area = dockArea(object_.dockingState);
    const bool atTopOrBottom = area == Qt::TopDockWidgetArea || area == Qt::BottomDockWidgetArea;
    const bool atSide = area == Qt::LeftDockWidgetArea || area == Qt::RightDockWidgetArea;
    // When docked, the window sets the other dimension.
    setMinimumSize(atTopOrBottom ? 0 : values.width, atSide ? 0 : values.height);
    setMaximumSize(atTopOrBottom ? QWIDGETSIZE_MAX : values.width,
                   atSide ? QWIDGETSIZE_MAX : values.height);
  }
  if (values.visible == isHidden()) setVisible(values.visible);
}

void PaletteDock::floatOverCanvas() {
  constexpr int margin = 24;
  const auto* const window = qobject_cast<QMainWindow*>(parentWidget());
  int beside = margin;
  for (const PaletteDock* const other : window->findChildren<PaletteDock*>()) {
    if (other != this && other->isFloating() && other->isVisible()) beside += margin;
  }
  const QWidget& canvas = *window->centralWidget();
  const QRect place(canvas.mapToGlobal(QPoint()), canvas.size());
  setFloating(true);
  const QSize wanted(object_.values().width, object_.values().height);
  resize(wanted.expandedTo(minimumSizeHint()));
  // The title bar stays visible when the palette is larger than the canvas.
  move(std::max(place.left(), place.right() - beside - width()),
       std::max(place.top(), std::min(place.top() + beside, place.bottom() - height())));
}

void PaletteDock::retry() {
  if (state_ != State::failed) return;
  if (initialPagePending_) {
    load();
  } else {
    view_->load(failedUrl_);
  }
}

void PaletteDock::reload() {
  if (state_ == State::failed) {
    retry();
  } else if (!initialPagePending_) {
    page_->triggerAction(QWebEnginePage::Reload);
  }
}

void PaletteDock::openDeveloperTools() {
  if (!tools_) {
    tools_ = new QWebEngineView(this);
    tools_->setObjectName("developerTools");
    tools_->setWindowFlag(Qt::Window);
    tools_->setAttribute(Qt::WA_DeleteOnClose);
    tools_->setWindowTitle(tr("Developer tools: %1").arg(windowTitle()));
    tools_->resize(960, 640);
    tools_->page()->setInspectedPage(page_);
  }
  tools_->show();
  tools_->raise();
  tools_->activateWindow();
}

void PaletteDock::closeEvent(QCloseEvent* event) {
  event->ignore();
  Q_EMIT closeRequested();
}

// The style's own title bar has dark icons, which a dark theme would hide.
QWidget* PaletteDock::makeTitleBar() {
  auto* const bar = new QWidget;
  bar->setObjectName("titleBar");
  bar->setAttribute(Qt::WA_StyledBackground);
  auto* const row = new QHBoxLayout(bar);
  row->setContentsMargins(12, 4, 6, 4);
  row->setSpacing(2);
  const QColor colour = palette().color(QPalette::WindowText);
  title_ = new ElidedLabel;
  title_->setObjectName("title");
  row->addWidget(title_, 1);
  floatButton_ = new QToolButton;
  floatButton_->setObjectName("float");
  floatButton_->setIcon(drawnIcon(Drawing::window, colour));
  floatButton_->setAutoRaise(true);
  floatButton_->setToolTip(tr("Detach or dock"));
  connect(floatButton_, &QToolButton::clicked, this, [this] {
    if (isFloating()) {
      setFloating(false);
      activateWindow();  // its floating window, which was active, is gone
    } else {
      floatOverCanvas();
    }
  });
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

void PaletteDock::connectPage() {
  view_->setPage(page_);
  view_->setFocusPolicy(Qt::StrongFocus);
  view_->setContextMenuPolicy(Qt::NoContextMenu);
  page_->setBackgroundColor(palette().color(QPalette::Base));
  connect(page_, &WebPage::messageSent, this, &PaletteDock::messageSent);
  connect(page_, &QWebEnginePage::loadingChanged, this, &PaletteDock::onLoadingChanged);
  connect(page_, &QWebEnginePage::renderProcessTerminated, this,
          [this](QWebEnginePage::RenderProcessTerminationStatus status) {
            if (status == QWebEnginePage::NormalTerminationStatus) return;
            failedUrl_ = page_->url();
            showFailure({tr("The process that showed the page has ended."), true});
          });
  connect(page_, &WebPage::scriptFailed, this,
          [this](const QString& message, int line, const QString& source) {
            const QString file = QUrl(source).fileName();
            warnings_->warn(
                tr("%1, line %2: %3").arg(file.isEmpty() ? source : file).arg(line).arg(message));
          });
  connect(page_, &WebPage::windowRefused, this, [this](const QUrl& address) {
    warnings_->warn(tr("The page asked for a new window, which does not open here: %1")
                        .arg(address.toDisplayString()));
  });
  connect(errorPage_, &ErrorPage::retryRequested, this, &PaletteDock::retry);
}

// The add-in's address is not always well formed. QUrl would correct it, so a script in a blank
// page passes the string itself to the engine.
void PaletteDock::load() {
  state_ = State::loading;
  initialPagePending_ = true;
  const bool byScript = address_.scheme() == "https" || address_.scheme() == "http";
  view_->load(byScript ? QUrl(blankPage) : address_);
}

void PaletteDock::openAddress() {
  const QString address = QString::fromStdString(line(object_.values().address));
  view_->page()->runJavaScript(
      QStringLiteral("(() => { try { location.replace(%1); return true; } catch { return false; } "
                     "})()")
          .arg(address),
      [dock = QPointer<PaletteDock>(this)](const QVariant& leaves) {
        // The result is invalid when the page has been left already.
        if (dock && leaves.isValid() && !leaves.toBool()) {
          dock->showFailure({tr("The address is not well formed."), false});
        }
      });
}

void PaletteDock::onLoadingChanged(const QWebEngineLoadingInfo& info) {
  const bool start = info.url() == QUrl(blankPage);
  switch (info.status()) {
    case QWebEngineLoadingInfo::LoadStartedStatus:
      state_ = State::loading;
      warnings_->clear();
      break;
    case QWebEngineLoadingInfo::LoadSucceededStatus:
      if (start) return openAddress();
      state_ = State::loaded;
      initialPagePending_ = false;
      pages_->setCurrentWidget(view_);
      break;
    case QWebEngineLoadingInfo::LoadFailedStatus:
      // The end of a page that failed before can interrupt the blank page, which itself never
      // fails.
      if (start) {
        QTimer::singleShot(std::chrono::milliseconds(50), this, &PaletteDock::load);
        break;
      }
      failedUrl_ = info.url();
      showFailure(pageFailure(info.errorCode(), info.errorString(), info.url(),
                              page_->refusedCertificate()));
      break;
    case QWebEngineLoadingInfo::LoadStoppedStatus:  // the next load follows
      break;
  }
}

void PaletteDock::showFailure(const PageFailure& failure) {
  state_ = State::failed;
  const PageFailure offline = {tr("The host is offline. It loads the page when it goes online."),
                               false};
  const PageFailure& shown = engine_.offline() ? offline : failure;
  errorPage_->setFailure(initialPagePending_ ? QString::fromStdString(object_.values().address)
                                             : failedUrl_.toDisplayString(),
                         shown);
  pages_->setCurrentWidget(errorPage_);
  Q_EMIT pageFailed(shown.reason);
}

}  // namespace substitute
