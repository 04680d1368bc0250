// The list of the browser's keys.
#pragma once

#include <string>
#include <vector>

namespace orvik::prefstool::browse {

// In two columns where they fit.
std::vector<std::string> HelpLines(int columns);

}  // namespace orvik::prefstool::browse
