// What substitute-host does with its arguments and its input: the table host_cases.txt, which says
// how it is read.
#include <algorithm>
#include <fstream>
#include <set>

#include "substitute/driver/Scenario.h"
#include "tests/HostProgram.h"

namespace fs = std::filesystem;

namespace {

// One line of a case: its first word, and what follows after one space.
struct Line {
  int number;
  std::string word;
  std::string text;
  bool begins;  // a file, a run or a refusal; the others belong to the run before
};

class HostCase : public HostProgram {
 public:
  explicit HostCase(std::vector<Line> lines) : lines_(std::move(lines)) {}

  void TestBody() override {
    for (auto line = lines_.begin(); line != lines_.end();) {
      SCOPED_TRACE("host_cases.txt:" + std::to_string(line->number));
      const auto begin = line;
      line = std::find_if(begin + 1, lines_.end(), [](const Line& next) { return next.begins; });
      if (begin->word == "file") makeFile(begin->text);
      if (begin->word == "wrong") refuseLine(begin->text);
      if (begin->word == "refused") refuse(filled(begin->text));
      if (begin->word == "$") playCase({begin, line});
    }
  }

 private:
  // The text, with what it leaves open.
  std::string filled(std::string text) const {
    for (const auto& [word, value] :
         {std::pair<std::string, std::string>("FOLDER", folder.path()),
          std::pair<std::string, std::string>("VERSION", VELORIN_VERSION)}) {
      for (auto at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        text.replace(at, word.size(), value);
      }
    }
    return text;
  }

  void makeFile(const std::string& text) const {
    const auto quote = text.find(" \"");
    const fs::path path = folder.path() + "/" + text.substr(0, quote);
    fs::create_directories(path.parent_path());
    writeFile(path, substitute::Json::parse(text.substr(quote + 1)));
  }

  static void refuseLine(const std::string& text) {
    const auto arrow = std::min(text.find(" => "), text.size());
    try {
      substitute::parseCommand(text.substr(0, arrow));
      ADD_FAILURE() << text;
    } catch (const substitute::UsageError& error) {
      EXPECT_EQ(error.what(), arrow < text.size() ? text.substr(arrow + 4) : error.what());
    }
  }

  // The program says one sentence, prints nothing, and makes no folder.
  void refuse(const std::string& text) {
    const auto arrow = text.find(" => ");
    const Result result = run(text.substr(2, arrow - 2));
    EXPECT_EQ(result.status, std::stoi(text));
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors.rfind("substitute-host: ", 0), 0U) << result.errors;
    EXPECT_NE(result.errors.find(text.substr(arrow + 4)), std::string::npos) << result.errors;
    EXPECT_EQ(result.errors.find('\n'), result.errors.size() - 1) << result.errors;
    EXPECT_TRUE(fs::is_empty(folder.path() + "/tmp"));
    for (const char* const made : {"/data", "/.local"}) {
      EXPECT_FALSE(fs::exists(folder.path() + made));
    }
  }

  void playCase(const std::vector<Line>& lines) {
    std::string input;
    int status = 0;
    for (const Line& line : lines) {
      if (line.word == "<") input += filled(line.text) + "\n";
      if (line.word == "=") status = std::stoi(line.text);
    }
    const Result result = run(filled(lines[0].text), input);
    EXPECT_TRUE(fs::is_empty(folder.path() + "/tmp"));
    for (const Line& line : lines) {
      SCOPED_TRACE("host_cases.txt:" + std::to_string(line.number));
      const std::string text = filled(line.text);
      if (line.word == "$") {
        EXPECT_EQ(result.status, status) << result.output << result.errors;
      }
      if (line.word == "out") expectLine(result.output, text);
      if (line.word == "in") {
        expectLine(readFile(folder.path() + "/" + text.substr(0, text.find(' '))),
                   text.substr(text.find(' ') + 1));
      }
      if (line.word == "err") expectLine(result.errors, text);
      if (line.word == "all") {
        EXPECT_EQ(result.output, substitute::Json::parse(text));
      }
      if (line.word == "lacks") {
        EXPECT_EQ((result.output + result.errors).find(text), std::string::npos) << result.output;
      }
    }
  }

  std::vector<Line> lines_;
};

void addCase(const std::string& name, const std::vector<Line>& lines) {
  const auto point = name.find('.');
  testing::RegisterTest(name.substr(0, point).c_str(), name.substr(point + 1).c_str(), nullptr,
                        nullptr, __FILE__, lines.at(0).number,
                        [lines]() -> HostProgram* { return new HostCase(lines); });
}

const bool casesAreAdded = [] {
  setenv("ADDIN", VELORIN_BUILT_ADDIN, 1);
  setenv("HOST_LIBRARY", VELORIN_HOST_LIBRARY, 1);
  setenv("ONLY_RUN", VELORIN_ONLY_RUN, 1);
  const std::set<std::string> beginning = {"file", "$", "refused", "wrong"};
  const std::set<std::string> following = {"<", "=", "out", "err", "in", "lacks", "all"};
  std::ifstream table(VELORIN_HOST_CASES);
  std::string name;
  std::vector<Line> lines;
  int number = 0;
  for (std::string text; std::getline(table, text);) {
    ++number;
    if (text.rfind("  ", 0) == 0) {
      const std::string word = text.substr(2, text.find(' ', 2) - 2);
      const bool begins = beginning.count(word) != 0;
      if (!begins && following.count(word) == 0) throw std::runtime_error(text);
      lines.push_back({number, word, text.substr(std::min(text.size(), word.size() + 3)), begins});
    } else if (!text.empty() && text[0] != '#') {
      if (!lines.empty()) addCase(name, lines);
      name = text;
      lines.clear();
    }
  }
  addCase(name, lines);
  return true;
}();

}  // namespace
