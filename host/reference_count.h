// Counts of references to something that several owners share.
//
// While the process has a single thread, a count is a plain integer; afterwards it is atomic.
// Adding a reference orders nothing. Releasing one makes all earlier writes of its owner visible to
// the owner that reads the new count.
#pragma once

#include <sys/single_threaded.h>

#include <atomic>
#include <cstdint>

namespace [[gnu::visibility("default")]] orvik {

// The present count. An owner that reads 1 may change the shared object.
inline std::int32_t References(const std::int32_t& count) {
  return std::atomic_ref(const_cast<std::int32_t&>(count)).load(std::memory_order_acquire);
}

// Both functions return the new count.
inline std::int32_t AddReference(std::int32_t& count) {
  if (__libc_single_threaded) return ++count;
  return std::atomic_ref(count).fetch_add(1, std::memory_order_relaxed) + 1;
}
inline std::int32_t DropReference(std::int32_t& count) {
  if (__libc_single_threaded) return --count;
  return std::atomic_ref(count).fetch_sub(1, std::memory_order_acq_rel) - 1;
}

// The count of an object. It starts at 1, the reference of the maker.
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
