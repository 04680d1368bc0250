// Objects of a thread, which outlive the program's others.
#pragma once

#include <utility>

namespace orvik {

// The one object of the type in this thread. It goes with the thread. The one that is made when it
// is asked for again afterwards, by a destructor while the process ends, stays.
template <typename T>
T& OfThread() {
  static constinit thread_local T* object = nullptr;
  struct Owner {
    ~Owner() { delete std::exchange(object, nullptr); }
  };
  thread_local const Owner owner;
  static_cast<void>(owner);
  if (object == nullptr) object = new T();
  return *object;
}

}  // namespace orvik
