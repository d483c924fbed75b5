// The fixture for tests that drive substitute-host as its users do.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
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

  // Runs it with `input` as standard input.
  Result run(const std::string& arguments, const std::string& input = "") {
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

  // `part` is a line of `text`, or the beginning of one.
  static void expectLine(const std::string& text, const std::string& part) {
    EXPECT_NE(("\n" + text).find("\n" + part), std::string::npos)
        << "missing: " << part << "\nin:\n"
        << text;
  }

  // A scenario in the folder.
  void scenario(const std::string& name, const std::string& lines) {
    writeFile(folder.path() + "/" + name, lines);
  }

  // The add-in that ships plays `lines`, as the scenario "s".
  Result play(const std::string& lines, const std::string& options = "") {
    scenario("s", lines);
    // What the add-in leaves behind is for the host to tell, not for a sanitizer.
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    Result result = run(options + " s");
    unsetenv("ASAN_OPTIONS");
    return result;
  }

  // The same by an add-in that does what none should: `misbehaviour` is the name of a row in
  // misbehaving.cpp, or empty.
  Result playWith(const std::string& misbehaviour, const std::string& lines,
                  const std::string& options = "") {
    setenv("MISBEHAVE", misbehaviour.c_str(), 1);
    Result result = play(lines, "--addin '" VELORIN_MISBEHAVING "' " + options);
    unsetenv("MISBEHAVE");
    return result;
  }

  TemporaryFolder folder;
};
