// CComPtr: holds one reference to an object behind an interface.
#pragma once

#include <cstddef>
#include <utility>

#include "streams/stream_interfaces.h"

namespace [[gnu::visibility("default")]] orvik {

template <typename Interface>
class CComPtr {
 public:
  CComPtr() = default;
  CComPtr(std::nullptr_t) {}  // NOLINT(google-explicit-constructor)
  // Adds a reference.
  CComPtr(Interface* object) : p(object) {  // NOLINT(google-explicit-constructor)
    if (p != nullptr) p->AddRef();
  }
  CComPtr(const CComPtr& other) : CComPtr(other.p) {}
  CComPtr(CComPtr&& other) noexcept : p(other.Detach()) {}
  ~CComPtr() {
    if (p != nullptr) p->Release();
  }

  // The new object gets its reference before the old one loses its own.
  CComPtr& operator=(Interface* object) {
    CComPtr(object).Swap(*this);
    return *this;
  }
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the other form retains before it releases
  CComPtr& operator=(const CComPtr& other) { return *this = other.p; }
  CComPtr& operator=(CComPtr&& other) noexcept {
    CComPtr(std::move(other)).Swap(*this);
    return *this;
  }

  operator Interface*() const { return p; }  // NOLINT(google-explicit-constructor)
  Interface& operator*() const { return *p; }
  Interface* operator->() const { return p; }

  // For use as the output argument of a factory; what it held is not released.
  Interface** operator&() { return &p; }  // NOLINT(google-runtime-operator)

  // Takes over the caller's reference.
  void Attach(Interface* object) {
    CComPtr taken;
    taken.p = object;
    taken.Swap(*this);
  }
  // Gives the reference to the caller.
  [[nodiscard]] Interface* Detach() { return std::exchange(p, nullptr); }
  void Release() { CComPtr().Swap(*this); }

  // E_POINTER for a null `out`; otherwise a reference of the caller's, or null.
  HRESULT CopyTo(Interface** out) const {
    if (out == nullptr) return E_POINTER;
    *out = CComPtr(p).Detach();
    return S_OK;
  }

  // Whether both are one object: what they give for IID_IUnknown is compared, and for an object
  // that refuses the query its address. Two nulls are equal.
  bool IsEqualObject(IUnknown* other) const { return IdentityOf(p) == IdentityOf(other); }

 private:
  void Swap(CComPtr& other) noexcept { std::swap(p, other.p); }

  static void* IdentityOf(IUnknown* object) {
    void* identity = nullptr;
    if (object == nullptr || object->QueryInterface(IID_IUnknown, &identity) < 0) return object;
    static_cast<IUnknown*>(identity)->Release();
    return identity;
  }

  Interface* p = nullptr;
};

}  // namespace orvik
