// How a host is asked: through the operations that the add-in uses, and without relying on any
// answer.
#pragma once

#include <Core/CoreAll.h>

#include "probe/Answers.h"

namespace probe {

// Where the answers go.
extern Answers answers;

// Thrown when a question cannot be asked, since the host did not give what it is about.
struct Missing {};

// `handle`, which is not empty. Throws Missing when it is.
template <class T>
const adsk::core::Ptr<T>& need(const adsk::core::Ptr<T>& handle) {
  if (!handle) throw Missing();
  return handle;
}

// Writes what `answer` returns: anything that an Answer is made from.
template <class Question>
void ask(const char* id, const char* question, const Question& answer) {
  try {
    answers.write(id, question, answer());
  } catch (const Missing&) {
    answers.write(id, question, "could not be asked");
  } catch (...) {
    answers.write(id, question, "an exception");
  }
}

// Does `work`, whose failure is no answer.
template <class Work>
void attempt(const Work& work) {
  try {
    work();
  } catch (...) {
    // What comes of it is asked elsewhere.
  }
}

// The answer to a question for an object.
template <class T>
const char* given(const adsk::core::Ptr<T>& handle) {
  return handle ? "an object" : "empty";
}

// Ids and names of its own: the add-in itself may be loaded, too.
constexpr const char* probeId = "VelorinProbe";
constexpr const char* passingId = "VelorinProbePassing";
constexpr const char* unknownId = "VelorinProbeUnknown";

// The host's collections; each throws Missing on the way to what the host does not give.
adsk::core::Ptr<adsk::core::Application> application();
adsk::core::Ptr<adsk::core::Palettes> palettes();
adsk::core::Ptr<adsk::core::CommandDefinitions> definitions();
adsk::core::Ptr<adsk::core::Toolbars> toolbars();

// The controls of the toolbar QATRight.
adsk::core::Ptr<adsk::core::ToolbarControls> controls();

// Additions as the add-in makes them; empty when the host refuses.
adsk::core::Ptr<adsk::core::Palette> addPalette(const std::string& address);
adsk::core::Ptr<adsk::core::CommandDefinition> addDefinition(const char* id,
                                                             const char* iconFolder);
adsk::core::Ptr<adsk::core::CommandControl> addControl(
    const adsk::core::Ptr<adsk::core::CommandDefinition>& definition);

}  // namespace probe
