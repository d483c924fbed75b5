#include "probe/Objects.h"

#include "probe/Asking.h"

using namespace adsk::core;

namespace probe {

namespace {

void askAboutTheApplication() {
  ask("application.same", "Is the application the same object each time?",
      [] { return need(Application::get()).get() == need(Application::get()).get(); });
  ask("user-interface.same", "Is the user interface the same object each time?", [] {
    return need(application()->userInterface()).get() == need(application()->userInterface()).get();
  });
  // Not which text: it is the user's.
  ask("entitlement.given", "Has the entitlement command an answer?", [] {
    return application()->executeTextCommand("Debug.EntitlementString").empty() ? "no" : "yes";
  });
  ask("preferences.given", "Are there general preferences?",
      [] { return given(need(application()->preferences())->generalPreferences()); });
}

void askAboutPalettes(const std::string& pageAddress) {
  ask("palettes.unknown", "What is the lookup of an unknown palette?",
      [] { return given(palettes()->itemById(unknownId)); });
  Ptr<Palette> palette;
  ask("palettes.add", "What does adding a palette give?", [&] {
    palette = addPalette(pageAddress);
    return given(palette);
  });
  ask("palettes.add-again", "What does adding a palette with an id that is taken give?", [&] {
    need(palette);
    return given(addPalette(pageAddress));
  });
  ask("palettes.lookup", "Does the lookup give the object that was added?",
      [&] { return palettes()->itemById(probeId).get() == need(palette).get(); });
  ask("palettes.docking-state", "Does a palette take the docking state 4?",
      [&] { return need(palette)->dockingState(static_cast<PaletteDockingStates>(4)); });
  ask("palettes.visible", "Does a palette take its visibility?",
      [&] { return need(palette)->isVisible(true); });
  Ptr<HTMLEvent> event;
  ask("palettes.event-same", "Is a palette's event the same object each time?", [&] {
    event = need(palette)->incomingFromHTML();
    return need(palette)->incomingFromHTML().get() == need(event).get();
  });
  ask("references.let-go", "Does the host keep a palette whose handles are all let go?", [&] {
    need(palette);
    palette = nullptr;
    palette = palettes()->itemById(probeId);
    return palette && palette->isValid();
  });
  ask("palettes.delete", "Does a palette let itself be deleted?",
      [&] { return need(palette)->deleteMe(); });
  // The call itself needs a reference that the palette was given with.
  ask("palettes.valid-after-delete", "Is a deleted palette valid?",
      [&] { return need(palette)->isValid(); });
  ask("palettes.lookup-after-delete", "What is the lookup of a deleted palette?",
      [] { return given(palettes()->itemById(probeId)); });
  ask("references.event-outlives-palette",
      "Is the event valid when its palette is deleted and let go?", [&] {
        palette = nullptr;
        return need(event)->isValid();
      });
}

void askAboutToolbars() {
  ask("toolbars.qatright", "Is there a toolbar QATRight?",
      [] { return given(toolbars()->itemById("QATRight")); });
  ask("controls.help-group", "Is there a control HelpGroupCommand?",
      [] { return given(controls()->itemById("HelpGroupCommand")); });
  ask("controls.unknown", "What is the lookup of an unknown control?",
      [] { return given(controls()->itemById(unknownId)); });
  ask("query.other-object", "What is a toolbar, queried for a command control?", [] {
    return need(toolbars()->itemById("QATRight"))->query<CommandControl>() == nullptr ? "empty"
                                                                                      : "an object";
  });
  // Nothing that the add-in uses makes a plain control; this one is the host's own file menu.
  ask("query.plain-control", "What is a plain control, queried for a command control?",
      []() -> const char* {
        for (const char* const id : {"QAT", "QATRight"}) {
          const Ptr<Toolbar> toolbar = toolbars()->itemById(id);
          if (!toolbar) continue;
          const Ptr<ToolbarControl> control =
              need(toolbar->controls())->itemById("FileSubMenuCommand");
          if (control) return given(Ptr<CommandControl>(control));
        }
        throw Missing();
      });
}

void askAboutDefinitions() {
  ask("definitions.unknown", "What is the lookup of an unknown command definition?",
      [] { return given(definitions()->itemById(unknownId)); });
  Ptr<CommandDefinition> definition;
  ask("definitions.add", "What does adding a command definition give?", [&] {
    definition = addDefinition(passingId, "");
    return given(definition);
  });
  ask("definitions.add-again", "What does a second definition with the same id give?", [&] {
    need(definition);
    return given(addDefinition(passingId, ""));
  });
  ask("definitions.lookup", "Does the lookup give the definition that was added?",
      [&] { return definitions()->itemById(passingId).get() == need(definition).get(); });

  Ptr<CommandControl> control;
  ask("controls.add", "What does adding a definition's control give?", [&] {
    control = addControl(definition);
    return given(control);
  });
  ask("controls.add-again", "What does adding a second control of the same definition give?", [&] {
    need(control);
    return given(addControl(definition));
  });
  ask("controls.lookup", "What is the lookup of a control by its definition's id?", [&] {
    need(control);
    return given(controls()->itemById(passingId));
  });
  ask("query.command-control", "What is a control that was added, queried for a command control?",
      [] { return given(Ptr<CommandControl>(need(controls()->itemById(passingId)))); });
  ask("references.query", "Is a control valid after a handle on its query was let go?", [&] {
    const CommandControl* const queried = need(control)->query<CommandControl>();
    const Ptr<CommandControl> passing(queried, false);
    return need(passing)->isValid() && control->isValid();
  });
  Ptr<CommandCreatedEvent> event;
  ask("definitions.event-same", "Is a definition's event the same object each time?", [&] {
    event = need(definition)->commandCreated();
    return need(definition)->commandCreated().get() == need(event).get();
  });

  ask("definitions.delete", "Does a definition let itself be deleted?",
      [&] { return need(definition)->deleteMe(); });
  ask("definitions.valid-after-delete", "Is a deleted definition valid?",
      [&] { return need(definition)->isValid(); });
  ask("definitions.lookup-after-delete", "What is the lookup of a deleted definition?", [&] {
    need(definition);
    return given(definitions()->itemById(passingId));
  });
  ask("controls.lookup-after-definition", "What is the lookup of a control without its definition?",
      [&] {
        need(control);
        return given(controls()->itemById(passingId));
      });
  ask("controls.valid-after-definition", "Is a control valid whose definition is deleted?",
      [&] { return need(control)->isValid(); });
  ask("controls.delete", "Does a control without a definition let itself be deleted?",
      [&] { return need(control)->deleteMe(); });
  ask("controls.valid-after-delete", "Is a deleted control valid?",
      [&] { return need(control)->isValid(); });
  ask("controls.lookup-after-delete", "What is the lookup of a deleted control?", [&] {
    need(control);
    return given(controls()->itemById(passingId));
  });
  ask("references.event-outlives-definition",
      "Is the event valid when its definition is deleted and let go?", [&] {
        definition = nullptr;
        return need(event)->isValid();
      });
  ask("definitions.missing-icons", "What does a definition whose icon folder is missing give?",
      [] { return given(addDefinition(passingId, "resources/VelorinProbeMissing")); });
}

}  // namespace

void askAboutObjects(const std::string& pageAddress) {
  askAboutTheApplication();
  askAboutPalettes(pageAddress);
  askAboutToolbars();
  askAboutDefinitions();
  removeObjects();
}

void removeObjects() {
  const auto remove = [](const auto& item) {
    if (item) item->deleteMe();
  };
  for (const char* const id : {passingId, probeId}) {
    // More than once: a host may have taken a second object with the same id.
    for (int i = 0; i < 3; ++i) {
      attempt([&] { remove(palettes()->itemById(id)); });
      attempt([&] { remove(definitions()->itemById(id)); });
      attempt([&] { remove(controls()->itemById(id)); });
    }
  }
}

}  // namespace probe
