// The report on standard error when the add-in ends the process that plays, or does not return.
// That process keeps what the report needs, in memory that it shares with its parent
// (Supervisor.h). The parent composes the report, since its own memory is sound.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "substitute/api/Host.h"
#include "substitute/driver/Scenario.h"

namespace substitute {

// A string in a fixed buffer. A longer string is truncated. Nothing beyond the buffer is read,
// whatever an add-in has written into it.
template <std::size_t size>
class FixedString {
 public:
  void set(const std::string& string) {
    const std::size_t length = std::min(string.size(), size - 1);
    std::memcpy(bytes_.data(), string.data(), length);
    bytes_[length] = '\0';
  }
  std::string_view get() const {
    const std::string_view all(bytes_.data(), size);
    return all.substr(0, all.find('\0'));
  }
  bool empty() const { return bytes_[0] == '\0'; }

 private:
  std::array<char, size> bytes_ = {};
};

// What the report needs of the process that plays. Processes share it, so no pointer in it is
// followed.
struct CrashRecord {
  FixedString<256> underWay;  // the activity of the add-in; empty: none
  FixedString<256> lastCall;  // of the host
  FixedString<256> lastCallMadeBy;
  char lastCallReturned = false;  // no bool: an add-in may write any byte there
  FixedString<1024> command;
  std::array<FixedString<4096>, 5> trace;
  std::size_t traceLines = 0;  // so far; line i is kept at i % trace.size()
  // The stack of a process that got a fatal signal: the addresses that functions return to, the
  // innermost first, and the files in the memory of the process.
  std::size_t depth = 0;
  std::array<void*, 64> stack = {};
  std::array<char, 262144> mappings = {};  // ends with a zero
  // When the present activity began, in nanoseconds of the monotonic clock; 0: there is none.
  std::atomic<std::int64_t> begun = 0;
  bool isTimedBetween = false;  // `begun` is set between two activities, too
};

// A record in memory that the child processes share. Throws std::runtime_error when there is no
// memory.
using SharedCrashRecord = std::unique_ptr<CrashRecord, void (*)(CrashRecord*)>;
SharedCrashRecord newCrashRecord();

// The system's monotonic clock, which processes have in common, in nanoseconds.
std::int64_t monotonicTime();

// The report, which begins with the line `cause`.
std::string reportOn(const CrashRecord& record, const std::string& cause);

// The name of a signal, such as SIGABRT.
std::string signalName(int number);

// Whether the end by the signal `number` is reported. Other processes send some signals; such a
// signal is reported only during an activity of the add-in.
bool isReported(int number, const CrashRecord& record);

// Keeps the record of this process while it plays.
class CrashReport {
 public:
  // This process keeps `record` from now on. Installs handlers for fatal signals, which keep the
  // stack; the process then ends as it would without them. The handlers stay installed.
  static void keepIn(CrashRecord& record);

  // Keeps what `host` does, if this process keeps a record.
  explicit CrashReport(Host& host);
  CrashReport(const CrashReport&) = delete;
  CrashReport& operator=(const CrashReport&) = delete;

  // Names the command that is played from now on.
  static void noteCommand(const Command& command);

  // Names the activity of the add-in that is under way from now on; "": none.
  static void noteActivity(const std::string& what);

 private:
  Signal<Operation>::Subscription callBegins_;
  Signal<Json>::Subscription trace_;
  Signal<>::Subscription callReturned_;
};

}  // namespace substitute
