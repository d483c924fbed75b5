#include "tests/model/AddInRules.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <limits>

namespace model {

namespace {

const std::string paletteId = "teachPalete";
const std::string learningSite = "https://" VELORIN_LEARNING_HOST;

// Something is not there that the rest of the rule is about: the rule ends here.
struct Ended {};

const Handle& present(const Handle& handle) {
  if (handle.empty()) throw Ended{};
  return handle;
}

void accepted(bool answer) {
  if (!answer) throw Ended{};
}

bool firstStarts(std::int32_t count) {
  return count >= 0 && count < 4;
}

// The number that a text begins with, white space before it skipped; none when there is no digit
// or the number has more than 32 bits.
std::optional<std::int32_t> leadingNumber(const std::string& text) {
  std::size_t at = 0;
  while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])) != 0) ++at;
  const bool negative = at < text.size() && text[at] == '-';
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) ++at;
  if (at == text.size() || text[at] < '0' || text[at] > '9') return {};
  std::int64_t value = 0;
  const std::int64_t beyond = std::int64_t{1} << 32;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    value = std::min(value * 10 + (text[at] - '0'), beyond);
  }
  if (negative) value = -value;
  if (value < std::numeric_limits<std::int32_t>::min()) return {};
  if (value > std::numeric_limits<std::int32_t>::max()) return {};
  return static_cast<std::int32_t>(value);
}

}  // namespace

bool possible(Disk disk, bool withInfoFile) {
  if (disk == Disk::noFolder) return !withInfoFile;
  if (disk == Disk::unreadableFile || disk == Disk::readOnlyFile) return withInfoFile;
  return true;
}

// That the file cannot be made or written goes unnoticed; that it cannot be read does not.
InfoFileUpdate updateInfoFile(const std::optional<std::string>& before, const std::string& today,
                              Disk disk) {
  if (!before) {
    if (disk == Disk::noFolder || disk == Disk::readOnlyFolder) return {0, {}};
    return {0, today + "\n1"};
  }
  if (disk == Disk::unreadableFile) return {-1, before};

  std::vector<std::string> lines(1);
  for (const char byte : *before) {
    if (byte == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += byte;
    }
  }
  // What follows the last line feed is a line only if there is something.
  if (lines.back().empty()) lines.pop_back();

  std::int32_t returned = 0;
  if (lines.size() <= 1) {
    lines.emplace_back("1");
  } else {
    returned = leadingNumber(lines[1]).value_or(0);
    const bool wraps = returned == std::numeric_limits<std::int32_t>::max();
    lines[1] = wraps ? "-2147483648" : std::to_string(returned + 1);
  }
  if (disk == Disk::readOnlyFile) return {returned, before};
  std::string after;
  for (const std::string& line : lines) after += line + "\n";
  return {returned, after};
}

std::optional<std::string> shellCommand(const std::string& data) {
  if (data.empty()) return {};
  std::string target = data;
  target.erase(target.begin());
  if (!target.empty()) target.pop_back();
  return "open " + target;
}

bool AddIn::run() try {
  app_ = host_.application();
  present(app_);
  ui_ = host_.userInterface(app_);
  present(ui_);
  const InfoFileUpdate update = updateInfoFile(infoFile_, today_, disk_);
  infoFile_ = update.after;
  count_ = update.returned;

  const Handle onlineEvent = host_.onlineStatusChanged(app_);
  host_.addHandler(present(onlineEvent), "OnlineStatusChangedHandler");
  if (!host_.isOffLine(app_) && firstStarts(count_)) openPalette();

  const Handle toolbars = host_.toolbarsOf(host_.userInterface(app_));
  const Handle toolbar = present(host_.toolbarById(toolbars, "QATRight"));
  const std::string icons = count_ >= 1 ? "resources/Velorin" : "resources/Velorin/LessTen";
  const std::string tooltip =
      "Velorin je pomocník pro začátečníky, integrovaný do prostředí programu Fusion 360 a "
      "napomáhá s prvními kroky v aplikaci.";
  const Handle definition = present(host_.addButtonDefinition(
      host_.commandDefinitions(ui_), "runTeachPalette", "Zobrazit velorin", tooltip, icons));
  const Handle controls = host_.controlsOf(toolbar);
  present(host_.addCommand(controls, definition, "HelpGroupCommand", false));
  return host_.addHandler(present(host_.commandCreated(definition)), "CmdCreatedEventHandler");
} catch (const Ended&) {
  return false;
}

