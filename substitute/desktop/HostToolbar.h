// A toolbar of the host in the window.
#pragma once

#include <QToolBar>
#include <functional>

#include "substitute/api/Host.h"

namespace substitute {

class ControlObject;
class DefinitionObject;
class DefinitionsObject;

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

 private:
  void addControl(const ControlObject& control, const DefinitionObject* definition,
                  const QString& addinFolder);

  Pressed pressed_;
};

// The host's own control. It has no definition that the add-in could find.
inline constexpr const char* helpControl = "HelpGroupCommand";

}  // namespace substitute
