// The results of scenarios as continuous integration reads them.
#pragma once

#include <string>
#include <vector>

#include "substitute/driver/ScenarioProcess.h"

namespace substitute {

// The results as a document of JUnit's format, in XML. Bytes that cannot stand there become U+FFFD.
std::string toJUnit(const std::vector<ScenarioResult>& results);

}  // namespace substitute
