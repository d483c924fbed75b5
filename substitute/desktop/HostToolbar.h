// The toolbars of the host in the window.
#pragma once

#include <QToolBar>

#include "substitute/api/Host.h"

namespace substitute {

class DefinitionsObject;

// Lets Tab reach the buttons of `toolbar`, and names the one that shows the controls that do not
// fit.
void completeToolbar(QToolBar& toolbar);

// Shows the controls of `toolbar` at the right end, in their order. The data of each action is the
// id of its control. `addinFolder` holds the icon folders. `toolbar` and `definitions` are read by
// this call alone. The caller owns the result.
QToolBar* hostToolbar(const ToolbarObject& toolbar, const DefinitionsObject& definitions,
                      const QString& addinFolder);

// The host's own control. It has no definition that the add-in could find.
inline constexpr const char* helpControl = "HelpGroupCommand";

}  // namespace substitute
