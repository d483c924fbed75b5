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

// A class of the interface whose operation `byId` returns the object `Item` of an id.
template <class Interface, class ItemInterface, class Item, Operation byId>
class CollectionObject : public HostObject<Interface> {
 public:
  using HostObject<Interface>::HostObject;

  ItemInterface* itemById_raw(const char* id) const final {
    return this->call(
        byId, [&] { return all.find(id); }, id);
  }

  Collection<Item> all;
};

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
  using HostObject::HostObject;

  char* data_raw() const override {
    return call(Operation::HTMLEventArgs_data, [this] { return data; });
  }

  std::optional<std::string> data;  // nothing: a message without a string
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
  HostPtr<HTMLEventObject> incomingFromHTML = makeHostObject<HTMLEventObject>(interceptor());

 private:
  Collection<PaletteObject>& siblings_;
  PaletteValues values_;
};

class SUBSTITUTE_API PalettesObject final
    : public CollectionObject<core::Palettes, core::Palette, PaletteObject,
                              Operation::Palettes_itemById> {
 public:
  using CollectionObject::CollectionObject;

  core::Palette* add_raw(const char* id, const char* title, const char* address, bool visible,
                         bool closeButton, bool resizable, int width, int height,
                         bool flag4) override;
};

// Commands and their definitions.

using CommandInputsObject = HostObject<core::CommandInputs>;
using CommandEventArgsObject = HostObject<core::CommandEventArgs>;

class CommandObject final : public HostObject<core::Command> {
 public:
  using HostObject::HostObject;

  core::CommandInputs* commandInputs_raw() const override {
    return callForPart(Operation::Command_commandInputs, inputs);
  }
  core::CommandEvent* execute_raw() const override {
    return callForPart(Operation::Command_execute, execute);
  }

  HostPtr<CommandInputsObject> inputs = makeHostObject<CommandInputsObject>(interceptor());
  HostPtr<CommandEventObject> execute = makeHostObject<CommandEventObject>(interceptor());
};

class CommandCreatedEventArgsObject final : public HostObject<core::CommandCreatedEventArgs> {
 public:
  // `command` outlives the event.
  CommandCreatedEventArgsObject(CallInterceptor& interceptor, CommandObject& command)
      : HostObject(interceptor), command_(command) {}

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
                   std::string id)
      : HostObject(interceptor, std::move(id)), siblings_(siblings) {}

  core::CommandCreatedEvent* commandCreated_raw() const override {
    return callForPart(Operation::CommandDefinition_commandCreated, commandCreated);
  }
  bool deleteMe_raw() override;

  std::string name;
  std::string tooltip;
  std::string resourceFolder;
  HostPtr<CommandCreatedEventObject> commandCreated =
      makeHostObject<CommandCreatedEventObject>(interceptor());

 private:
  Collection<DefinitionObject>& siblings_;
};

class SUBSTITUTE_API DefinitionsObject final
    : public CollectionObject<core::CommandDefinitions, core::CommandDefinition, DefinitionObject,
                              Operation::CommandDefinitions_itemById> {
 public:
  using CollectionObject::CollectionObject;

  core::CommandDefinition* addButtonDefinition_raw(const char* id, const char* name,
                                                   const char* tooltip,
                                                   const char* resourceFolder) override;
};

// Toolbars and their controls.

// A control. One that shows no command answers the query for a CommandControl with null, as a
// control that is only a ToolbarControl does.
class SUBSTITUTE_API ControlObject final : public HostObject<core::CommandControl> {
 public:
  // `siblings` will hold the control, and outlives it there.
  ControlObject(CallInterceptor& interceptor, Collection<ControlObject>& siblings,
                bool showsCommand, std::string id);

  bool deleteMe_raw() override;

  bool showsCommand() const { return showsCommand_; }

 private:
  bool supports(const char* interfaceId) const override;

  Collection<ControlObject>& siblings_;
  bool showsCommand_;
};

class SUBSTITUTE_API ControlsObject final
    : public CollectionObject<core::ToolbarControls, core::ToolbarControl, ControlObject,
                              Operation::ToolbarControls_itemById> {
 public:
  using CollectionObject::CollectionObject;

  core::CommandControl* addCommand_raw(core::CommandDefinition* definition, const char* position,
                                       bool before) override;
};

class ToolbarObject final : public HostObject<core::Toolbar> {
 public:
  using HostObject::HostObject;

  core::ToolbarControls* controls_raw() const override {
    return callForPart(Operation::Toolbar_controls, controls);
  }

  HostPtr<ControlsObject> controls = makeHostObject<ControlsObject>(interceptor());
};

using ToolbarsObject =
    CollectionObject<core::Toolbars, core::Toolbar, ToolbarObject, Operation::Toolbars_itemById>;

// The application.

class UserInterfaceObject final : public HostObject<core::UserInterface> {
 public:
  using HostObject::HostObject;

  core::Palettes* palettes_raw() const override {
    return callForPart(Operation::UserInterface_palettes, palettes);
  }
  core::Toolbars* toolbars_raw() const override {
    return callForPart(Operation::UserInterface_toolbars, toolbars);
  }
  core::CommandDefinitions* commandDefinitions_raw() const override {
    return callForPart(Operation::UserInterface_commandDefinitions, definitions);
  }

  HostPtr<PalettesObject> palettes = makeHostObject<PalettesObject>(interceptor());
  HostPtr<ToolbarsObject> toolbars = makeHostObject<ToolbarsObject>(interceptor());
  HostPtr<DefinitionsObject> definitions = makeHostObject<DefinitionsObject>(interceptor());
};

class GeneralPreferencesObject final : public HostObject<core::GeneralPreferences> {
 public:
  using HostObject::HostObject;

  std::int32_t userLanguage_raw() const override {
    return call(Operation::GeneralPreferences_userLanguage, [this] { return language; });
  }

  int language = 0;
};

class PreferencesObject final : public HostObject<core::Preferences> {
 public:
  using HostObject::HostObject;

  core::GeneralPreferences* generalPreferences_raw() const override {
    return callForPart(Operation::Preferences_generalPreferences, general);
  }

  HostPtr<GeneralPreferencesObject> general =
      makeHostObject<GeneralPreferencesObject>(interceptor());
};

class ApplicationEventArgsObject final : public HostObject<core::ApplicationEventArgs> {
 public:
  using HostObject::HostObject;

  bool isOffLine_raw() const override {
    return call(Operation::ApplicationEventArgs_isOffLine, [this] { return offline; });
  }

  bool offline = false;
};

class SUBSTITUTE_API ApplicationObject final : public HostObject<core::Application> {
 public:
  using HostObject::HostObject;

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

  bool offline = false;
  std::optional<std::string> entitlement;
  HostPtr<UserInterfaceObject> userInterface = makeHostObject<UserInterfaceObject>(interceptor());
  HostPtr<PreferencesObject> preferences = makeHostObject<PreferencesObject>(interceptor());
  HostPtr<ApplicationEventObject> onlineStatusChanged =
      makeHostObject<ApplicationEventObject>(interceptor());
};

}  // namespace substitute
