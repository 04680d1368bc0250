// The system log.
#pragma once

#include <string_view>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Sends one line to the system log (syslog(3), `priority` as there), verbatim and with nothing
// added: a "%" is an ordinary character. The line ends at its first NUL. When the environment
// variable ORVIK_LOG_STDERR is "1" the line goes to standard error as well, as one line that is
// safe to show (Escaped in text/shown_text.h), with a line feed. A line that cannot be written is
// dropped; it never stops the program.
void SystemLog(int priority, std::string_view line);

}  // namespace host
}  // namespace orvik
