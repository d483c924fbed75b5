#include "substitute/driver/TraceFiles.h"

#include <filesystem>
#include <utility>

#include "substitute/driver/Calls.h"
#include "substitute/driver/Errors.h"

namespace fs = std::filesystem;

namespace substitute {

void checkOutput(const std::string& option, const std::string& path,
                 const std::vector<std::string>& files) {
  if (path.empty()) return;
  if (path == "-") throw UsageError(option + " wants a file; standard output is taken");
  std::error_code error;
  const auto canonical = [&error](const std::string& name) {
    return fs::weakly_canonical(fs::absolute(name, error), error);  // it need not exist
  };
  const fs::path output = canonical(path);
  if (error) return;
  const std::string wrong = option + " would overwrite ";
  for (const std::string& file : files) {
    if (canonical(file) == output && !error) throw UsageError(wrong + file);
  }
}

TraceFile::TraceFile(const std::string& path) : path_(path), file_(path, std::ios::app) {
  if (!file_) throw UsageError("the trace cannot be written to " + path, "--trace");
}

void TraceFile::begin(Host& host) {
  std::error_code notAFileOfBytes;
  fs::resize_file(path_, 0, notAFileOfBytes);
  trace_ = host.interceptor().trace.subscribe(
      [this](const Json& entry) { file_ << line(entry) << std::endl; });
}

ExpectedTrace::ExpectedTrace(std::string path) : path_(std::move(path)) {
  std::ifstream file(path_, std::ios::binary);
  for (std::string entry; std::getline(file, entry);) {
    lines_.push_back(entry);
    if (!Json::accept(entry)) {
      throw UsageError(path_ + ":" + std::to_string(lines_.size()) + ": this is no line of a trace",
                       "--expect-trace");
    }
  }
  if (!file.is_open() || file.bad()) {
    throw UsageError("the expected trace " + path_ + " cannot be read", "--expect-trace");
  }
}

std::optional<std::string> ExpectedTrace::difference() const {
  if (!found_ && next_ == lines_.size()) return {};
  return path_ + ":" + std::to_string(next_ + 1) + ": expected " + expected() + ", found " +
         found_.value_or(noMore);
}

std::vector<std::string> ExpectedTrace::differingCalls() const {
  const auto asCode = [](const std::string& line) {
    return line == noMore ? line : callLine(Json::parse(line), CallForm::full);
  };
  return {"expected " + asCode(expected()), "found    " + asCode(found_.value_or(noMore))};
}

void ExpectedTrace::compare(const Json& entry) {
  if (found_) return;
  const std::string found = line(entry);
  // The order of an object's keys is no difference.
  using nlohmann::json;
  const bool isSame = next_ < lines_.size() &&
                      (lines_[next_] == found || json::parse(lines_[next_]) == json::parse(found));
  if (!isSame) found_ = found;
  if (isSame) ++next_;
}

}  // namespace substitute
