// How far a long operation is, stopping it, and what it has done and could not do.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "files/file_path.h"
#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

// Watching a long operation, and stopping it.
//
//   Progress progress([](const ProgressState& state) {
//     return Show(state.bytes_done) ? ProgressAnswer::kGoOn : ProgressAnswer::kStop;
//   });
//   TreeReport report;
//   CDirectoryManipulator::RecursivelyCopyDirectory(from, to, FALSE, &report, &progress);
//
// An operation that is stopped ends soon, with its failure answer; its report names the entry that
// it had come to, with the error ECANCELED. What it leaves is what its description says of a
// failure: files are whole or not there, a replaced file has its old content, a move leaves the
// source. What was copied, moved or removed before stays so. The last step of a move to another
// volume, in which the source is removed, is not stopped: the copy is complete then.
//
// The functions of one object may be called by any thread. The callback is called by the thread of
// the operation or by one that helps it, never by two at once, and never again after it has
// answered kStop; it may use the object, and must not throw.

namespace host {
class Monitor;
}

struct ProgressState {
  std::uint64_t entries_done = 0;  // finished, whether or not that succeeded
  std::uint64_t bytes_done = 0;    // of the content of files
  // Both 0 until they are known: at once for a single file, for folders with
  // ProgressTotals::kCount.
  std::uint64_t entries_total = 0;
  std::uint64_t bytes_total = 0;
  COrvikFilePath path;  // the entry in work
};

enum class ProgressAnswer { kGoOn, kStop };

// Whether an operation on a folder counts the entries before it begins, which takes time.
enum class ProgressTotals { kNone, kCount };

class Progress {
 public:
  using Callback = std::function<ProgressAnswer(const ProgressState&)>;

  // The callback (may be empty) is called when the operation comes to an entry, when it has
  // finished one, and at least once for each 4 MiB of content.
  explicit Progress(Callback callback = {}, ProgressTotals totals = ProgressTotals::kNone);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Stops the operation that uses the object, and every one that will.
  void Stop();
  bool IsStopped() const;

  ProgressState State() const;

  // For the operations: what they tell about the work below the path goes to this object.
  host::Monitor* Begin(const COrvikFilePath& top);

 private:
  class Impl;
  const std::unique_ptr<Impl> impl_;
};

// The outcome of an operation on a folder: counts of entries, and the failures.

// Where an error is: a copy and a move have two sides, other operations a source alone.
enum class TreeSide : int { kSource, kTarget };

struct TreeFailure {
  COrvikFilePath path;  // of the source
  int error = 0;        // an errno
  TreeSide side = TreeSide::kSource;
  CAtlString reason;  // the error as a text in English
};

struct TreeReport {
  std::uint64_t done = 0;             // entries copied, moved or removed
  std::uint64_t failed = 0;           // entries that could not be
  std::vector<TreeFailure> failures;  // the first thousand of them, in the order they were met
};

}  // namespace orvik
