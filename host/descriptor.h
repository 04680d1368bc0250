// An owned file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }

  int get() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }
  // Gives the number up; the caller closes it.
  int Release() { return std::exchange(number_, -1); }
  // Closes now; false when that fails. A volume may report a lost write only here.
  bool Close() {
    const int number = std::exchange(number_, -1);
    return number < 0 || close(number) == 0;
  }

 private:
  int number_ = -1;
};

}  // namespace host
}  // namespace orvik
