#include "substitute/driver/Reporter.h"

#include <algorithm>
#include <ostream>

#include "substitute/api/HostObjects.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

// The changed objects that exist in `all`, in the order of their creation.
template <class T, class Changes>
std::vector<const T*> present(const Collection<T>& all, const Changes& changes) {
  std::vector<const T*> objects;
  for (const auto& change : changes) {
    const T* const object = all.find(change.first);
    if (object != nullptr) objects.push_back(object);
  }
  std::sort(objects.begin(), objects.end(),
            [](const T* a, const T* b) { return a->serial() < b->serial(); });
  return objects;
}

// The titles of the changed objects that are not in `all` any more, in the same order.
template <class T, class Changes>
std::vector<std::string> titlesOfGone(const Collection<T>& all, const Changes& changes) {
  std::map<unsigned long, std::string> titles;
  for (const auto& [id, former] : changes) {
    if (former && all.find(id) == nullptr) titles[former->serial] = former->title;
  }
  std::vector<std::string> result;
  result.reserve(titles.size());
  for (auto& title : titles) result.push_back(std::move(title.second));
  return result;
}

}  // namespace

std::string heldResources(const ResourceCounts& counts) {
  return plural(counts.references, "reference") + " and " + plural(counts.strings, "text");
}

Reporter::Reporter(Host& host, std::ostream& out)
    : host_(host),
      out_(out),
      fileOfAddIn_(fileOfAddIn()),
      trace_(
          host.interceptor().trace.subscribe([this](const Json& entry) { reportEvent(entry); })) {
  const UserInterfaceObject& ui = *host_.application().userInterface;
  collections_ = {
      ui.palettes->all.changing.subscribe([this](const std::string& id) { rememberPalette(id); }),
      ui.definitions->all.changing.subscribe(
          [this](const std::string& id) { rememberDefinition(id); }),
      ui.toolbars->all.changing.subscribe([this](const std::string& id) { rememberControls(id); })};
  for (const auto& toolbar : ui.toolbars->all.items()) {
    collections_.push_back(toolbar->controls->all.changing.subscribe(
        [this, id = toolbar->id()](const std::string& /*control*/) { rememberControls(id); }));
  }
}

void Reporter::echo(const std::string& line) {
  out_ << printable(line) << '\n' << std::flush;
}

void Reporter::print(const std::string& line) {
  echo(line);
  printed.publish(printable(line));
}

void Reporter::report(const std::string& sentence) {
  print("  " + sentence);
}

void Reporter::reportResult(const std::string& entryPoint, std::optional<bool> result) {
  if (result) report(entryPoint + " returned " + (*result ? "true." : "false."));
}

void Reporter::reportUnloaded(const AddIn::Remains& remains) {
  report(remains.isLoaded ? diagnostic::stillLoaded : "The add-in is unloaded.");
  if (!remains.uniqueSymbol.empty()) {
    report("The cause is its unique symbol " + remains.uniqueSymbol +
           "; -fno-gnu-unique makes g++ do without such symbols.");
  }
  for (const std::string& handler : remains.handlers) {
    report("Its handler " + handler + " was still registered. The host has removed it.");
  }
  const ResourceCounts& counts = resourceCounts();
  if (counts.references == 0 && counts.strings == 0) {
    report("It holds nothing of the host any more.");
  } else {
    report("It left " + heldResources(counts) + " of the host's behind.");
  }
}

void Reporter::forgetChanges() {
  const ApplicationObject& application = host_.application();
  offline_ = application.offline;
  language_ = application.preferences->general->language;
  entitlement_ = application.entitlement;
  palettes_.clear();
  definitions_.clear();
  toolbars_.clear();
}

void Reporter::reportChanges() {
  reportSettings();
  reportPalettes();
  reportDefinitions();
  reportToolbars();
  reportFileOfAddIn();
  reportCountingErrors();
  forgetChanges();
}

void Reporter::reportEvent(const Json& entry) {
  const auto event = entry.find("event");
  if (event == entry.end()) return;
  if (*event == "threw") {
    report("An exception left the add-in: " + entry["type"].get<std::string>() + ", " +
           quoted(entry["what"].get<std::string>()) + ".");
  } else if (*event == "open") {
    const Json& arguments = entry["args"];
    std::string list;
    for (const Json& argument : arguments) list += " " + quoted(argument.get<std::string>());
    report("open ran with " + plural(static_cast<long>(arguments.size()), "argument") +
           (list.empty() ? "" : ":" + list) + ".");
  }
}

