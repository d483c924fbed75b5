#include "substitute/desktop/PaletteDock.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMainWindow>
#include <QScreen>
#include <QStackedWidget>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWebEngineLoadingInfo>
#include <QWebEngineView>
#include <algorithm>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/ErrorPage.h"
#include "substitute/desktop/WebPage.h"
#include "substitute/desktop/Widgets.h"

namespace substitute {

namespace {

constexpr const char* blankPage = "about:blank";

}  // namespace

Qt::DockWidgetArea dockArea(int dockingState) {
  constexpr Qt::DockWidgetArea areas[] = {Qt::NoDockWidgetArea, Qt::TopDockWidgetArea,
                                          Qt::BottomDockWidgetArea, Qt::LeftDockWidgetArea,
                                          Qt::RightDockWidgetArea};
  return dockingState < 0 || dockingState > 4 ? Qt::NoDockWidgetArea : areas[dockingState];
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
      warningBar_(new QWidget),
      warning_(new QLabel),
      floatButton_(glyphButton("❐", "float", tr("Detach or dock"))) {
  setObjectName("palette:" + QString::fromStdString(object.id()));
  // A palette that the add-in opens floating must not take the focus.
  setAttribute(Qt::WA_ShowWithoutActivating);
  setTitleBar(*this, tr("Close"), {}, {floatButton_});
  closeButton_ = titleBarWidget()->findChild<QToolButton*>("close");
  connect(floatButton_, &QToolButton::clicked, this, &PaletteDock::floatOrDock);
  pages_->addWidget(view_);
  pages_->addWidget(errorPage_);
  auto* const content = new QWidget;
  QVBoxLayout* const column = makeColumn(*content);
  column->addWidget(pages_, 1);
  makeWarningBar();
  column->addWidget(warningBar_);
  setWidget(content);
  connectPage();
  resize(object.values().width, object.values().height);
  if (!address_.isEmpty()) load();
}

void PaletteDock::refresh() {
  const PaletteValues& values = object_.values();
  const QString title = QString::fromStdString(values.title);
  if (title != windowTitle()) setWindowTitle(title);
  view_->setAccessibleName(tr("Page of %1").arg(title));
  floatButton_->setAccessibleName(tr("Detach or dock %1").arg(title));
  closeButton_->setAccessibleName(tr("Close %1").arg(title));
  closeButton_->setVisible(values.closeButton);
  DockWidgetFeatures wanted = DockWidgetMovable | DockWidgetFloatable;
  if (values.closeButton) wanted |= DockWidgetClosable;
  if (wanted != features()) setFeatures(wanted);
  if (!values.resizable) limitSize();
  if (values.visible == isHidden()) setVisible(values.visible);
}

// A palette of one size. While it is docked, the window sets one dimension, and the other is at
// most half of the screen.
void PaletteDock::limitSize() {
  const Qt::DockWidgetArea area = dockArea(object_.dockingState);
  const bool isDocked = area != Qt::NoDockWidgetArea;
  const bool atSide = area == Qt::LeftDockWidgetArea || area == Qt::RightDockWidgetArea;
  const QSize size = QSize(object_.values().width, object_.values().height)
                         .boundedTo(screen()->availableSize() / (isDocked ? 2 : 1));
  setMinimumSize(isDocked && !atSide ? 0 : size.width(), atSide ? 0 : size.height());
  setMaximumSize(isDocked && !atSide ? QWIDGETSIZE_MAX : size.width(),
                 atSide ? QWIDGETSIZE_MAX : size.height());
}

void PaletteDock::floatOverCanvas() {
  constexpr int margin = 24;
  const auto* const window = qobject_cast<QMainWindow*>(parentWidget());
  int beside = margin;
  for (const PaletteDock* const other : window->findChildren<PaletteDock*>()) {
    if (other != this && other->isFloating() && other->isVisible()) beside += margin;
  }
  setFloating(true);
  window->layout()->activate();  // the canvas takes the place that the palette has left
  takeOwnSize();
  const QWidget& canvas = *window->centralWidget();
  const QRect place(canvas.mapToGlobal(QPoint()), canvas.size());
  // The title bar stays visible when the palette is larger than the canvas.
  moveOnScreen({std::max(place.left(), place.right() - beside - width()),
                std::max(place.top(), std::min(place.top() + beside, place.bottom() - height()))});
}

void PaletteDock::floatAtPointer() {
  const bool wasWider = width() > object_.values().width;
  takeOwnSize();
  moveOnScreen({wasWider ? QCursor::pos().x() - width() / 2 : x(), y()});
}

void PaletteDock::floatOrDock() {
  if (!isFloating()) return floatOverCanvas();
  setFloating(false);
  activateWindow();  // its floating window, which was active, is gone
}

void PaletteDock::takeOwnSize() {
  const QSize own(object_.values().width, object_.values().height);
  resize(own.expandedTo(minimumSizeHint()).boundedTo(parentWidget()->screen()->availableSize()));
}

void PaletteDock::moveOnScreen(const QPoint& place) {
  const QRect all = parentWidget()->screen()->availableGeometry();
  move(std::max(all.left(), std::min(place.x(), all.right() + 1 - width())),
       std::max(all.top(), std::min(place.y(), all.bottom() + 1 - height())));
}

void PaletteDock::retry() {
  if (state_ != State::failed) return;
  if (loadedUrl_.isEmpty()) {
    load();
  } else {
    view_->load(failedUrl_);
  }
}

void PaletteDock::reload() {
  if (state_ == State::failed) return retry();
  if (!loadedUrl_.isEmpty()) view_->reload();
}

void PaletteDock::openDeveloperTools() {
  auto* tools = findChild<QWebEngineView*>("developerTools");
  if (tools == nullptr) {
    tools = new QWebEngineView(this);
    tools->setObjectName("developerTools");
    tools->setWindowFlag(Qt::Window);
    tools->setAttribute(Qt::WA_DeleteOnClose);
    tools->setWindowTitle(tr("Developer tools: %1").arg(windowTitle()));
    tools->resize(960, 640);
    tools->page()->setInspectedPage(page_);
  }
  tools->show();
  tools->raise();
  tools->activateWindow();
}

void PaletteDock::closeEvent(QCloseEvent* event) {
  event->ignore();
  Q_EMIT closeRequested();
}

// A bar beneath the page, hidden while there is no warning.
void PaletteDock::makeWarningBar() {
  warningBar_->setObjectName("warningBar");
  warningBar_->setAttribute(Qt::WA_StyledBackground);
  warningBar_->hide();
  auto* const row = new QHBoxLayout(warningBar_);
  row->setContentsMargins(12, 6, 6, 6);
  warning_->setObjectName("warningText");
  setUpSentence(*warning_);
  warning_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  warning_->setFocusPolicy(Qt::StrongFocus);
  row->addWidget(warning_, 1);
  QToolButton* const dismiss =
      glyphButton("✕", "dismissWarning", tr("Dismiss the warning about the page"));
  connect(dismiss, &QToolButton::clicked, warningBar_, &QWidget::hide);
  row->addWidget(dismiss, 0, Qt::AlignTop);
}

void PaletteDock::connectPage() {
  view_->setPage(page_);
  view_->setFocusPolicy(Qt::StrongFocus);
  pages_->setDisabled(address_.isEmpty());  // it takes no focus
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
            warn(tr("%1, line %2: %3").arg(file.isEmpty() ? source : file).arg(line).arg(message));
          });
  connect(page_, &WebPage::windowRefused, this, [this](const QUrl& address) {
    warn(tr("The page asked for a new window, which does not open here: %1")
             .arg(address.toDisplayString()));
  });
  connect(errorPage_, &ErrorPage::retryRequested, this, &PaletteDock::retry);
  connect(errorPage_, &ErrorPage::backRequested, this, [this] { view_->load(loadedUrl_); });
}

