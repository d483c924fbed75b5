#include "tests/faults/Case.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "substitute/driver/Reporter.h"

namespace fs = std::filesystem;

namespace faults {

namespace {

using model::Json;
using Lines = std::vector<std::string>;

constexpr int timeoutMilliseconds = 60'000;  // a case takes a few

// The end of the line that the system writes of an empty handle.
const std::string assertion = "Memory:150: operator->: Assertion `ptr_ != nullptr' failed.";
const std::string macAssertion =
    "Assertion failed: (ptr_ != nullptr), function operator->, file Memory, line 150.";

// What a process left.
struct Ending {
  int status = 0;  // as waitpid gives it
  bool killed = false;
  std::string out;
  std::string err;
  std::string trace;
  std::optional<std::string> infoFile;
};

std::optional<std::string> bytesOf(const fs::path& file) {
  std::ifstream input(file, std::ios::binary);
  if (!input) return {};
  return std::string(std::istreambuf_iterator<char>(input), {});
}

Lines linesOf(const std::string& text) {
  Lines lines;
  std::istringstream input(text);
  for (std::string line; std::getline(input, line);) lines.push_back(line);
  return lines;
}

std::string today() {
  const std::time_t now = std::time(nullptr);
  std::tm local = {};
  localtime_r(&now, &local);
  char text[16] = {};
  std::strftime(text, sizeof text, "%d.%m.%Y", &local);
  return text;
}

fs::path infoFileIn(const fs::path& data) {
  return data / "Autodesk/Autodesk Fusion 360/API/AddIns/Velorin/Velorin_Info.txt";
}

Lines withStates(const Lines& scenario) {
  Lines all;
  for (const std::string& command : scenario) {
    all.push_back(command);
    all.push_back("state");
  }
  return all;
}

// Runs `command` with its output in files of `directory`, and waits for its end.
int spawn(const Lines& command, const fs::path& directory, bool& killed) {
  std::vector<char*> argv;
  for (const std::string& word : command) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);

  // A process that aborts leaves its temporary files behind; here they go with the directory.
  const std::string temporary = "TMPDIR=" + directory.string();
  std::vector<char*> environment = {const_cast<char*>(temporary.c_str())};
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (std::string(*entry).rfind("TMPDIR=", 0) != 0) environment.push_back(*entry);
  }
  environment.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  const int flags = O_WRONLY | O_CREAT | O_TRUNC;
  const std::string out = directory / "out";
  const std::string err = directory / "err";
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), flags, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(), flags, 0600);
  pid_t child = 0;
  const int error =
      posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environment.data());
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::system_error(error, std::generic_category(), command[0]);

  const int handle = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
  if (handle >= 0) {
    pollfd ended = {handle, POLLIN, 0};
    int ready = 0;
    do {
      ready = poll(&ended, 1, timeoutMilliseconds);
    } while (ready < 0 && errno == EINTR);
    if (ready == 0) {
      killed = true;
      kill(child, SIGKILL);
    }
    close(handle);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

// Programs that this thread starts from now on have no rights to files beyond those of the files'
// owner, not even as root, who otherwise may read and write everything.
void giveUpRights() {
  if (geteuid() != 0) return;
  for (const int number : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}) {
    const auto right = static_cast<unsigned long>(number);
    if (prctl(PR_CAPBSET_READ, right, 0, 0, 0) == 0) continue;
    if (prctl(PR_CAPBSET_DROP, right, 0, 0, 0) != 0) {
      throw std::system_error(errno, std::generic_category(), "root cannot give up its rights");
    }
  }
}

// An info file on its disk, for as long as this lives.
class InfoFile {
 public:
  InfoFile(const Case& one, fs::path infoFile) : infoFile_(std::move(infoFile)) {
    const fs::path folder = infoFile_.parent_path();
    fs::remove_all(folder);
    fs::create_directories(one.disk == model::Disk::noFolder ? folder.parent_path() : folder);
    if (one.infoFile) std::ofstream(infoFile_, std::ios::binary) << *one.infoFile;
    if (one.disk == model::Disk::readOnlyFolder) fs::permissions(folder, fs::perms(0500));
    if (one.disk == model::Disk::unreadableFile) fs::permissions(infoFile_, fs::perms(0200));
    if (one.disk == model::Disk::readOnlyFile) fs::permissions(infoFile_, fs::perms(0400));
  }

