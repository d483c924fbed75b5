#include "substitute/driver/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>

#include "substitute/api/Operation.h"
#include "substitute/driver/Calls.h"
#include "substitute/driver/Commands.h"
#include "substitute/driver/Errors.h"
#include "substitute/driver/Folders.h"
#include "substitute/driver/Profile.h"
#include "substitute/driver/Scenario.h"
#include "substitute/driver/Text.h"

namespace fs = std::filesystem;

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

void parse(CLI::App& parser, CommandLine& values, int argc, char** argv) {
  std::vector<std::string> arguments = readable(parser, {argv + 1, argv + argc});
  std::reverse(arguments.begin(), arguments.end());  // CLI11 takes the last one first
  try {
    parser.parse(std::move(arguments));
  } catch (const CLI::ValidationError& error) {
    throw UsageError(error.what());  // a check of addOptions() says so
  } catch (const CLI::ExtrasError&) {
    throw UsageError("there is more than one SCENARIO");
  }
  if (values.fresh && !values.data.empty()) {
    throw UsageError("--fresh and --data do not go together");
  }
  if (values.addin.empty()) values.addin = besideProgram(profile().library);
}

// Whether two paths name the same file, which need not exist.
bool isSameFile(const std::string& one, const std::string& other) {
  std::error_code error;
  const fs::path first = fs::weakly_canonical(fs::absolute(one, error), error);
  return !error && first == fs::weakly_canonical(fs::absolute(other, error), error) && !error;
}

}  // namespace

void addOptions(CLI::App& parser, CommandLine& values) {
  values.entitlement = profile().entitlement;
  parser.option_defaults()->take_last();
  const auto add = [&parser](const char* name, auto& value, const char* type, const char* help) {
    return parser.add_option(name, value, help)->type_name(type);
  };
  add("--addin", values.addin, "FILE", "the library to load; the built one if left out")
      ->check(checkNotEmpty);
  add("--data", values.data, "DIR",
      "where the host is installed; if left out, a temporary folder for a scenario, else a folder "
      "of the user's")
      ->check(checkNotEmpty);
  parser.add_flag("--fresh", values.fresh, "a temporary folder there without a scenario, too");
  parser.add_flag("--no-addin-folder", values.noAddinFolder, "do not make the add-in's folder");
  add("--executable", values.executable, "PATH",
      "report PATH as the host's executable and make no folder");
  const auto setLanguage = [&values](const std::string& word) {
    values.language = *parseLanguage(word);
  };
  parser
      .add_option_function<std::string>("--language", setLanguage,
                                        "the host's user language; 2, which is Czech, if left out")
      ->type_name("N")
      ->check(
          [](const std::string& word) { return parseLanguage(word) ? "" : notALanguage(word); });
  add("--entitlement", values.entitlement, "TEXT",
      "the host's entitlement text; an example if left out");
  parser.add_flag("--offline", values.offline, "the host starts offline");
  add("--trace", values.trace, "FILE", "write every call of the host there, a line of JSON each")
      ->check(checkNotEmpty);
  add("--expect-trace", values.expectedTrace, "FILE",
      "the trace must be this one; the first line that differs is reported")
      ->check(checkNotEmpty);
  parser.add_flag("--strict", values.strict,
                  "what is reported as suspicious at the end is a failure");
  add("--timeout", values.timeout, "SECONDS",
      "end when a call of the add-in takes longer than SECONDS")
      ->check(checkNumber("seconds", 1000000));
  const auto setCalls = [&values](const std::string& word) {
    values.calls = word == shortenedCalls ? CallForm::shortened : CallForm::full;
  };
  parser
      .add_option_function<std::string>(
          "--calls", setCalls,
          "below each command, print the calls that it led to, as code; without =full, long "
          "strings and lists are shortened")
      ->expected(0, 1)
      ->default_str(shortenedCalls)
      ->option_text("[=full]")
      ->check([](const std::string& word) {
        return word == "full" || word == shortenedCalls ? "" : "'" + word + "' is not full";
      });
  parser.add_flag("--system-open", values.systemOpen,
                  "let the system's own `open` run instead of recording its arguments");
  parser.add_flag("--list-scenarios", values.listScenarios,
                  "list the scenarios that come with the host");
  parser.add_flag("--list-operations", values.listOperations,
                  "list the operations of the host, which `fail` takes");
}

std::function<std::string(const std::string&)> checkNumber(const std::string& of, unsigned most) {
  return [of, most](const std::string& value) {
    unsigned number = 0;
    if (parseNumber(value, number) && number >= 1 && number <= most) return std::string();
    return "'" + value + "' is not a number of " + of + " from 1 to " + std::to_string(most);
  };
}

std::string checkNotEmpty(const std::string& value) {
  return value.empty() ? "the value is empty" : "";
}

std::optional<int> readCommandLine(CLI::App& parser, CommandLine& values, int argc, char** argv) {
  try {
    try {
      parse(parser, values, argc, argv);
      if (!values.listScenarios && !values.listOperations) return {};
      std::vector<std::string> names;
      if (values.listScenarios) names = scenarioNames();
      if (values.listOperations) {
        names.insert(names.end(), operationNames().begin(), operationNames().end());
      }
      for (const std::string& name : names) std::cout << name << '\n';
    } catch (const CLI::Success& asked) {
      parser.exit(asked);  // prints the help or the version
    }
    flushOutput();
    return EXIT_SUCCESS;
  } catch (const CLI::ParseError&) {
    printError(parser.get_name(), "the options cannot be read; see --help");
    return exit_status::wrongInput;
  } catch (const std::exception&) {
    return printException(parser.get_name());
  }
}

void checkOutput(const std::string& option, const std::string& path,
                 const std::vector<std::string>& files) {
  if (path.empty()) return;
  if (path == "-") throw UsageError(option + " wants a file; standard output is taken");
  const std::string wrong = option + " would overwrite ";
  for (const std::string& file : files) {
    if (isSameFile(path, file)) throw UsageError(wrong + file);
  }
}

void checkTrace(const CommandLine& values, const std::vector<std::string>& scenarios,
                const Host& host) {
  std::vector<std::string> files = {values.addin, values.expectedTrace};
  if (profile().file != nullptr) files.push_back(profile().file(host));
  for (const std::string& scenario : scenarios) {
    if (scenario != "-") files.push_back(scenarioFile(scenario));
  }
  checkOutput("--trace", values.trace, files);
}

}  // namespace substitute
