// The situations in which the host calls the add-in, made ready so that one call can be measured
// alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/api/HostObjects.h"
#include "substitute/driver/AddIn.h"
#include "substitute/driver/OpenRecorder.h"
#include "substitute/driver/Velorin.h"

namespace benchmarks {

// A folder in which a host is installed; it goes away with the object. Its name is as long in every
// process and holds no capital letter, so that a search through it takes the same steps.
class Installation {
 public:
  // Makes it in the folder `parent`, the system's for temporary files if left out. Throws
  // std::filesystem::filesystem_error.
  explicit Installation(const std::string& parent = {});
  ~Installation();
  Installation(const Installation&) = delete;
  Installation& operator=(const Installation&) = delete;

  const std::string& directory() const { return directory_; }
  std::string infoFile() const;

  // Writes an info file of `lines` lines, the counter `count` on the second one and `width` bytes
  // on each further one; of one line, these bytes alone, without a line feed.
  void writeInfoFile(std::size_t lines, int count, std::size_t width) const;

 private:
  std::string directory_;
};

// A folder in memory where the system has one, so that no disk has a part in a time; else the one
// for temporary files.
std::string memoryFolder();

// How long the further lines of an info file are that is updated to see what its length costs.
constexpr std::size_t updateWidth = 10;

// A host with an add-in in it.
class Session {
 public:
  // The host is there, the add-in is not. With `recordsOpen`, `open` is the host's own; its folder
  // is named after the process, which moves what is allocated afterwards.
  Session(const Installation& installation, bool offline, bool recordsOpen = false);

  // Loads the library. Throws substitute::LoadError when it is not there or lacks a function.
  void load(const std::string& library);

  substitute::Host& host() { return host_; }

  // The library's functions; load() has found them.
  bool (*run)(const char*) = nullptr;
  bool (*stop)(const char*) = nullptr;
  bool (*openPalette)() = nullptr;
  std::int32_t (*autoOpenPalette)() = nullptr;

  // Hands the add-in's handler of the online status, and of the palette's messages, what the host
  // would. Both are registered by now.
  std::function<void()> onlineReport();
  std::function<void()> message(const std::string& text);

 private:
  substitute::Host host_;
  std::optional<substitute::OpenRecorder> recorder_;
  std::optional<substitute::AddIn> addin_;
};

struct Situation {
  const char* name;
  bool firstStart;  // there is no info file
  int count;        // in the info file
  bool offline;     // the host at its start
  // Brings the session to the point before the call, and makes the call; the result is the call,
  // whose own one is the add-in's answer, true where it gives none.
  std::function<std::function<bool()>(Session&)> prepare;
};

const std::vector<Situation>& situations();

// A session in that situation, and the call to measure.
struct Prepared {
  std::unique_ptr<Installation> installation;
  std::unique_ptr<Session> session;
  std::function<bool()> call;
};
Prepared prepare(const Situation& situation, const std::string& library);

// The libraries of a build: the add-in, the one by hand, the empty one.
std::string builtLibrary(const std::string& name);

}  // namespace benchmarks
