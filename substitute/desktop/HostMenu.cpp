#include "substitute/desktop/HostMenu.h"

#include <QActionGroup>
#include <QInputDialog>
#include <limits>

#include "substitute/api/Host.h"
#include "substitute/api/HostObjects.h"

namespace substitute {

namespace {

constexpr int otherLanguage = 3;  // stands for any language that is not Czech

Command languageCommand(int number) {
  return parseCommand("language " + std::to_string(number));
}

}  // namespace

HostMenu::HostMenu(const Host& host, QWidget* parent)
    : QMenu(tr("&Host"), parent), host_(host), languages_(new QActionGroup(this)) {
  offline_ = addAction(tr("&Offline"));
  offline_->setObjectName("offline");
  offline_->setCheckable(true);
  offline_->setShortcut(Qt::CTRL | Qt::SHIFT | Qt::Key_O);
  connect(offline_, &QAction::triggered, this, [this](bool offline) {
    Q_EMIT commandChosen(parseCommand(offline ? "offline" : "online"));
  });
  addSeparator();
  addLanguageMenu();
  addAction(tr("&Entitlement text…"), this, &HostMenu::askEntitlement)
      ->setObjectName("askEntitlement");
  noEntitlement_ = addAction(tr("N&o entitlement text"), this,
                             [this] { Q_EMIT commandChosen(parseCommand("entitlement")); });
  noEntitlement_->setObjectName("noEntitlement");
}

void HostMenu::refresh() {
  const ApplicationObject& application = host_.application();
  offline_->setChecked(application.offline);
  noEntitlement_->setEnabled(application.entitlement.has_value());
  for (QAction* const choice : languages_->actions()) {
    choice->setChecked(choice->data().toInt() == application.preferences->general->language);
  }
}

void HostMenu::addLanguageMenu() {
  QMenu* const menu = addMenu(tr("User &language"));
  for (const auto& [number, name] :
       {std::pair(czechLanguage, tr("Czech (2)")), std::pair(otherLanguage, tr("Another (3)"))}) {
    QAction* const choice = menu->addAction(
        name, this, [this, value = number] { Q_EMIT commandChosen(languageCommand(value)); });
    choice->setObjectName(QStringLiteral("language:%1").arg(number));
    choice->setCheckable(true);
    choice->setData(number);
    languages_->addAction(choice);
  }
  menu->addAction(tr("&Number…"), this, &HostMenu::askLanguage)->setObjectName("askLanguage");
}

void HostMenu::askLanguage() {
  bool confirmed = false;
  const int number = QInputDialog::getInt(parentWidget()->window(), tr("User language"),
                                          tr("The number of the host's user language; 2 is Czech:"),
                                          host_.application().preferences->general->language,
                                          std::numeric_limits<int>::min(),
                                          std::numeric_limits<int>::max(), 1, &confirmed);
  if (confirmed) Q_EMIT commandChosen(languageCommand(number));
}

void HostMenu::askEntitlement() {
  bool confirmed = false;
  const QString now = QString::fromStdString(host_.application().entitlement.value_or(""));
  const std::string answer =
      QInputDialog::getText(parentWidget()->window(), tr("Entitlement text"),
                            tr("The host's entitlement text. An open palette keeps its page; the "
                               "next start takes the new text:"),
                            QLineEdit::Normal, now, &confirmed)
          .toStdString();
  if (confirmed) Q_EMIT commandChosen(parseCommand("entitlement " + answer));
}

}  // namespace substitute
