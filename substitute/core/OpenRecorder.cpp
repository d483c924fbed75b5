#include "substitute/core/OpenRecorder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <system_error>

namespace fs = std::filesystem;

namespace substitute {

namespace {

// A number of arguments, then each of them, all ended by a zero byte: no argument can hold one.
constexpr const char* script = "#!/bin/sh\nprintf '%s\\0' \"$#\" \"$@\" >>\"$0.runs\"\n";

// The next text in `bytes` from `at` on, which moves behind it; none when its end is missing.
std::optional<std::string> nextText(const std::string& bytes, std::size_t& at) {
  const auto end = bytes.find('\0', at);
  if (end == std::string::npos) return {};
  std::string text = bytes.substr(at, end - at);
  at = end + 1;
  return text;
}

}  // namespace

OpenRecorder::OpenRecorder() {
  directory_ = (fs::temp_directory_path() / "velorin-open-XXXXXX").string();
  if (mkdtemp(directory_.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), directory_);
  }
  const std::string command = directory_ + "/open";
  std::ofstream(command) << script;
  fs::permissions(command, fs::perms::owner_all);
  const char* const path = std::getenv("PATH");
  oldPath_ = path == nullptr ? "/usr/bin:/bin" : path;
  setenv("PATH", (directory_ + ":" + oldPath_).c_str(), 1);
}

OpenRecorder::~OpenRecorder() {
  setenv("PATH", oldPath_.c_str(), 1);
  std::error_code ignored;
  fs::remove_all(directory_, ignored);
}

std::vector<std::vector<std::string>> OpenRecorder::collect() {
  std::ifstream file(directory_ + "/open.runs", std::ios::binary);
  file.seekg(static_cast<std::streamoff>(read_));
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  std::vector<std::vector<std::string>> runs;
  std::size_t at = 0;
  std::size_t complete = 0;
  while (const auto count = nextText(bytes, at)) {
    std::vector<std::string> arguments(std::stoul(*count));
    for (std::string& argument : arguments) {
      const auto text = nextText(bytes, at);
      // A run in the background that is still writing; the next call finds it whole.
      if (!text) {
        read_ += complete;
        return runs;
      }
      argument = *text;
    }
    runs.push_back(std::move(arguments));
    complete = at;
  }
  read_ += complete;
  return runs;
}

}  // namespace substitute
