// The root of the COM-style interfaces.
#pragma once

#include "strings/guid.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

inline constexpr _GUID IID_IUnknown = {
    0x00000000, 0x0000, 0x0000, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

// References may be taken and released in several threads at once. Each class says what else may be
// done in several threads; by itself an object is used in one thread at a time.
class IUnknown {
 public:
  virtual ~IUnknown() = default;
  // On success *object has a reference for the caller; E_NOINTERFACE when the object does not
  // implement the interface, E_POINTER for a null `object`.
  virtual HRESULT QueryInterface(const _GUID& interface_id, void** object) = 0;
  virtual unsigned long AddRef() = 0;
  virtual unsigned long Release() = 0;
};

// Both return what the slot then holds, and take a null object.
IUnknown* AtlComPtrAssign(IUnknown** slot, IUnknown* object);
IUnknown* AtlComQIPtrAssign(IUnknown** slot, IUnknown* object, const _GUID& interface_id);

}  // namespace orvik
