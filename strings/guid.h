// 128-bit identifiers of classes and interfaces.
#pragma once

#include <cstdint>

#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

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

// "{03020100-0504-0706-0809-0A0B0C0D0E0F}", 38 units and a terminator, in a new array that the
// caller frees with delete[]. S_OK; E_POINTER for a null result.
HRESULT StringFromCLSID(const _GUID& id, char16_t** result);

}  // namespace orvik
