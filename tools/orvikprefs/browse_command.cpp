#include <unistd.h>

#include <csignal>

#include "tools/orvikprefs/browse/browser.h"
#include "tools/orvikprefs/browse/tree.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

int Browse(const Context& context, const CommandLine& line) {
  if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0) {
    return context.Fail(kUsage, "browse needs a terminal");
  }
  int status = kDone, signal_to_end = 0;
  std::string message;
  {
    browse::Terminal terminal(context.colour);
    if (!terminal.ok()) {
      return context.Fail(kUsage, terminal.problem() +
                                      "; browse needs a terminal that can: tree, list and edit "
                                      "work on any");
    }
    browse::Browser browser(terminal, context.scope, context.domain, context.lock_wait);
    if (browser.Reveal(browse::TypedPath(line.Argument(0)))) {
      browser.Run();
      signal_to_end = terminal.ended_by();
      if (signal_to_end != 0) message = browser.KeepUnwritten();
    } else {
      message = Quoted(line.Argument(0)) + ": no such value or key";
      status = kNotFound;
    }
  }
  // The terminal is as it was before.
  if (!message.empty()) context.Fail(kDone, message);
  if (signal_to_end != 0) {
    context.error->flush();
    signal(signal_to_end, SIG_DFL);
    raise(signal_to_end);
  }
  return status;
}

}  // namespace orvik::prefstool
