// Objects of a thread that even destructors at its end may use.
#pragma once

#include <utility>

namespace orvik {

// Returns the thread's one object of this type. It is destroyed with the thread. When a later
// destructor asks for it again, a new object is made and never destroyed.
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
