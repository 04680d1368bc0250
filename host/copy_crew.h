// Copying the entries of a large tree on two threads.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "host/descriptor.h"
#include "host/long_operation.h"
#include "host/node_copy.h"

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// The outcome of several threads. Lists the failures in the order of their numbers, in whatever
// order the threads add them.
class OrderedOutcome {
 public:
  // Counts an entry as done if `error` is 0. Otherwise `error` is an errno, and the entry is a
  // failure with the path `folder` and `name`. When memory runs out, the failure is only counted.
  void Add(std::uint64_t number, const std::string& folder, std::string_view name, int error,
           Side side);

  // Adds all counts and failures to `report`.
  void AddTo(TreeOutcome* report) const;

 private:
  std::mutex guard_;
  std::uint64_t done_ = 0;
  std::uint64_t failed_ = 0;
  std::map<std::uint64_t, TreeFailure> failures_;  // those with the lowest numbers
};

// A folder of the target into which entries of the source are being copied.
struct TargetFolder {
  bool is_new = false;       // made for this copy
  bool is_shared = false;    // another folder of the source was copied into it, too
  bool is_searched = false;  // it contains no leftovers of killed processes
  MadeEntries made;
};

// Copies an entry into the folder, under a different spelling of its name where the folder has one.
int CopyInto(int from, const char* name, mode_t type, int to, const char* target,
             TargetFolder* folder, Side* side, Monitor* monitor);

// A source folder and its target folder. Both stay open as long as an entry waits to be copied.
struct FolderPair {
  Descriptor from;
  Descriptor to;
  std::string path;  // from the top of the tree, with "/" at its end
  std::shared_ptr<TargetFolder> target;
};

struct CopyJob {
  std::shared_ptr<const FolderPair> folders;
  std::string name;
  std::string target;
  mode_t type;
  std::uint64_t number;  // the place of the entry in the walk, which orders the failures
};

// Copies entries, in any order, on the caller's thread and on a second one. On a single processor,
// or when no thread can be started, the caller copies everything.
class CopyCrew {
 public:
  CopyCrew(OrderedOutcome* outcome, Monitor* monitor) : outcome_(outcome), monitor_(monitor) {}
  // Entries that still wait are not copied.
  ~CopyCrew();
  CopyCrew(const CopyCrew&) = delete;
  CopyCrew& operator=(const CopyCrew&) = delete;

  // Whether the caller should add the next entry; if not, the caller copies it itself. Copying the
  // first entries of a tree takes less time than starting a thread.
  bool TakesNext();

  // Copies the entry now or later.
  void Add(CopyJob job);

  // Returns when everything is copied, or returns false when the monitor has stopped the copy.
  bool Finish();

 private:
  void Work();
  void Stop();
  bool TakeJob(CopyJob* job, bool waits);
  void Copy(const CopyJob& job);

  OrderedOutcome* const outcome_;
  Monitor* const monitor_;
  std::uint64_t seen_ = 0;
  std::thread thread_;
  std::mutex guard_;
  std::condition_variable changed_;
  std::deque<CopyJob> waiting_;
  bool is_over_ = false;
  std::atomic<bool> is_cut_ = false;  // an entry was not copied because of the monitor
};

}  // namespace host
}  // namespace orvik
