// What the driver can know of one add-in. The driver's other files know none: with an empty profile
// they play any.
#pragma once

#include <string>
#include <vector>

#include "substitute/api/Host.h"
#include "substitute/driver/Commands.h"

namespace substitute {

// A key of the state that only this add-in has.
struct ProfileKey {
  const char* name;
  Json (*valueIn)(const Host& host);
  // What a saved scenario expects of `value`: the lines of `expect` without the word and the key.
  std::vector<std::string> (*expectations)(const Json& value);
};

struct Profile {
  std::string library;  // the file beside the program that is loaded without --addin
  std::string folder;   // the add-in's own, below the folder in which the host is installed
  // The id that a command without one means; empty: there is no such object.
  std::string button;
  std::string palette;
  std::string entitlement;             // the host's, without --entitlement
  std::vector<CommandEntry> commands;  // besides those of every add-in
  std::vector<ProfileKey> keys;

  // The file that the add-in keeps in its folder. All of these are null when there is none.
  std::string (*file)(const Host& host) = nullptr;     // its path
  std::string (*content)(const Host& host) = nullptr;  // a sentence, reported when it changes
  std::string (*summary)(const Host& host) = nullptr;  // a clause
  // The command that restores it; empty when none can.
  std::string (*restoration)(const Host& host) = nullptr;
  const char* whyNotFound = nullptr;  // why the add-in may look for it in another folder
  const char* note = nullptr;         // on the expectations of a saved scenario
};

const Profile& profile();

// The values at the start of a host that is installed in `directory`.
Settings settingsIn(const std::string& directory);

}  // namespace substitute
