#include "palette/LearningPalette.h"

#include <string_view>

#include "addin/GlobalState.h"
#include "palette/PageMessages.h"

using namespace adsk::core;

bool OpenPalette() {
  const std::string address = learningPageAddress();
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
  constexpr std::string_view prefix =
      "https://" VELORIN_LEARNING_HOST "/fusion360/learning.asp?lang=";
  const std::string_view language = czech ? "CSY&lic=" : "ENG&lic=";
  std::string address;
  address.reserve(prefix.size() + language.size() + entitlement.size());
  address.append(prefix).append(language).append(entitlement);
  return address;
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
