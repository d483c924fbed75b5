// The results of scenarios in JUnit's XML format, which continuous integration reads.
#pragma once

#include <string>
#include <vector>

#include "substitute/driver/ScenarioProcess.h"

namespace substitute {

// The results as an XML document. Bytes that XML does not allow become U+FFFD.
std::string toJUnit(const std::vector<ScenarioResult>& results);

}  // namespace substitute
