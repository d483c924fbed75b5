// The folder in which a host is installed, with the add-in's folder in it.
#pragma once

#include <optional>
#include <string>

#include "substitute/api/Host.h"
#include "substitute/driver/LockedFolder.h"

namespace substitute {

struct CommandLine;

// The values at the start of a host that is installed in `directory`.
Settings settingsIn(const std::string& directory);

class Installation {
 public:
  // Chooses the folder by `values`. If they name none, a scenario gets a temporary folder, which
  // the destructor removes, and a user a folder in the data directory. Throws std::runtime_error
  // when there is no such folder.
  Installation(const CommandLine& values, bool forScenario);

  // The host's values at its start.
  Settings settings() const;

  // Creates the add-in's folder as an installer would, unless the options exclude it. Prints a
  // warning when the add-in in `host` will not find it. Throws UsageError when it cannot be
  // created.
  void addFolder(const Host& host);

  // For the user: where the data of `host` is, and whether another host uses it. Empty for a
  // scenario, unless the options name the executable or there is another host.
  std::string description(const Host& host) const;

 private:
  const CommandLine& values_;
  bool forScenario_;
  std::optional<LockedFolder> temporary_;
  std::string folder_;  // empty when the executable is named
  std::optional<FolderLock> lock_;
  std::string executable_;  // what the host reports
};

}  // namespace substitute
