// Counts of references to something that several owners share.
//
// As long as the process has one thread a count is a plain integer. Afterwards it is atomic: taking
// a reference orders nothing, and giving one up makes everything that its owner did before visible
// to the owner that sees the new count.
#pragma once

#include <sys/single_threaded.h>

#include <atomic>
#include <cstdint>

namespace [[gnu::visibility("default")]] orvik {

// The present count. Whoever sees its own reference alone may change what is shared.
inline std::int32_t References(const std::int32_t& count) {
  return std::atomic_ref(const_cast<std::int32_t&>(count)).load(std::memory_order_acquire);
}

// Both return the new count.
inline std::int32_t AddReference(std::int32_t& count) {
  if (__libc_single_threaded) return ++count;
  return std::atomic_ref(count).fetch_add(1, std::memory_order_relaxed) + 1;
}
inline std::int32_t DropReference(std::int32_t& count) {
  if (__libc_single_threaded) return --count;
  return std::atomic_ref(count).fetch_sub(1, std::memory_order_acq_rel) - 1;
}

// The count of an object, which starts with its maker's reference.
class ReferenceCount {
 public:
  ReferenceCount() = default;
  ReferenceCount(const ReferenceCount&) = delete;
  ReferenceCount& operator=(const ReferenceCount&) = delete;

  std::int32_t Add() { return AddReference(count_); }
  std::int32_t Drop() { return DropReference(count_); }
  bool IsShared() const { return References(count_) > 1; }

 private:
  std::int32_t count_ = 1;
};

}  // namespace orvik
