#include "probe/Asking.h"

using namespace adsk::core;

namespace probe {

namespace {

Ptr<UserInterface> userInterface() {
  return need(application()->userInterface());
}

}  // namespace

Answers answers;

Ptr<Application> application() {
  return need(Application::get());
}

Ptr<Palettes> palettes() {
  return need(userInterface()->palettes());
}

Ptr<CommandDefinitions> definitions() {
  return need(userInterface()->commandDefinitions());
}

Ptr<Toolbars> toolbars() {
  return need(userInterface()->toolbars());
}

Ptr<ToolbarControls> controls() {
  return need(need(toolbars()->itemById("QATRight"))->controls());
}

Ptr<Palette> addPalette(const std::string& address) {
  return palettes()->add(probeId, "Velorin probe", address, true, true, true, 300, 400, true);
}

Ptr<CommandDefinition> addDefinition(const char* id, const char* iconFolder) {
  return definitions()->addButtonDefinition(id, "Velorin probe", "Asks the host.", iconFolder);
}

Ptr<CommandControl> addControl(const Ptr<CommandDefinition>& definition) {
  return controls()->addCommand(need(definition), "HelpGroupCommand", false);
}

}  // namespace probe
