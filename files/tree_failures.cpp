#include "files/tree_failures.h"

#include <cerrno>
#include <cstring>

#include "files/path_arguments.h"

namespace orvik {
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
