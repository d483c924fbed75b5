// The host's objects: one concrete class for each class of the host's interface. They hold the
// host's whole state; Host drives them on the user's behalf, the add-in through the interface.
#pragma once

#include <Core/CoreAll.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "substitute/core/Counted.h"
#include "substitute/core/Gate.h"

namespace substitute {

// A host object that implements `Interface`. `gate` outlives every call.
template <class Interface>
class Object : public Interface, public Counted {
 public:
  void addref() const final { lend(); }
  void release() const final { takeBack(); }
  bool isValid_raw() const final {
    return gate_.value("Base.isValid", this, [this] { return valid(); });
  }
  void* queryInterface(const char* id) const final {
    const Object* const found = gate_.borrowed(
        "Base.query", this, [&] { return seenAs(id) ? this : nullptr; }, id);
    return const_cast<Interface*>(static_cast<const Interface*>(found));
  }

 protected:
  Object(Gate& gate, std::string className, std::string id = {})
      : Counted(std::move(className), std::move(id)), gate_(gate) {}

  Gate& gate() const { return gate_; }

 private:
  virtual bool seenAs(const char* /*interfaceId*/) const { return false; }

  Gate& gate_;
};

// Where a handler is registered; a handler's end takes it off.
class Registrations {
 public:
  Registrations() = default;
  Registrations(const Registrations&) = delete;
  Registrations& operator=(const Registrations&) = delete;
  ~Registrations() { clear(); }

  // Registers `handler`, once more if it is there already. False for null.
  bool add(adsk::core::EventHandler* handler);
  void clear();
  const std::vector<adsk::core::EventHandler*>& handlers() const { return handlers_; }
  std::vector<std::string> handlerNames() const;

 private:
  friend struct adsk::core::EventHandlerState;
  std::vector<adsk::core::EventHandler*> handlers_;
};

// An event: it registers handlers of one kind and notifies them.
template <class Event, class Handler, class Arguments>
class EventObject final : public Object<Event> {
 public:
  EventObject(Gate& gate, std::string className)
      : Object<Event>(gate, className), operation_(className + ".add") {}

  bool add_raw(Handler* handler) override {
    return this->gate().value(
        operation_.c_str(), this, [&] { return registrations.add(handler); },
        static_cast<const adsk::core::EventHandler*>(handler));
  }

  // Calls every handler with `arguments`, null for none. `notify` makes each call and lets no
  // exception out.
  template <class ArgumentsObject, class Notify>
  void raise(const ArgumentsObject* arguments, Notify notify) {
    if (arguments != nullptr) arguments->lend();
    const adsk::core::Ptr<Arguments> handle(arguments, true);
    // By copy: a handler may take part of the host away, this event included.
    const auto handlers = registrations.handlers();
    for (adsk::core::EventHandler* const handler : handlers) {
      notify(*handler, [&] { static_cast<Handler*>(handler)->notify(handle); });
    }
  }

  Registrations registrations;

 private:
  std::string operation_;
};

using HTMLEventObject =
    EventObject<adsk::core::HTMLEvent, adsk::core::HTMLEventHandler, adsk::core::HTMLEventArgs>;
using CommandEventObject = EventObject<adsk::core::CommandEvent, adsk::core::CommandEventHandler,
                                       adsk::core::CommandEventArgs>;
using CommandCreatedEventObject =
    EventObject<adsk::core::CommandCreatedEvent, adsk::core::CommandCreatedEventHandler,
                adsk::core::CommandCreatedEventArgs>;
using ApplicationEventObject =
    EventObject<adsk::core::ApplicationEvent, adsk::core::ApplicationEventHandler,
                adsk::core::ApplicationEventArgs>;

// Objects of one kind in the order in which they were added, each id once.
template <class T>
class Collection {
 public:
  T* find(const std::string& id) const {
    const auto found = at(id);
    return found == items_.end() ? nullptr : found->get();
  }

