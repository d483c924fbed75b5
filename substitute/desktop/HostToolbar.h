// A toolbar of the host in the window.
#pragma once

#include <QIcon>
#include <QToolBar>
#include <functional>

#include "substitute/api/Host.h"

namespace substitute {

class ControlObject;
class DefinitionObject;
class DefinitionsObject;

// The icon in `folder` for a toolbar: "32x32.png", and "32x32@2x.png" on a screen of scale 2. Where
// they are missing, the icon of another size; empty when there is none.
QIcon resourceIcon(const QString& folder);

// Lets Tab reach the buttons of `toolbar`, and names the one that shows the controls that do not
// fit.
void completeToolbar(QToolBar& toolbar);

// Shows the controls of one toolbar at the right end, in the toolbar's order.
class HostToolbar : public QToolBar {
 public:
  using Pressed = std::function<void(const QString& controlId)>;

  // `addinFolder` holds the icon folders. `pressed` is called when a control is pressed. `toolbar`
  // and `definitions` are read by the constructor alone.
  HostToolbar(const ToolbarObject& toolbar, const DefinitionsObject& definitions,
              const QString& addinFolder, Pressed pressed, QWidget* parent);

  // Gives the focus to the control whose widget has this object name, else to the first control.
  void focusControl(const QString& name);

 private:
  void addControl(const ControlObject& control, const DefinitionObject* definition,
                  const QString& addinFolder);

  Pressed pressed_;
};

// The host's own control. It has no definition that the add-in could find.
inline constexpr const char* helpControl = "HelpGroupCommand";

}  // namespace substitute
