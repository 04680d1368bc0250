// Alerts on a terminal. For alert_host.cpp and tests.
#pragma once

#include <cstdio>
#include <optional>

#include "host/alert_host.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// As ShowAlert. Nothing unless standard input and output are a terminal that this process may read.
std::optional<int> AskOnTerminal(const AlertRequest& request);

// Writes the question and reads lines from a descriptor until one holds the number or the label of
// a button; an empty line chooses the default one. kAlertClosed at the end of the input and when
// the request's time is over, which signals neither end nor extend.
int AskThrough(int in, std::FILE* out, const AlertRequest& request);

}  // namespace host
}  // namespace orvik
