// What stands in a palette in place of a page that cannot be shown.
#pragma once

#include <QScrollArea>
#include <QUrl>

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace substitute {

// Why a page cannot be shown.
struct PageFailure {
  QString reason;      // one sentence
  bool again = false;  // whether trying again can help, with nothing else done
};

// `code` is the web engine's: a positive one is an HTTP status, a negative one an error of its own,
// named `errorName`. `url` is what failed. `certificate` says what is wrong with the certificate,
// where that is the failure.
PageFailure pageFailure(int code, const QString& errorName, const QUrl& url,
                        const QString& certificate);

// Scrolls where it does not fit.
class PageNotice : public QScrollArea {
  Q_OBJECT

 public:
  explicit PageNotice(QWidget* parent = nullptr);

  // `address` may be of any length; it is shown in a few lines and can be scrolled and copied.
  void tell(const QString& address, const PageFailure& failure);

 Q_SIGNALS:
  void retryRequested();

 private:
  QLabel* reason_;
  QPlainTextEdit* address_;
  QPushButton* again_;
};

}  // namespace substitute
