#include "palette/LearningPalette.h"

#include "addin/GlobalState.h"
#include "palette/PageMessages.h"

using namespace adsk::core;

bool OpenPalette() {
  const std::string address = learningPageAddress();
  // Not through `app`, as for the address: which calls the host gets, and in which order, is fixed.
  const Ptr<Application> application = Application::get();
  if (!application) return false;
  const Ptr<UserInterface> userInterface = application->userInterface();
  if (!userInterface) return false;
  const Ptr<Palettes> palettes = userInterface->palettes();
  if (!palettes) return false;
  return showPalette(palettes, address, &_onHTMLEvent);
}

std::string learningPageAddress() {
  const std::string entitlement = app->executeTextCommand("Debug.EntitlementString");
  const bool czech = app->preferences()->generalPreferences()->userLanguage() == 2;
  const std::string language = czech ? "CSY" : "ENG";
  return "https://" VELORIN_LEARNING_HOST "/fusion360/learning.asp?lang=" + language +
         "&lic=" + entitlement;
}

bool showPalette(const Ptr<Palettes>& palettes, const std::string& address,
                 HTMLEventHandler* handler) {
  // The id has one t in its second word wherever it is used; the command's id has two.
  palette = palettes->itemById("teachPalete");
  if (palette) {
    palette->isVisible(true);
    return true;
  }
  palette = palettes->add("teachPalete", "Velorin", address, true, true, true, 300, 400, true);
  if (!palette) return false;
  palette->dockingState(static_cast<PaletteDockingStates>(4));
  const Ptr<HTMLEvent> messages = palette->incomingFromHTML();
  if (!messages) return false;
  if (!messages->add(handler)) return false;
  palette->isVisible(true);
  return true;
}
