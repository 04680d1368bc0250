#include "strings/unknown.h"

#include <cstdio>
#include <cstring>

#include "strings/atl_conversions.h"

namespace orvik {

static_assert(sizeof(_GUID) == 16);

bool operator==(const _GUID& a, const _GUID& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

BOOL IsEqualGUID(const _GUID& a, const _GUID& b) {
  return a == b ? TRUE : FALSE;
}

BOOL InlineIsEqualGUID(const _GUID& a, const _GUID& b) {
  return IsEqualGUID(a, b);
}

HRESULT StringFromCLSID(const _GUID& id, char16_t** result) {
  if (result == nullptr) return E_POINTER;
  constexpr int kLength = 38;
  char text[kLength + 1];
  const std::uint8_t* const rest = id.Data4;
  std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", id.Data1,
                id.Data2, id.Data3, rest[0], rest[1], rest[2], rest[3], rest[4], rest[5], rest[6],
                rest[7]);
  *result = AtlA2WHelper(new char16_t[kLength + 1], text, kLength);
  return S_OK;
}

IUnknown* AtlComPtrAssign(IUnknown** slot, IUnknown* object) {
  if (slot == nullptr) return nullptr;
  if (object != nullptr) object->AddRef();
  IUnknown* old = *slot;
  *slot = object;
  if (old != nullptr) old->Release();
  return object;
}

IUnknown* AtlComQIPtrAssign(IUnknown** slot, IUnknown* object, const _GUID& interface_id) {
  if (slot == nullptr) return nullptr;
  IUnknown* old = *slot;
  *slot = nullptr;
  // A failing query may leave any value in its result.
  void* found = nullptr;
  if (object != nullptr && object->QueryInterface(interface_id, &found) >= 0) {
    *slot = static_cast<IUnknown*>(found);
  }
  if (old != nullptr) old->Release();
  return *slot;
}

}  // namespace orvik
