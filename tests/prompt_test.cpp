// The prompt of substitute-host, at a pseudo-terminal.
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/AddInFixture.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* controlC = "\x03";
constexpr const char* controlD = "\x04";
constexpr const char* controlZ = "\x1a";
constexpr const char* previousLine = "\x10";

// One run of a program at a terminal of its own, in the home folder `home`.
class Terminal {
 public:
  using Environment = std::vector<std::pair<std::string, std::string>>;

  Terminal(const std::string& home, std::vector<std::string> arguments, const Environment& more,
           const std::string& program = VELORIN_SUBSTITUTE_HOST) {
    arguments.insert(arguments.begin(), program);
    std::vector<char*> words;
    for (std::string& argument : arguments) words.push_back(argument.data());
    words.push_back(nullptr);
    process_ = forkpty(&terminal_, nullptr, nullptr, nullptr);
    if (process_ != 0) return;
    for (const char* const name : {"XDG_DATA_HOME", "XDG_STATE_HOME", "LC_ALL", "LANG"}) {
      unsetenv(name);
    }
    setenv("HOME", home.c_str(), 1);
    setenv("TMPDIR", (home + "/tmp").c_str(), 1);
    setenv("TERM", "vt100", 1);
    for (const auto& [name, value] : more) setenv(name.c_str(), value.c_str(), 1);
    if (chdir(home.c_str()) == 0) execv(words[0], words.data());
    _exit(127);
  }

