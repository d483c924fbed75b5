// A palette of the host in the window.
#pragma once

#include <QDockWidget>
#include <QUrl>

class QLabel;
class QStackedWidget;
class QToolButton;
class QWebEngineLoadingInfo;
class QWebEngineView;

namespace substitute {

struct PageFailure;
class ErrorPage;
class PaletteObject;
class WebEngine;
class WebPage;

// The dock area for a docking state of the host: 1 to 4 are top, bottom, left and right. Palettes
// in other states float, and have none.
Qt::DockWidgetArea dockArea(int dockingState);

// Shows one palette with its page. What the user does is only emitted as a signal: the owner
// changes the host's palette and calls `refresh`.
class PaletteDock : public QDockWidget {
  Q_OBJECT

 public:
  // Loads the palette's page. `object` and `engine` outlive the dock.
  PaletteDock(const PaletteObject& object, WebEngine& engine, QWidget* parent);

  const PaletteObject& object() const { return object_; }
  QWebEngineView& view() const { return *view_; }

  // Reads title, buttons and visibility from the palette. The owner sets the position.
  void refresh();

  // Floats over the canvas in the palette's own size, at most that of the screen, with an offset
  // for each palette that floats there already.
  void floatOverCanvas();

  // Takes that size, after the user has dragged the palette out of the window. It stays under the
  // pointer, and on the screen.
  void floatAtPointer();

  // Loads the page again if it has failed to load.
  void retry();

  // Loads the page again in any case.
  void reload();

  // Opens the web engine's developer tools for the page, in a window that the dock owns.
  void openDeveloperTools();

  // True when the page is loaded or has failed to load.
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

  void floatOrDock();
  void makeWarningBar();
  void limitSize();
  void takeOwnSize();
  void moveOnScreen(const QPoint& place);
  void connectPage();
  void load();
  void openAddress();
  void onLoadingChanged(const QWebEngineLoadingInfo& info);
  void showFailure(const PageFailure& failure);
  void warn(const QString& text);

  const PaletteObject& object_;
  WebEngine& engine_;
  State state_ = State::loaded;  // an empty address has nothing to load
  QUrl address_;
  QUrl failedUrl_;  // the address that failed after the first page had loaded
  QUrl loadedUrl_;  // the address of the page that was loaded last; empty: none was
  QStackedWidget* pages_;
  QWebEngineView* view_;
  WebPage* page_;
  ErrorPage* errorPage_;
  QWidget* warningBar_;
  QLabel* warning_;
  int warnings_ = 0;  // since the page was loaded
  QToolButton* floatButton_;
  QToolButton* closeButton_;
};

}  // namespace substitute
