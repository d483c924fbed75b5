// The scenario reader: scenarios of which it is known what each line says, and any bytes.
#include "substitute/driver/Scenario.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/fuzz/Fuzz.h"

namespace {

using namespace substitute;
using Words = std::vector<std::string>;

// A line as it is written, and what the reader must make of it: a command, whose name is empty for
// a comment, or an error that says `wrong`, or nothing.
struct Line {
  std::string text;
  std::optional<Command> command;
  std::optional<std::string> wrong;
};

std::string quoted(const std::string& word) {
  return "'" + word + "'";
}

// Writes lines of every kind, as the input chooses; a few are spoiled.
class Writer {
 public:
  explicit Writer(FuzzedDataProvider& choice) : choice_(choice) {}

  Line next() {
    switch (choice_.ConsumeIntegralInRange(0, 9)) {
      case 0:
        return {spaces(0), {}, {}};
      case 1: {
        const std::string text = spaces(0) + "#" + bytes();
        return {text, Command{text, "", {}}, {}};
      }
      case 2:
        return withText(choice_.ConsumeBool() ? "message" : "entitlement");
      default:
        return spoils() ? spoiled() : good();
    }
  }

 private:
  bool spoils() { return choice_.ConsumeIntegralInRange(0, 7) == 7; }

  std::string spaces(std::size_t least) {
    std::string all;
    for (std::size_t left = least + choice_.ConsumeIntegralInRange<std::size_t>(0, 2); left > 0;
         --left) {
      all += choice_.PickValueInArray({' ', '\t', '\r'});
    }
    return all;
  }

  // Anything but the end of a line and a zero byte.
  std::string bytes() {
    std::string all = choice_.ConsumeRandomLengthString(24);
    std::replace(all.begin(), all.end(), '\n', 'n');
    std::replace(all.begin(), all.end(), '\0', '0');
    return all;
  }

  // One word that is no number.
  std::string word() {
    std::string all = "w" + bytes();
    for (char& byte : all) {
      if ((byte >= '\t' && byte <= '\r') || byte == ' ') byte = '_';
    }
    return all;
  }

  std::string pick(const Words& words) {
    return words[choice_.ConsumeIntegralInRange<std::size_t>(0, words.size() - 1)];
  }

  std::string number() { return std::to_string(choice_.ConsumeIntegral<std::int32_t>()); }
  std::string operation() { return pick({"Application.get", "Palettes.add", "Base.query"}); }

  Words failing() {
    Words arguments = {operation()};
    if (choice_.ConsumeBool()) {
      arguments.push_back(std::to_string(choice_.ConsumeIntegralInRange<std::uint64_t>(
          1, std::numeric_limits<std::uint64_t>::max())));
    }
    if (choice_.ConsumeBool()) arguments.push_back(pick({"null", "throw"}));
    return arguments;
  }

  std::string written(const std::string& name, const Words& arguments) {
    std::string text = spaces(0) + name;
    for (const std::string& argument : arguments) text += spaces(1) + argument;
    return text + spaces(0);
  }

  Line of(const std::string& name, const Words& arguments) {
    const std::string text = written(name, arguments);
    return {text, Command{text, name, arguments}, {}};
  }

  // A command whose argument is all the rest of its line, behind the one space.
  Line withText(const std::string& name) {
    const std::string begin = spaces(0) + name;
    if (choice_.ConsumeBool()) return {begin, Command{begin, name, {}}, {}};
    const std::string rest = bytes();
    const std::string text = begin + pick({" ", "\t"}) + rest;
    return {text, Command{text, name, {rest}}, {}};
  }

  // The same behind one word more.
  Line withWordAndText(const std::string& name, const std::string& word, const std::string& rest) {
    const std::string text = spaces(0) + name + spaces(1) + word + pick({" ", "\t"}) + rest;
    return {text, Command{text, name, {word, rest}}, {}};
  }

  Line good() {
    switch (choice_.ConsumeIntegralInRange(0, 8)) {
      case 0:
        return of(pick({"click", "hide", "show", "close"}),
                  choice_.ConsumeBool() ? Words{word()} : Words{});
      case 1:
        return of("language", {number()});
      case 2:
        if (choice_.ConsumeBool()) return of("remove", {"toolbar", word()});
        return of(pick({"plant", "remove"}),
                  {pick({"palette", "definition", "control", "plain-control"}), word()});
      case 3:
        return of("fail", failing());
      case 4:
        return withWordAndText("message-to", word(), bytes());
      case 5:
        return withWordAndText(pick({"expect", "expect-not"}), pick({"/run", "/palettes/0/a~1b"}),
                               pick({"", " "}) + pick({"null", "-1.5", "[true, \"x y\"]"}));
      case 6:
        return of("dock", {word(), pick({"0", "1", "2", "3", "4"})});
      case 7: {
        const std::string lines = pick({"[]", " [\"1.1.2026\", \"3\"]", "[\"\\r\", \"\\u0000\"]"});
        const std::string text = "info-lines " + lines;
        return {text, Command{text, "info-lines", {lines}}, {}};
      }
      default:
        return of(lone(), {});
    }
  }

  std::string lone() {
    return pick({"start", "stop", "unload", "message-null", "online", "offline", "reset", "state"});
  }

  Line wrong(const std::string& name, const Words& arguments, const std::string& what) {
    return {written(name, arguments), {}, what};
  }

  // `name` with more or fewer arguments than it takes.
  Line miscounted(const std::string& name, const Words& arguments) {
    return wrong(name, arguments, quoted(name) + " takes ");
  }

