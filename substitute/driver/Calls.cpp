#include "substitute/driver/Calls.h"

#include <algorithm>
#include <cstddef>
#include <set>

#include "substitute/driver/ScenarioRunner.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

constexpr const char* ellipsis = "…";

// The trace spells a text and the name of an object alike, as a string. Here the two are told
// apart.
const std::set<std::string> returningText = {nameOf(Operation::Application_executeTextCommand),
                                             nameOf(Operation::HTMLEventArgs_data)};
const std::set<std::string> takingObjectFirst = {
    nameOf(Operation::ApplicationEvent_add), nameOf(Operation::CommandCreatedEvent_add),
    nameOf(Operation::CommandEvent_add), nameOf(Operation::HTMLEvent_add),
    nameOf(Operation::ToolbarControls_addCommand)};

std::string shortened(const std::string& text) {
  constexpr std::size_t most = 34;
  std::size_t characters = 0;  // of UTF-8
  for (std::size_t i = 0; i < text.size(); ++i) {
    if ((static_cast<unsigned char>(text[i]) & 0xc0) != 0x80) ++characters;
    if (characters > most || i == 4 * most) return text.substr(0, i) + ellipsis;
  }
  return text;
}

// A string that is the name of an object has no quotes.
std::string spelled(const Json& value, CallForm form, bool isName = false) {
  const bool cuts = form == CallForm::shortened && value.is_string();
  const std::string text = printable(line(cuts ? Json(shortened(value)) : value));
  return isName && value.is_string() ? text.substr(1, text.size() - 2) : text;
}

std::string parenthesised(const Json& values, CallForm form, bool isObjectFirst = false) {
  constexpr std::size_t most = 4;
  const std::string separator = form == CallForm::spread && values.size() > 1 ? ",\n  " : ", ";
  std::string list;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const bool isCut = form == CallForm::shortened && i == most;
    list += i == 0 ? "" : separator;
    list += isCut ? ellipsis : spelled(values[i], form, i == 0 && isObjectFirst);
    if (isCut) break;
  }
  return separator == ", " ? "(" + list + ")" : "(\n  " + list + "\n)";
}

std::string operationLine(const Json& entry, CallForm form) {
  const std::string operation = entry.at("op");
  const auto dot = std::min(operation.find('.'), operation.size());
  std::string text =
      entry.contains("on") ? spelled(entry.at("on"), form, true) : operation.substr(0, dot);
  text += operation.substr(dot);
  text += parenthesised(entry.at("args"), form, takingObjectFirst.count(operation) != 0);
  const Json fault = entry.value("fault", Json());
  text += fault == "throw"
              ? " throws"
              : " = " + spelled(entry.at("result"), form, returningText.count(operation) == 0);
  return text + (fault.is_null() ? "" : "  (planned)");
}

std::string eventLine(const Json& entry, CallForm form) {
  std::string event = entry.at("event");
  if (event == "notify") return "notify " + spelled(entry.at("handler"), CallForm::full, true);
  if (event == "threw") {
    return "threw " + spelled(entry.at("type"), CallForm::full, true) +
           parenthesised(Json::array({entry.at("what")}), form);
  }
  if (event == "open") return event + parenthesised(entry.at("args"), form);
  if (!entry.contains("value")) return event;
  return event.substr(0, event.find(' ')) + " = " + spelled(entry.at("value"), form);
}

}  // namespace

std::string callLine(const Json& entry, CallForm form) {
  try {
    return entry.contains("op") ? operationLine(entry, form) : eventLine(entry, form);
  } catch (const Json::exception&) {  // a line of an expected trace may be any JSON
    return line(entry);
  }
}

int callLevel(const Json& entry) {
  if (entry.contains("op")) return 2;
  const Json event = entry.value("event", Json());
  return event == "threw" || event == "open" ? 2 : 1;
}

std::string indentedLine(const Json& entry, CallForm form) {
  return std::string(static_cast<std::size_t>(2 * callLevel(entry)), ' ') + callLine(entry, form);
}

CallLog::CallLog(ScenarioRunner& runner)
    : playing_(runner.playing.subscribe([this](const Command& command) {
        if (!command.name.empty()) played_.push_back("> " + printable(command.line) + '\n');
      })),
      trace_(runner.host().interceptor().trace.subscribe([this](const Json& entry) {
        if (!played_.empty()) played_.back() += indentedLine(entry, CallForm::shortened) + '\n';
      })) {}

std::string CallLog::linesOf(const std::string& number) const {
  if (played_.empty()) throw UsageError("no command has been played");
  std::size_t place = played_.size();
  const bool isNumber = number.empty() || parseNumber(number, place);
  if (!isNumber || place == 0 || place > played_.size()) {
    throw UsageError("there is no command " + quoted(number) + "; the last one is " +
                     std::to_string(played_.size()));
  }
  const std::string& lines = played_[place - 1];
  const bool isCommandAlone = lines.find('\n') + 1 == lines.size();
  return lines + (isCommandAlone ? "  It led to no call.\n" : "");
}

}  // namespace substitute
