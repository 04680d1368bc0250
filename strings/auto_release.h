// The scoped holder of one platform object reference.
#pragma once

#include <type_traits>
#include <utility>

#include "platform/core_foundation/base.h"
#include "strings/platform_reference.h"

namespace [[gnu::visibility("default")]] orvik {

template <class Ref>
class CAutoCFRelease;
template <class Ref>
inline constexpr bool kIsPlatformReference<CAutoCFRelease<Ref>> = kIsPlatformReference<Ref>;

// Owns one reference to a platform object (a number, string, data, URL, dictionary or any other
// value) and releases it at the end of the scope. Moves; does not copy.
template <class Ref>
class CAutoCFRelease {
 public:
  CAutoCFRelease() = default;
  // Takes over the caller's reference, as Create and Copy operations hand it out. Null is allowed.
  explicit CAutoCFRelease(Ref owned) : ref_(owned) {}
  template <NoReferenceFor<Ref> Value>
  explicit CAutoCFRelease(const Value&) = delete;
  CAutoCFRelease(CAutoCFRelease&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
  CAutoCFRelease& operator=(CAutoCFRelease&& other) noexcept {
    if (this != &other) {
      Attach(std::exchange(other.ref_, nullptr));
    }
    return *this;
  }
  ~CAutoCFRelease() { Free(); }

  // Takes a reference of its own to an object that another owner keeps.
  static CAutoCFRelease Retaining(Ref ref) {
    if (ref != nullptr) {
      CFRetain(ref);
    }
    return CAutoCFRelease(ref);
  }
  template <NoReferenceFor<Ref> Value>
  static CAutoCFRelease Retaining(const Value&) = delete;

  // Releases the object, if there is one, and empties the holder.
  void Free() {
    if (Ref old = std::exchange(ref_, nullptr)) {
      CFRelease(old);
    }
  }

  // Frees the present object and takes over the caller's reference.
  void Attach(Ref owned) {
    Free();
    ref_ = owned;
  }
  template <NoReferenceFor<Ref> Value>
  void Attach(const Value&) = delete;

  // Empties the holder and hands its reference to the caller; null when the holder is empty.
  [[nodiscard]] Ref Detach() { return std::exchange(ref_, nullptr); }

  // The reference, which the holder still owns; null when it is empty.
  Ref Get() const { return ref_; }
  operator Ref() const { return ref_; }
  explicit operator bool() const { return ref_ != nullptr; }

 private:
  Ref ref_ = nullptr;
};

}  // namespace orvik
