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

// The name in "--name", "--name=VALUE", "-n" and "-nVALUE"; empty for what is no option.
std::string nameIn(const std::string& argument) {
  if (argument.size() < 2 || argument[0] != '-' || argument == "--") return "";
  return argument[1] == '-' ? argument.substr(0, argument.find('=')) : argument.substr(0, 2);
}

// The arguments as CLI11 wants them: the last one first. For "--name=" it would take the next word,
// so that becomes two. Throws UsageError.
std::vector<std::string> asParserTakes(const CLI::App& parser,
                                       const std::vector<std::string>& arguments) {
  std::vector<std::string> result;
  bool areOptions = true;
  for (const std::string& argument : arguments) {
    result.push_back(argument);
    areOptions = areOptions && argument != "--";
    const std::string name = areOptions ? nameIn(argument) : "";
    const CLI::Option* const option = parser.get_option_no_throw(name);
    if (option == nullptr) continue;
    if (option->get_disable_flag_override() && argument != name) {
      throw UsageError(name + " takes no value");
    }
    if (argument != name + "=") continue;
    if (option->get_expected_max() == 0) throw UsageError(name + ": the value is empty");
    result.back() = name;
    result.emplace_back();
  }
  std::reverse(result.begin(), result.end());
  return result;
}

// The error for the first argument that no option and no SCENARIO of `parser` has taken.
UsageError notExpected(const CLI::App& parser) {
  const std::string name = nameIn(parser.remaining().front());
  if (name.empty()) return UsageError("there is more than one SCENARIO");
  std::vector<std::string> names;
  for (const CLI::Option* const option : parser.get_options()) names.push_back(option->get_name());
  return UsageError("there is no option " + name + "; the nearest are " + nearest(name, names));
}

// False when it has printed what an option asked for. Throws UsageError.
bool parse(CLI::App& parser, const std::vector<std::string>& arguments) {
  try {
    parser.parse(asParserTakes(parser, arguments));
    return true;
  } catch (const CLI::Success& asked) {
    parser.exit(asked);  // prints the help or the version
    flushOutput();
    return false;
  } catch (const CLI::ExtrasError&) {
    throw notExpected(parser);
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
}

std::vector<Option> sharedOptions(CommandLine& values) {
  const auto takeLanguage = [&values](const std::string& value) {
    const bool isNumber = parseNumber(value, values.language);
    return isNumber ? std::string() : "'" + value + "' is not a 32-bit number";
  };
  const auto takeCalls = [&values](const std::string& value) {
    values.calls = value == "shortened" ? CallForm::shortened : CallForm::full;
    return value == "full" || value == "shortened" ? "" : "'" + value + "' is not full";
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
      {"--timeout", "SECONDS", takeNumber(values.timeout, "seconds", 1000000),
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
    parser.add_flag(option.name, **flag, option.help)->disable_flag_override();
    return;
  }
  const bool hasName = option.name[0] == '-';
  const auto takeAll = [&parser, option, hasName](const CLI::results_t& values) {
    for (const std::string& value : values) {
      const bool isOption = value == "--" || parser.get_option_no_throw(nameIn(value)) != nullptr;
      const std::string wrong = hasName && isOption ? "'" + value + "' is an option, not a value"
                                                    : take(option.target, value);
      if (!wrong.empty()) throw UsageError(option.name + (": " + wrong));
    }
    return true;
  };
  CLI::Option* const added = parser.add_option(option.name, takeAll, option.help);
  added->type_name(option.valueName)->take_all();  // of one value the last counts
  if (option.takesSeveral) added->expected(CLI::detail::expected_max_vector_size);
  if (option.takesSeveral && hasName) added->delimiter(',')->allow_extra_args(false);
  if (!hasName) added->option_text(" ");
}

void addOptions(CLI::App& parser, const Program& program, CommandLine& values) {
  parser.set_version_flag("--version", std::string(program.name) + " " VELORIN_VERSION);
  parser.footer(program.footer);
  for (const Option& option : sharedOptions(values)) add(parser, option);
  // Without "=" it takes no value.
  parser.get_option("--calls")->expected(0, 0)->default_str("shortened")->option_text("[=full]");
  for (const Option& option : program.options) add(parser, option);
}

}  // namespace

TakeValue takeNumber(unsigned& target, const std::string& of, unsigned most) {
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
    if (!parse(parser, {argv + 1, argv + argc})) return EXIT_SUCCESS;
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
  } catch (const std::exception&) {
    return printException(program.name).status;
  }
}

}  // namespace substitute
