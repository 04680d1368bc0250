#include <unistd.h>

#include "tools/orvikprefs/browse/browser.h"
#include "tools/orvikprefs/browse/typed_path.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

int Browse(const Context& context, const CommandLine& line) {
  if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0) {
    return context.Fail(kUsage, "browse needs a terminal");
  }
  if (PreferenceFilePath(context.scope, context.domain).empty()) {
    return context.Fail(kUsage, "the domain cannot name a file");
  }
  browse::Terminal terminal(context.colour);
  if (!terminal.ok()) return context.Fail(kUsage, "this terminal cannot show the browser");
  browse::Browser browser(terminal, context.scope, context.domain);
  const std::optional<KeyPath> key = ParseKey(line.Argument(0));
  if (!key || !browser.Reveal(browse::TypedPath(line.Argument(0)))) {
    terminal.Suspend();
    return context.Fail(kNotFound, Quoted(line.Argument(0)) + ": no such value or key");
  }
  browser.Run();
  return kDone;
}

}  // namespace orvik::prefstool
