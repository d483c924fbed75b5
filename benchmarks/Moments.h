// The moments in which the host calls the add-in, each made ready so that the call can be measured
// alone.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/driver/AddIn.h"

namespace benchmarks {

// A folder in which a host is installed. It lies in memory where the system has such a folder, so
// that no disk has a part in a time. It is the working directory while the object lives, and the
// host's paths are relative to it: a count does not depend on where it lies. One at a time.
class Installation {
 public:
  // Throws a std::runtime_error when the folder cannot be made.
  Installation();
  ~Installation();
  Installation(const Installation&) = delete;
  Installation& operator=(const Installation&) = delete;

  // The path of the add-in's info file, relative as the host's paths are.
  static std::string infoFile();

  // Writes an info file that `starts` starts have left, with further lines of `width` bytes each,
  // so that it has `lines` lines. No start has left no file.
  static void writeInfoFile(int starts, std::size_t lines = 2, std::size_t width = 0);

 private:
  std::string folder_;
};

// A host with an add-in in it, which is unloaded first.
struct Session {
  Session(std::unique_ptr<substitute::AddIn> loaded, bool offline);

  substitute::Host host;
  std::unique_ptr<substitute::AddIn> addin;
};

struct Moment {
  const char* name;
  int starts;    // before this one
  bool offline;  // the host at this start
  // Brings the session to the point before the call.
  void (*prepare)(Session& session);
  // Lets the host make the call.
  void (*call)(Session& session);
};

const std::vector<Moment>& moments();

// A session with `addin` in it, ready for the call of `moment`.
std::unique_ptr<Session> prepare(const Moment& moment, std::unique_ptr<substitute::AddIn> addin);

// The absolute path of a library that is built beside this program.
std::string builtLibrary(const std::string& name);

}  // namespace benchmarks
