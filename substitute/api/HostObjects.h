// The host's objects: one concrete class for each class of the host's interface. Together they hold
// the host's state. The add-in uses them through the interface, Host on behalf of the user.
#pragma once

#include <Core/CoreAll.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "substitute/api/Collection.h"
#include "substitute/api/Event.h"
#include "substitute/api/Export.h"
#include "substitute/api/HostObject.h"

namespace substitute {

// Palettes.

// The values with which a palette is created.
struct PaletteValues {
  std::string id;
  std::string title;
  std::string address;
  bool visible = true;
  bool closeButton = true;
  bool resizable = true;
  int width = 0;
  int height = 0;
};

class HTMLEventArgsObject final : public HostObject<core::HTMLEventArgs> {
 public:
  // `data` is what the message says; nothing: a message without a string.
  HTMLEventArgsObject(CallInterceptor& interceptor, std::optional<std::string> data)
      : HostObject(interceptor, "HTMLEventArgs"), data_(std::move(data)) {}

  char* data_raw() const override {
    return call(Operation::HTMLEventArgs_data, [this] { return data_; });
  }

 private:
  std::optional<std::string> data_;
};

class SUBSTITUTE_API PaletteObject final : public HostObject<core::Palette> {
 public:
  // `siblings` will hold the palette, and outlives it there.
  PaletteObject(CallInterceptor& interceptor, Collection<PaletteObject>& siblings,
                PaletteValues values);

  bool dockingState_raw(core::PaletteDockingStates state) override;
  core::HTMLEvent* incomingFromHTML_raw() const override {
    return callForPart(Operation::Palette_incomingFromHTML, incomingFromHTML);
  }
  bool isVisible_raw(bool visible) override;
  bool deleteMe_raw() override;

  const PaletteValues& values() const { return values_; }
  void setVisible(bool visible);

  int dockingState = 0;
  HostPtr<HTMLEventObject> incomingFromHTML;

 private:
  Collection<PaletteObject>& siblings_;
  PaletteValues values_;
};

class SUBSTITUTE_API PalettesObject final : public HostObject<core::Palettes> {
 public:
  explicit PalettesObject(CallInterceptor& interceptor) : HostObject(interceptor, "Palettes") {}

  core::Palette* itemById_raw(const char* id) const override;
  core::Palette* add_raw(const char* id, const char* title, const char* address, bool visible,
                         bool closeButton, bool resizable, int width, int height,
                         bool flag4) override;

  Collection<PaletteObject> all;
};

// Commands and their definitions.

class CommandInputsObject final : public HostObject<core::CommandInputs> {
 public:
  explicit CommandInputsObject(CallInterceptor& interceptor)
      : HostObject(interceptor, "CommandInputs") {}
};

class CommandEventArgsObject final : public HostObject<core::CommandEventArgs> {
 public:
  explicit CommandEventArgsObject(CallInterceptor& interceptor)
      : HostObject(interceptor, "CommandEventArgs") {}
};

class CommandObject final : public HostObject<core::Command> {
 public:
  explicit CommandObject(CallInterceptor& interceptor)
      : HostObject(interceptor, "Command"),
        inputs(makeHostObject<CommandInputsObject>(interceptor)),
        execute(makeHostObject<CommandEventObject>(interceptor)) {}

  core::CommandInputs* commandInputs_raw() const override {
    return callForPart(Operation::Command_commandInputs, inputs);
  }
  core::CommandEvent* execute_raw() const override {
    return callForPart(Operation::Command_execute, execute);
  }

  HostPtr<CommandInputsObject> inputs;
  HostPtr<CommandEventObject> execute;
};

class CommandCreatedEventArgsObject final : public HostObject<core::CommandCreatedEventArgs> {
 public:
  // `command` outlives the event.
  CommandCreatedEventArgsObject(CallInterceptor& interceptor, CommandObject& command)
      : HostObject(interceptor, "CommandCreatedEventArgs"), command_(command) {}

  core::Command* command_raw() const override {
    return call(Operation::CommandCreatedEventArgs_command, [this] { return &command_; });
  }

 private:
  CommandObject& command_;
};

class SUBSTITUTE_API DefinitionObject final : public HostObject<core::CommandDefinition> {
 public:
  // `siblings` will hold the definition, and outlives it there.
  DefinitionObject(CallInterceptor& interceptor, Collection<DefinitionObject>& siblings,
                   std::string id, std::string name, std::string tooltip,
                   std::string resourceFolder);

  core::CommandCreatedEvent* commandCreated_raw() const override {
    return callForPart(Operation::CommandDefinition_commandCreated, commandCreated);
  }
  bool deleteMe_raw() override;

  const std::string name;
  const std::string tooltip;
  const std::string resourceFolder;
  HostPtr<CommandCreatedEventObject> commandCreated;

 private:
  Collection<DefinitionObject>& siblings_;
};

class SUBSTITUTE_API DefinitionsObject final : public HostObject<core::CommandDefinitions> {
 public:
  explicit DefinitionsObject(CallInterceptor& interceptor)
      : HostObject(interceptor, "CommandDefinitions") {}

  core::CommandDefinition* addButtonDefinition_raw(const char* id, const char* name,
                                                   const char* tooltip,
                                                   const char* resourceFolder) override;
  core::CommandDefinition* itemById_raw(const char* id) const override;

