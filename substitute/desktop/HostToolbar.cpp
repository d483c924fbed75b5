#include "substitute/desktop/HostToolbar.h"

#include <QAction>
#include <QFileInfo>
#include <QToolButton>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/ElidedLabel.h"
#include "substitute/desktop/Theme.h"

namespace substitute {

namespace {

// The host's own control. It has no definition that the add-in could find.
constexpr const char* helpControl = "HelpGroupCommand";
constexpr int toolbarIconSize = 32;
// Pixels; a longer name is shortened.
constexpr int maxNameWidth = 240;

}  // namespace

QIcon resourceIcon(const QString& folder) {
  // One file and its "@2x" alone. With all sizes, QIcon would take the larger file in place of the
  // one that is drawn for this size at scale 2.
  for (const int size : {toolbarIconSize, 64, 16}) {
    const QString file = QStringLiteral("%1/%2x%2.png").arg(folder).arg(size);
    if (QFileInfo::exists(file)) return QIcon(file);
  }
  return {};
}

HostToolbar::HostToolbar(const ToolbarObject& toolbar, const DefinitionsObject& definitions,
                         const QString& addinFolder, QWidget* parent)
    : QToolBar(QString::fromStdString(toolbar.id()), parent) {
  setObjectName("toolbar:" + QString::fromStdString(toolbar.id()));
  setMovable(false);
  setIconSize({toolbarIconSize, toolbarIconSize});
  auto* const spacer = new QWidget;
  spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  addWidget(spacer);
  // Actions, so that the menu for controls that do not fit can show them, too.
  for (const auto& control : toolbar.controls->all.items()) {
    const QString id = QString::fromStdString(control->id());
    const QString name = "control:" + id;
    if (!control->showsCommand()) {
      auto* const label = new ElidedLabel;
      label->setObjectName(name);
      label->setFullText(id);
      label->setMaximumWidth(maxNameWidth);
      addWidget(label)->setText(elidedForButton(id, font(), maxNameWidth));
    } else if (id == helpControl) {
      QAction* const help =
          addAction(drawnIcon(Drawing::help, palette().color(QPalette::WindowText)), tr("Help"),
                    this, &HostToolbar::helpRequested);
      buttonOf(help)->setObjectName(name);
    } else {
      addButton(id, definitions.all.find(control->id()), addinFolder);
    }
  }
  for (QToolButton* const button : findChildren<QToolButton*>()) {
    button->setFocusPolicy(Qt::StrongFocus);
  }
  auto* const more = findChild<QToolButton*>("qt_toolbar_ext_button");
  more->setIcon(drawnIcon(Drawing::more, palette().color(QPalette::WindowText)));
  more->setAccessibleName(tr("More controls"));
  more->setToolTip(more->accessibleName());
  const QList<QToolButton*> buttons = findChildren<QToolButton*>();
  if (buttons.last() != more) setTabOrder(buttons.last(), more);
}

void HostToolbar::focusControl(const QString& name) {
  QToolButton* chosen = nullptr;
  for (QAction* const action : actions()) {
    QToolButton* const button = buttonOf(action);
    if (button == nullptr) continue;
    if (chosen == nullptr || button->objectName() == name) chosen = button;
  }
  if (chosen != nullptr) chosen->setFocus();
}

void HostToolbar::addButton(const QString& id, const DefinitionObject* definition,
                            const QString& addinFolder) {
  const QString whole = definition == nullptr ? id : QString::fromStdString(definition->name);
  const QString shown = elidedForButton(whole, font(), maxNameWidth);
  QAction* const action = addAction(shown, this, [this, id] { Q_EMIT pressed(id); });
  QToolButton* const button = buttonOf(action);
  if (definition == nullptr) {
    action->setToolTip(toTooltip(id) + tr("<p>A control without a command</p>"));
  } else {
    // The style sets the name close by the icon; a thin space keeps them apart.
    action->setIconText(QChar(0x2009) + shown);
    action->setIcon(
        resourceIcon(addinFolder + '/' + QString::fromStdString(definition->resourceFolder)));
    action->setToolTip("<b>" + toTooltip(whole) + "</b>" +
                       toTooltip(QString::fromStdString(definition->tooltip)));
  }
  button->setObjectName("control:" + id);
  button->setAccessibleName(whole);
  button->setToolButtonStyle(action->icon().isNull() ? Qt::ToolButtonTextOnly
                                                     : Qt::ToolButtonTextBesideIcon);
}

QToolButton* HostToolbar::buttonOf(QAction* action) const {
  return qobject_cast<QToolButton*>(widgetForAction(action));
}

}  // namespace substitute
