// A palette of the host on screen.
#pragma once

#include <QDockWidget>
#include <QUrl>

class QLabel;
class QStackedWidget;
class QToolButton;
class QWebEngineView;

namespace substitute {

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

  // Loads the page again where it could not be reached.
  void retry();

  // True when the page is loaded, or known to be out of reach.
  bool settled() const { return state_ != State::loading; }
  bool reached() const { return state_ == State::reached; }

 Q_SIGNALS:
  void closeRequested();
  void messageSent(const QString& data);

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  enum class State { loading, reached, failed };

  QWidget* makeTitleBar();
  QWidget* makeNotice();
  void load();
  void leaveStartPage();
  // `httpStatus` is 0 when there was no answer at all.
  void fail(int httpStatus);

  const PaletteObject& object_;
  WebEngine& engine_;
  State state_ = State::reached;  // an empty address has nothing to load
  QUrl address_;
  QStackedWidget* pages_;
  QWebEngineView* view_;
  QWidget* notice_;
  QLabel* reason_;
  QLabel* title_;
  QToolButton* closeButton_;
  QToolButton* floatButton_;
};

}  // namespace substitute