void Reporter::reportSettings() {
  const ApplicationObject& application = host_.application();
  const int language = application.preferences->general->language;
  const auto& entitlement = application.entitlement;
  if (application.offline != offline_) {
    report(application.offline ? "The host is offline." : "The host is online.");
  }
  if (language != language_) report("The host's language is now " + std::to_string(language) + ".");
  if (entitlement != entitlement_) {
    report("The host's entitlement is now " + (entitlement ? line(*entitlement) : "null") + ".");
  }
}

void Reporter::reportPalettes() {
  const auto& all = host_.application().userInterface->palettes->all;
  for (const PaletteObject* const palette : present(all, palettes_)) {
    const PaletteValues& values = palette->values();
    const std::string name = "The palette " + quoted(values.title);
    const auto& former = palettes_.at(palette->id());
    if (!former) {
      report(name + (values.visible ? " opened" : " was made, hidden,") +
             (values.address.empty() ? " without a page." : " at " + values.address));
    } else if (former->visible != values.visible) {
      report(name + (values.visible ? " is shown." : " is hidden."));
    }
  }
  for (const std::string& title : titlesOfGone(all, palettes_)) {
    report("The palette " + quoted(title) + " is gone.");
  }
}

void Reporter::reportDefinitions() {
  const auto& all = host_.application().userInterface->definitions->all;
  for (const DefinitionObject* const definition : present(all, definitions_)) {
    if (definitions_.at(definition->id())) continue;
    const std::string& icons = definition->resourceFolder;
    report("The command " + quoted(definition->name) + " is defined, " +
           (icons.empty() ? "without icons." : "its icons in " + quoted(icons) + "."));
  }
  for (const std::string& title : titlesOfGone(all, definitions_)) {
    report("The command " + quoted(title) + " is gone.");
  }
}

void Reporter::reportToolbars() {
  for (const auto& [id, former] : toolbars_) {
    const std::string name = "The toolbar " + quoted(id);
    if (host_.application().userInterface->toolbars->all.find(id) == nullptr) {
      report(name + " is gone.");
      continue;
    }
    const Controls now = controlsOf(id);
    if (now == former) continue;
    std::string list;
    for (const auto& control : now) list += (list.empty() ? "" : ", ") + control.first;
    report(name + " now holds " + (list.empty() ? "nothing" : list) + ".");
  }
}

void Reporter::reportFileOfAddIn() {
  const std::string now = fileOfAddIn();
  if (now != fileOfAddIn_) report(now);
  fileOfAddIn_ = now;
}

void Reporter::reportCountingErrors() {
  const ResourceCounts& counts = resourceCounts();
  if (counts.invalidReleases != invalidReleases_) report(diagnostic::invalidRelease);
  if (counts.invalidDeallocations != invalidDeallocations_) report(diagnostic::invalidDeallocation);
  invalidReleases_ = counts.invalidReleases;
  invalidDeallocations_ = counts.invalidDeallocations;
}

void Reporter::rememberPalette(const std::string& id) {
  const PaletteObject* const palette = host_.application().userInterface->palettes->all.find(id);
  std::optional<Former> former;
  if (palette != nullptr) {
    former = Former{palette->serial(), palette->values().title, palette->values().visible};
  }
  palettes_.emplace(id, former);  // does nothing after the first change
}

void Reporter::rememberDefinition(const std::string& id) {
  const DefinitionObject* const definition =
      host_.application().userInterface->definitions->all.find(id);
  std::optional<Former> former;
  if (definition != nullptr) former = Former{definition->serial(), definition->name, true};
  definitions_.emplace(id, former);
}

void Reporter::rememberControls(const std::string& toolbar) {
  const bool exists = host_.application().userInterface->toolbars->all.find(toolbar) != nullptr;
  if (exists && toolbars_.count(toolbar) == 0) toolbars_[toolbar] = controlsOf(toolbar);
}

Reporter::Controls Reporter::controlsOf(const std::string& toolbar) const {
  Controls controls;
  const ToolbarObject* const object =
      host_.application().userInterface->toolbars->all.find(toolbar);
  for (const auto& control : object->controls->all.items()) {
    controls.emplace_back(control->id(), control->className());
  }
  return controls;
}

std::string Reporter::fileOfAddIn() const {
  return profile().content == nullptr ? "" : profile().content(host_);
}

}  // namespace substitute
