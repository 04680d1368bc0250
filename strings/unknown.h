// Identifiers of interfaces, and the root of the COM-style interfaces.
#pragma once

#include <cstdint>

#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

// 128-bit identifiers of classes and interfaces.

struct _GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
using GUID = _GUID;
using IID = _GUID;
using CLSID = _GUID;

bool operator==(const _GUID& a, const _GUID& b);
BOOL IsEqualGUID(const _GUID& a, const _GUID& b);
BOOL InlineIsEqualGUID(const _GUID& a, const _GUID& b);

// Stores "{03020100-0504-0706-0809-0A0B0C0D0E0F}", 38 units and a terminator, in a new array that
// the caller frees with delete[]. S_OK; E_POINTER for a null result.
HRESULT StringFromCLSID(const _GUID& id, char16_t** result);

// The root of the COM-style interfaces.

inline constexpr _GUID IID_IUnknown = {
    0x00000000, 0x0000, 0x0000, {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

// References may be taken and released in several threads at once. Otherwise an object is used in
// one thread at a time, unless its class says more.
class IUnknown {
 public:
  virtual ~IUnknown() = default;
  // On success *object has a reference for the caller; E_NOINTERFACE when the object does not
  // implement the interface, E_POINTER for a null `object`.
  virtual HRESULT QueryInterface(const _GUID& interface_id, void** object) = 0;
  // Both return the number of references afterwards. At 0 the object is destroyed.
  virtual unsigned long AddRef() = 0;
  virtual unsigned long Release() = 0;
};

// Both release the old content of the slot, return the new one, and accept a null object. For a
// null slot they do nothing and return null.
//
// AtlComPtrAssign stores the object with a reference of the slot's own.
IUnknown* AtlComPtrAssign(IUnknown** slot, IUnknown* object);
// Stores the interface that `object` returns for the id, or null when it does not implement it.
IUnknown* AtlComQIPtrAssign(IUnknown** slot, IUnknown* object, const _GUID& interface_id);

}  // namespace orvik
