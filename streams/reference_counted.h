// What the COM-style classes share: the reference count, the interface query of a stream, and the
// answer of the slots that a stream does not support.
#pragma once

#include "host/reference_count.h"
#include "streams/stream_interfaces.h"

namespace [[gnu::visibility("default")]] orvik {

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

// A stream answers to IID_IUnknown and IID_IStream; every other slot is E_NOTIMPL until a class
// overrides it.
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
