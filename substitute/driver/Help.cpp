#include "substitute/driver/Help.h"

#include <algorithm>

#include "substitute/driver/Commands.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

template <class Entry>
std::string row(const Entry& entry, HelpLayout layout) {
  constexpr std::size_t width = 34;
  const std::string usage = std::string(entry.name) + " " + entry.usage;
  if (layout == HelpLayout::narrow) return usage + "\n    " + entry.help + "\n";
  return "  " + usage + std::string(usage.size() < width ? width - usage.size() : 1, ' ') +
         entry.help + "\n";
}

}  // namespace

std::string commandList(HelpLayout layout) {
  std::string list = "Commands of a scenario, one a line; # starts a comment line:\n";
  for (const CommandEntry& entry : commands()) list += row(entry, layout);
  return list;
}

std::string help(const std::string& name, const std::vector<PromptWord>& words, const Host& host,
                 HelpLayout layout) {
  const bool all = name.empty();
  std::string list = all ? commandList(layout) + "At the prompt also:\n" : "";
  for (const PromptWord& word : words) {
    if (all || name == word.name) list += row(word, layout);
  }
  if (const CommandEntry* const entry = findCommand(name)) {
    list += row(*entry, layout);
    const Arguments choice = candidates(*entry, host, {});
    if (!choice.empty()) list += "  It takes one of these: " + listed(choice) + ".\n";
  }
  if (list.empty()) throw ScenarioError("'" + name + "' is not a command; 'help' lists them");
  return list;
}

std::vector<std::string> completionsAtPrompt(const std::string& typed, const Host& host,
                                             const std::vector<PromptWord>& words) {
  const bool asks = typed.rfind(std::string(helpWord.name) + " ", 0) == 0;
  Arguments before = wordsIn(asks ? typed.substr(typed.find(' ')) : typed);
  std::string begun;
  if (!before.empty() && typed.back() != ' ') {
    begun = before.back();
    before.pop_back();
  }
  std::vector<std::string> found;
  if (before.empty()) {
    for (const CommandEntry& entry : commands()) found.push_back(entry.name);
    for (const PromptWord& word : words) found.emplace_back(word.name);
  } else if (const CommandEntry* const entry = findCommand(before[0])) {
    before.erase(before.begin());
    found = candidates(*entry, host, before);
  }
  const auto differs = [&](const std::string& word) { return word.rfind(begun, 0) != 0; };
  found.erase(std::remove_if(found.begin(), found.end(), differs), found.end());
  return found;
}

}  // namespace substitute