// The add-in's address is not always well formed. QUrl would correct it, so a script in a blank
// page passes the string itself to the engine.
void PaletteDock::load() {
  state_ = State::loading;
  const bool byScript = address_.scheme() == "https" || address_.scheme() == "http";
  view_->load(byScript ? QUrl(blankPage) : address_);
}

void PaletteDock::openAddress() {
  const QString address = QString::fromStdString(line(object_.values().address));
  view_->page()->runJavaScript(
      QStringLiteral("(() => { try { location.replace(%1); return true; } catch { return false; } "
                     "})()")
          .arg(address),
      [this](const QVariant& leaves) {
        // The result is invalid when the page has been left or deleted already.
        if (!leaves.isValid() || leaves.toBool()) return;
        showFailure({tr("The address is not well formed."), false});
      });
}

void PaletteDock::onLoadingChanged(const QWebEngineLoadingInfo& info) {
  const bool start = info.url() == QUrl(blankPage);
  switch (info.status()) {
    case QWebEngineLoadingInfo::LoadStartedStatus:
      state_ = State::loading;
      warnings_ = 0;
      warningBar_->hide();
      break;
    case QWebEngineLoadingInfo::LoadSucceededStatus:
      if (start) return openAddress();
      state_ = State::loaded;
      loadedUrl_ = info.url();
      pages_->setCurrentWidget(view_);
      break;
    case QWebEngineLoadingInfo::LoadFailedStatus:
      // The end of a page that failed before can interrupt the blank page, which itself never
      // fails.
      if (start) {
        QTimer::singleShot(50, this, &PaletteDock::load);
        break;
      }
      failedUrl_ = info.url();
      showFailure(pageFailure(info, page_->refusedCertificate()));
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
  errorPage_->setFailure(loadedUrl_.isEmpty() ? QString::fromStdString(object_.values().address)
                                              : failedUrl_.toDisplayString(),
                         shown, !loadedUrl_.isEmpty() && loadedUrl_ != failedUrl_);
  pages_->setCurrentWidget(errorPage_);
  Q_EMIT pageFailed(shown.reason);
}

void PaletteDock::warn(const QString& text) {
  ++warnings_;
  showSentence(*warning_, warnings_ == 1 ? text : tr("%1 (warning %2)").arg(text).arg(warnings_));
  warningBar_->show();
}

}  // namespace substitute
