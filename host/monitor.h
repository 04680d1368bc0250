// What a long operation tells while it works, and how it learns that it is to stop.
//
// An operation takes a pointer to one, which may be null. Where a function answers false the
// operation stops as soon as it can do so with whole files only, and its result is ECANCELED. All
// functions may be called by several threads at once.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

class Monitor {
 public:
  // Whether the operation is to count what there is to do before it begins.
  virtual bool WantsTotals() const = 0;

  // The entries and bytes of content that there are, once they are known.
  virtual void Expect(std::uint64_t entries, std::uint64_t bytes) = 0;

  // The operation comes to an entry; the path counts from the top, "" is the top itself.
  virtual bool Begin(std::string path) = 0;

  // So much more is done. An entry counts when it is finished, whether or not that succeeded.
  virtual bool Advance(std::uint64_t entries, std::uint64_t bytes) = 0;

  virtual bool IsStopped() const = 0;

 protected:
  ~Monitor() = default;
};

// The same for a monitor that may be null.

inline bool Begins(Monitor* monitor, std::string_view folder, std::string_view name) {
  return monitor == nullptr || monitor->Begin(std::string(folder).append(name));
}

inline bool Advances(Monitor* monitor, std::uint64_t entries, std::uint64_t bytes) {
  return monitor == nullptr || monitor->Advance(entries, bytes);
}

inline bool IsStopped(const Monitor* monitor) {
  return monitor != nullptr && monitor->IsStopped();
}

}  // namespace host
}  // namespace orvik
