// How long a change may wait for the lock of its domain.
#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

namespace orvik {

// Nothing: as long as the lock's own rules say. Otherwise at most this long; 0 tries once.
using LockWait = std::optional<std::chrono::milliseconds>;

// A wait that has begun.
class LockDeadline {
 public:
  explicit LockDeadline(LockWait wait) {
    if (wait) end_ = std::chrono::steady_clock::now() + *wait;
  }

  bool is_limited() const { return end_.has_value(); }
  // What is left, but not more than `longest`; not below 0.
  std::chrono::milliseconds Left(std::chrono::milliseconds longest) const {
    if (!end_) return longest;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*end_ - std::chrono::steady_clock::now());
    return std::clamp(left, std::chrono::milliseconds(0), longest);
  }

 private:
  std::optional<std::chrono::steady_clock::time_point> end_;
};

}  // namespace orvik
