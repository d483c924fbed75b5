#include "substitute/driver/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iostream>

#include "substitute/api/Operation.h"
#include "substitute/driver/Calls.h"
#include "substitute/driver/Commands.h"
#include "substitute/driver/Errors.h"
#include "substitute/driver/Folders.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/Text.h"

namespace substitute {

namespace {

constexpr const char* shortenedCalls = "shortened";  // --calls without a value

// The name in "--name", "--name=VALUE", "-n" and "-nVALUE"; empty for what is no option.
std::string nameIn(const std::string& argument) {
  if (argument.size() < 2 || argument[0] != '-') return "";
  return argument[1] == '-' ? argument.substr(0, argument.find('=')) : argument.substr(0, 2);
}

// The arguments in a form that CLI11 reads as they are meant: it would take an option for the value
// of the one before, and the next word for the value of "--name=". Throws UsageError.
std::vector<std::string> readable(const CLI::App& parser,
                                  const std::vector<std::string>& arguments) {
  std::vector<std::string> result;
  const auto isOption = [&](const std::string& word) {
    return word == "--" || parser.get_option_no_throw(nameIn(word)) != nullptr;
  };
  for (auto at = arguments.begin(); at != arguments.end(); ++at) {
    const std::string name = nameIn(*at);
    if (*at == "--") {
      result.insert(result.end(), at, arguments.end());
      break;
    }
    result.push_back(*at);
    if (name.empty()) continue;
    const CLI::Option* const option = parser.get_option_no_throw(name);
    if (option == nullptr) {
      std::vector<std::string> names;
      for (const CLI::Option* const one : parser.get_options()) {
        for (const std::string& known : one->get_lnames()) names.push_back("--" + known);
      }
      throw UsageError("there is no option " + name + "; the nearest are " +
                       listed(nearest(name, names)));
    }
    const bool takesValue = option->get_expected_max() > 0;
    if (!takesValue && name != *at) throw UsageError(name + " takes no value");
    if (*at == name + "=") {
      result.back() = name;
      result.emplace_back();
    }
    if (!takesValue || name != *at) continue;
    if (option->get_expected_min() == 0) {  // it can do without: the next word is none of it
      result.back() += "=" + option->get_default_str();
      continue;
    }
    if (++at == arguments.end() || isOption(*at)) {
      throw UsageError(name + " wants a value, " + option->get_type_name());
    }
    result.push_back(*at);
  }
  return result;
}

std::vector<Option> sharedOptions(CommandLine& values) {
  const auto takeLanguage = [&values](const std::string& value) {
    const std::optional<int> language = parseLanguage(value);
    if (language) values.language = *language;
    return language ? "" : notALanguage(value);
  };
  const auto takeCalls = [&values](const std::string& value) {
    values.calls = value == shortenedCalls ? CallForm::shortened : CallForm::full;
    return value == "full" || value == shortenedCalls ? "" : "'" + value + "' is not full";
  };
  return {
      {"--addin", "FILE", &values.addin, "the library to load; the built one if left out"},
      {"--data", "DIR", &values.data,
       "where the host is installed; if left out, a temporary folder for a scenario, else a folder "
       "of the user's"},
      {"--fresh", "", &values.fresh, "a temporary folder there without a scenario, too"},
      {"--no-addin-folder", "", &values.noAddinFolder, "do not make the add-in's folder"},
      {"--executable", "PATH", &values.executable,
       "report PATH as the host's executable and make no folder"},
      {"--language", "N", takeLanguage, "the host's user language; 2, which is Czech, if left out"},
      {"--entitlement", "TEXT", &values.entitlement,
       "the host's entitlement text; an example if left out"},
      {"--offline", "", &values.offline, "the host starts offline"},
      {"--trace", "FILE", &values.trace, "write every call of the host there, a line of JSON each"},
      {"--expect-trace", "FILE", &values.expectedTrace,
       "the trace must be this one; the first line that differs is reported"},
      {"--strict", "", &values.strict, "what is reported as suspicious at the end is a failure"},
      {"--timeout", "SECONDS", number(values.timeout, "seconds", 1000000),
       "end when a call of the add-in takes longer than SECONDS"},
      {"--calls", "full", takeCalls,
       "below each command, print the calls that it led to, as code; without =full, long strings "
       "and lists are shortened"},
      {"--system-open", "", &values.systemOpen,
       "let the system's own `open` run instead of recording its arguments"},
      {"--list-scenarios", "", &values.listScenarios, "list the scenarios that come with the host"},
      {"--list-operations", "", &values.listOperations,
       "list the operations of the host, which `fail` takes"},
  };
}

// Keeps `value` in `target`. Returns what is wrong with it, or an empty string.
std::string take(const Option::Target& target, const std::string& value) {
  if (const auto* const function = std::get_if<TakeValue>(&target)) return (*function)(value);
  const auto* const any = std::get_if<std::optional<std::string>*>(&target);
  if (any != nullptr) **any = value;
  if (const auto* const one = std::get_if<std::string*>(&target)) **one = value;
  if (const auto* const all = std::get_if<std::vector<std::string>*>(&target))
    (*all)->push_back(value);
  return value.empty() && any == nullptr ? "the value is empty" : "";
}

void add(CLI::App& parser, const Option& option) {
  if (const auto* const flag = std::get_if<bool*>(&option.target)) {
    parser.add_flag(option.name, **flag, option.help);
    return;
  }
  const auto takeAll = [option](const CLI::results_t& values) {
    for (const std::string& value : values) {
      const std::string wrong = take(option.target, value);
      if (!wrong.empty()) throw UsageError(option.name + (": " + wrong));
    }
    return true;
  };
  CLI::Option* const added = parser.add_option(option.name, takeAll, option.help);
  added->type_name(option.valueName)->take_all();  // of one value the last counts
  const bool hasName = option.name[0] == '-';
  if (option.takesSeveral) added->expected(CLI::detail::expected_max_vector_size);
  if (option.takesSeveral && hasName) added->delimiter(',')->allow_extra_args(false);
  if (!hasName) added->option_text(" ");
}

void addOptions(CLI::App& parser, const Program& program, CommandLine& values) {
  parser.set_version_flag("--version", std::string(program.name) + " " VELORIN_VERSION);
  parser.footer(program.footer);
  parser.option_defaults()->take_last();
  for (const Option& option : sharedOptions(values)) add(parser, option);
  parser.get_option("--calls")->expected(0, 1)->default_str(shortenedCalls)->option_text("[=full]");
  for (const Option& option : program.options) add(parser, option);
}

}  // namespace

TakeValue number(unsigned& target, const std::string& of, unsigned most) {
  return [of, most, &target](const std::string& value) {
    if (parseNumber(value, target) && target >= 1 && target <= most) return std::string();
    return "'" + value + "' is not a number of " + of + " from 1 to " + std::to_string(most);
  };
}

std::optional<int> readCommandLine(const Program& program, CommandLine& values, int argc,
                                   char** argv) {
  try {
    CLI::App parser(program.description, program.name);
    addOptions(parser, program, values);
    std::vector<std::string> arguments = readable(parser, {argv + 1, argv + argc});
    std::reverse(arguments.begin(), arguments.end());  // CLI11 takes the last one first
    try {
      parser.parse(std::move(arguments));
    } catch (const CLI::Success& asked) {
      parser.exit(asked);  // prints the help or the version
      flushOutput();
      return EXIT_SUCCESS;
    } catch (const CLI::ExtrasError&) {
      throw UsageError("there is more than one SCENARIO");
    }
    if (values.fresh && !values.data.empty()) {
      throw UsageError("--fresh and --data do not go together");
    }
    if (values.addin.empty()) values.addin = besideProgram(profile().library);
    if (!values.listScenarios && !values.listOperations) return {};
    const auto print = [](const auto& names) {
      for (const std::string& name : names) std::cout << name << '\n';
    };
    if (values.listScenarios) print(scenarioNames());
    if (values.listOperations) print(operationNames());
    flushOutput();
    return EXIT_SUCCESS;
  } catch (const CLI::ParseError&) {
    printError(program.name, "the options cannot be read; see --help");
    return exit_status::wrongInput;
  } catch (const std::exception&) {
    return printException(program.name);
  }
}

}  // namespace substitute
