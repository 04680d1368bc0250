// Alerts as windows, through the program zenity. For alert_host.cpp and tests.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/alert_host.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// As ShowAlert. Nothing without a display, without the program, and when it cannot open the window.
std::optional<int> AskInWindow(const AlertRequest& request);

// The program's command line; the default button is its OK button.
std::vector<std::string> AlertWindowArguments(const AlertRequest& request);

}  // namespace host
}  // namespace orvik