  // Adds `item` at `index`, at the end if left out. Null when its id is taken.
  T* add(Held<T> item, std::optional<std::size_t> index = {}) {
    if (find(item->id()) != nullptr) return nullptr;
    const auto position =
        items_.begin() + static_cast<std::ptrdiff_t>(index.value_or(items_.size()));
    return items_.insert(position, std::move(item))->get();
  }

  // Takes `item` away and marks it as deleted. False when it is not here (any more).
  bool remove(const T* item) {
    const auto found = std::find_if(items_.begin(), items_.end(),
                                    [&](const Held<T>& held) { return held.get() == item; });
    if (found == items_.end()) return false;
    (*found)->invalidate();
    items_.erase(found);
    return true;
  }

  // The place of the item with that id, if there is one.
  std::optional<std::size_t> index(const std::string& id) const {
    const auto found = at(id);
    if (found == items_.end()) return {};
    return static_cast<std::size_t>(found - items_.begin());
  }

  const std::vector<Held<T>>& items() const { return items_; }

 private:
  typename std::vector<Held<T>>::const_iterator at(const std::string& id) const {
    return std::find_if(items_.begin(), items_.end(),
                        [&](const Held<T>& held) { return held->id() == id; });
  }

  std::vector<Held<T>> items_;
};

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
  bool lastFlag = true;
};

class PaletteObject;
class DefinitionObject;

class HTMLEventArgsObject final : public Object<adsk::core::HTMLEventArgs> {
 public:
  HTMLEventArgsObject(Gate& gate, std::optional<std::string> data);
  char* data_raw() const override;

 private:
  std::optional<std::string> data_;
};

class PalettesObject final : public Object<adsk::core::Palettes> {
 public:
  explicit PalettesObject(Gate& gate);
  adsk::core::Palette* itemById_raw(const char* id) const override;
  adsk::core::Palette* add_raw(const char* id, const char* title, const char* address, bool visible,
                               bool closeButton, bool resizable, int width, int height,
                               bool lastFlag) override;

  Collection<PaletteObject> all;
};

class PaletteObject final : public Object<adsk::core::Palette> {
 public:
  // `siblings` holds the palette and outlives it there.
  PaletteObject(Gate& gate, PalettesObject& siblings, PaletteValues values);
  bool dockingState_raw(adsk::core::PaletteDockingStates state) override;
  adsk::core::HTMLEvent* incomingFromHTML_raw() const override;
  bool isVisible_raw(bool visible) override;
  bool deleteMe_raw() override;

  PaletteValues values;
  int dockingState = 0;
  Held<HTMLEventObject> incomingFromHTML;

 private:
  PalettesObject& siblings_;
};

class CommandInputsObject final : public Object<adsk::core::CommandInputs> {
 public:
  explicit CommandInputsObject(Gate& gate);
};

class CommandEventArgsObject final : public Object<adsk::core::CommandEventArgs> {
 public:
  explicit CommandEventArgsObject(Gate& gate);
};

class CommandObject final : public Object<adsk::core::Command> {
 public:
  explicit CommandObject(Gate& gate);
  adsk::core::CommandInputs* commandInputs_raw() const override;
  adsk::core::CommandEvent* execute_raw() const override;

  Held<CommandInputsObject> inputs;
  Held<CommandEventObject> execute;
};

class CommandCreatedEventArgsObject final : public Object<adsk::core::CommandCreatedEventArgs> {
 public:
  // `command` outlives the call that the arguments are made for.
  CommandCreatedEventArgsObject(Gate& gate, CommandObject& command);
  adsk::core::Command* command_raw() const override;

 private:
  CommandObject& command_;
};

class DefinitionsObject final : public Object<adsk::core::CommandDefinitions> {
 public:
  explicit DefinitionsObject(Gate& gate);
  adsk::core::CommandDefinition* addButtonDefinition_raw(const char* id, const char* name,
                                                         const char* tooltip,
                                                         const char* resourceFolder) override;
  adsk::core::CommandDefinition* itemById_raw(const char* id) const override;

  Collection<DefinitionObject> all;
};

