// A toolbar of the host in the window.
#pragma once

#include <QIcon>
#include <QToolBar>

#include "substitute/api/Host.h"

class QToolButton;

namespace substitute {

class DefinitionObject;
class DefinitionsObject;

// The icon in `folder` for a toolbar: "32x32.png", and "32x32@2x.png" on a screen of scale 2. Where
// they are missing, the icon of another size; empty when there is none.
QIcon resourceIcon(const QString& folder);

// Shows the controls of one toolbar at the right end, in the toolbar's order. A button at the end
// shows those that do not fit.
class HostToolbar : public QToolBar {
  Q_OBJECT

 public:
  // `addinFolder` holds the icon folders. `toolbar` and `definitions` are read by the constructor
  // alone.
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
