#include "substitute/desktop/ErrorPage.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextOption>
#include <QVBoxLayout>
#include <QWebEngineLoadingInfo>

#include "substitute/desktop/Widgets.h"

namespace substitute {

namespace {

// The web engine's numbers for the errors after which another load can succeed; %1 is the host.
struct EngineError {
  int code;
  const char* reason;
};
constexpr EngineError engineErrors[] = {
    {-7, "%1 does not answer in time."},              // timed out
    {-21, "There is no network that leads to %1."},   // network changed
    {-102, "%1 refuses the connection."},             // connection refused
    {-105, "The name %1 was not found."},             // name not resolved
    {-106, "There is no network that leads to %1."},  // internet disconnected
    {-109, "There is no network that leads to %1."},  // address unreachable
    {-118, "%1 does not answer in time."},            // connection timed out
    {-137, "The name %1 was not found."},             // name resolution failed
};

}  // namespace

PageFailure pageFailure(const QWebEngineLoadingInfo& info, const QString& certificate) {
  const QString host = info.url().host();
  const int code = info.errorCode();
  if (info.errorDomain() == QWebEngineLoadingInfo::HttpStatusCodeDomain) {
    // Request timeout, too many requests, and all errors of the server.
    const bool canRetry = code == 408 || code == 429 || code >= 500;
    return {QWidget::tr("%1 answers with the status %2.").arg(host).arg(code), canRetry};
  }
  if (info.errorDomain() == QWebEngineLoadingInfo::CertificateErrorDomain) {
    return {QWidget::tr("The certificate of %1 is not trusted. %2").arg(host, certificate), false};
  }
  // The engine also looks up names that are not valid, such as one with a space.
  if (host.isEmpty()) return {QWidget::tr("The address is not well formed."), false};
  for (const EngineError& error : engineErrors) {
    if (error.code == code) return {QWidget::tr(error.reason).arg(host), true};
  }
  return {QWidget::tr("The web engine reports %1.").arg(info.errorString()), true};
}

ErrorPage::ErrorPage()
    : reason_(new QLabel),
      address_(readOnlyText("address", tr("Address of the page"))),
      retry_(new QPushButton(tr("&Try again"))),
      back_(new QPushButton(tr("&Back to the page before"))) {
  auto* const body = new QWidget;
  body->setObjectName("errorPage");
  body->setAttribute(Qt::WA_StyledBackground);
  setWidget(body);
  setWidgetResizable(true);
  setFrameShape(QFrame::NoFrame);
  setFocusPolicy(Qt::NoFocus);
  // Otherwise many palettes on one side of the window would make it higher than the screen.
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Ignored);
  auto* const column = new QVBoxLayout(body);
  column->setContentsMargins(24, 24, 24, 24);
  column->setSpacing(10);
  column->addStretch(2);
  auto* const heading = new QLabel(tr("The page cannot be shown"));
  heading->setObjectName("heading");
  reason_->setObjectName("reason");
  reason_->setTextFormat(Qt::PlainText);
  for (QLabel* const label : {heading, reason_}) {
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignCenter);
    column->addWidget(label);
  }
  address_->setWordWrapMode(QTextOption::WrapAnywhere);
  address_->setFixedHeight(5 * address_->fontMetrics().lineSpacing());  // some four lines
  column->addWidget(address_);
  retry_->setObjectName("retry");
  back_->setObjectName("back");
  for (QPushButton* const button : {retry_, back_}) column->addWidget(button, 0, Qt::AlignHCenter);
  column->addStretch(3);
  connect(retry_, &QPushButton::clicked, this, &ErrorPage::retryRequested);
  connect(back_, &QPushButton::clicked, this, &ErrorPage::backRequested);
}

void ErrorPage::setFailure(const QString& address, const PageFailure& failure, bool hasWayBack) {
  reason_->setText(failure.reason);
  address_->setPlainText(address);
  retry_->setVisible(failure.canRetry);
  back_->setVisible(hasWayBack);
}

}  // namespace substitute
