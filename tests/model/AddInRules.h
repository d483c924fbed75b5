// The add-in's half of the model.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/model/HostRules.h"

namespace model {

// One loaded add-in, from load to unload. `host` and `infoFile` outlive it.
class AddIn {
 public:
  AddIn(Host& host, std::optional<std::string>& infoFile, Disk disk, std::string today)
      : host_(host), infoFile_(infoFile), disk_(disk), today_(std::move(today)) {}

  // The entry points. Both may throw Thrown and Aborted, as notify may.
  bool run();
  bool stop();

  // The host calls the handler of that class.
  void notify(const std::string& handler);

  // How many counted references the add-in holds between two calls of the host.
  int references() const;

  // The texts that were given to the shell since this was last asked.
  std::vector<std::string> takeShellCommands() { return std::exchange(shellCommands_, {}); }

 private:
  void openPalette();
  void handleOnlineStatus();
  void connectExecute();
  void openTarget();
  void removeCommand(const Handle& toolbar, const std::string& id);

  Host& host_;
  std::optional<std::string>& infoFile_;
  Disk disk_;
  std::string today_;
  Handle app_;
  Handle ui_;
  Handle palette_;
  std::int32_t count_ = 0;
  std::vector<std::string> shellCommands_;
};

}  // namespace model
