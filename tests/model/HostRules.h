// The host's half of the model: the objects that the add-in can reach, what each operation on them
// does, and how a planned fault makes it fail.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tests/model/Model.h"

namespace model {

// An exception that leaves the add-in, in the words of the trace.
struct Thrown {
  std::string type;
  std::optional<std::string> what;  // none: whatever the standard library says
};

// The end of the process by the assertion on an empty handle.
struct Aborted {};

// A host object: the class, and the id of what it stands for or belongs to. No class: no object.
struct Handle {
  std::string className;
  std::string id;

  bool empty() const { return className.empty(); }
};

struct Palette {
  std::string id;
  std::string title;
  std::string address;
  bool visible = true;
  int dockingState = 0;
  int width = 0;
  int height = 0;
  std::vector<std::string> handlers;
};

struct Definition {
  std::string id;
  std::string name;
  std::string tooltip;
  std::string resourceFolder;
  std::vector<std::string> handlers;
};

struct Control {
  std::string id;
  bool showsCommand = true;
};

struct Toolbar {
  std::string id;
  std::vector<Control> controls;
};

// The entry of `list` with that id; null when there is none.
template <class Entry>
Entry* find(std::vector<Entry>& list, const std::string& id) {
  for (Entry& entry : list) {
    if (entry.id == id) return &entry;
  }
  return nullptr;
}

// Takes the entry with that id away. False when there is none.
template <class Entry>
bool erase(std::vector<Entry>& list, const std::string& id) {
  for (auto entry = list.begin(); entry != list.end(); ++entry) {
    if (entry->id != id) continue;
    list.erase(entry);
    return true;
  }
  return false;
}

class Host {
 public:
  explicit Host(EmptyHandle emptyHandle) : emptyHandle_(emptyHandle) {}

  bool offline = false;
  int language = 2;
  std::optional<std::string> entitlement = "VELORIN-EXAMPLE 2026";
  std::optional<std::string> message;  // the text of the message that is being delivered
  std::vector<Palette> palettes;
  std::vector<Definition> definitions;
  std::vector<Toolbar> toolbars = {{"QATRight", {{"HelpGroupCommand", true}}}};
  std::vector<std::string> onlineHandlers;
  std::vector<std::string> executeHandlers;  // of the command that is being created
  std::vector<Json> trace;

  // The `nth` coming call of `operation` fails.
  void plan(const std::string& operation, std::uint64_t nth, bool throws);

  // The planned faults that have not happened, in the words of the command that plans them.
  std::vector<std::string> pendingFaults() const;

  // The operations, in the words of the host's interface where these tell them apart. Each stands
  // in the trace. Used on an empty handle, it ends as EmptyHandle says and leaves no trace.
  Handle application();
  Handle userInterface(const Handle& application);
  Handle preferences(const Handle& application);
  std::string executeTextCommand(const Handle& application, const std::string& command);
  bool isOffLine(const Handle& application);
  Handle onlineStatusChanged(const Handle& application);
  bool addHandler(const Handle& event, const std::string& handler);
  bool reportsOffLine();
  Handle generalPreferences(const Handle& preferences);
  int userLanguage(const Handle& generalPreferences);
  Handle palettesOf(const Handle& userInterface);
  Handle toolbarsOf(const Handle& userInterface);
  Handle commandDefinitions(const Handle& userInterface);
  Handle paletteById(const Handle& palettes, const std::string& id);
  Handle addPalette(const Handle& palettes, const std::string& id, const std::string& title,
                    const std::string& address, const std::vector<bool>& threeFlags, int width,
                    int height, bool lastFlag);
  void setDockingState(const Handle& palette, int state);
  Handle incomingFromHTML(const Handle& palette);
  void setVisible(const Handle& palette, bool visible);
  void deletePalette(const Handle& palette);
  void isValid(const Handle& palette);
  std::string messageData();
  Handle toolbarById(const Handle& toolbars, const std::string& id);
  Handle controlsOf(const Handle& toolbar);
  Handle addCommand(const Handle& controls, const Handle& definition, const std::string& position,
                    bool before);
  Handle controlById(const Handle& controls, const std::string& id);
  Handle asCommandControl(const Handle& control);
  void deleteControl(const Handle& control);
  Handle addButtonDefinition(const Handle& definitions, const std::string& id,
                             const std::string& name, const std::string& tooltip,
                             const std::string& resourceFolder);
  Handle definitionById(const Handle& definitions, const std::string& id);
  Handle commandCreated(const Handle& definition);
  void deleteDefinition(const Handle& definition);
  Handle createdCommand();
  Handle commandInputs(const Handle& command);
  Handle execute(const Handle& command);

 private:
  enum class Fault { none, nothing, exception };

  struct PlannedFault {
    std::string operation;
    std::uint64_t left;
    bool throws;
  };

  Fault nextFault(const std::string& operation);

  // One call: `on` is null for an operation of the class itself; `work` gives the result as the
  // trace tells it; a call that fails does no work and gives `nothing`.
  template <class Work>
  Json call(const std::string& operation, const Handle* on, Json arguments, const Json& nothing,
            Work work);

  // The object `result` of a call that gives one, or null, on something that has it always.
  Handle part(const std::string& operation, const Handle& of, const Handle& result);

  std::vector<std::string>& handlersOf(const Handle& event);

  EmptyHandle emptyHandle_;
  std::vector<PlannedFault> plannedFaults_;
};

}  // namespace model
