#include "substitute/desktop/StatusBar.h"

#include <QLabel>

#include "substitute/api/Host.h"
#include "substitute/api/HostObjects.h"
#include "substitute/desktop/Accessibility.h"
#include "substitute/desktop/Widgets.h"
#include "substitute/driver/Calls.h"
#include "substitute/driver/Velorin.h"

namespace substitute {

StatusBar::StatusBar(QWidget* parent)
    : QStatusBar(parent), message_(new ElidedLabel), values_(new QLabel) {
  setSizeGripEnabled(false);
  // Not QStatusBar's own message: the pointer over a menu would clear it.
  message_->setObjectName("message");
  message_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  addWidget(message_, 1);
  values_->setObjectName("values");
  values_->setTextFormat(Qt::RichText);
  addPermanentWidget(values_);
}

void StatusBar::clear() {
  weight_ = none;
  message_->setFullText({});
}

void StatusBar::tell(const QString& message, Weight weight) {
  if (weight < weight_) return;
  weight_ = weight;
  message_->setFullText(message);
  message_->setForegroundRole(weight == failure ? QPalette::BrightText : QPalette::WindowText);
  if (weight > plain) announce(*message_);
}

void StatusBar::tellOf(const Json& entry) {
  if (entry.contains("fault")) {
    const QString call = QString::fromStdString(callLine(entry, CallForm::full));
    return tell(tr("The host failed: %1").arg(call), notable);
  }
  if (!entry.contains("event")) return;
  const std::string event = entry["event"];
  if (event == "open") {
    QStringList words = {"open"};
    for (const Json& argument : entry["args"]) words << QString::fromStdString(argument);
    tell(tr("The add-in ran: %1").arg(words.join(' ')), notable);
  } else if (event == "threw") {
    tell(tr("An exception left the add-in: %1, %2")
             .arg(QString::fromStdString(entry["type"]), QString::fromStdString(entry["what"])),
         failure);
  } else if (event == "run returned" || event == "stop returned") {
    const bool value = entry["value"];
    tell(QString::fromStdString(entry["event"]) + (value ? " true" : " false"),
         value ? plain : failure);
  }
}

void StatusBar::showValues(const Host& host) {
  const ApplicationObject& application = host.application();
  const int number = application.preferences->general->language;
  const QString starts = QString::fromStdString(startCountIn(infoFileOf(host))).toHtmlEscaped();
  QStringList values = {application.offline ? tr("offline") : tr("online"),
                        number == czechLanguage ? tr("Czech") : tr("language %1").arg(number)};
  if (!starts.isEmpty()) values << (starts == "1" ? tr("%1 start") : tr("%1 starts")).arg(starts);
  values_->setText(QStringLiteral("<span style='color:%1'>●</span>&nbsp;%2")
                       .arg(application.offline ? "#d9822b" : "#3aa657", values.join(" · ")));
  values_->setAccessibleName(tr("Host: %1").arg(values.join(", ")));
  values_->setToolTip(toTooltip(
      tr("Language %1. Entitlement text: %2")
          .arg(QString::number(number), QString::fromStdString(application.entitlement.value_or(
                                            tr("none").toStdString())))));
}

}  // namespace substitute
