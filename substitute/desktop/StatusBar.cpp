#include "substitute/desktop/StatusBar.h"

#include "substitute/api/Host.h"
#include "substitute/api/HostObjects.h"
#include "substitute/desktop/Accessibility.h"
#include "substitute/desktop/ElidedLabel.h"
#include "substitute/driver/Velorin.h"

namespace substitute {

namespace {

constexpr int maxValueWidth = 260;

QString textOf(const Json& json) {
  return QString::fromStdString(json.get<std::string>());
}

}  // namespace

StatusBar::StatusBar(QWidget* parent)
    : QStatusBar(parent),
      message_(new ElidedLabel(Qt::ElideMiddle)),
      addin_(new ElidedLabel),
      starts_(new ElidedLabel),
      network_(new QLabel),
      language_(new ElidedLabel),
      entitlement_(new ElidedLabel) {
  setSizeGripEnabled(false);
  // Not QStatusBar's own message: the pointer over a menu would clear it.
  message_->setObjectName("message");
  message_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  addWidget(message_, 1);
  network_->setTextFormat(Qt::RichText);
  const std::pair<QLabel*, const char*> values[] = {{addin_, "addin"},
                                                    {starts_, "starts"},
                                                    {network_, "network"},
                                                    {language_, "language"},
                                                    {entitlement_, "entitlement"}};
  for (const auto& [label, name] : values) {
    label->setObjectName(name);
    label->setMaximumWidth(maxValueWidth);
    addPermanentWidget(label);
  }
}

void StatusBar::onTraceEntry(const Json& entry) {
  if (!entry.contains("event")) return;
  const std::string event = entry["event"];
  if (event == "open") {
    QStringList words = {"open"};
    for (const Json& argument : entry["args"]) words << textOf(argument);
    showImportant(tr("The add-in ran: %1").arg(words.join(' ')));
  } else if (event == "threw") {
    showImportant(tr("An exception left the add-in: %1, %2")
                      .arg(textOf(entry["type"]), textOf(entry["what"])));
  } else if (event == "run returned" || event == "stop returned") {
    const QString name = textOf(entry["event"]);
    if (entry["value"].get<bool>()) {
      showMinor(tr("%1 true").arg(name));
    } else {
      showImportant(tr("%1 false").arg(name));
    }
  }
}

void StatusBar::showImportant(const QString& message) {
  showsImportant_ = true;
  message_->setFullText(message);
  announce(*message_);
}

const QString& StatusBar::message() const {
  return message_->fullText();
}

void StatusBar::showMinor(const QString& message) {
  if (!showsImportant_) message_->setFullText(message);
}

void StatusBar::showValues(const Host& host, bool addinRuns) {
  addin_->setFullText(addinRuns ? tr("Add-in: running") : tr("Add-in: stopped"));
  const QString starts = QString::fromStdString(startCountIn(infoFileOf(host)));
  starts_->setVisible(!starts.isEmpty());
  starts_->setFullText(tr("Starts counted: %1").arg(starts));
  const bool offline = host.application().offline;
  network_->setText(QStringLiteral("%1 <span style='color:%2'>●</span>&nbsp;%3")
                        .arg(tr("Host:"), offline ? "#d9822b" : "#3aa657",
                             offline ? tr("offline") : tr("online")));
  network_->setAccessibleName(offline ? tr("Host: offline") : tr("Host: online"));
  const int language = host.application().preferences->general->language;
  language_->setFullText(language == czechLanguage ? tr("Language: Czech (2)")
                                                   : tr("Language: %1").arg(language));
  const auto& entitlement = host.application().entitlement;
  entitlement_->setFullText(entitlement
                                ? tr("Entitlement: %1").arg(QString::fromStdString(*entitlement))
                                : tr("Entitlement: none"));
}

}  // namespace substitute
