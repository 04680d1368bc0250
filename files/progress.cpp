#include "files/progress.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>

#include "files/item_transfer.h"
#include "files/path_arguments.h"
#include "host/file_names.h"
#include "host/long_operation.h"

namespace orvik {

class Progress::Impl final : public host::Monitor {
 public:
  Impl(Callback callback, ProgressTotals totals)
      : callback_(std::move(callback)), totals_(totals) {}

  bool WantsTotals() const override { return totals_ == ProgressTotals::kCount; }

  void Expect(std::uint64_t entries, std::uint64_t bytes) override {
    const std::lock_guard guard(guard_);
    state_.entries_total += entries;
    state_.bytes_total += bytes;
  }

  bool Begin(std::string path) override {
    return Update([this, &path] { path_ = std::move(path); });
  }

  bool Advance(std::uint64_t entries, std::uint64_t bytes) override {
    return Update([=, this] {
      state_.entries_done += entries;
      state_.bytes_done += bytes;
    });
  }

  bool IsStopped() const override { return is_stopped_.load(std::memory_order_relaxed); }

  void Stop() { is_stopped_ = true; }

  void SetTop(std::string top) {
    const std::lock_guard guard(guard_);
    top_ = std::move(top);
    path_.clear();
  }

  ProgressState State() const {
    const std::lock_guard guard(guard_);
    ProgressState state = state_;
    state.path = COrvikFilePath(PathFromBytes(path_.empty() ? top_ : top_ + '/' + path_));
    return state;
  }

 private:
  template <typename Change>
  bool Update(Change change) {
    if (!callback_) {
      const std::lock_guard guard(guard_);
      change();
      return !IsStopped();
    }
    // The callback sees the states in order.
    const std::lock_guard calls(calls_);
    {
      const std::lock_guard guard(guard_);
      change();
    }
    if (!IsStopped() && callback_(State()) == ProgressAnswer::kStop) Stop();
    return !IsStopped();
  }

  const Callback callback_;
  const ProgressTotals totals_;
  std::atomic<bool> is_stopped_ = false;
  std::mutex calls_;          // for one callback at a time
  mutable std::mutex guard_;  // for the members below
  std::string top_;
  std::string path_;     // of the current entry, below the top
  ProgressState state_;  // without its path, which State() makes from these two
};

Progress::Progress(Callback callback, ProgressTotals totals)
    : impl_(std::make_unique<Impl>(std::move(callback), totals)) {}

Progress::~Progress() = default;

void Progress::Stop() {
  impl_->Stop();
}

bool Progress::IsStopped() const {
  return impl_->IsStopped();
}

ProgressState Progress::State() const {
  return impl_->State();
}

host::Monitor* Progress::Begin(const COrvikFilePath& top) {
  impl_->SetTop(host::FileNameToBytes(top.GetFilePathString().View()).value_or(std::string()));
  return impl_.get();
}

namespace {

CAtlString ReasonOf(int error) {
  if (error == EOPNOTSUPP) return u"Pipes, sockets and devices are not copied";
  return PathFromBytes(std::strerror(error));
}

TreeFailure Failure(const COrvikFilePath& path, int error, host::Side side) {
  const bool is_target = side == host::Side::kTarget;
  return {path, error, is_target ? TreeSide::kTarget : TreeSide::kSource, ReasonOf(error)};
}

}  // namespace

host::Monitor* MonitorOf(Progress* progress, const COrvikFilePath& path) {
  return progress != nullptr ? progress->Begin(path) : nullptr;
}

void AddFailure(const COrvikFilePath& path, int error, host::Side side, TreeReport* report) {
  if (report == nullptr) return;
  ++report->failed;
  if (report->failures.size() < host::TreeOutcome::kMostFailures) {
    report->failures.push_back(Failure(path, error, side));
  }
}

BOOL AddResult(const COrvikFilePath& path, int error, host::Side side, TreeReport* report) {
  if (error != 0) {
    AddFailure(path, error, side, report);
  } else if (report != nullptr) {
    ++report->done;
  }
  return error == 0 ? TRUE : FALSE;
}

void AddOutcome(const COrvikDirectoryPath& folder, const host::TreeOutcome& outcome,
                TreeReport* report) {
  if (report == nullptr) return;
  report->done += outcome.done;
  report->failed += outcome.failed;
  for (const host::TreeFailure& failure : outcome.failures) {
    CAtlString path = folder.GetDirectoryPathString();
    if (!failure.path.empty()) path += u'/' + PathFromBytes(failure.path);
    report->failures.push_back(Failure(COrvikFilePath(path), failure.error, failure.side));
  }
}

}  // namespace orvik
