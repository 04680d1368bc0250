#include "strings/unknown.h"

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
  std::uint32_t a_words[4];
  std::uint32_t b_words[4];
  std::memcpy(a_words, &a, sizeof a_words);
  std::memcpy(b_words, &b, sizeof b_words);
  return a_words[0] == b_words[0] && a_words[1] == b_words[1] && a_words[2] == b_words[2] &&
                 a_words[3] == b_words[3]
             ? TRUE
             : FALSE;
}

HRESULT StringFromCLSID(const _GUID& id, char16_t** result) {
  if (result == nullptr) return E_POINTER;
  constexpr int kLength = 38;
  constexpr char kDigits[] = "0123456789ABCDEF";
  char text[kLength + 1];
  char* at = text;
  const auto put = [&](std::uint32_t value, int digits) {
    for (int i = digits - 1; i >= 0; --i) *at++ = kDigits[(value >> (4 * i)) & 15];
  };
  *at++ = '{';
  put(id.Data1, 8);
  *at++ = '-';
  put(id.Data2, 4);
  *at++ = '-';
  put(id.Data3, 4);
  *at++ = '-';
  for (int i = 0; i < 8; ++i) {
    if (i == 2) *at++ = '-';
    put(id.Data4[i], 2);
  }
  *at++ = '}';
  *at = 0;
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
  // A failing query may leave anything in its result.
  void* found = nullptr;
  if (object != nullptr && object->QueryInterface(interface_id, &found) >= 0) {
    *slot = static_cast<IUnknown*>(found);
  }
  if (old != nullptr) old->Release();
  return *slot;
}

}  // namespace orvik
