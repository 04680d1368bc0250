// What an operation on a tree has done, and what it could not do.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

enum class Side { kSource, kTarget };

struct TreeFailure {
  std::string path;           // of the source, below the top of the tree; "" is the top itself
  int error;                  // an errno
  Side side = Side::kSource;  // where the error is
};

struct TreeOutcome {
  std::uint64_t done = 0;    // entries copied, moved or removed
  std::uint64_t failed = 0;  // entries that were not, but for folders that stay because of these
  std::vector<TreeFailure> failures;  // the first kMostFailures of them

  static constexpr std::size_t kMostFailures = 1000;

  // 0, or the errno of the first failure.
  int error() const { return failures.empty() ? 0 : failures.front().error; }

  void AddFailure(std::string path, int error, Side side = Side::kSource) {
    ++failed;
    if (failures.size() < kMostFailures) failures.push_back({std::move(path), error, side});
  }
};

}  // namespace host
}  // namespace orvik
