#include "substitute/desktop/ErrorPage.h"

#include <QApplication>
#include <QFontMetrics>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextOption>
#include <QVBoxLayout>

namespace substitute {

namespace {

constexpr int addressLines = 4;

// The web engine's numbers for its errors.
enum EngineError {
  timedOut = -7,
  networkChanged = -21,
  connectionRefused = -102,
  nameNotResolved = -105,
  internetDisconnected = -106,
  addressUnreachable = -109,
  connectionTimedOut = -118,
  nameResolutionFailed = -137,
  lastCertificateError = -299,
  firstCertificateError = -200,
};

}  // namespace

PageFailure pageFailure(int code, const QString& errorName, const QUrl& url,
                        const QString& certificate) {
  const QString host = url.host();
  if (code > 0) {
    // Request timeout, too many requests, and all errors of the server.
    const bool canRetry = code == 408 || code == 429 || code >= 500;
    return {QWidget::tr("%1 answers with the status %2.").arg(host).arg(code), canRetry};
  }
  if (code >= lastCertificateError && code <= firstCertificateError) {
    return {QWidget::tr("The certificate of %1 is not trusted. %2").arg(host, certificate), false};
  }
  switch (code) {
    case nameNotResolved:
    case nameResolutionFailed:
      // The engine also looks up names that are not valid, such as one with a space.
      if (host.isEmpty()) return {QWidget::tr("The address is not well formed."), false};
      return {QWidget::tr("The name %1 was not found.").arg(host), true};
    case internetDisconnected:
    case addressUnreachable:
    case networkChanged:
      return {QWidget::tr("There is no network that leads to %1.").arg(host), true};
    case connectionRefused:
      return {QWidget::tr("%1 refuses the connection.").arg(host), true};
    case timedOut:
    case connectionTimedOut:
      return {QWidget::tr("%1 does not answer in time.").arg(host), true};
    default:
      return {QWidget::tr("The web engine reports %1.").arg(errorName), true};
  }
}

ErrorPage::ErrorPage(QWidget* parent)
    : QScrollArea(parent),
      reason_(new QLabel),
      address_(new QPlainTextEdit),
      retry_(new QPushButton(tr("&Try again"))) {
  auto* const body = new QWidget;
  body->setObjectName("errorPage");
  body->setAttribute(Qt::WA_StyledBackground);
  setWidget(body);
  setWidgetResizable(true);
  setFrameShape(QFrame::NoFrame);
  setFocusPolicy(Qt::NoFocus);
  // Otherwise many palettes on one side of the window would make it higher than the screen.
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Ignored);
  connect(qApp, &QApplication::focusChanged, this, [this](QWidget* /*old*/, QWidget* now) {
    if (now != nullptr && isAncestorOf(now)) ensureWidgetVisible(now);
  });
  auto* const column = new QVBoxLayout(body);
  column->setContentsMargins(24, 24, 24, 24);
  column->setSpacing(10);
  column->addStretch(2);
  auto* const heading = new QLabel(tr("The page cannot be shown"));
  heading->setObjectName("heading");
  heading->setWordWrap(true);
  heading->setAlignment(Qt::AlignCenter);
  column->addWidget(heading);
  reason_->setObjectName("reason");
  reason_->setTextFormat(Qt::PlainText);
  reason_->setWordWrap(true);
  reason_->setAlignment(Qt::AlignCenter);
  column->addWidget(reason_);
  address_->setObjectName("address");
  address_->setAccessibleName(tr("Address of the page"));
  address_->setReadOnly(true);
  address_->setTabChangesFocus(true);
  address_->setWordWrapMode(QTextOption::WrapAnywhere);
  address_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  const int margins = 2 * static_cast<int>(address_->document()->documentMargin()) + 2;
  address_->setFixedHeight(addressLines * QFontMetrics(address_->font()).lineSpacing() + margins);
  column->addWidget(address_);
  retry_->setObjectName("retry");
  connect(retry_, &QPushButton::clicked, this, &ErrorPage::retryRequested);
  column->addWidget(retry_, 0, Qt::AlignHCenter);
  column->addStretch(3);
}

void ErrorPage::setFailure(const QString& address, const PageFailure& failure) {
  reason_->setText(failure.reason);
  address_->setPlainText(address);
  retry_->setVisible(failure.canRetry);
}

}  // namespace substitute