  Line spoiled() {
    switch (choice_.ConsumeIntegralInRange(0, 18)) {
      case 0:
        return miscounted(lone(), {word()});
      case 1:
        return miscounted(pick({"click", "hide", "show", "close"}), {word(), word()});
      case 2:
        return miscounted("language", choice_.ConsumeBool() ? Words{} : Words{number(), number()});
      case 3:
        return miscounted(pick({"plant", "remove"}), choice_.ConsumeBool()
                                                         ? Words{"palette"}
                                                         : Words{"palette", word(), word()});
      case 4:
        return miscounted(
            "fail", choice_.ConsumeBool() ? Words{} : Words{operation(), "1", "null", word()});
      case 5: {
        const std::string beyond = pick({"2147483648", "-2147483649", "+1", "1.5", word()});
        return wrong("language", {beyond}, quoted(beyond));
      }
      case 6: {
        const std::string kind = word();
        return wrong(pick({"plant", "remove"}), {kind, word()}, quoted(kind));
      }
      case 7:
        return wrong("plant", {"toolbar", word()}, "toolbar");
      case 8: {
        const std::string unknown = word();
        return wrong("fail", {unknown}, quoted(unknown));
      }
      case 9: {
        const std::string how = pick({"-1", "18446744073709551616", "nulls", word()});
        return wrong("fail", {operation(), how}, quoted(how));
      }
      case 10:
        return wrong("fail", {operation(), "0"}, "counted from 1");
      case 11:
        return wrong("fail", {operation(), "null", word()}, "behind");
      case 12:
        return wrong(pick({"message-to", "expect", "expect-not"}), {}, " takes ");
      case 13: {
        const std::string pointer = pick({"run", "/~2", word()});
        return wrong("expect", {pointer, "1"}, quoted(pointer));
      }
      case 14: {
        const std::string value = pick({"tru", "1 2", "{", "'x'"});
        return wrong("expect-not", {"/run", value}, "is not JSON");
      }
      case 15: {
        const std::string text = spaces(0) + pick({"#", "message ", "start"}) + '\0' + bytes();
        return {text, {}, "zero byte"};
      }
      case 16: {
        const std::string beyond = pick({"-1", "5", "1.5", word()});
        return wrong("dock", {word(), beyond}, quoted(beyond));
      }
      case 17: {
        const std::string lines = pick({"[", "\"x\"", "[1]", "[\"a\\nb\"]"});
        return {"info-lines " + lines, {}, quoted(lines)};
      }
      default: {
        const std::string unknown = word();
        return wrong(unknown, {}, quoted(unknown));
      }
    }
  }

  FuzzedDataProvider& choice_;
};

// The number of the line in an error's text, which begins with the source and that number.
std::size_t lineOf(const std::string& error) {
  require(error.rfind("fuzz:", 0) == 0, "the source");
  std::size_t length = 0;
  const std::size_t number = std::stoul(error.substr(5), &length);
  require(error.compare(5 + length, 2, ": ") == 0 && error.size() > 7 + length, "the sentence");
  return number;
}

std::vector<Command> read(const std::string& text) {
  std::istringstream input(text);
  return parseScenario(input, "fuzz");
}

void checkWritten(FuzzedDataProvider& choice) {
  Writer writer(choice);
  const bool lastLineEnds = choice.ConsumeBool();
  std::string text;
  std::vector<Command> expected;
  std::optional<Line> firstWrong;
  std::size_t number = 0;  // of the line with the first error; of the last line if there is none
  while (choice.remaining_bytes() > 0) {
    const Line line = writer.next();
    text += line.text;
    // Of a carriage return at the end of a line, the line itself knows nothing.
    if (choice.ConsumeBool() || (!line.text.empty() && line.text.back() == '\r')) text += '\r';
    if (choice.remaining_bytes() > 0 || lastLineEnds) text += '\n';
    if (!firstWrong) ++number;
    if (line.command) expected.push_back(*line.command);
    if (line.wrong && !firstWrong) firstWrong = line;
  }
  try {
    const std::vector<Command> commands = read(text);
    require(!firstWrong, "a wrong line is refused");
    const auto same = [](const Command& one, const Command& other) {
      return one.line == other.line && one.name == other.name && one.arguments == other.arguments;
    };
    require(std::equal(commands.begin(), commands.end(), expected.begin(), expected.end(), same),
            "the commands");
  } catch (const ScenarioError& error) {
    const std::string what = error.what();
    require(firstWrong.has_value(), "right lines are taken");
    require(lineOf(what) == number, "the number of the first wrong line");
    require(what.find(*firstWrong->wrong) != std::string::npos, "what is wrong with it");
    require(what.find('\n') == std::string::npos, "one line about it");
  }
}

void checkAny(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream input(text);
  for (std::string line; std::getline(input, line);) lines.push_back(line);
  try {
    const auto filled = [](const std::string& line) {
      return line.find_first_not_of(" \t\r") != std::string::npos;
    };
    if (!lines.empty() && lines[0].rfind("\xef\xbb\xbf", 0) == 0) lines[0].erase(0, 3);
    const auto count = std::count_if(lines.begin(), lines.end(), filled);
    require(read(text).size() == static_cast<std::size_t>(count), "a command for every line");
  } catch (const ScenarioError& error) {
    const std::size_t number = lineOf(error.what());
    require(number >= 1 && number <= lines.size(), "a line of the text");
    std::string before;
    for (std::size_t i = 0; i + 1 < number; ++i) before += lines[i] + '\n';
    try {
      read(before);
    } catch (const ScenarioError&) {
      require(false, "the first wrong line");
    }
    try {
      // A byte order mark is one at the very beginning alone.
      read((number > 1 ? "\n" : "") + lines[number - 1]);
    } catch (const ScenarioError&) {
      return;
    }
    require(false, "a wrong line");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  checkAny(std::string(reinterpret_cast<const char*>(data), size));
  FuzzedDataProvider choice(data, size);
  checkWritten(choice);
  return 0;
}