  Collection<DefinitionObject> all;
};

// Toolbars and their controls.

// A control. One that shows no command answers the query for a CommandControl with null, as a
// control that is only a ToolbarControl does.
class SUBSTITUTE_API ControlObject final : public HostObject<core::CommandControl> {
 public:
  enum class Kind { command, plain };

  // `siblings` will hold the control, and outlives it there.
  ControlObject(CallInterceptor& interceptor, Collection<ControlObject>& siblings, Kind kind,
                std::string id);

  bool deleteMe_raw() override;

  bool showsCommand() const { return kind_ == Kind::command; }

 private:
  bool supports(const char* interfaceId) const override;

  Collection<ControlObject>& siblings_;
  Kind kind_;
};

class SUBSTITUTE_API ControlsObject final : public HostObject<core::ToolbarControls> {
 public:
  explicit ControlsObject(CallInterceptor& interceptor)
      : HostObject(interceptor, "ToolbarControls") {}

  core::CommandControl* addCommand_raw(core::CommandDefinition* definition, const char* position,
                                       bool before) override;
  core::ToolbarControl* itemById_raw(const char* id) const override;

  Collection<ControlObject> all;
};

class ToolbarObject final : public HostObject<core::Toolbar> {
 public:
  ToolbarObject(CallInterceptor& interceptor, std::string id)
      : HostObject(interceptor, "Toolbar", std::move(id)),
        controls(makeHostObject<ControlsObject>(interceptor)) {}

  core::ToolbarControls* controls_raw() const override {
    return callForPart(Operation::Toolbar_controls, controls);
  }

  HostPtr<ControlsObject> controls;
};

class SUBSTITUTE_API ToolbarsObject final : public HostObject<core::Toolbars> {
 public:
  explicit ToolbarsObject(CallInterceptor& interceptor) : HostObject(interceptor, "Toolbars") {}

  core::Toolbar* itemById_raw(const char* id) const override;

  Collection<ToolbarObject> all;
};

// The application.

class UserInterfaceObject final : public HostObject<core::UserInterface> {
 public:
  explicit UserInterfaceObject(CallInterceptor& interceptor)
      : HostObject(interceptor, "UserInterface"),
        palettes(makeHostObject<PalettesObject>(interceptor)),
        toolbars(makeHostObject<ToolbarsObject>(interceptor)),
        definitions(makeHostObject<DefinitionsObject>(interceptor)) {}

  core::Palettes* palettes_raw() const override {
    return callForPart(Operation::UserInterface_palettes, palettes);
  }
  core::Toolbars* toolbars_raw() const override {
    return callForPart(Operation::UserInterface_toolbars, toolbars);
  }
  core::CommandDefinitions* commandDefinitions_raw() const override {
    return callForPart(Operation::UserInterface_commandDefinitions, definitions);
  }

  HostPtr<PalettesObject> palettes;
  HostPtr<ToolbarsObject> toolbars;
  HostPtr<DefinitionsObject> definitions;
};

class GeneralPreferencesObject final : public HostObject<core::GeneralPreferences> {
 public:
  GeneralPreferencesObject(CallInterceptor& interceptor, int userLanguage)
      : HostObject(interceptor, "GeneralPreferences"), language(userLanguage) {}

  std::int32_t userLanguage_raw() const override {
    return call(Operation::GeneralPreferences_userLanguage, [this] { return language; });
  }

  int language;
};

class PreferencesObject final : public HostObject<core::Preferences> {
 public:
  PreferencesObject(CallInterceptor& interceptor, int userLanguage)
      : HostObject(interceptor, "Preferences"),
        general(makeHostObject<GeneralPreferencesObject>(interceptor, userLanguage)) {}

  core::GeneralPreferences* generalPreferences_raw() const override {
    return callForPart(Operation::Preferences_generalPreferences, general);
  }

  HostPtr<GeneralPreferencesObject> general;
};

class ApplicationEventArgsObject final : public HostObject<core::ApplicationEventArgs> {
 public:
  ApplicationEventArgsObject(CallInterceptor& interceptor, bool offline)
      : HostObject(interceptor, "ApplicationEventArgs"), offline_(offline) {}

  bool isOffLine_raw() const override {
    return call(Operation::ApplicationEventArgs_isOffLine, [this] { return offline_; });
  }

 private:
  bool offline_;
};

class SUBSTITUTE_API ApplicationObject final : public HostObject<core::Application> {
 public:
  ApplicationObject(CallInterceptor& interceptor, bool offline, int userLanguage,
                    std::optional<std::string> entitlement);

  core::UserInterface* userInterface_raw() const override {
    return callForPart(Operation::Application_userInterface, userInterface);
  }
  core::Preferences* preferences_raw() const override {
    return callForPart(Operation::Application_preferences, preferences);
  }
  // Answers "Debug.EntitlementString" with `entitlement`, any other command with null.
  char* executeTextCommand_raw(const char* command) const override;
  bool isOffLine_raw() const override {
    return call(Operation::Application_isOffLine, [this] { return offline; });
  }
  core::ApplicationEvent* onlineStatusChanged_raw() const override {
    return callForPart(Operation::Application_onlineStatusChanged, onlineStatusChanged);
  }

  bool offline;
  std::optional<std::string> entitlement;
  HostPtr<UserInterfaceObject> userInterface;
  HostPtr<PreferencesObject> preferences;
  HostPtr<ApplicationEventObject> onlineStatusChanged;
};

}  // namespace substitute
