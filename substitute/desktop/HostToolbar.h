// The host's toolbars on screen.
#pragma once

#include <QIcon>
#include <QToolBar>

#include "substitute/api/Host.h"

class QToolButton;

namespace substitute {

class DefinitionObject;
class DefinitionsObject;

// The icon in `folder` for a toolbar: "32x32.png", with "32x32@2x.png" for a screen of that scale;
// where it is missing that of another size. Empty when there is none.
QIcon resourceIcon(const QString& folder);

// Shows one toolbar: its controls stand at the right end, in the toolbar's own order. Those that do
// not fit are behind a button at the end.
class HostToolbar : public QToolBar {
  Q_OBJECT

 public:
  // Icon folders lie in `addinFolder`. `toolbar` and `definitions` are read here only.
  HostToolbar(const ToolbarObject& toolbar, const DefinitionsObject& definitions,
              const QString& addinFolder, QWidget* parent);

  // Gives the focus to the control whose widget has this object name, else to the first control.
  void focusControl(const QString& name);

 Q_SIGNALS:
  void pressed(const QString& controlId);
  void helpRequested();

 private:
  // `definition` is null for a control without a command.
  void addButton(const QString& id, const DefinitionObject* definition, const QString& addinFolder);
  QToolButton* buttonOf(QAction* action) const;
};

}  // namespace substitute
