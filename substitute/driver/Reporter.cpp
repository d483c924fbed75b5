#include "substitute/driver/Reporter.h"

#include "substitute/api/HostObjects.h"
#include "substitute/driver/Profile.h"

namespace substitute {

namespace {

// What people are told of an object.
Reporter::Seen seen(const PaletteObject& palette) {
  const PaletteValues& values = palette.values();
  return {palette.serial(), "The palette " + quoted(values.title), values.visible,
          (values.visible ? " opened" : " was made, hidden,") +
              (values.address.empty() ? " without a page." : " at " + values.address)};
}

Reporter::Seen seen(const DefinitionObject& definition) {
  const std::string& icons = definition.resourceFolder;
  return {
      definition.serial(), "The command " + quoted(definition.name), true,
      " is defined, " + (icons.empty() ? "without icons." : "its icons in " + quoted(icons) + ".")};
}

using Names = std::vector<std::string>;

Names namesOf(const ToolbarObject& toolbar) {
  Names names;
  for (const auto& control : toolbar.controls->all.items()) names.push_back(control->name());
  return names;
}

}  // namespace

std::string heldResources(const ResourceCounts& counts) {
  return plural(counts.references, "reference") + " and " + plural(counts.strings, "text");
}

Reporter::Reporter(Host& host, std::ostream& out)
    : host_(host),
      out_(out),
      fileOfAddIn_(fileOfAddIn()),
      subscription_(
          host.interceptor().trace.subscribe([this](const Json& entry) { reportEvent(entry); })) {
  const UserInterfaceObject& ui = *host_.application().userInterface;
  watch(ui.palettes->all, palettes_);
  watch(ui.definitions->all, definitions_);
  const auto remember = [this](const std::string& id) {
    const auto* const toolbar = host_.application().userInterface->toolbars->all.find(id);
    if (toolbar != nullptr) toolbars_.emplace(id, namesOf(*toolbar));
  };
  subscriptions_.push_back(ui.toolbars->all.changing.subscribe(remember));
  for (const auto& toolbar : ui.toolbars->all.items()) {
    subscriptions_.push_back(toolbar->controls->all.changing.subscribe(
        [remember, id = toolbar->id()](const std::string& /*control*/) { remember(id); }));
  }
}

void Reporter::print(const std::string& line) {
  echo(line);
  printed.publish(printable(line));
}

void Reporter::reportUnloaded(const AddIn::Remains& remains) {
  report(remains.isLoaded ? "The add-in was let go, yet the process keeps its library."
                          : "The add-in is unloaded.");
  if (!remains.uniqueSymbol.empty()) {
    report("The cause is its unique symbol " + remains.uniqueSymbol +
           "; -fno-gnu-unique makes g++ do without such symbols.");
  }
  for (const std::string& handler : remains.handlers) {
    report("Its handler " + handler + " was still registered. The host has removed it.");
  }
  const ResourceCounts& counts = resourceCounts();
  const bool holds = counts.references != 0 || counts.strings != 0;
  report(holds ? "It left " + heldResources(counts) + " of the host's behind."
               : "It holds nothing of the host any more.");
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
  reportObjects(host_.application().userInterface->palettes->all, palettes_);
  reportObjects(host_.application().userInterface->definitions->all, definitions_);
  reportToolbars();
  reportFileOfAddIn();
  reportCountingErrors();
  forgetChanges();
}

void Reporter::reportEvent(const Json& entry) {
  const std::string event = entry.value("event", "");
  if (event == "threw") {
    report("An exception left the add-in: " + entry["type"].get<std::string>() + ", " +
           quoted(entry["what"]) + ".");
  } else if (event == "open") {
    const Names arguments = entry["args"];
    std::string list = "open ran with " + plural(static_cast<long>(arguments.size()), "argument");
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      list += (i == 0 ? ": " : " ") + quoted(arguments[i]);
    }
    report(list + ".");
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

template <class T>
void Reporter::watch(Collection<T>& all, Changes& changes) {
  subscriptions_.push_back(all.changing.subscribe([&](const std::string& id) {
    const T* const object = all.find(id);
    // Does nothing after the first change.
    changes.emplace(id, object == nullptr ? std::nullopt : std::optional(seen(*object)));
  }));
}

template <class T>
void Reporter::reportObjects(const Collection<T>& all, const Changes& changes) {
  std::map<unsigned long, std::string> present;  // sentences, in the order of creation
  std::map<unsigned long, std::string> gone;
  for (const auto& [id, former] : changes) {
    const T* const object = all.find(id);
    if (object == nullptr) {
      if (former) gone[former->serial] = former->title + " is gone.";
      continue;
    }
    const Seen now = seen(*object);
    if (former && former->isVisible == now.isVisible) continue;
    present[now.serial] = now.title + (!former         ? now.opening
                                       : now.isVisible ? " is shown."
                                                       : " is hidden.");
  }
  for (const auto& sentence : present) report(sentence.second);
  for (const auto& sentence : gone) report(sentence.second);
}

void Reporter::reportToolbars() {
  for (const auto& [id, former] : toolbars_) {
    const std::string name = "The toolbar " + quoted(id);
    const auto* const toolbar = host_.application().userInterface->toolbars->all.find(id);
    if (toolbar == nullptr) report(name + " is gone.");
    if (toolbar == nullptr || namesOf(*toolbar) == former) continue;
    Names ids;
    for (const auto& control : toolbar->controls->all.items()) ids.push_back(control->id());
    report(name + " now holds " + (ids.empty() ? "nothing" : listed(ids)) + ".");
  }
}

void Reporter::reportFileOfAddIn() {
  const std::string now = fileOfAddIn();
  if (now != fileOfAddIn_) report(now);
  fileOfAddIn_ = now;
}

void Reporter::reportCountingErrors() {
  const ResourceCounts& counts = resourceCounts();
  if (counts.invalidReleases != invalidReleases_) report(std::string(invalidRelease) + '!');
  if (counts.invalidDeallocations != invalidDeallocations_)
    report(std::string(invalidDeallocation) + '!');
  invalidReleases_ = counts.invalidReleases;
  invalidDeallocations_ = counts.invalidDeallocations;
}

std::string Reporter::fileOfAddIn() const {
  return profile().content == nullptr ? "" : profile().content(host_);
}

}  // namespace substitute
