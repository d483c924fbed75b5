// What must follow from a scenario. The model is the rules of the add-in, and of the host that it
// is tried in, written down a second time as a small program; it shares nothing with either, so
// that a mistake has to be made twice to go unseen.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace model {

using Json = nlohmann::ordered_json;

// What the use of an empty handle does: it ends the process by an assertion, or, in an add-in built
// without assertions, throws a std::exception.
enum class EmptyHandle { aborts, throws };

// What the add-in finds where its info file lies. It changes none of it.
enum class Disk {
  open,            // a folder and, if there is one, a file that the user may read and write
  noFolder,        // no folder, hence no file
  readOnlyFolder,  // no new file can be made; one that is there is like any other
  unreadableFile,  // a file that the user may write, but not read
  readOnlyFile,    // a file that the user may read, but not write
};

// False for a file in no folder, and for the rights to a file that there is not.
bool possible(Disk disk, bool withInfoFile);

// What a scenario is played in.
struct Surroundings {
  std::string data;                     // the folder in which the host is installed
  std::string today;                    // as the info file's first line tells it: 05.03.2026
  std::optional<std::string> infoFile;  // its bytes before the scenario; none: there is no file
  Disk disk = Disk::open;
  EmptyHandle emptyHandle = EmptyHandle::aborts;
};

struct Outcome {
  // As substitute-host writes it. An exception whose text is the standard library's affair has no
  // "what".
  std::vector<Json> trace;
  std::vector<Json> states;  // what each command `state` prints
  bool aborted = false;      // the process ends by the assertion; nothing of the rest is played
  std::optional<std::string> infoFile;
};

// What playing the commands of `scenario`, one a line as substitute-host takes them, comes to. The
// messages of the page must hold nothing that is special to the shell but spaces. Throws
// std::invalid_argument for surroundings that are not possible().
Outcome predict(const std::vector<std::string>& scenario, const Surroundings& surroundings);

// One start as the info file sees it.
struct InfoFileUpdate {
  std::int32_t returned;             // the start counter as it stood before; -1: it cannot be read
  std::optional<std::string> after;  // the file's bytes afterwards; none: there is no file
};

// What a start makes of the info file with the bytes `before`; none: there is no file yet.
InfoFileUpdate updateInfoFile(const std::optional<std::string>& before, const std::string& today,
                              Disk disk = Disk::open);

// The text that is given to the shell for a message of the page with the text `data`; none: an
// exception of the type std::out_of_range, and nothing is run.
std::optional<std::string> shellCommand(const std::string& data);

}  // namespace model
