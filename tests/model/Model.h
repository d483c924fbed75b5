// What must follow from an info file and from a message of the page: the add-in's rules written
// down a second time. They share nothing with the add-in, so that a mistake has to be made twice to
// go unseen.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace model {

// One start as the info file sees it.
struct InfoFileUpdate {
  std::int32_t returned;  // the start counter as it stood before
  std::string after;      // the file's bytes afterwards
};

// What a start makes of the info file with the bytes `before`.
InfoFileUpdate updateInfoFile(const std::string& before);

// The text that is given to the shell for a message of the page with the text `data`; none: an
// exception of the type std::out_of_range, and nothing is run.
std::optional<std::string> shellCommand(const std::string& data);

}  // namespace model
