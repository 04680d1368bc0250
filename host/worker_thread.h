// A thread of the library's own beside the caller's.
#pragma once

#include <signal.h>

#include <system_error>
#include <thread>
#include <utility>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Runs the function on a new thread, which takes no signals: those are for the threads of the
// program. Not joinable when there is one processor alone, or the system gives no thread.
template <typename Function>
std::thread StartWorker(Function function) {
  std::thread worker;
  if (std::thread::hardware_concurrency() < 2) return worker;
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  try {
    worker = std::thread(std::move(function));
  } catch (const std::system_error&) {
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return worker;
}

}  // namespace host
}  // namespace orvik
