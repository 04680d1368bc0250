#include "host/copy_crew.h"

#include <cerrno>
#include <iterator>
#include <new>
#include <utility>

namespace orvik::host {
namespace {

// About as many entries are copied in the time that a thread takes to start.
constexpr std::uint64_t kCopiedAlone = 100;

// A waiting entry may hold two descriptors, and a process may have few.
constexpr std::size_t kMostWaiting = 32;

// Waking a thread takes about as long as copying a small file.
constexpr std::size_t kWorthWaking = 8;

}  // namespace

int CopyInto(int from, const char* name, mode_t type, int to, const char* target,
             TargetFolder* folder, Side* side, Monitor* monitor) {
  if (folder->is_new) return CopyIntoNewFolder(from, name, type, to, side, monitor);
  const NodeCopy how{.existing = folder->is_shared ? Existing::kKeep : Existing::kReplace,
                     .searched = folder->is_searched,
                     .made = &folder->made,
                     .side = side,
                     .monitor = monitor};
  return CopyNode(from, name, type, to, target, how);
}

void OrderedOutcome::Add(std::uint64_t number, const std::string& folder, std::string_view name,
                         int error, Side side) {
  const std::lock_guard guard(guard_);
  ++(error == 0 ? done_ : failed_);
  if (error == 0) return;
  try {
    failures_.try_emplace(number, TreeFailure{folder + std::string(name), error, side});
  } catch (const std::bad_alloc&) {
  }
  if (failures_.size() > TreeOutcome::kMostFailures) failures_.erase(std::prev(failures_.end()));
}

void OrderedOutcome::AddTo(TreeOutcome* report) const {
  report->done += done_;
  for (const auto& [number, failure] : failures_)
    report->AddFailure(failure.path, failure.error, failure.side);
  report->failed += failed_ - failures_.size();
}

CopyCrew::~CopyCrew() {
  {
    const std::lock_guard guard(guard_);
    waiting_.clear();
  }
  Stop();
}

bool CopyCrew::TakesNext() {
  if (thread_.joinable()) return true;
  // Tries only once: a system that refuses a thread is short of resources.
  if (++seen_ == kCopiedAlone) thread_ = StartWorker([this] { Work(); });
  return thread_.joinable();
}

void CopyCrew::Add(CopyJob job) {
  {
    const std::lock_guard guard(guard_);
    if (waiting_.size() < kMostWaiting) {
      waiting_.push_back(std::move(job));
      if (waiting_.size() == kWorthWaking) changed_.notify_one();
      return;
    }
  }
  Copy(job);
}

bool CopyCrew::Finish() {
  CopyJob job;
  while (TakeJob(&job, false)) Copy(job);
  Stop();
  return !is_cut_;
}

bool CopyCrew::TakeJob(CopyJob* job, bool waits) {
  std::unique_lock lock(guard_);
  if (waits && waiting_.empty()) {
    changed_.wait(lock, [this] { return is_over_ || waiting_.size() >= kWorthWaking; });
  }
  if (waiting_.empty()) return false;
  *job = std::move(waiting_.front());
  waiting_.pop_front();
  return true;
}

void CopyCrew::Stop() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard guard(guard_);
    is_over_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void CopyCrew::Work() {
  for (CopyJob job; TakeJob(&job, true); job.folders.reset()) Copy(job);
}

void CopyCrew::Copy(const CopyJob& job) {
  if (IsStopped(monitor_) || !Begins(monitor_, job.folders->path, job.name)) {
    is_cut_ = true;
    return;
  }
  const char* const name = job.name.c_str();
  int error = ENOMEM;
  Side side = Side::kSource;
  try {
    error = CopyInto(job.folders->from.get(), name, job.type, job.folders->to.get(),
                     job.target.c_str(), job.folders->target.get(), &side, monitor_);
  } catch (const std::bad_alloc&) {  // error stays ENOMEM
  }
  if (error == ECANCELED) {
    is_cut_ = true;
    return;
  }
  outcome_->Add(job.number, job.folders->path, job.name, error, side);
  Advances(monitor_, 1, 0);
}

}  // namespace orvik::host
