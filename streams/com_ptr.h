// COM-style objects: the owning pointer, the reference count and the base of the streams.
#pragma once

#include <cstddef>
#include <utility>

#include "host/reference_count.h"
#include "streams/stream_interfaces.h"

namespace [[gnu::visibility("default")]] orvik {

// CComPtr: holds one reference to an object behind an interface.
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

  // Takes the new reference before it releases the old one.
  CComPtr& operator=(Interface* object) {
    CComPtr(object).Swap(*this);
    return *this;
  }
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the operator above retains before it
  // releases
  CComPtr& operator=(const CComPtr& other) { return *this = other.p; }
  CComPtr& operator=(CComPtr&& other) noexcept {
    CComPtr(std::move(other)).Swap(*this);
    return *this;
  }

  operator Interface*() const { return p; }  // NOLINT(google-explicit-constructor)
  Interface& operator*() const { return *p; }
  Interface* operator->() const { return p; }

  // For use as the output argument of a factory; does not release the object that it held.
  Interface** operator&() { return &p; }  // NOLINT(google-runtime-operator)

  // Takes over the caller's reference.
  void Attach(Interface* object) {
    CComPtr taken;
    taken.p = object;
    taken.Swap(*this);
  }
  // Hands the reference to the caller.
  [[nodiscard]] Interface* Detach() { return std::exchange(p, nullptr); }
  void Release() { CComPtr().Swap(*this); }

  // Stores a new reference for the caller, or null, in *out. E_POINTER for a null `out`.
  HRESULT CopyTo(Interface** out) const {
    if (out == nullptr) return E_POINTER;
    *out = CComPtr(p).Detach();
    return S_OK;
  }

  // Whether both pointers lead to one object. Compares their results for IID_IUnknown, or the
  // address of an object that refuses the query. Two nulls are equal.
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

// The common base of the COM-style classes: the reference count, the interface query of a stream,
// and the result of the functions that a stream does not support.

// Starts with one reference; the last Release deletes the object. References may be taken and
// released in several threads at once; the other functions are called in one thread at a time.
template <typename Interface>
class ReferenceCounted : public Interface {
 public:
  ReferenceCounted(const ReferenceCounted&) = delete;
  ReferenceCounted& operator=(const ReferenceCounted&) = delete;

  unsigned long AddRef() override { return static_cast<unsigned long>(references_.Add()); }
  unsigned long Release() override {
    const auto count = static_cast<unsigned long>(references_.Drop());
    if (count == 0) delete this;
    return count;
  }

 protected:
  ReferenceCounted() = default;

 private:
  ReferenceCount references_;
};

// A stream answers to IID_IUnknown and IID_IStream; every other function gives E_NOTIMPL until a
// class overrides it.
template <typename Interface>
class StreamBase : public ReferenceCounted<Interface> {
 public:
  HRESULT QueryInterface(const _GUID& identifier, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (!(identifier == IID_IUnknown) && !(identifier == IID_IStream)) return E_NOINTERFACE;
    *out = static_cast<IStream*>(this);
    this->AddRef();
    return S_OK;
  }

  HRESULT Read(void*, unsigned long, unsigned long*) override { return E_NOTIMPL; }
  HRESULT Write(const void*, unsigned long, unsigned long*) override { return E_NOTIMPL; }
  HRESULT Seek(_LARGE_INTEGER, unsigned long, _ULARGE_INTEGER*) override { return E_NOTIMPL; }
  HRESULT SetSize(_ULARGE_INTEGER) override { return E_NOTIMPL; }
  HRESULT CopyTo(IStream*, _ULARGE_INTEGER, _ULARGE_INTEGER*, _ULARGE_INTEGER*) override {
    return E_NOTIMPL;
  }
  HRESULT Commit(unsigned long) override { return E_NOTIMPL; }
  HRESULT Revert() override { return E_NOTIMPL; }
  HRESULT LockRegion(_ULARGE_INTEGER, _ULARGE_INTEGER, unsigned long) override { return E_NOTIMPL; }
  HRESULT UnlockRegion(_ULARGE_INTEGER, _ULARGE_INTEGER, unsigned long) override {
    return E_NOTIMPL;
  }
  HRESULT Stat(tagSTATSTG*, unsigned long) override { return E_NOTIMPL; }
  HRESULT Clone(IStream**) override { return E_NOTIMPL; }
};

}  // namespace orvik
