#include <unistd.h>

#include <csignal>

#include "tools/orvikprefs/browse/browser.h"
#include "tools/orvikprefs/browse/tree.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

struct Outcome {
  int status = kDone;
  int signal = 0;  // that asked the process to end
};

Outcome BrowseOn(browse::Terminal& terminal, const Context& context, const CommandLine& line,
                 std::string* message) {
  browse::Browser browser(terminal, context.scope, context.domain, context.lock_wait);
  const std::optional<KeyPath> key = ParseKey(line.Argument(0));
  if (!key || !browser.Reveal(browse::TypedPath(line.Argument(0)))) {
    *message = Quoted(line.Argument(0)) + ": no such value or key";
    return {kNotFound, 0};
  }
  browser.Run();
  if (terminal.ended_by() != 0) *message = browser.KeepUnwritten();
  return {kDone, terminal.ended_by()};
}

}  // namespace

int Browse(const Context& context, const CommandLine& line) {
  if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0) {
    return context.Fail(kUsage, "browse needs a terminal");
  }
  Outcome outcome;
  std::string message;
  {
    browse::Terminal terminal(context.colour);
    if (!terminal.ok()) {
      return context.Fail(kUsage, terminal.problem() +
                                      "; browse needs a terminal that can: tree, list and edit "
                                      "work on any");
    }
    outcome = BrowseOn(terminal, context, line, &message);
  }
  if (!message.empty()) context.Fail(kDone, message);
  if (outcome.signal != 0) {
    context.error->flush();
    signal(outcome.signal, SIG_DFL);
    raise(outcome.signal);
  }
  return outcome.status;
}

}  // namespace orvik::prefstool
