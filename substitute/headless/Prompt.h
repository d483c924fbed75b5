// The prompt of substitute-host: commands are typed at a terminal, with completion and history.
#pragma once

#include "substitute/driver/ScenarioRunner.h"

namespace substitute {

// Whether there is a prompt. Without the line editor a terminal is like any other input.
extern const bool hasPrompt;

// Plays each command that is typed and tells what is wrong with a line that is none, until `quit`,
// `exit` or the end of input (Ctrl-D). The add-in is unloaded then. Ctrl-C drops the line that is
// being typed; while a command is carried out it ends the program. Lines are kept from run to run
// in the user's state folder, if there is one.
void runPrompt(ScenarioRunner& runner);

}  // namespace substitute
