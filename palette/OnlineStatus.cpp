#include "palette/OnlineStatus.h"

#include "addin/GlobalState.h"
#include "palette/LearningPalette.h"
#include "palette/PageMessages.h"

using namespace adsk::core;

OnlineStatusChangedHandler::~OnlineStatusChangedHandler() = default;

void OnlineStatusChangedHandler::notify(const Ptr<ApplicationEventArgs>& eventArgs) {
  if (!eventArgs) return;
  if (eventArgs->isOffLine()) return;
  if (countOpenPalette > lastAutoOpenCount) return;
  if (countOpenPalette < 0) return;
  const std::string address = learningPageAddress();
  // Through `ui`, not through a fresh application: run has filled it before the first report.
  const Ptr<Palettes> palettes = ui->palettes();
  if (!palettes) return;
  showPalette(palettes, address, &_onHTMLEventFirst3);
}
