// A palette of the host on screen.
#pragma once

#include <QDockWidget>
#include <QPointer>
#include <QUrl>

class QStackedWidget;
class QToolButton;
class QWebEngineLoadingInfo;
class QWebEngineView;

namespace substitute {

struct PageFailure;
class ElidedLabel;
class ErrorPage;
class WarningBar;
class PaletteObject;
class WebEngine;
class WebPage;

// The dock area for a docking state of the host: 1 to 4 are top, bottom, left and right. None for
// the others, which float.
Qt::DockWidgetArea dockArea(int dockingState);

// Shows one palette with its page. What the user does to it is only told, never done here: the
// owner carries it to the host and calls `refresh`.
class PaletteDock : public QDockWidget {
  Q_OBJECT

 public:
  // Loads the palette's page. `object` and `engine` outlive the dock.
  PaletteDock(const PaletteObject& object, WebEngine& engine, QWidget* parent);

  const PaletteObject& object() const { return object_; }
  QWebEngineView& view() const { return *view_; }

  // Takes over title, buttons and visibility from the palette. The place is the owner's business.
  void refresh();

  // Floats in the palette's own size over the middle of the window, beside what floats there.
  void floatOverCanvas();

  // Loads the page again where it could not be loaded.
  void retry();

  // Loads the page again in any case.
  void reload();

  // Opens the web engine's own tools for the page, in a window that goes with the dock.
  void openDeveloperTools();

  // True when the page is loaded, or known to be out of reach.
  bool settled() const { return state_ != State::loading; }
  bool loaded() const { return state_ == State::loaded; }

 Q_SIGNALS:
  void closeRequested();
  void messageSent(const QString& data);
  // The page cannot be shown; `reason` is one sentence.
  void pageFailed(const QString& reason);

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  enum class State { loading, loaded, failed };

  QWidget* makeTitleBar();
  void connectPage();
  void load();
  void openAddress();
  void onLoadingChanged(const QWebEngineLoadingInfo& info);
  void showFailure(const PageFailure& failure);

  const PaletteObject& object_;
  WebEngine& engine_;
  State state_ = State::loaded;  // an empty address has nothing to load
  QUrl address_;
  bool initialPagePending_ = true;  // no page of the palette's address has loaded yet
  QUrl failedUrl_;                  // where the page itself led to in vain
  QStackedWidget* pages_;
  QWebEngineView* view_;
  WebPage* page_;
  ErrorPage* errorPage_;
  WarningBar* warnings_;
  QPointer<QWebEngineView> tools_;
  ElidedLabel* title_;
  QToolButton* closeButton_;
  QToolButton* floatButton_;
};

}  // namespace substitute