  ~Terminal() {
    if (terminal_ >= 0) close(terminal_);
    if (process_ > 0) waitpid(process_, nullptr, 0);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  void type(const std::string& keys) const {
    ASSERT_EQ(write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }

  // Waits until the terminal shows `words`, after what the last call has found.
  void expect(const std::string& words) {
    auto found = seen_.find(words, next_);
    while (found == std::string::npos && readMore()) found = seen_.find(words, next_);
    ASSERT_NE(found, std::string::npos) << "missing: " << words << "\nin:\n" << seen_;
    next_ = found + words.size();
  }

  // Waits for the prompt, and until each key is read as it is typed.
  void expectPrompt() {
    expect("host> ");
    termios settings = {};
    while (tcgetattr(terminal_, &settings) == 0 && (settings.c_lflag & ICANON) != 0) usleep(1000);
  }

  // Stops the program in front when it waits for a key.
  void stop() const {
    while (stateOf(tcgetpgrp(terminal_)) != "S") usleep(1000);
    type(controlZ);
  }

  // Ends the program by a signal. True when the terminal reads whole lines again.
  bool isInOrderAfter(int signal) {
    kill(process_, signal);
    end();
    termios settings = {};
    return tcgetattr(terminal_, &settings) == 0 && (settings.c_lflag & ICANON) != 0;
  }

  // Types one line at the prompt and waits for `words`.
  void answer(const std::string& line, const std::string& words) {
    expectPrompt();
    type(line + "\n");
    expect(words);
  }

  // Waits for the end of the program. Returns the exit status, or -1.
  int end() {
    while (readMore()) {
    }
    int status = -1;
    waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  const std::string& seen() const { return seen_; }

 private:
  // False at the end of the output, or when no output has come for a long time.
  bool readMore() {
    pollfd ready = {terminal_, POLLIN, 0};
    constexpr int timeoutMilliseconds = 60000;
    if (poll(&ready, 1, timeoutMilliseconds) <= 0) return false;
    char bytes[4096];
    const ssize_t count = read(terminal_, bytes, sizeof bytes);
    if (count <= 0) return false;
    seen_.append(bytes, static_cast<std::size_t>(count));
    return true;
  }

  int terminal_ = -1;
  pid_t process_ = -1;
  std::string seen_;
  std::size_t next_ = 0;
};

class Prompt : public testing::Test {
 protected:
  Prompt() { fs::create_directory(home.path() + "/tmp"); }

  // A run of the program, at its prompt.
  Terminal open(const std::vector<std::string>& arguments = {},
                const Terminal::Environment& environment = {}) const {
    return {home.path(), arguments, environment};
  }

  // Ends it in the usual way.
  static void quit(Terminal& terminal) {
    terminal.expectPrompt();
    terminal.type("quit\n");
    EXPECT_EQ(terminal.end(), 0) << terminal.seen();
  }

  TemporaryFolder home;
};

}  // namespace

TEST_F(Prompt, ItsFirstLineNamesTheDataAndTheStarts) {
  const std::string first =
      "The host's data is in " + home.path() + "/.local/share/velorin-substitute-host; ";
  const char* const lines = R"(info-lines ["5.3.2026", "2\r"])";  // as some editors end it
  for (const auto& [starts, typed] :
       {std::pair("starts so far: none.", "start"), std::pair("starts so far: 1.", lines),
        std::pair("starts so far: 2.", "start")}) {
    Terminal terminal = open();
    terminal.answer(typed, "The info file reads");
    quit(terminal);
    EXPECT_EQ(terminal.seen().rfind(first + starts + "\r\n", 0), 0U) << terminal.seen();
  }
}

TEST_F(Prompt, FreshDataIsTemporary) {
  Terminal terminal = open({"--fresh"});
  terminal.answer("start", "run returned true.");
  quit(terminal);
  EXPECT_EQ(terminal.seen().rfind("The host's data is in " + home.path() + "/tmp/", 0), 0U)
      << terminal.seen();
  EXPECT_TRUE(fs::is_empty(home.path() + "/tmp"));
  EXPECT_FALSE(fs::exists(home.path() + "/.local/share"));
}

TEST_F(Prompt, ControlCTakesItsTurnAmongTheKeys) {
  Terminal terminal = open();
  terminal.expectPrompt();
  terminal.type(std::string("jump") + controlC + controlC + "offline\n");
  terminal.expect("The host is offline.");
  EXPECT_EQ(terminal.seen().find("is not a command"), std::string::npos) << terminal.seen();
  quit(terminal);
}

TEST_F(Prompt, IsDrawnAgainAfterAStop) {
  Terminal shell(home.path(), {"--norc", "-i"}, {}, "/bin/bash");
  shell.type("'" VELORIN_SUBSTITUTE_HOST "'\n");
  shell.expectPrompt();
  shell.type("offl");
  shell.expect("offl");
  shell.stop();
  shell.expect("Stopped");
  shell.type("fg\n");
  shell.expect("host> offl");
  shell.type("ine\n");
  shell.expect("The host is offline.");
  shell.expectPrompt();
  shell.type("quit\nexit\n");
  EXPECT_EQ(shell.end(), 0);
}

TEST_F(Prompt, LeavesTheTerminalInOrderWhenItIsEnded) {
  Terminal terminal = open();
  terminal.expectPrompt();
  EXPECT_TRUE(terminal.isInOrderAfter(SIGTERM));
}

TEST_F(Prompt, ControlCEndsAnAddInThatBlocksSignals) {
  Terminal terminal = open({"--addin", VELORIN_MISBEHAVING, "--calls", "-"},
                           {{"MISBEHAVE", "hang in a group of its own"}});
  terminal.type("start\n");
  terminal.expect("ApplicationEvent.add");  // under way
  terminal.type(controlC);
  terminal.expect("the host is ended by the signal SIGINT");
  EXPECT_EQ(terminal.end(), -1);
}

TEST_F(Prompt, NoticesEveryEndAndKeepsTheTime) {
  for (const auto& [misbehaviour, words, status] :
       {std::tuple("exit by a system call", "the add-in ends the process", 3),
        std::tuple("hang", "has not returned after the seconds of --timeout: 1", 4)}) {
    Terminal terminal =
        open({"--addin", VELORIN_MISBEHAVING, "--timeout", "1"}, {{"MISBEHAVE", misbehaviour}});
    terminal.answer("start", words);
    EXPECT_EQ(terminal.end(), status);
  }
}

TEST_F(Prompt, QuitExitAndControlDUnloadAndEnd) {
  for (const char* const keys : {"quit\n", "exit\n", controlD}) {
    Terminal terminal = open();
    terminal.answer("start", "run returned true.");
    terminal.expectPrompt();
    terminal.type(keys);
    terminal.expect("The add-in is unloaded.");
    EXPECT_EQ(terminal.end(), 0);
  }
}

TEST_F(Prompt, TheHistoryLastsAcrossRunsAndCrashes) {
  Terminal first = open({"--addin", VELORIN_MISBEHAVING}, {{"MISBEHAVE", "abort"}});
  first.answer("language 77", "The host's language is now 77.");
  first.answer("start", "the host is ended by the signal SIGABRT");
  EXPECT_EQ(first.end(), -1);
  EXPECT_TRUE(fs::exists(home.path() + "/.local/state/velorin-substitute-host/history"));
  Terminal second = open();
  second.answer(std::string(previousLine) + previousLine, "The host's language is now 77.");
  quit(second);
}

TEST_F(Prompt, AnswersEachLine) {
  const std::pair<const char*, const char*> lines[] = {
      {"calls", "no command has been played.\r\n"},
      {"# only once\noffline", "The host is offline."},
      {"calls", "> offline\r\n  It led to no call.\r\n"},
      {"state", "{\r\n  \"offline\": true,\r\n"},
      {"strat", "'strat' is not a command; the nearest are start, "},
      {"help fail", "fail OPERATION [N] [null|throw]"},
      {"help remove", "It takes one of these: palette, definition, "},
      {"help", "\n  help [COMMAND]"},
      {"help jump", "'jump' is not a command; 'help' lists them."},
      {"fail Palettes.a\tthr\t", "The next call of Palettes.add will throw."},
      {"fail Base.q\t2 nu\t", "Call 2 of Base.query, counted from here, will return nothing."},
      {"remove control Help\t", "The toolbar \"QATRight\" now holds nothing."},
      {"online", "The host is online."},
      {"start", "An exception left the add-in"},
      {"calls 7", "> start\r\n  run\r\n    Application.get() = Application\r\n"},
      {"calls 0", "there is no command \"0\"; the last one is 7.\r\n"},
      {"click runT\t", "There is no button \"runT\"."},
      {"plant control runTeachPalette", "now holds runTeachPalette."},
      {"click runT\t", "The button \"runTeachPalette\" has no command"},
      {"stop", "The add-in is unloaded."},
      {"plant palette other", "The palette"},
      {"message-to oth\thello", "er hello"},
      {"remove palette o\t", "is gone."},
      {"expect /offline true", "expected /offline true, found false"},
  };
  Terminal terminal = open();
  for (const auto& [line, words] : lines) ASSERT_NO_FATAL_FAILURE(terminal.answer(line, words));
  terminal.expectPrompt();
  terminal.type("quit\n");
  EXPECT_EQ(terminal.end(), 3);
  const std::string& seen = terminal.seen();
  EXPECT_EQ(seen.find("only once"), seen.rfind("only once")) << seen;
}

TEST_F(Prompt, JUnitOptionIsRefused) {
  Terminal terminal = open({"--junit", "r.xml"});
  terminal.expect("substitute-host: --junit goes with scenarios only; see --help.");
  EXPECT_EQ(terminal.end(), 2);
  EXPECT_FALSE(fs::exists(home.path() + "/r.xml"));
}

TEST_F(Prompt, StandardInputNamedAtATerminalIsPlayedAsItArrives) {
  Terminal terminal = open({"-"});
  terminal.type("offline\n");
  terminal.expect("> offline\r\n  The host is offline.");
  terminal.type(controlD);
  EXPECT_EQ(terminal.end(), 0);
  EXPECT_EQ(terminal.seen().find("host> "), std::string::npos) << terminal.seen();
}

TEST_F(Prompt, TheUsersFoldersAreThoseThatTheEnvironmentNames) {
  const std::string data = home.path() + "/data";
  const std::string state = home.path() + "/state";
  Terminal terminal = open({}, {{"XDG_DATA_HOME", data}, {"XDG_STATE_HOME", state}, {"HOME", ""}});
  terminal.answer("offline", "The host is offline.");
  quit(terminal);
  EXPECT_TRUE(fs::exists(data + "/velorin-substitute-host/Autodesk"));
  EXPECT_TRUE(fs::exists(state + "/velorin-substitute-host/history"));
  Terminal none = open({}, {{"HOME", ""}});
  none.expect("name a folder with --data, or take a temporary one with --fresh.");
  EXPECT_EQ(none.end(), 2);
}

TEST_F(Prompt, StartsUnderEveryLocale) {
  ASSERT_NE(std::setlocale(LC_ALL, "tr_TR.UTF-8"), nullptr);
  std::setlocale(LC_ALL, "C");
  for (const char* const locale : {"C", "tr_TR.UTF-8", "nonsense"}) {
    SCOPED_TRACE(locale);
    Terminal terminal = open({}, {{"LC_ALL", locale}});
    terminal.answer("entitlement d\xc5\xaf", "entitlement is now \"d\xc5\xaf\".");
    quit(terminal);
  }
}