bool AddIn::stop() try {
  if (ui_.empty()) return true;
  const Handle palettes = present(host_.palettesOf(ui_));
  const Handle shown = host_.paletteById(palettes, paletteId);
  if (!shown.empty()) {
    host_.deletePalette(shown);
    host_.isValid(shown);
  }
  const Handle toolbars = host_.toolbarsOf(host_.userInterface(app_));
  const Handle toolbar = present(host_.toolbarById(toolbars, "QATRight"));
  for (const char* const id : {"openEshop", "runTeachPalette"}) removeCommand(toolbar, id);
  ui_ = {};
  return true;
} catch (const Ended&) {
  return false;
}

void AddIn::removeCommand(const Handle& toolbar, const std::string& id) {
  const Handle definition = host_.definitionById(host_.commandDefinitions(ui_), id);
  if (!definition.empty()) host_.deleteDefinition(definition);
  const Handle control = host_.controlById(host_.controlsOf(toolbar), id);
  if (control.empty()) return;
  const Handle commandControl = host_.asCommandControl(control);
  if (!commandControl.empty()) host_.deleteControl(commandControl);
}

// The e-shop's handlers are never registered, so that the host has no way to call them.
void AddIn::notify(const std::string& handler) try {
  if (handler == "CmdCreatedEventHandler") connectExecute();
  if (handler == "CmdExecuteEventHandler") openPalette();
  if (handler == "OnlineStatusChangedHandler") handleOnlineStatus();
  if (handler == "RovaHTMLEventHandler" || handler == "CadFirst3sHTMLEventHandler") openTarget();
} catch (const Ended&) {
}

int AddIn::references() const {
  return (app_.empty() ? 0 : 1) + (ui_.empty() ? 0 : 1) + (palette_.empty() ? 0 : 1);
}

// What the button and the first starts do. Nobody uses the result: an early end here does not end
// the caller.
void AddIn::openPalette() try {
  const std::string licence = host_.executeTextCommand(app_, "Debug.EntitlementString");
  const Handle preferences = host_.preferences(app_);
  const bool czech = host_.userLanguage(host_.generalPreferences(preferences)) == 2;
  const Handle application = present(host_.application());
  const Handle userInterface = present(host_.userInterface(application));
  const Handle palettes = present(host_.palettesOf(userInterface));
  palette_ = host_.paletteById(palettes, paletteId);
  if (palette_.empty()) {
    const std::string address = learningSite +
                                "/fusion360/learning.asp?lang=" + (czech ? "CSY" : "ENG") +
                                "&lic=" + licence;
    palette_ = host_.addPalette(palettes, paletteId, "Velorin", address, {true, true, true}, 300,
                                400, true);
    host_.setDockingState(present(palette_), 4);
    accepted(host_.addHandler(present(host_.incomingFromHTML(palette_)), "RovaHTMLEventHandler"));
  }
  host_.setVisible(palette_, true);
} catch (const Ended&) {
}

// Handles the host's online report: uses the user interface that run stored and registers another
// message handler.
void AddIn::handleOnlineStatus() {
  if (host_.reportsOffLine()) return;
  if (count_ < 0 || count_ > 3) return;
  const std::string licence = host_.executeTextCommand(app_, "Debug.EntitlementString");
  const Handle preferences = host_.preferences(app_);
  const bool czech = host_.userLanguage(host_.generalPreferences(preferences)) == 2;
  const Handle palettes = present(host_.palettesOf(ui_));
  palette_ = host_.paletteById(palettes, paletteId);
  if (!palette_.empty()) {
    host_.setVisible(palette_, true);
    return;
  }
  palette_ = host_.addPalette(
      palettes, paletteId, "Velorin",
      learningSite + "/fusion360/learning.asp?lang=" + (czech ? "CSY" : "ENG") + "&lic=" + licence,
      {true, true, true}, 300, 400, true);
  if (palette_.empty()) return;
  host_.setDockingState(palette_, 4);
  const Handle messages = present(host_.incomingFromHTML(palette_));
  if (host_.addHandler(messages, "CadFirst3sHTMLEventHandler")) host_.setVisible(palette_, true);
}

void AddIn::connectExecute() {
  const Handle command = host_.createdCommand();
  present(host_.commandInputs(command));
  host_.addHandler(present(host_.execute(command)), "CmdExecuteEventHandler");
}

void AddIn::openTarget() {
  const std::optional<std::string> command = shellCommand(host_.messageData());
  if (!command) throw Thrown{"std::out_of_range", {}};
  shellCommands_.push_back(*command);
}

}  // namespace model
