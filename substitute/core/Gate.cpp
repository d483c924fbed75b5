#include "substitute/core/Gate.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <typeinfo>

namespace substitute {

std::string line(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string typeName(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
  return name ? name.get() : type.name();
}

const std::vector<std::string>& operations() {
  static const std::vector<std::string> names = {
      "Application.get",
      "Application.userInterface",
      "Application.preferences",
      "Application.executeTextCommand",
      "Application.isOffLine",
      "Application.onlineStatusChanged",
      "ApplicationEvent.add",
      "ApplicationEventArgs.isOffLine",
      "Base.isValid",
      "Base.query",
      "Command.commandInputs",
      "Command.execute",
      "CommandCreatedEvent.add",
      "CommandCreatedEventArgs.command",
      "CommandDefinition.commandCreated",
      "CommandDefinition.deleteMe",
      "CommandDefinitions.addButtonDefinition",
      "CommandDefinitions.itemById",
      "CommandEvent.add",
      "GeneralPreferences.userLanguage",
      "HTMLEvent.add",
      "HTMLEventArgs.data",
      "Palette.deleteMe",
      "Palette.dockingState",
      "Palette.incomingFromHTML",
      "Palette.isVisible",
      "Palettes.add",
      "Palettes.itemById",
      "Preferences.generalPreferences",
      "Toolbar.controls",
      "ToolbarControl.deleteMe",
      "ToolbarControls.addCommand",
      "ToolbarControls.itemById",
      "Toolbars.itemById",
      "UserInterface.commandDefinitions",
      "UserInterface.palettes",
      "UserInterface.toolbars",
  };
  return names;
}

void FaultPlan::arm(const std::string& operation, std::uint64_t nth, Failure how) {
  entries_.push_back({operation, nth, how});
}

std::optional<Failure> FaultPlan::next(const std::string& operation) {
  std::optional<Failure> failure;
  for (auto entry = entries_.begin(); entry != entries_.end();) {
    if (entry->operation == operation && --entry->left == 0) {
      if (!failure) failure = entry->how;
      entry = entries_.erase(entry);
    } else {
      ++entry;
    }
  }
  return failure;
}

void Gate::event(const Json& entry) const {
  for (const Listener& listener : listeners_) listener(entry);
}

void Gate::throwFault(const char* operation) {
  throw std::runtime_error(std::string("the host failed in ") + operation);
}

}  // namespace substitute
