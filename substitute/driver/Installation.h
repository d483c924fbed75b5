// Where a host is installed, and with it the folder of the add-in.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/driver/LockedFolder.h"

namespace substitute {

struct CommandLine;

class Installation {
 public:
  // Chooses the folder by `values`; where they name none, a scenario gets a temporary one, which
  // ends with the installation, and anything else a folder of the user's. Nothing else is made yet
  // but, on a Mac, the link through which the program is then started once more with its
  // `arguments`. Throws std::runtime_error when there is no such folder, UsageError where the host
  // cannot report another executable.
  Installation(const CommandLine& values, bool forScenario, std::vector<std::string> arguments);

  // The host's values.
  Settings settings() const;

  // Makes the add-in's folder as an installer would, unless it is not wanted, and says so where the
  // add-in in `host` will not find it. Throws UsageError when it cannot be made.
  void addFolder(const Host& host) const;

  // One sentence on where the data of `host` is, for people; empty where it does not matter: in a
  // scenario, as long as the host reports its own executable.
  std::string description(const Host& host) const;

 private:
  const CommandLine& values_;
  bool forScenario_;
  std::optional<LockedFolder> temporary_;
  std::string folder_;      // empty when the executable is named
  std::string executable_;  // what the host reports
};

}  // namespace substitute
