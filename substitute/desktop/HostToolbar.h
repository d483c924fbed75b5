// The host's toolbars on screen.
#pragma once

#include <QIcon>
#include <QToolBar>

#include "substitute/api/Host.h"

namespace substitute {

class DefinitionsObject;

// The icon in `folder` for a toolbar: "32x32.png", with "32x32@2x.png" for a screen of that scale;
// where it is missing that of another size. Empty when there is none.
QIcon resourceIcon(const QString& folder);

// Shows one toolbar: its controls stand at the right end, in the toolbar's own order.
class HostToolbar : public QToolBar {
  Q_OBJECT

 public:
  // Icon folders lie in `addinFolder`. `toolbar` and `definitions` are read here only.
  HostToolbar(const ToolbarObject& toolbar, const DefinitionsObject& definitions,
              const QString& addinFolder, QWidget* parent);

 Q_SIGNALS:
  void pressed(const QString& controlId);
  void helpRequested();
};

}  // namespace substitute
