#include "substitute/desktop/HostToolbar.h"

#include <QAction>
#include <QFileInfo>
#include <QIcon>
#include <QToolButton>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/Widgets.h"

namespace substitute {

namespace {

// `definition` is null for a control without a command.
void addControl(QToolBar& toolbar, const ControlObject& control, const DefinitionObject* definition,
                const QString& addinFolder) {
  const QString id = QString::fromStdString(control.id());
  QString name = definition == nullptr ? id : QString::fromStdString(definition->name);
  const bool isHelp = id == helpControl && control.showsCommand();
  if (isHelp) name = QToolBar::tr("Help");
  QAction* const action = toolbar.addAction(name.simplified().replace('&', "&&"));
  action->setData(id);
  action->setEnabled(control.showsCommand());
  auto* const button = qobject_cast<QToolButton*>(toolbar.widgetForAction(action));
  button->setObjectName("control:" + id);
  button->setAccessibleName(name);
  button->setMaximumWidth(300);  // a longer name is shortened
  if (isHelp) {
    action->setToolTip(QToolBar::tr("Tells what this window is"));
  } else if (definition == nullptr) {
    action->setToolTip(toTooltip(id) + QToolBar::tr("<p>A control without a command</p>"));
  } else {
    // The style sets the name close by the icon; a thin space keeps them apart.
    action->setIconText(QChar(0x2009) + action->text());
    action->setToolTip("<b>" + toTooltip(name) + "</b>" +
                       toTooltip(QString::fromStdString(definition->tooltip)));
    // On a screen of scale 2, QIcon takes the file of twice the size beside it.
    const QString folder = QString::fromStdString(definition->resourceFolder);
    const QString icon = addinFolder + '/' + folder + "/32x32.png";
    if (QFileInfo::exists(icon)) {
      action->setIcon(QIcon(icon));
      button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    }
  }
}

}  // namespace

void completeToolbar(QToolBar& toolbar) {
  auto* const more = toolbar.findChild<QToolButton*>("qt_toolbar_ext_button");
  more->setAccessibleName(QToolBar::tr("More controls"));
  more->setToolTip(more->accessibleName());
  const QList<QToolButton*> buttons = toolbar.findChildren<QToolButton*>();
  for (QToolButton* const button : buttons) button->setFocusPolicy(Qt::StrongFocus);
  if (buttons.last() != more) QWidget::setTabOrder(buttons.last(), more);
}

QToolBar* hostToolbar(const ToolbarObject& toolbar, const DefinitionsObject& definitions,
                      const QString& addinFolder) {
  const QString id = QString::fromStdString(toolbar.id());
  auto* const shown = new QToolBar(id);
  shown->setObjectName("toolbar:" + id);
  shown->setMovable(false);
  shown->setIconSize({32, 32});
  auto* const spacer = new QWidget;
  spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  shown->addWidget(spacer);
  for (const auto& control : toolbar.controls->all.items()) {
    addControl(*shown, *control, definitions.all.find(control->id()), addinFolder);
  }
  completeToolbar(*shown);
  return shown;
}

}  // namespace substitute
