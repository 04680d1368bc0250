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

// The outcome of several threads. The failures are listed in the order of their numbers, whichever
// thread was first.
class OrderedOutcome {
 public:
  // Counts an entry: done, or with an error (an errno) a failure, whose path is that of the folder
  // and the name. Without memory for it the failure is only counted.
  void Add(std::uint64_t number, const std::string& folder, std::string_view name, int error,
           Side side);

  // Adds everything to a report.
  void AddTo(TreeOutcome* report) const;

 private:
  std::mutex guard_;
  std::uint64_t done_ = 0;
  std::uint64_t failed_ = 0;
  std::map<std::uint64_t, TreeFailure> failures_;  // the first ones
};

// A folder of the target, while entries of the source are copied into it.
struct TargetFolder {
  bool is_new = false;       // made for this copy
  bool is_shared = false;    // another folder of the source went into it
  bool is_searched = false;  // it has nothing that a killed process left
  MadeEntries made;
};

// Copies an entry into the folder, under another name when the folder spells it so.
int CopyInto(int from, const char* name, mode_t type, int to, const char* target,
             TargetFolder* folder, Side* side, Monitor* monitor);

// A folder and the one that takes its copies, open as long as an entry waits to be copied.
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
  std::uint64_t number;  // of the failure
};

// Copies entries, in any order, on the thread of the caller and on one more. One processor, or a
// system that gives no thread, means that the caller copies everything.
class CopyCrew {
 public:
  CopyCrew(OrderedOutcome* outcome, Monitor* monitor) : outcome_(outcome), monitor_(monitor) {}
  // Entries that still wait are not copied.
  ~CopyCrew();
  CopyCrew(const CopyCrew&) = delete;
  CopyCrew& operator=(const CopyCrew&) = delete;

  // Whether the next entry is to be added; else the caller copies it. The first ones of a tree
  // would be copied before a thread has started.
  bool TakesNext();

  // Copies the entry now or later.
  void Add(CopyJob job);

  // Returns when everything is copied, or, with false, when the monitor has stopped it.
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