class DefinitionObject final : public Object<adsk::core::CommandDefinition> {
 public:
  // `siblings` holds the definition and outlives it there.
  DefinitionObject(Gate& gate, DefinitionsObject& siblings, std::string id, std::string name,
                   std::string tooltip, std::string resourceFolder);
  adsk::core::CommandCreatedEvent* commandCreated_raw() const override;
  bool deleteMe_raw() override;

  std::string name;
  std::string tooltip;
  std::string resourceFolder;
  Held<CommandCreatedEventObject> commandCreated;

 private:
  DefinitionsObject& siblings_;
};

class ControlsObject;

// A toolbar control. One that shows no command is only a ToolbarControl: the query for a
// CommandControl says no.
class ControlObject final : public Object<adsk::core::CommandControl> {
 public:
  enum class Kind { command, plain };

  // `siblings` holds the control and outlives it there.
  ControlObject(Gate& gate, ControlsObject& siblings, Kind kind, std::string id);
  bool deleteMe_raw() override;

  bool showsCommand() const { return kind_ == Kind::command; }

 private:
  bool seenAs(const char* interfaceId) const override;

  ControlsObject& siblings_;
  Kind kind_;
};

class ControlsObject final : public Object<adsk::core::ToolbarControls> {
 public:
  explicit ControlsObject(Gate& gate);
  adsk::core::CommandControl* addCommand_raw(adsk::core::CommandDefinition* definition,
                                             const char* position, bool before) override;
  adsk::core::ToolbarControl* itemById_raw(const char* id) const override;

  Collection<ControlObject> all;
};

class ToolbarObject final : public Object<adsk::core::Toolbar> {
 public:
  ToolbarObject(Gate& gate, std::string id);
  adsk::core::ToolbarControls* controls_raw() const override;

  Held<ControlsObject> controls;
};

class ToolbarsObject final : public Object<adsk::core::Toolbars> {
 public:
  explicit ToolbarsObject(Gate& gate);
  adsk::core::Toolbar* itemById_raw(const char* id) const override;

  Collection<ToolbarObject> all;
};

class UserInterfaceObject final : public Object<adsk::core::UserInterface> {
 public:
  explicit UserInterfaceObject(Gate& gate);
  adsk::core::Palettes* palettes_raw() const override;
  adsk::core::Toolbars* toolbars_raw() const override;
  adsk::core::CommandDefinitions* commandDefinitions_raw() const override;

  Held<PalettesObject> palettes;
  Held<ToolbarsObject> toolbars;
  Held<DefinitionsObject> definitions;
};

class GeneralPreferencesObject final : public Object<adsk::core::GeneralPreferences> {
 public:
  GeneralPreferencesObject(Gate& gate, int language);
  std::int32_t userLanguage_raw() const override;

  int language;
};

class PreferencesObject final : public Object<adsk::core::Preferences> {
 public:
  PreferencesObject(Gate& gate, int language);
  adsk::core::GeneralPreferences* generalPreferences_raw() const override;

  Held<GeneralPreferencesObject> general;
};

class ApplicationEventArgsObject final : public Object<adsk::core::ApplicationEventArgs> {
 public:
  ApplicationEventArgsObject(Gate& gate, bool offline);
  bool isOffLine_raw() const override;

 private:
  bool offline_;
};

class ApplicationObject final : public Object<adsk::core::Application> {
 public:
  ApplicationObject(Gate& gate, bool offline, int language, std::optional<std::string> entitlement);
  adsk::core::UserInterface* userInterface_raw() const override;
  adsk::core::Preferences* preferences_raw() const override;
  // Knows the command "Debug.EntitlementString" alone; any other has no answer.
  char* executeTextCommand_raw(const char* command) const override;
  bool isOffLine_raw() const override;
  adsk::core::ApplicationEvent* onlineStatusChanged_raw() const override;

  bool offline;
  std::optional<std::string> entitlement;
  Held<UserInterfaceObject> userInterface;
  Held<PreferencesObject> preferences;
  Held<ApplicationEventObject> onlineStatusChanged;
};

}  // namespace substitute
