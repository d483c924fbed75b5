// The files of --trace and --expect-trace, and what no output may overwrite.
#pragma once

#include <cstddef>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "substitute/api/Host.h"

namespace substitute {

// Throws UsageError when `path`, the value of `option`, is "-" or names one of `files`.
void checkOutput(const std::string& option, const std::string& path,
                 const std::vector<std::string>& files);

// The file of --trace.
class TraceFile {
 public:
  // Opens `path` without changing its content. Throws UsageError when it cannot be opened.
  explicit TraceFile(const std::string& path);

  // Empties the file, then writes each line of the trace of `host` to it at once.
  void begin(Host& host);

  // False when something could not be written.
  bool good() const { return file_.good(); }

 private:
  std::string path_;
  std::ofstream file_;
  Signal<Json>::Subscription trace_;
};

// The trace that a scenario must produce.
class ExpectedTrace {
 public:
  // Reads the trace from `path`. Throws UsageError when it cannot be read or a line is not JSON.
  explicit ExpectedTrace(std::string path);
  ExpectedTrace(const ExpectedTrace&) = delete;
  ExpectedTrace& operator=(const ExpectedTrace&) = delete;

  // Begins to compare the trace of `host`.
  void begin(Host& host) {
    trace_ = host.interceptor().trace.subscribe([this](const Json& entry) { compare(entry); });
  }

  // A sentence about the first line that differs, with both lines; empty when none differs so far.
  std::optional<std::string> difference() const;

  // The two lines of the difference as code.
  std::vector<std::string> differingCalls() const;

 private:
  static constexpr const char* noMore = "no more";  // in the place of a line, at the trace's end

  void compare(const Json& entry);
  std::string expected() const { return next_ < lines_.size() ? lines_[next_] : noMore; }

  std::string path_;
  std::vector<std::string> lines_;
  std::size_t next_ = 0;              // the line that is compared next, or the one that differs
  std::optional<std::string> found_;  // what was found where a line differs
  Signal<Json>::Subscription trace_;
};

}  // namespace substitute