  ~InfoFile() { allowAll(); }
  InfoFile(const InfoFile&) = delete;
  InfoFile& operator=(const InfoFile&) = delete;

  // The file's bytes as they are now; the disk is an open one from now on.
  std::optional<std::string> take() {
    allowAll();
    return bytesOf(infoFile_);
  }

 private:
  void allowAll() {
    std::error_code notThere;
    fs::permissions(infoFile_.parent_path(), fs::perms(0700), notThere);
    fs::permissions(infoFile_, fs::perms(0600), notThere);
  }

  const fs::path infoFile_;
};

Ending play(const Case& one, const Tools& tools, const fs::path& directory) {
  const fs::path data = directory / "data";
  fs::remove_all(directory / "trace");
  InfoFile infoFile(one, infoFileIn(data));
  const fs::path scenario = directory / "scenario";
  std::ofstream commands(scenario, std::ios::binary);
  for (const std::string& command : withStates(one.scenario)) commands << command << '\n';
  commands.close();

  Lines command = tools.emulator;
  command.insert(command.end(), {tools.host, "--addin", tools.addin, "--data", data, "--trace",
                                 directory / "trace", scenario});
  if (one.disk == model::Disk::noFolder) command.push_back("--no-addin-folder");
  Ending ending;
  const auto run = [&] { return spawn(command, directory, ending.killed); };
  if (one.disk == model::Disk::open) {
    ending.status = run();
  } else {
    // A right that is given up is lost to the thread, not to the others.
    const auto withoutRights = [&] {
      giveUpRights();
      return run();
    };
    ending.status = std::async(std::launch::async, withoutRights).get();
  }
  ending.out = bytesOf(directory / "out").value_or("");
  ending.err = bytesOf(directory / "err").value_or("");
  ending.trace = bytesOf(directory / "trace").value_or("");
  ending.infoFile = infoFile.take();
  return ending;
}

std::string ofStatus(int status) {
  if (WIFSIGNALED(status)) return std::string("signal ") + strsignal(WTERMSIG(status));
  return "exit status " + std::to_string(WEXITSTATUS(status));
}

std::string ofBytes(const std::optional<std::string>& bytes) {
  return bytes ? Json(*bytes).dump(-1, ' ', false, Json::error_handler_t::replace) : "absent";
}

// The first line in which `got` is not what is `expected`, as a sentence.
void compareLines(const std::string& what, const std::vector<Json>& expected, const Lines& got,
                  Lines& found) {
  for (std::size_t i = 0; i < std::max(expected.size(), got.size()); ++i) {
    const std::string place = what + " " + std::to_string(i + 1) + ": ";
    if (i >= got.size()) {
      found.push_back(place + "expected " + expected[i].dump() + ", got no more");
      return;
    }
    if (i >= expected.size()) {
      found.push_back(place + "expected no more, got " + got[i]);
      return;
    }
    Json entry = Json::parse(got[i], nullptr, false);
    if (expected[i].value("event", "") == "threw" && !expected[i].contains("what")) {
      entry.erase("what");
    }
    if (entry == expected[i]) continue;
    found.push_back(place + "expected " + expected[i].dump() + ", got " + got[i]);
    return;
  }
}

// The same for states, of which only what differs is named.
void compareStates(const std::vector<Json>& expected, const Lines& got, Lines& found) {
  for (std::size_t i = 0; i < std::min(expected.size(), got.size()); ++i) {
    const Json state = Json::parse(got[i], nullptr, false);
    if (state == expected[i]) continue;
    for (const auto& [key, value] : expected[i].items()) {
      const Json other = state.is_object() ? state.value(key, Json()) : Json();
      if (other == value) continue;
      found.push_back("state after command " + std::to_string(i + 1) + ": expected " + key + " " +
                      value.dump() + ", got " + other.dump());
      return;
    }
    found.push_back("state after command " + std::to_string(i + 1) + ": expected " +
                    expected[i].dump() + ", got " + got[i]);
    return;
  }
  if (expected.size() != got.size()) {
    found.push_back("expected " + std::to_string(expected.size()) + " states, got " +
                    std::to_string(got.size()));
  }
}

