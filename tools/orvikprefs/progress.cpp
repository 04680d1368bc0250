#include "tools/orvikprefs/progress.h"

#include <unistd.h>

#include <chrono>

namespace orvik::prefstool {

Progress::Progress(const Context& context, const char* what) : what_(what) {
  if (isatty(STDERR_FILENO) != 0 && !context.quiet) thread_ = std::thread([this] { Show(); });
}

Progress::~Progress() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
  }
  end_.notify_one();
  thread_.join();
}

void Progress::Show() {
  using std::chrono::milliseconds;
  std::unique_lock<std::mutex> lock(mutex_);
  std::string line;
  for (int quarters = 4;
       !end_.wait_for(lock, milliseconds(quarters == 4 ? 1000 : 250), [this] { return ended_; });
       ++quarters) {
    // One write, so that nothing of it mixes with other lines.
    line = "\r" + what_ + ", " + std::to_string(quarters / 4) + " s";
    if (write(STDERR_FILENO, line.data(), line.size()) < 0) return;
  }
  if (!line.empty()) {
    const std::string cleared = "\r" + std::string(line.size() - 1, ' ') + "\r";
    if (write(STDERR_FILENO, cleared.data(), cleared.size()) < 0) return;
  }
}

}  // namespace orvik::prefstool
