// The report on standard error when the add-in ends the process that plays, or does not return. A
// process that is supervised (Supervisor.h) only keeps what the report needs, in memory that it
// shares with its parent, and the parent writes the report. The prompt writes it itself.
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

// A string in a fixed buffer, which a signal handler can read in any state of the process. A longer
// string is truncated. Nothing beyond the buffer is read, whatever an add-in has written into it.
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

// The stack of a process that crashes. The process itself keeps it; one whose memory is sound
// describes it.
struct StackTrace {
  std::size_t count = 0;
  std::array<void*, 64> addresses = {};  // that functions return to, the innermost first
  std::array<char, 262144> mappings;     // the files in the memory of the process; ends with a zero
};

// What the report needs of the process that plays. It holds no pointers, so that processes can
// share it.
struct CrashRecord {
  FixedString<256> program;   // begins the report
  FixedString<256> underWay;  // the activity of the add-in; empty: none
  FixedString<256> lastCall;  // of the host
  FixedString<256> lastCallMadeBy;
  char lastCallReturned = false;  // no bool: an add-in may write any byte there
  FixedString<1024> command;
  std::array<FixedString<4096>, 5> trace;
  std::size_t traceLines = 0;  // so far; line i is kept at i % trace.size()
  StackTrace stack;            // empty until the process ends, or was asked for it
  // When the present activity began, in nanoseconds of the monotonic clock; 0: there is none.
  std::atomic<std::int64_t> begun = 0;
  bool isTimedBetween = false;  // the host between two activities is one for `begun`
};

// A record in memory that the child processes share. Throws std::runtime_error when there is no
// memory.
using SharedCrashRecord = std::unique_ptr<CrashRecord, void (*)(CrashRecord*)>;
SharedCrashRecord newCrashRecord();

// The system's monotonic clock, which processes have in common, in nanoseconds.
std::int64_t monotonicTime();

// Why there is a report, for its first line. That ends with the signal's name or the seconds of
// --timeout.
namespace report_cause {
inline constexpr const char* signal = ": the host is ended by the signal ";
inline constexpr const char* exit = ": the add-in ends the process";
inline constexpr const char* timeout =
    ": a call of the add-in has not returned after the seconds of --timeout: ";
inline constexpr const char* hang = ": a call of the add-in has not returned and is ended";
}  // namespace report_cause

// Writes the report but for the stack to the file descriptor `file`. Safe in a signal handler.
void writeReport(int file, const CrashRecord& record, std::string_view cause,
                 std::string_view detail);

// Writes the stack, if it was kept.
void writeStack(int file, const CrashRecord& record);

// The name of a signal, such as SIGABRT.
std::string signalName(int number);

// Whether the end by the signal `number` is reported. Other processes send some signals; such a
// signal is reported only during an activity of the add-in.
bool isReported(int number, const CrashRecord& record);

// Keeps the record of a host. It installs handlers for fatal signals and for exits, which add the
// stack; the process then ends as it would without them. The handlers stay installed.
class CrashReport {
 public:
  // To be called first in a process that is supervised: `record` is kept instead of the process's
  // own, and the process writes no report.
  static void keepFor(CrashRecord& record);

  // `program` begins the report. In a process that is not supervised, `timeout` is the number of
  // seconds that a call of the add-in may take; 0: no limit.
  CrashReport(Host& host, const std::string& program, unsigned timeout);
  CrashReport(const CrashReport&) = delete;
  CrashReport& operator=(const CrashReport&) = delete;

  // Names the command that is played from now on.
  static void noteCommand(const Command& command);

  // Names the activity of the add-in that is under way from now on; "": none.
  static void noteActivity(const std::string& what);

  // The process is about to exit, which is no doing of the add-in.
  static void noteExit();

 private:
  Signal<Operation>::Subscription callBegins_;
  Signal<Json>::Subscription trace_;
  Signal<>::Subscription callReturned_;
};

}  // namespace substitute
