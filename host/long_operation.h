// Shared by operations on trees and large files: their outcome, their monitor, and a second thread.
#pragma once

#include <sched.h>
#include <signal.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// The outcome of an operation on a tree: counts of entries, and the failures.

enum class Side { kSource, kTarget };

struct TreeFailure {
  std::string path;           // of the source, from the top of the tree; "" is the top itself
  int error;                  // an errno
  Side side = Side::kSource;  // the side on which the error occurred
};

struct TreeOutcome {
  std::uint64_t done = 0;             // entries copied, moved or removed
  std::uint64_t failed = 0;           // entries not done, except folders that stay because of those
  std::vector<TreeFailure> failures;  // the first kMostFailures of them

  static constexpr std::size_t kMostFailures = 1000;

  // 0, or the errno of the first failure.
  int error() const { return failures.empty() ? 0 : failures.front().error; }

  void AddFailure(std::string path, int error, Side side = Side::kSource) {
    ++failed;
    if (failures.size() < kMostFailures) failures.push_back({std::move(path), error, side});
  }
};

// Receives the progress of a long operation, and may stop it.
//
// An operation takes a pointer to a monitor, which may be null. When a function returns false, the
// operation stops as soon as it leaves only whole files behind, and its result is ECANCELED.
// Several threads may call all functions at once.

class Monitor {
 public:
  // Whether the operation should count its entries and bytes before it begins.
  virtual bool WantsTotals() const = 0;

  // Receives the number of entries and of bytes of content, once they are known.
  virtual void Expect(std::uint64_t entries, std::uint64_t bytes) = 0;

  // Receives the path of the next entry, from the top of the tree; "" is the top itself.
  virtual bool Begin(std::string path) = 0;

  // Receives the entries and bytes done since the last call. A finished entry counts whether or not
  // it succeeded.
  virtual bool Advance(std::uint64_t entries, std::uint64_t bytes) = 0;

  virtual bool IsStopped() const = 0;

 protected:
  ~Monitor() = default;
};

// The same for a monitor that may be null.

inline bool Begins(Monitor* monitor, std::string_view folder, std::string_view name) {
  return monitor == nullptr || monitor->Begin(std::string(folder).append(name));
}

inline bool Advances(Monitor* monitor, std::uint64_t entries, std::uint64_t bytes) {
  return monitor == nullptr || monitor->Advance(entries, bytes);
}

inline bool IsStopped(const Monitor* monitor) {
  return monitor != nullptr && monitor->IsStopped();
}

// A second thread of the library.

// Whether the calling thread may run on more than one processor.
inline bool HasSecondProcessor() {
  cpu_set_t processors;
  return sched_getaffinity(0, sizeof processors, &processors) == 0
             ? CPU_COUNT(&processors) > 1
             : std::thread::hardware_concurrency() > 1;
}

// Runs the function on a new thread that blocks all signals, which are for the threads of the
// program. Not joinable when the caller has only one processor, or when no thread can be started.
template <typename Function>
std::thread StartWorker(Function function) {
  std::thread worker;
  if (!HasSecondProcessor()) return worker;
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
