// What several tests expect that the host is asked, in the words of AddInFixture::calls().
#pragma once

#include <string>
#include <vector>

inline std::vector<std::string> operator+(std::vector<std::string> calls,
                                          const std::vector<std::string>& more) {
  calls.insert(calls.end(), more.begin(), more.end());
  return calls;
}

// For the address of the learning page.
inline std::vector<std::string> addressCalls(const std::string& language = "2") {
  return {
      "Application.executeTextCommand(\"Debug.EntitlementString\") = TEXT",
      "Application.preferences() = Preferences",
      "Preferences.generalPreferences() = GeneralPreferences",
      "GeneralPreferences.userLanguage() = " + language,
  };
}

// On the way of OpenPalette to the palettes.
inline std::vector<std::string> palettesCalls() {
  return {
      "Application.get() = Application",
      "Application.userInterface() = UserInterface",
      "UserInterface.palettes() = Palettes",
  };
}

// For a new palette in Czech.
inline std::vector<std::string> creationCalls(const std::string& handler) {
  return {
      "Palettes.itemById(\"teachPalete\") = null",
      "Palettes.add(\"teachPalete\", \"Velorin\", "
      "\"https://learning.velorin.example/fusion360/learning.asp?lang=CSY&lic=TEXT\", true, true, "
      "true, 300, 400, true) = Palette:teachPalete",
      "Palette.dockingState(4) on Palette:teachPalete = true",
      "Palette.incomingFromHTML() on Palette:teachPalete = HTMLEvent",
      "HTMLEvent.add(\"" + handler + "\") = true",
      "Palette.isVisible(true) on Palette:teachPalete = true",
  };
}

// For one that is there.
inline std::vector<std::string> showingCalls() {
  return {
      "Palettes.itemById(\"teachPalete\") = Palette:teachPalete",
      "Palette.isVisible(true) on Palette:teachPalete = true",
  };
}
