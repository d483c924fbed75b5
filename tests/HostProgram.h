// The fixture for tests that drive substitute-host as its users do.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tests/AddInFixture.h"

// The output and the exit status of a program.
struct Result {
  int status = -1;  // the exit status; minus the number of the signal
  std::string output;
  std::string errors;

  std::string lastLine() const {
    const auto begin = output.find_last_of('\n', output.size() - 2);
    return output.substr(begin == std::string::npos ? 0 : begin + 1);
  }
};

// A pipe that is the standard input of a program, open until it is closed here.
class Input {
 public:
  explicit Input(const std::string& command) : pipe_(popen(command.c_str(), "w"), &pclose) {}

  void write(const std::string& lines) const {
    std::fputs(lines.c_str(), pipe_.get());
    std::fflush(pipe_.get());
  }

 private:
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe_;
};

// A folder in which substitute-host runs, and which is the home of its user.
class HostProgram : public testing::Test {
 protected:
  // The shell command for a run of substitute-host in the folder.
  std::string command(const std::string& arguments) const {
    return "cd '" + folder.path() +
           "' && HOME=\"$PWD\" XDG_DATA_HOME= XDG_STATE_HOME= TMPDIR=\"$PWD/tmp\" "
           "PATH=\"$PWD/bin:$PATH\" "
           "exec '" VELORIN_SUBSTITUTE_HOST "' " +
           arguments;
  }

  HostProgram() { std::filesystem::create_directory(folder.path() + "/tmp"); }

  // Runs it with the host installed in the folder "data" and `input` as standard input.
  Result run(const std::string& arguments, const std::string& input = "") {
    return runAsTyped("--data '" + folder.path() + "/data' " + arguments, input);
  }

  Result runAsTyped(const std::string& arguments, const std::string& input = "") {
    writeFile(folder.path() + "/in", input);
    const std::string whole =
        "exec <'" + folder.path() + "/in' && " + command(arguments + " >out 2>err");
    const int status = system(whole.c_str());
    Result result;
    if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.status = -WTERMSIG(status);
    result.output = readFile(folder.path() + "/out");
    result.errors = readFile(folder.path() + "/err");
    return result;
  }

  // Starts it with its output in the file "started". It runs until its input ends.
  Input start(const std::string& arguments) {
    writeFile(folder.path() + "/started", "");
    return Input(command(arguments + " >started"));
  }

  // Waits until the output of the started program contains `words`.
  void waitFor(const std::string& words) {
    while (readFile(folder.path() + "/started").find(words) == std::string::npos) usleep(10000);
  }

  // Expects one sentence on standard error, nothing on standard output, and no folder created.
  void expectRefused(const Result& result, int status, const std::string& words) {
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors.rfind("substitute-host: ", 0), 0U) << result.errors;
    EXPECT_NE(result.errors.find(words), std::string::npos) << result.errors;
    EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
    EXPECT_FALSE(std::filesystem::exists(folder.path() + "/data"));
  }

  // `part` is a line of `text`, or the beginning of one.
  static void expectLine(const std::string& text, const std::string& part) {
    EXPECT_NE(("\n" + text).find("\n" + part), std::string::npos)
        << "missing: " << part << "\nin:\n"
        << text;
  }

  // The lines of the output that are JSON: what `state` printed.
  static std::vector<substitute::Json> states(const Result& result) {
    std::vector<substitute::Json> all;
    std::istringstream lines(result.output);
    for (std::string line; std::getline(lines, line);) {
      if (line.rfind('{', 0) == 0) all.push_back(substitute::Json::parse(line));
    }
    return all;
  }

  std::vector<substitute::Json> trace(const std::string& file) {
    std::vector<substitute::Json> all;
    std::istringstream lines(readFile(folder.path() + "/" + file));
    for (std::string line; std::getline(lines, line);) all.push_back(substitute::Json::parse(line));
    return all;
  }

  TemporaryFolder folder;
};
