// The prompt of substitute-host: commands are typed at a terminal, with completion and history.
#pragma once

#include "substitute/driver/ScenarioRunner.h"

namespace substitute {

// False when the program was built without the line editor: then a terminal is like any other
// input.
extern const bool hasPrompt;

// Plays each typed command and reports wrong lines, until `quit`, `exit` or the end of input
// (Ctrl-D); then unloads the add-in. Ctrl-C discards the line that is being typed; while a command
// is played it ends the program. The history is kept in the user's state folder, if there is one.
void runPrompt(ScenarioRunner& runner);

}  // namespace substitute
