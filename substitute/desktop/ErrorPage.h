// The page that a palette shows in place of one that cannot be shown.
#pragma once

#include <QScrollArea>

class QLabel;
class QPlainTextEdit;
class QPushButton;
class QWebEngineLoadingInfo;

namespace substitute {

// Why a page cannot be shown.
struct PageFailure {
  QString reason;         // one sentence
  bool canRetry = false;  // whether another load can succeed without any other change
};

// `info` is what the web engine says of a load that failed. `certificate` says what is wrong with
// the certificate of the address; it is used for certificate errors alone.
PageFailure pageFailure(const QWebEngineLoadingInfo& info, const QString& certificate);

// Scrolls when the palette is too small for it.
class ErrorPage : public QScrollArea {
  Q_OBJECT

 public:
  ErrorPage();

  // `address` may be of any length; it is shown in a few lines and can be scrolled and copied.
  // `hasWayBack`: a page was shown before this one.
  void setFailure(const QString& address, const PageFailure& failure, bool hasWayBack);

 Q_SIGNALS:
  void retryRequested();
  void backRequested();

 private:
  QLabel* reason_;
  QPlainTextEdit* address_;
  QPushButton* retry_;
  QPushButton* back_;
};

}  // namespace substitute