// The assertion behind the name of the program, then the host's report; an emulator adds a line of
// its own.
bool tellsTheAssertion(const std::string& err, const Tools& tools) {
  const Lines lines = linesOf(err);
  if (lines.size() < 2 || lines[1] != "substitute-host: the host is ended by the signal SIGABRT") {
    return false;
  }
  if (!tools.emulator.empty()) {
    return lines[0] == macAssertion &&
           lines.back().rfind("qemu: uncaught target signal 6 ", 0) == 0;
  }
  return lines[0].size() >= assertion.size() &&
         lines[0].compare(lines[0].size() - assertion.size(), assertion.size(), assertion) == 0;
}

Lines compare(const Ending& ending, const model::Outcome& expected, const Tools& tools) {
  Lines found;
  if (ending.killed) found.push_back("the process did not end");
  const bool aborted = WIFSIGNALED(ending.status) && WTERMSIG(ending.status) == SIGABRT;
  const bool asExpected = expected.aborted ? aborted : ending.status == 0;
  if (!asExpected) {
    found.push_back(std::string("expected ") +
                    (expected.aborted ? "the end by an assertion" : "exit status 0") + ", got " +
                    ofStatus(ending.status));
  }
  if (expected.aborted ? !tellsTheAssertion(ending.err, tools) : !ending.err.empty()) {
    found.push_back(std::string("standard error: expected ") +
                    (expected.aborted ? "the assertion and the host's report" : "nothing") +
                    ", got " + ending.err);
  }
  compareLines("trace line", expected.trace, linesOf(ending.trace), found);
  Lines states;
  for (const std::string& line : linesOf(ending.out)) {
    if (line[0] == '{') states.push_back(line);
    // What is still held shows in the states.
    for (const char* const diagnostic :
         {substitute::diagnostic::invalidRelease, substitute::diagnostic::invalidDeallocation,
          substitute::diagnostic::stillLoaded}) {
      if (line == std::string("  ") + diagnostic) found.emplace_back(diagnostic);
    }
  }
  compareStates(expected.states, states, found);
  if (ending.infoFile != expected.infoFile) {
    found.push_back("info file: expected " + ofBytes(expected.infoFile) + ", got " +
                    ofBytes(ending.infoFile));
  }
  return found;
}

// One word for the shell, whatever it holds.
std::string quoted(const std::string& word) {
  const std::string plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./:";
  if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
  bool special = false;
  std::string text;
  for (const char byte : word) {
    switch (byte) {
      case '\n':
        text += "\\n";
        special = true;
        break;
      case '\r':
        text += "\\r";
        special = true;
        break;
      case '\'':
      case '\\':
        special = true;
        text += std::string("\\") + byte;
        break;
      default:
        text += byte;
    }
  }
  return (special ? "$'" : "'") + text + "'";
}

}  // namespace

const std::vector<DiskWord>& diskWords() {
  using model::Disk;
  static const std::vector<DiskWord> words = {
      {"open", Disk::open, "whatever the add-in does there succeeds"},
      {"no-folder", Disk::noFolder, "the add-in's folder is not there; takes no info file"},
      {"read-only-folder", Disk::readOnlyFolder, "no file can be made in the add-in's folder"},
      {"unreadable-file", Disk::unreadableFile, "the info file cannot be read; takes one"},
      {"read-only-file", Disk::readOnlyFile, "the info file cannot be written; takes one"},
  };
  return words;
}

model::Outcome predict(const Case& one, const Tools& tools, const std::string& data) {
  return model::predict(withStates(one.scenario),
                        {data, today(), one.infoFile, one.disk, tools.emptyHandle});
}

std::vector<std::string> differences(const Case& one, const Tools& tools,
                                     const std::string& directory) {
  while (true) {
    const std::string day = today();
    const Ending ending = play(one, tools, directory);
    Lines found = compare(ending, predict(one, tools, directory + "/data"), tools);
    // A difference that midnight made is none.
    if (found.empty() || day == today()) return found;
  }
}

std::string arguments(const Case& one) {
  std::string text = "play";
  for (const DiskWord& disk : diskWords()) {
    if (disk.disk == one.disk && one.disk != model::Disk::open) {
      text += std::string(" --disk ") + disk.word;
    }
  }
  if (one.infoFile) text += " --info-file " + quoted(*one.infoFile);
  for (const std::string& command : one.scenario) text += " " + quoted(command);
  return text;
}

}  // namespace faults
