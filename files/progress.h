// Watching and stopping a long operation, and the report of its results.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "files/file_path.h"
#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

// Watching and stopping a long operation.
//
//   Progress progress([](const ProgressState& state) {
//     return Show(state.bytes_done) ? ProgressAnswer::kGoOn : ProgressAnswer::kStop;
//   });
//   TreeReport report;
//   CDirectoryManipulator::RecursivelyCopyDirectory(from, to, FALSE, &report, &progress);
//
// A stopped operation ends soon, with its failure answer; its report names the entry that it had
// reached, with the error ECANCELED. It leaves the same state as a failure: files are whole or
// missing, a replaced file has its old content, a move leaves the source. Entries already copied,
// moved or removed stay so. The last step of a move to another volume, which removes the source, is
// not stopped: the copy is complete then.
//
// The functions of one object may be called by any thread. The callback is called by the thread of
// the operation or by one of its worker threads, never by two at once, and never again after it has
// answered kStop. It may use the object, and must not throw.

namespace host {
class Monitor;
}

struct ProgressState {
  std::uint64_t entries_done = 0;  // finished, successfully or not
  std::uint64_t bytes_done = 0;    // of the content of files
  // Both 0 while unknown. They are known at once for a single file, for folders only with
  // ProgressTotals::kCount.
  std::uint64_t entries_total = 0;
  std::uint64_t bytes_total = 0;
  COrvikFilePath path;  // the current entry
};

enum class ProgressAnswer { kGoOn, kStop };

// Whether an operation on a folder first counts the entries, which takes time.
enum class ProgressTotals { kNone, kCount };

class Progress {
 public:
  using Callback = std::function<ProgressAnswer(const ProgressState&)>;

  // The callback (may be empty) is called when the operation reaches an entry, when it has finished
  // one, and at least once for each 4 MiB of content.
  explicit Progress(Callback callback = {}, ProgressTotals totals = ProgressTotals::kNone);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Stops the current operation and every later one that uses this object.
  void Stop();
  bool IsStopped() const;

  ProgressState State() const;

  // For the operations: their reports about the work below `top` go to the returned monitor of this
  // object.
  host::Monitor* Begin(const COrvikFilePath& top);

 private:
  class Impl;
  const std::unique_ptr<Impl> impl_;
};

// The outcome of an operation: counts of entries, and the failures.

// The side of an error: a copy or move has two sides, other operations only a source.
enum class TreeSide : int { kSource, kTarget };

struct TreeFailure {
  COrvikFilePath path;  // on the source side
  int error = 0;        // an errno
  TreeSide side = TreeSide::kSource;
  CAtlString reason;  // the error as a text in English
};

struct TreeReport {
  std::uint64_t done = 0;             // entries copied, moved or removed
  std::uint64_t failed = 0;           // entries that failed
  std::vector<TreeFailure> failures;  // the first thousand failures, in their order
};

}  // namespace orvik
