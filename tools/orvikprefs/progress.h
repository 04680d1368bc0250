// A sign of life for work that takes long.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "tools/orvikprefs/context.h"

namespace orvik::prefstool {

// From a second after its making until its end, shows what is being done and for how long on one
// line of standard error, which is cleared again. Shows nothing unless standard error is a
// terminal, or when quiet.
class Progress {
 public:
  Progress(const Context& context, const char* what);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void Show();

  std::string what_;
  std::mutex mutex_;
  std::condition_variable end_;
  bool ended_ = false;
  std::thread thread_;
};

}  // namespace orvik::prefstool
